#include <kxcore/constraint_property.h>

#include "constraint_words.h"
#include "limit_error.h"
#include "property_text.h"

#include <kxbase/errors.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxcore/xml_writer.h>

#include <algorithm>

namespace kxcore {

namespace {

struct extent {
    std::uint64_t depth = 1;
    std::uint64_t parts = 1;
};

extent extent_of(property const& value, std::size_t level, std::size_t deepest);

} // namespace

constraint_property::constraint_property(property_handle value) : value_(std::move(value)) {
    if (!value_) kxbase::es::arg::raise("a constraint on one value needs a value");
    // What a fixed value holds counts like the parts of a constraint, since it may carry constraints in its turn.
    extent const inside = extent_of(*value_, 1, deepest_nesting());
    check_extent(inside.depth, inside.parts);
    set_extent(static_cast<std::uint32_t>(inside.depth), inside.parts);
}

constraint_property::~constraint_property() = default;
constraint_property::constraint_property(constraint_property const&) = default;

constraint_kind constraint_property::kind() const {
    return constraint_kind::property;
}

kxbase::ptr_refcount<constraint> constraint_property::clone() const {
    return kxbase::make_refcount<constraint_property>(*this);
}

property_kind constraint_property::property_kind() const {
    return value_->kind();
}

void constraint_property::to_string(std::string& out) const {
    out += property_kind_name(value_->kind());
    std::string text;
    detail::append_checked_text(text, *value_);
    out += ' ';
    words::append_quoted(out, text);
}

void constraint_property::to_rng(xml::writer& out) const {
    switch (value_->kind()) {
    case kxcore::property_kind::string: out.text_node("value", {{"type", "string"}}, value_->to_string()); break;
    case kxcore::property_kind::boolean: out.text_node("value", value_->to_string()); break;
    case kxcore::property_kind::integer: out.text_node("value", {{"type", "long"}}, value_->to_string()); break;
    case kxcore::property_kind::binary: out.text_node("value", {{"type", "base64Binary"}}, value_->to_string()); break;
    default: out.empty_node("ref", "name", "any-" + std::string(property_kind_name(value_->kind()))); break;
    }
}

void constraint_property::to_xsd(xml::writer& out) const {
    std::string_view base;
    switch (value_->kind()) {
    case kxcore::property_kind::string:
    case kxcore::property_kind::boolean: base = "xs:string"; break;
    case kxcore::property_kind::integer: base = "xs:long"; break;
    case kxcore::property_kind::binary: base = "xs:base64Binary"; break;
    default: break;
    }
    if (base.empty()) {
        out.start_node("xs:complexType");
        out.start_node("xs:complexContent");
        out.empty_node("xs:extension", "base", "any-content");
    } else {
        out.start_node("xs:simpleType");
        out.start_node("xs:restriction", "base", base);
        out.empty_node("xs:enumeration", "value", value_->to_string());
    }
    out.end_node();
    out.end_node();
}

property_handle constraint_property::suggest_value() const {
    return value_->kind() == kxcore::property_kind::special ? property_handle() : value_;
}

bool constraint_property::exact_match(property const* value) const {
    return constraint_property::is_valid(value, validity::none);
}

bool constraint_property::is_valid(property const* value, unsigned int flags) const {
    if (value == nullptr) return false;
    if (value->kind() == kxcore::property_kind::special) return is_flagged_valid(value, flags);
    return *value_ == *value;
}

void constraint_property::describe(std::string& out) const {
    switch (value_->kind()) {
    case kxcore::property_kind::string:
        out += "the string ";
        words::append_shown(out, static_cast<property_string const&>(*value_).value());
        break;
    case kxcore::property_kind::boolean:
    case kxcore::property_kind::integer:
        out += "the ";
        out += property_kind_name(value_->kind());
        out += ' ' + value_->to_string();
        break;
    case kxcore::property_kind::special: out += "a special value that nothing matches"; break;
    default:
        out += "equal to a given ";
        out += value_->kind() == kxcore::property_kind::properties ? "tree" : property_kind_name(value_->kind());
        break;
    }
}

namespace {

extent extent_of(property const& value, std::size_t level, std::size_t deepest) {
    if (level > deepest)
        limit_error::raise("a constraint's value is nested deeper than " + std::to_string(deepest) +
                           " levels (limit nesting)");
    extent all;
    auto const add = [&](extent const& inside) {
        all.depth = std::max(all.depth, inside.depth + 1);
        all.parts += inside.parts;
    };
    if (auto const* tree = property_cast<properties>(&value))
        for (property_member const& member : *tree) {
            // Otherwise two values that differ could have one text.
            if (std::string_view const fault = property_key_fault(member.key()); !fault.empty())
                kxbase::es::arg::raise("a constraint's value holds a key that " + std::string(fault));
            add(extent_of(*member.value(), level + 1, deepest));
        }
    else if (auto const* list = property_cast<property_list>(&value))
        for (property_handle const& element : *list)
            add(extent_of(*element, level + 1, deepest));
    else if (auto const* carried = property_cast<property_constraint>(&value))
        add({carried->value()->depth(), carried->value()->parts()});
    return all;
}

} // namespace

} // namespace kxcore
