#include <kxcore/property_special.h>

#include <kxbase/errors.h>

#include <algorithm>
#include <array>
#include <string>

namespace kxcore {

namespace {

using e_type = property_special::e_type;
using e_sub_type = property_special::e_sub_type;

template <class T>
struct named {
    T value;
    std::string_view name;
};

constexpr std::array type_names{
    named<e_type>{e_type::deferred, "deferred"},
    named<e_type>{e_type::wrapped_urlupp, "wrapped-urlupp"},
    named<e_type>{e_type::wrapped_encrypted, "wrapped-encrypted"},
};

constexpr std::array sub_type_names{
    named<e_sub_type>{e_sub_type::plain, "plain"},
    named<e_sub_type>{e_sub_type::context, "context"},
    named<e_sub_type>{e_sub_type::variable, "variable"},
    named<e_sub_type>{e_sub_type::credential, "credential"},
};

template <class Table, class T>
std::string_view name_of(Table const& table, T value) noexcept {
    auto const* const found =
        std::find_if(table.begin(), table.end(), [value](auto const& entry) { return entry.value == value; });
    return found == table.end() ? std::string_view() : found->name;
}

template <class Table, class T>
bool value_of(Table const& table, std::string_view name, T& out) noexcept {
    auto const* const found =
        std::find_if(table.begin(), table.end(), [name](auto const& entry) { return entry.name == name; });
    if (found == table.end()) return false;
    out = found->value;
    return true;
}

} // namespace

property_special::property_special(e_type type, e_sub_type sub_type, property_kind value_kind, std::string_view text)
    : type_(type), sub_type_(sub_type), value_kind_(value_kind), text_(text) {}

kxbase::ptr_refcount<property_special> property_special::create_deferred(property_kind kind) {
    return create_from_parts(e_type::deferred, e_sub_type::plain, kind, {});
}

kxbase::ptr_refcount<property_special> property_special::create_deferred_variable(property_kind kind,
                                                                                  std::string_view name) {
    return create_from_parts(e_type::deferred, e_sub_type::variable, kind, name);
}

kxbase::ptr_refcount<property_special> property_special::create_deferred_context(property_kind kind,
                                                                                 std::string_view name) {
    return create_from_parts(e_type::deferred, e_sub_type::context, kind, name);
}

kxbase::ptr_refcount<property_special>
property_special::create_from_parts(e_type type, e_sub_type sub_type, property_kind value_kind, std::string_view text) {
    auto const refuse = [](std::string const& what, unsigned int number) {
        kxbase::es::arg::raise("a special value cannot have the " + what + " " + std::to_string(number));
    };
    if (special_type_name(type).empty()) refuse("type", static_cast<unsigned int>(type));
    bool const is_credential = sub_type == e_sub_type::credential;
    if (special_sub_type_name(sub_type).empty() || is_credential == (type == e_type::deferred)) {
        refuse("type " + std::to_string(static_cast<unsigned int>(type)) + " with the sub-type",
               static_cast<unsigned int>(sub_type));
    }
    if (value_kind == class_kind() || property_kind_name(value_kind).empty()) {
        refuse("value kind", static_cast<unsigned int>(value_kind));
    }
    return kxbase::ptr_refcount<property_special>::adopt(new property_special(type, sub_type, value_kind, text));
}

property_kind property_special::kind() const noexcept {
    return class_kind();
}

kxbase::ptr_refcount<property> property_special::clone() const {
    return create_from_parts(type_, sub_type_, value_kind_, text_);
}

std::string_view special_type_name(e_type type) noexcept {
    return name_of(type_names, type);
}

std::string_view special_sub_type_name(e_sub_type sub_type) noexcept {
    return name_of(sub_type_names, sub_type);
}

bool special_type_from_name(std::string_view name, e_type& out) noexcept {
    return value_of(type_names, name, out);
}

bool special_sub_type_from_name(std::string_view name, e_sub_type& out) noexcept {
    return value_of(sub_type_names, name, out);
}

} // namespace kxcore
