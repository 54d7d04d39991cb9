#include "constraint_words.h"

#include <kxbase/errors.h>
#include <kxbase/utf8.h>
#include <kxcore/constraint.h>

#include <algorithm>

namespace kxcore::words {

namespace {

void append_byte_escape(std::string& out, char byte) {
    constexpr std::string_view digits = "0123456789abcdef";
    auto const value = static_cast<unsigned char>(byte);
    out += "\\x";
    out += digits[value >> 4U];
    out += digits[value & 15U];
}

bool is_control(char byte) {
    return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F;
}

void append_escaped(std::string& out, std::string_view text, bool (*needs_escape)(char)) {
    out += '"';
    for (char const byte : text) {
        if (byte == '"' || byte == '\\') {
            out += '\\';
            out += byte;
        } else if (byte == '\n') {
            out += "\\n";
        } else if (needs_escape(byte)) {
            append_byte_escape(out, byte);
        } else {
            out += byte;
        }
    }
    out += '"';
}

} // namespace

std::string_view type_name(constraint_kind kind) noexcept {
    switch (kind) {
    case constraint_kind::any: return "any";
    case constraint_kind::string: return "string";
    case constraint_kind::boolean: return "bool";
    case constraint_kind::integer: return "int";
    case constraint_kind::binary: return "binary";
    case constraint_kind::enumeration: return "enum";
    case constraint_kind::property: return "property";
    case constraint_kind::one_of: return "one-of";
    case constraint_kind::list: return "list";
    case constraint_kind::database: return "database";
    }
    return "";
}

void append_quoted(std::string& out, std::string_view text) {
    append_escaped(out, text, is_control);
}

void append_shown(std::string& out, std::string_view text) {
    if (kxbase::is_valid_utf8(text))
        append_escaped(out, text, is_control);
    else
        append_escaped(out, text,
                       [](char byte) { return is_control(byte) || static_cast<unsigned char>(byte) >= 0x80; });
}

void append_bounds(std::string& out, std::size_t min, std::size_t max) {
    if (min == 0 && max == unbounded) return;
    out += ' ';
    if (min == max) {
        out += std::to_string(min);
        return;
    }
    if (min != 0) out += std::to_string(min);
    out += "..";
    if (max != unbounded) out += std::to_string(max);
}

void append_part(std::string& out, constraint const& part) {
    out += '(';
    switch (part.kind()) {
    case constraint_kind::enumeration:
        out += "enum ";
        append_quoted(out, constraint_text(part));
        break;
    case constraint_kind::property:
        out += "property ";
        part.to_string(out);
        break;
    case constraint_kind::one_of:
        out += "one-of ";
        part.to_string(out);
        break;
    case constraint_kind::database:
        out += "database ";
        part.to_string(out);
        break;
    default: part.to_string(out); break;
    }
    out += ')';
}

void append_amount(std::string& out, std::size_t min, std::size_t max, std::string_view unit) {
    if (min == 0 && max == unbounded) return;
    out += " of ";
    if (min == max)
        out += counted(min, unit);
    else if (max == unbounded)
        out += "at least " + counted(min, unit);
    else if (min == 0)
        out += "at most " + counted(max, unit);
    else
        out += std::to_string(min) + " to " + counted(max, unit);
}

std::string counted(std::uint64_t count, std::string_view unit) {
    std::string text = std::to_string(count) + " ";
    text += unit;
    if (count != 1) text += 's';
    return text;
}

void check_bounds(std::size_t min, std::size_t max, std::string_view what) {
    if (min > max)
        kxbase::es::arg::raise("the bounds of " + std::string(what) + " cross: " + std::to_string(min) +
                               " is greater than " + std::to_string(max));
    constexpr auto greatest = static_cast<std::size_t>(std::numeric_limits<std::int64_t>::max());
    if (min > greatest || (max > greatest && max != unbounded))
        kxbase::es::arg::raise("the bounds of " + std::string(what) + " are greater than an int can hold");
}

std::size_t character_count(std::string_view text) noexcept {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80; }));
}

} // namespace kxcore::words
