#include "schema_text.h"

#include <kxbase/utf8.h>

#include <algorithm>
#include <map>

namespace kxcore {

namespace {

/// The texts that begin alike, by their next character.
struct branch {
    std::map<std::string, branch> next;
    bool ends_here = false;
};

std::string_view first_character(std::string_view text) noexcept;
void append_character(std::string& out, std::string_view character);
void append_others(std::string& out, branch const& at);

} // namespace

bool is_simple_kind(property_kind kind) noexcept {
    return kind == property_kind::string || kind == property_kind::boolean || kind == property_kind::integer ||
           kind == property_kind::binary;
}

bool fits_xml(std::string_view text) noexcept {
    bool const has_control = std::any_of(text.begin(), text.end(), [](char byte) {
        return static_cast<unsigned char>(byte) < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
    });
    return !has_control && kxbase::is_valid_utf8(text) && text.find("\xEF\xBF\xBE") == std::string_view::npos &&
           text.find("\xEF\xBF\xBF") == std::string_view::npos;
}

std::string pattern_of_others(std::set<std::string_view> const& texts) {
    branch root;
    for (std::string_view text : texts) {
        branch* at = &root;
        while (!text.empty()) {
            std::string_view const character = first_character(text);
            at = &at->next[std::string(character)];
            text.remove_prefix(character.size());
        }
        at->ends_here = true;
    }
    std::string out;
    append_others(out, root);
    return out;
}

namespace {

std::string_view first_character(std::string_view text) noexcept {
    auto const first = static_cast<unsigned char>(text.front());
    std::size_t const length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    return text.substr(0, length);
}

void append_character(std::string& out, std::string_view character) {
    if (std::string_view(R"(\|.?*+(){}-[]^)").find(character) != std::string_view::npos) out += '\\';
    out += character;
}

/// What may follow at a branch without making one of the texts: nothing where none ends, a character that none of them
/// has here and then anything, or one that some have and then what may follow there.
void append_others(std::string& out, branch const& at) {
    constexpr std::string_view anything = R"([\s\S]*)";
    out += '(';
    if (at.next.empty()) {
        out += R"([\s\S])";
    } else {
        out += "[^";
        for (auto const& [character, next] : at.next)
            append_character(out, character);
        out += ']';
    }
    out += anything;
    for (auto const& [character, next] : at.next) {
        out += '|';
        append_character(out, character);
        append_others(out, next);
    }
    out += ')';
    if (!at.ends_here) out += '?';
}

} // namespace

} // namespace kxcore
