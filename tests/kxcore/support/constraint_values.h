#pragma once

/// @file
/// Short ways to write values and constraints in tests.

#include <kxbase/errors.h>
#include <kxcore/constraint.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kxcore::constraint_tests {

using value = property_handle;
using rule = kxbase::ptr_refcount<constraint const>;

inline value str(std::string_view text) {
    return kxbase::make_refcount<property_string>(text);
}
inline value num(std::int64_t number) {
    return kxbase::make_refcount<property_int>(number);
}
inline value flag(bool on) {
    return kxbase::make_refcount<property_bool>(on);
}
inline value bytes(std::string_view content) {
    auto made = kxbase::make_refcount<property_binary>();
    made->value().append(content);
    return made;
}
inline kxbase::ptr_refcount<properties> tree(std::initializer_list<std::pair<std::string_view, value>> members = {}) {
    auto made = kxbase::make_refcount<properties>();
    for (auto const& [key, member] : members)
        made->set_property(key, member);
    return made;
}
inline kxbase::ptr_refcount<property_list> list(std::initializer_list<value> elements = {}) {
    return kxbase::make_refcount<property_list>(std::vector<value>(elements));
}
inline value carried(rule const& by) {
    return kxbase::make_refcount<property_constraint>(by);
}
inline value deferred() {
    return property_special::create_deferred(property_kind::string);
}
inline value variable() {
    return property_special::create_deferred_variable(property_kind::string, "dest-url");
}
inline value context() {
    return property_special::create_deferred_context(property_kind::string, "workflow.source-name");
}
inline value wrapped(std::string_view text = "ciphertext") {
    return property_special::create_from_parts(property_special::e_type::wrapped_encrypted,
                                               property_special::e_sub_type::credential, property_kind::string, text);
}

template <class T, class... Args>
rule make(Args&&... args) {
    return kxbase::make_refcount<T>(std::forward<Args>(args)...);
}

inline std::string reason(constraint const& by, value const& of, unsigned int flags = 0) {
    std::string text;
    by.invalid_reason(of.get(), text, flags);
    return text;
}

/// The message of the es::arg that the call raises; fails the test when it raises none.
template <class Call>
std::string argument_error(Call const& call) {
    try {
        call();
    } catch (kxbase::es::arg const& error) {
        return error.message();
    }
    ADD_FAILURE() << "nothing was raised";
    return {};
}

} // namespace kxcore::constraint_tests
