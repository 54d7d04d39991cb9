#pragma once

// The words of the XML document format.

#include <kxcore/property.h>

#include <string_view>

namespace kxcore {

inline constexpr std::string_view root_name = "document";

/// The element that holds values of a kind: it is named like the kind.
[[nodiscard]] inline std::string_view element_name(property_kind kind) noexcept {
    return property_kind_name(kind);
}

/// The kind whose values the element holds; false when there is no such element.
[[nodiscard]] inline bool kind_of_element(std::string_view name, property_kind& kind) noexcept {
    return property_kind_from_name(name, kind);
}

/// Whether an encoding's name, as an XML declaration has it, means UTF-8.
[[nodiscard]] constexpr bool is_utf8_name(std::string_view name) noexcept {
    constexpr std::string_view utf8 = "utf-8";
    if (name.size() != utf8.size()) return false;
    for (std::size_t i = 0; i != utf8.size(); ++i) {
        char const lower = name[i] >= 'A' && name[i] <= 'Z' ? static_cast<char>(name[i] - 'A' + 'a') : name[i];
        if (lower != utf8[i]) return false;
    }
    return true;
}

} // namespace kxcore
