// The document types as one table: what reading and writing know of each lives in its row and nowhere else.
#pragma once

#include <kxclientutil/config.h>

#include <span>
#include <string_view>

namespace kxclientutil {

/// The version of every document type.
inline constexpr unsigned int current_version = 7;

/// One of the upgrades of config.h.
using upgrade_function = decltype(update_task);

struct document_type {
    e_config_type type;
    char const* identifier;      ///< what a stored document is identified by
    char const* constraint;      ///< the name of its constraint in the installation's database
    char const* printable_name;  ///< what type_c_str() gives
    char const* missing_message; ///< what writing says when the constraint is missing
    bool is_source;              ///< borrows a missing name from its file
    bool drops_run_dependencies; ///< is stored without "run-dependencies"
    upgrade_function* upgrade;   ///< brings an earlier version to the current one; null where there is no way
};

/// All types but config_unknown, by value.
[[nodiscard]] std::span<document_type const> document_types();

/// The row of a type; null for config_unknown and for what is no type.
[[nodiscard]] document_type const* find_document_type(e_config_type type);

/// The row of an identifier, compared exactly; null when there is none.
[[nodiscard]] document_type const* find_document_type(std::string_view identifier);

/// The constraint database of that name within another; empty when there is none, or a constraint that is no database.
[[nodiscard]] kxbase::ptr_refcount<kxcore::constraint_db const> find_database(kxcore::constraint_db const& constraints,
                                                                              std::string_view name);

} // namespace kxclientutil
