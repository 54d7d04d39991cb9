#include <kxcore/constraint_values.h>

#include "constraint_words.h"
#include "schema_text.h"

#include <kxbase/errors.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxcore/xml_writer.h>

#include <algorithm>

namespace kxcore {

// any

constraint_kind constraint_any::kind() const {
    return constraint_kind::any;
}

kxbase::ptr_refcount<constraint> constraint_any::clone() const {
    return kxbase::make_refcount<constraint_any>(*this);
}

property_kind constraint_any::property_kind() const {
    return of_;
}

void constraint_any::to_string(std::string& out) const {
    out += "any";
    if (of_ == kxcore::property_kind::special) return;
    out += ' ';
    out += property_kind_name(of_);
}

void constraint_any::to_rng(xml::writer& out) const {
    bool const is_known = of_ != kxcore::property_kind::special;
    out.empty_node("ref", "name", is_known ? "any-" + std::string(property_kind_name(of_)) : "any-content");
}

void constraint_any::to_xsd(xml::writer& out) const {
    if (is_simple_kind(of_)) return write_xsd_simple_kind(out, of_);
    out.start_node("xs:complexType");
    out.start_node("xs:complexContent");
    out.empty_node("xs:extension", "base", "any-content");
    out.end_node();
    out.end_node();
}

property_handle constraint_any::suggest_value() const {
    switch (of_) {
    case kxcore::property_kind::boolean: return kxbase::make_refcount<property_bool>(false);
    case kxcore::property_kind::integer: return kxbase::make_refcount<property_int>(0);
    case kxcore::property_kind::binary: return kxbase::make_refcount<property_binary>();
    case kxcore::property_kind::properties: return kxbase::make_refcount<properties>();
    case kxcore::property_kind::list: return kxbase::make_refcount<property_list>();
    case kxcore::property_kind::constraint: return {};
    default: return kxbase::make_refcount<property_string>();
    }
}

bool constraint_any::is_valid(property const* value, unsigned int flags) const {
    if (value == nullptr) return false;
    if (value->kind() == kxcore::property_kind::special) return is_flagged_valid(value, flags);
    return of_ == kxcore::property_kind::special || value->kind() == of_;
}

void constraint_any::describe(std::string& out) const {
    out += "any ";
    if (of_ == kxcore::property_kind::special)
        out += "value";
    else if (of_ == kxcore::property_kind::properties)
        out += "tree";
    else
        out += property_kind_name(of_);
}

// bool

constraint_kind constraint_bool::kind() const {
    return constraint_kind::boolean;
}

kxbase::ptr_refcount<constraint> constraint_bool::clone() const {
    return kxbase::make_refcount<constraint_bool>(*this);
}

property_kind constraint_bool::property_kind() const {
    return property_bool::class_kind();
}

void constraint_bool::to_string(std::string& out) const {
    out += "bool";
}

void constraint_bool::to_rng(xml::writer& out) const {
    out.empty_node("ref", "name", "any-bool");
}

void constraint_bool::to_xsd(xml::writer& out) const {
    write_xsd_simple_kind(out, kxcore::property_kind::boolean);
}

property_handle constraint_bool::suggest_value() const {
    return kxbase::make_refcount<property_bool>(false);
}

bool constraint_bool::is_valid(property const* value, unsigned int flags) const {
    return property_cast<property_bool>(value) != nullptr || is_flagged_valid(value, flags);
}

void constraint_bool::describe(std::string& out) const {
    out += "a bool";
}

// int

namespace {

constexpr std::int64_t least_int = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t greatest_int = std::numeric_limits<std::int64_t>::max();

} // namespace

constraint_int::constraint_int(std::int64_t min, std::int64_t max) : min_(min), max_(max) {
    if (min > max)
        kxbase::es::arg::raise("the bounds of an int cross: " + std::to_string(min) + " is greater than " +
                               std::to_string(max));
}

constraint_kind constraint_int::kind() const {
    return constraint_kind::integer;
}

kxbase::ptr_refcount<constraint> constraint_int::clone() const {
    return kxbase::make_refcount<constraint_int>(*this);
}

property_kind constraint_int::property_kind() const {
    return property_int::class_kind();
}

void constraint_int::to_string(std::string& out) const {
    out += "int";
    if (min_ == least_int && max_ == greatest_int) return;
    out += ' ';
    if (min_ == max_) {
        out += std::to_string(min_);
        return;
    }
    if (min_ != least_int) out += std::to_string(min_);
    out += "..";
    if (max_ != greatest_int) out += std::to_string(max_);
}

void constraint_int::to_rng(xml::writer& out) const {
    if (min_ == least_int && max_ == greatest_int) {
        out.empty_node("ref", "name", "any-int");
        return;
    }
    out.start_node("data", "type", "long");
    if (min_ != least_int) out.text_node("param", {{"name", "minInclusive"}}, std::to_string(min_));
    if (max_ != greatest_int) out.text_node("param", {{"name", "maxInclusive"}}, std::to_string(max_));
    out.text_node("param", {{"name", "pattern"}}, int_pattern);
    out.end_node();
}

void constraint_int::to_xsd(xml::writer& out) const {
    out.start_node("xs:simpleType");
    out.start_node("xs:restriction", "base", "xs:long");
    if (min_ != least_int) out.empty_node("xs:minInclusive", "value", std::to_string(min_));
    if (max_ != greatest_int) out.empty_node("xs:maxInclusive", "value", std::to_string(max_));
    out.empty_node("xs:pattern", "value", int_pattern);
    out.end_node();
    out.end_node();
}

property_handle constraint_int::suggest_value() const {
    return kxbase::make_refcount<property_int>(std::clamp<std::int64_t>(0, min_, max_));
}

bool constraint_int::exact_match(property const* value) const {
    return min_ == max_ && constraint_int::is_valid(value, validity::none);
}

bool constraint_int::is_valid(property const* value, unsigned int flags) const {
    auto const* number = property_cast<property_int>(value);
    if (number == nullptr) return is_flagged_valid(value, flags);
    return number->value() >= min_ && number->value() <= max_;
}

void constraint_int::describe(std::string& out) const {
    out += "an int";
    if (min_ == max_)
        out += " equal to " + std::to_string(min_);
    else if (min_ != least_int && max_ != greatest_int)
        out += " from " + std::to_string(min_) + " to " + std::to_string(max_);
    else if (min_ != least_int)
        out += " of at least " + std::to_string(min_);
    else if (max_ != greatest_int)
        out += " of at most " + std::to_string(max_);
}

// binary

namespace {

constexpr std::size_t longest_binary_suggestion = 1024;

} // namespace

constraint_binary::constraint_binary(std::size_t min_size, std::size_t max_size)
    : min_size_(min_size), max_size_(max_size) {
    words::check_bounds(min_size, max_size, "a binary value's size");
}

constraint_kind constraint_binary::kind() const {
    return constraint_kind::binary;
}

kxbase::ptr_refcount<constraint> constraint_binary::clone() const {
    return kxbase::make_refcount<constraint_binary>(*this);
}

property_kind constraint_binary::property_kind() const {
    return property_binary::class_kind();
}

void constraint_binary::to_string(std::string& out) const {
    out += "binary";
    words::append_bounds(out, min_size_, max_size_);
}

void constraint_binary::to_rng(xml::writer& out) const {
    out.start_node("data", "type", "base64Binary");
    if (min_size_ != 0) out.text_node("param", {{"name", "minLength"}}, std::to_string(min_size_));
    if (max_size_ != unbounded) out.text_node("param", {{"name", "maxLength"}}, std::to_string(max_size_));
    out.end_node();
}

void constraint_binary::to_xsd(xml::writer& out) const {
    out.start_node("xs:simpleType");
    out.start_node("xs:restriction", "base", "xs:base64Binary");
    if (min_size_ != 0) out.empty_node("xs:minLength", "value", std::to_string(min_size_));
    if (max_size_ != unbounded) out.empty_node("xs:maxLength", "value", std::to_string(max_size_));
    out.end_node();
    out.end_node();
}

property_handle constraint_binary::suggest_value() const {
    if (min_size_ > longest_binary_suggestion) return {};
    auto value = kxbase::make_refcount<property_binary>();
    value->value().append(std::string(min_size_, '\0'));
    return value;
}

bool constraint_binary::is_valid(property const* value, unsigned int flags) const {
    auto const* binary = property_cast<property_binary>(value);
    if (binary == nullptr) return is_flagged_valid(value, flags);
    return binary->value().size() >= min_size_ && binary->value().size() <= max_size_;
}

void constraint_binary::describe(std::string& out) const {
    out += "a binary value";
    words::append_amount(out, min_size_, max_size_, "byte");
}

} // namespace kxcore
