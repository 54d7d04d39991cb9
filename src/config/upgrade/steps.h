// How documents of earlier versions are upgraded: a type has a table with one step per version, in order, and the step
// of the next version is the next row.
#pragma once

#include "raising.h"

#include <kxbase/ptr_refcount.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>

#include <span>
#include <string>
#include <string_view>

namespace kxcore {
class constraint_db;
class plugin_db;
} // namespace kxcore

namespace kxclientutil {

/// The plugin of uploads, which had to be upgraded more often than any other.
inline constexpr std::string_view upload_plid = "task/regular/upload/1.0";

/// What a step sees beside the result that it changes.
struct upgrade_context {
    kxcore::properties const& document; ///< as it was before the first step
    unsigned int version;               ///< the one that the step leads away from
    unsigned int running_version;       ///< the one that the document was at, plus the steps that ran before
    kxcore::plugin_db const& plugins;
    kxcore::constraint_db const& constraints;
};

/// Brings `result`, which is at the version of the context, to the next one.
using upgrade_step = void (*)(kxcore::properties& result, upgrade_context const& context);

/// The step to a version that has not changed the type. It counts like any other.
inline constexpr upgrade_step nothing_changed = nullptr;

/// A copy of the document after all steps between the two versions. The first step of the table is the one from version
/// 1 to 2; a document of an earlier version takes it as well.
[[nodiscard]] kxbase::ptr_refcount<kxcore::properties>
run_steps(std::span<upgrade_step const> steps, kxcore::properties const& document, unsigned int from_version,
          unsigned int to_version, kxcore::plugin_db const& plugins, kxcore::constraint_db const& constraints);

/// Sets the member as `from` has it, the very same object; a member that `from` lacks is left as it is.
void copy_member(kxcore::properties const& from, std::string_view key, kxcore::properties& to);

/// The element as a tree.
///
/// @throws es::arg when it is of another kind
[[nodiscard]] kxcore::properties const& expect_tree(kxcore::property_handle const& element);

/// Calls `visit(tree)` for every element of a list of trees. An error of it gets the element's place in front:
/// "tasks[2]: member 'id' is missing; expected kind string".
template <typename Visit>
void for_each_tree(kxcore::property_list const& list, std::string_view name, Visit const& visit) {
    for (std::size_t index = 0; index < list.size(); ++index) {
        try {
            visit(expect_tree(list[index]));
        } catch (kxbase::es::arg const& error) {
            raise_from<kxbase::es::arg>(config_source_path,
                                        std::string(name) + '[' + std::to_string(index) + "]: " + error.message());
        }
    }
}

} // namespace kxclientutil
