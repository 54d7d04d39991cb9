#pragma once

/// @file
/// Texts of somebody else, which may be long.

#include <kxbase/urls.h>

#include <string>
#include <string_view>

namespace devnode {

/// The text when it has no more than so many bytes, else its beginning, to the end of a character, and "...".
[[nodiscard]] inline std::string shortened(std::string_view text, std::size_t most) {
    constexpr std::string_view more = "...";
    if (text.size() <= most) return std::string(text);
    std::size_t size = most - more.size();
    auto const is_inside_character = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; };
    while (size != 0 && is_inside_character(text[size]))
        --size;
    return std::string(text.substr(0, size)).append(more);
}

/// The same for people: a secret of a URL in it is masked before it could be cut, and then not be known for one.
[[nodiscard]] inline std::string shown_beginning(std::string_view text, std::size_t most) {
    return shortened(kxbase::without_url_secrets(text), most);
}

} // namespace devnode
