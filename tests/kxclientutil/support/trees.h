// Short words for the values that tests write down: `tree({{"name", text("News")}, {"tasks", list({})}})`.
#pragma once

#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

#include <initializer_list>
#include <list>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kx_test {

using kxcore::properties;
using kxcore::property_handle;
using kxcore::property_kind;
using kxcore::property_list;
using tree_handle = kxbase::ptr_refcount<properties>;

[[nodiscard]] inline property_handle text(std::string_view value) {
    return kxbase::make_refcount<kxcore::property_string>(value);
}

[[nodiscard]] inline property_handle flag(bool value) {
    return kxbase::make_refcount<kxcore::property_bool>(value);
}

[[nodiscard]] inline property_handle number(std::int64_t value) {
    return kxbase::make_refcount<kxcore::property_int>(value);
}

[[nodiscard]] inline property_handle bytes(std::string_view value) {
    auto const binary = kxbase::make_refcount<kxcore::property_binary>();
    binary->value().append(value);
    return binary;
}

[[nodiscard]] inline property_handle context(std::string_view name, property_kind kind = property_kind::string) {
    return kxcore::property_special::create_deferred_context(kind, name);
}

[[nodiscard]] inline property_handle deferred(property_kind kind = property_kind::string) {
    return kxcore::property_special::create_deferred(kind);
}

[[nodiscard]] inline property_handle output_reference(std::string_view name,
                                                      property_kind kind = property_kind::string) {
    return kxcore::property_special::create_deferred_variable(kind, name);
}

[[nodiscard]] inline tree_handle tree(std::initializer_list<std::pair<char const*, property_handle>> members) {
    auto made = kxbase::make_refcount<properties>(false);
    for (auto const& [key, value] : members)
        made->set_property(key, value);
    return made;
}

[[nodiscard]] inline property_handle list(std::vector<property_handle> const& values) {
    return kxbase::make_refcount<property_list>(values);
}

[[nodiscard]] inline property_handle texts(std::vector<std::string> const& values) {
    return kxbase::make_refcount<property_list>(values);
}

/// The string at a path; a text that no test expects when there is none.
[[nodiscard]] inline std::string text_at(properties const& from, std::string_view path) {
    auto const* const found = kxcore::property_cast<kxcore::property_string>(from.find_referenced(path));
    return found ? std::string(found->value()) : "(no string at " + std::string(path) + ")";
}

/// The strings of a list at a path.
[[nodiscard]] inline std::vector<std::string> texts_at(properties const& from, std::string_view path) {
    std::vector<std::string> found;
    auto const* const values = kxcore::property_cast<property_list>(from.find_referenced(path));
    if (!values) return {"(no list at " + std::string(path) + ")"};
    for (property_handle const& value : *values) {
        auto const* const one = kxcore::property_cast<kxcore::property_string>(value.get());
        found.push_back(one ? std::string(one->value()) : "(no string)");
    }
    return found;
}

/// The value at a path as a context variable's name.
[[nodiscard]] inline std::string context_at(properties const& from, std::string_view path) {
    auto const* const found = kxcore::property_cast<kxcore::property_special>(from.find_referenced(path));
    if (!found || found->sub_type() != kxcore::property_special::e_sub_type::context)
        return "(no context at " + std::string(path) + ")";
    return std::string(found->value());
}

/// The message of the error of family `Error` that the call raises; says so when there is none.
template <typename Error, typename Call>
[[nodiscard]] std::string message_of(Call const& call) {
    try {
        call();
    } catch (Error const& error) {
        return error.message();
    }
    return "(nothing raised)";
}

} // namespace kx_test

namespace kxcore {

// How a tree shows in the message of a failed expectation.
inline void PrintTo(properties const& tree, std::ostream* out) {
    std::string described;
    tree.describe(described);
    *out << described;
}

} // namespace kxcore
