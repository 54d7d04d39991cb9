#include <kxcore/constraint.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

#include "children.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <vector>

namespace kxcore {

namespace {

// More is for to_string.
constexpr std::size_t most_shown = 120;
constexpr std::size_t deepest_indentation = 64;

void append_quoted(std::string& out, std::string_view text);
void describe_container(std::string& out, property const& container);

} // namespace

std::string property::describe() const {
    std::string text;
    describe(text);
    return text;
}

void property_string::describe(std::string& out) const {
    out += "string ";
    append_quoted(out, value());
}

void property_bool::describe(std::string& out) const {
    out += value_ ? "bool true" : "bool false";
}

void property_int::describe(std::string& out) const {
    out += "int ";
    to_string(out);
}

void property_binary::describe(std::string& out) const {
    out += "binary of " + std::to_string(value_.size()) + " bytes";
}

void property_constraint::describe(std::string& out) const {
    out += "constraint: ";
    value_->describe(out);
}

void property_special::describe(std::string& out) const {
    out += special_type_name(type_);
    out += ' ';
    out += property_kind_name(value_kind_);
    if (type_ == e_type::deferred && sub_type_ != e_sub_type::plain) {
        out += " from ";
        out += special_sub_type_name(sub_type_);
        out += ' ';
        append_quoted(out, text_);
    }
}

void properties::describe(std::string& out) const {
    describe_container(out, *this);
}

void property_list::describe(std::string& out) const {
    describe_container(out, *this);
}

namespace {

void append_quoted(std::string& out, std::string_view text) {
    out += '"';
    for (char const byte : text.substr(0, most_shown)) {
        if (static_cast<unsigned char>(byte) < 0x20 || byte == '\x7f') {
            constexpr std::string_view digits = "0123456789abcdef";
            out += "\\x";
            out += digits[static_cast<unsigned char>(byte) >> 4U];
            out += digits[static_cast<unsigned char>(byte) & 15U];
        } else {
            if (byte == '"' || byte == '\\') out += '\\';
            out += byte;
        }
    }
    out += '"';
    if (text.size() > most_shown) out += "... (" + std::to_string(text.size()) + " bytes)";
}

void append_heading(std::string& out, property const& value) {
    if (value.kind() == property_kind::properties) {
        out += "properties of " + std::to_string(static_cast<properties const&>(value).size());
    } else if (value.kind() == property_kind::list) {
        out += "list of " + std::to_string(static_cast<property_list const&>(value).size());
    } else {
        value.describe(out);
    }
}

void describe_container(std::string& out, property const& container) {
    std::size_t const begin = out.size();
    std::size_t const limit = kxbase::current_limits().expansion;
    append_heading(out, container);
    std::vector<detail::children> open{detail::children(container)};
    while (!open.empty()) {
        detail::children& current = open.back();
        if (current.at_end()) {
            open.pop_back();
            continue;
        }
        out += '\n';
        out.append(std::min(2 * open.size(), deepest_indentation), ' ');
        if (current.is_tree()) {
            append_quoted(out, current.key().text());
        } else {
            out += '[' + std::to_string(current.index()) + ']';
        }
        out += ": ";
        property const& value = *current.value();
        append_heading(out, value);
        if (out.size() - begin > limit) {
            kxbase::es::arg::raise("the description of a tree is longer than " + std::to_string(limit) +
                                   " bytes (limit expansion)");
        }
        current.next();
        if (detail::is_container(value)) open.emplace_back(value);
    }
}

} // namespace

} // namespace kxcore
