#include <kxcore/constraint.h>
#include <kxcore/constraint_codec.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

#include "leaf_walk.h"
#include "property_text.h"
#include "text_escape.h"

#include <kxbase/base64.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <charconv>

namespace kxcore {

namespace {

void append_value_escaped(std::string& out, property const& value, bool one_line);
void append_leaf_text(std::string& out, property const& leaf);
void append_references(std::string& out, property const& container);
/// @param limits null for a value that was checked already
void append_references_with_kinds(std::string& out, property const& container, kxbase::limits const* limits);

} // namespace

std::string property::to_string() const {
    std::string text;
    to_string(text);
    return text;
}

void property::encode(property const* value, std::string& out, bool one_line) {
    if (value == nullptr) return;
    if (detail::is_container(*value)) {
        kxbase::limits const limits = kxbase::current_limits();
        append_references_with_kinds(out, *value, &limits);
    } else {
        append_value_escaped(out, *value, one_line);
    }
}

void detail::append_checked_text(std::string& out, property const& value) {
    if (is_container(value)) {
        append_references_with_kinds(out, value, nullptr);
    } else {
        append_value_escaped(out, value, true);
    }
}

void property_string::to_string(std::string& out) const {
    out += value();
}

void property_bool::to_string(std::string& out) const {
    out += value_ ? "true" : "false";
}

void property_int::to_string(std::string& out) const {
    char digits[20];
    auto const written = std::to_chars(std::begin(digits), std::end(digits), value_);
    out.append(digits, written.ptr);
}

void property_binary::to_string(std::string& out) const {
    kxbase::base64_encode(value_.text(), out);
}

void property_constraint::to_string(std::string& out) const {
    append_references_with_kinds(out, *constraint_to_tree(*value_), nullptr);
}

void property_special::to_string(std::string& out) const {
    out += special_type_name(type_);
    out += ':';
    out += special_sub_type_name(sub_type_);
    out += ':';
    out += property_kind_name(value_kind_);
    out += ':';
    out += text_;
}

void properties::to_string(std::string& out) const {
    append_references(out, *this);
}

void property_list::to_string(std::string& out) const {
    append_references(out, *this);
}

namespace {

void append_value_escaped(std::string& out, property const& value, bool one_line) {
    std::string const text = value.to_string();
    detail::append_escaped(out, text, [one_line](char byte) {
        bool const is_control = static_cast<unsigned char>(byte) < 0x20 || byte == '\x7f';
        return byte != '%' && byte != '|' && !(one_line && is_control);
    });
}

void append_leaf_text(std::string& out, property const& leaf) {
    if (leaf.kind() == property_kind::string) {
        detail::append_escaped(out, static_cast<property_string const&>(leaf).value(), detail::is_query_byte);
    } else {
        detail::append_escaped(out, leaf.to_string(), detail::is_query_byte);
    }
}

void check_size(std::size_t size, std::size_t limit) {
    if (size > limit) {
        kxbase::es::arg::raise("the text of a tree is longer than " + std::to_string(limit) +
                               " bytes (limit expansion)");
    }
}

void append_references(std::string& out, property const& container) {
    std::size_t const begin = out.size();
    std::size_t const limit = kxbase::current_limits().expansion;
    for (detail::leaf_walk walk(container); walk.next();) {
        if (detail::is_container(walk.value())) continue;
        if (out.size() != begin) out += '&';
        detail::append_escaped(out, walk.path(), detail::is_query_byte);
        out += '=';
        append_leaf_text(out, walk.value());
        check_size(out.size() - begin, limit);
    }
}

void append_references_with_kinds(std::string& out, property const& container, kxbase::limits const* limits) {
    std::size_t const begin = out.size();
    for (detail::leaf_walk walk(container, limits); walk.next();) {
        if (out.size() != begin) out += '&';
        detail::append_escaped(out, walk.path(), detail::is_query_byte);
        if (walk.value().kind() != property_kind::string) {
            out += ';';
            out += property_kind_name(walk.value().kind());
        }
        out += '=';
        append_leaf_text(out, walk.value());
        if (limits != nullptr) check_size(out.size() - begin, limits->expansion);
    }
}

} // namespace

} // namespace kxcore
