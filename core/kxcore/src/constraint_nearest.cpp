#include "constraint_nearest.h"

#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/constraint_values.h>
#include <kxcore/nearest_text.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace kxcore {

namespace {

std::optional<std::int64_t> number_in(property const& value) {
    if (auto const* number = property_cast<property_int>(&value)) return number->value();
    auto const* string = property_cast<property_string>(&value);
    if (string == nullptr) return std::nullopt;
    std::string_view const text = string->value();
    std::int64_t number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

property_handle nearest_int(constraint_int const& of, property const& value) {
    std::optional<std::int64_t> const number = number_in(value);
    if (!number) return {};
    return kxbase::make_refcount<property_int>(std::clamp(*number, of.min(), of.max()));
}

property_handle nearest_bool(property const& value) {
    if (auto const* number = property_cast<property_int>(&value))
        return kxbase::make_refcount<property_bool>(number->value() != 0);
    auto const* string = property_cast<property_string>(&value);
    if (string == nullptr) return {};
    struct word {
        std::string_view text;
        bool means;
    };
    constexpr word known[] = {{"true", true},   {"yes", true}, {"on", true},   {"1", true},
                              {"false", false}, {"no", false}, {"off", false}, {"0", false}};
    for (word const& each : known)
        if (edit_distance(string->value(), each.text) == 0) return kxbase::make_refcount<property_bool>(each.means);
    return {};
}

property_handle nearest_string(constraint_string const& of, property const& value) {
    bool const has_text = value.kind() == property_kind::string || value.kind() == property_kind::boolean ||
                          value.kind() == property_kind::integer;
    if (!has_text) return {};
    std::string text = value.to_string();
    // Too long: cut, at the end of a character.
    std::size_t characters = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        bool const begins = (static_cast<unsigned char>(text[at]) & 0xC0U) != 0x80;
        if (begins && ++characters > of.max_length()) text.resize(at);
    }
    property_handle cut = kxbase::make_refcount<property_string>(text);
    return of.is_valid(cut.get(), validity::none) ? cut : property_handle();
}

property_handle nearest_of_enum(constraint_enum const& of, property const& value) {
    auto const* string = property_cast<property_string>(&value);
    if (string == nullptr || of.allowed().empty()) return {};
    property_handle nearest;
    auto least = static_cast<std::size_t>(-1);
    for (property_handle const& each : of.allowed()) {
        std::size_t const distance = edit_distance(string->value(), static_cast<property_string const&>(*each).value());
        if (distance >= least) continue;
        least = distance;
        nearest = each;
    }
    return nearest;
}

property_handle nearest_list(constraint_list const& of, property const& value) {
    auto const* list = property_cast<property_list>(&value);
    auto made = kxbase::make_refcount<property_list>();
    std::size_t const given = list != nullptr ? list->size() : 1;
    for (std::size_t i = 0; i < std::min(given, of.max_size()); ++i) {
        // A single value in place of a list is the list of that value.
        property_handle const element = list != nullptr ? (*list)[i] : property_handle(&value);
        property_handle nearest = of.element()->closest_valid_value(element);
        if (!nearest) return {};
        made->push_back(std::move(nearest));
    }
    property_handle result = made;
    return of.is_valid(result.get(), validity::none) ? result : property_handle();
}

property_handle nearest_of_several(constraint_one_of const& of, property const& value) {
    property_handle of_other_kind;
    for (auto const& each : of.alternatives()) {
        property_handle nearest = nearest_valid_value(*each, &value);
        if (nearest && nearest->kind() == value.kind()) return nearest;
        if (nearest && !of_other_kind) of_other_kind = nearest;
    }
    return of_other_kind;
}

} // namespace

property_handle nearest_valid_value(constraint const& of, property const* value) {
    if (value == nullptr) return {};
    switch (of.kind()) {
    case constraint_kind::integer: return nearest_int(static_cast<constraint_int const&>(of), *value);
    case constraint_kind::boolean: return nearest_bool(*value);
    case constraint_kind::string: return nearest_string(static_cast<constraint_string const&>(of), *value);
    case constraint_kind::enumeration: return nearest_of_enum(static_cast<constraint_enum const&>(of), *value);
    case constraint_kind::list: return nearest_list(static_cast<constraint_list const&>(of), *value);
    case constraint_kind::one_of: return nearest_of_several(static_cast<constraint_one_of const&>(of), *value);
    default: return {};
    }
}

} // namespace kxcore
