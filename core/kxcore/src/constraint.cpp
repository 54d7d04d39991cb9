#include <kxcore/constraint.h>

#include "constraint_nearest.h"
#include "limit_error.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxcore/property_special.h>
#include <kxcore/xml_writer.h>

#include <algorithm>

namespace kxcore {

constraint::~constraint() = default;

constraint::constraint(constraint const& other)
    : kxbase::object_refcount(other), depth_(other.depth_), parts_(other.parts_) {}

void constraint::to_documentation_xml(xml::writer& out, unsigned int /*levels*/) const {
    out.text_node("description", constraint_description(*this));
}

void constraint::to_documentation_html_xmlrpc(xml::writer& out, std::set<std::string>& /*documented*/) const {
    out.append(constraint_description(*this));
}

property_handle constraint::closest_valid_value(property_handle const& value) const {
    if (is_valid(value.get(), validity::none)) return value;
    if (property_handle nearest = nearest_valid_value(*this, value.get())) return nearest;
    return suggest_value();
}

bool constraint::exact_match(property const* /*value*/) const {
    return false;
}

void constraint::invalid_reason(property const* /*value*/, std::string& out, unsigned int /*flags*/) const {
    out += "must be ";
    describe(out);
}

bool constraint::operator==(constraint const& other) const {
    return kind() == other.kind() && property_kind() == other.property_kind() &&
           constraint_text(*this) == constraint_text(other);
}

bool constraint::is_flagged_valid(property const* value, unsigned int flags) {
    auto const* special = property_cast<property_special>(value);
    if (special == nullptr) return false;
    switch (special->sub_type()) {
    case property_special::e_sub_type::plain: return (flags & validity::deferred) != 0;
    case property_special::e_sub_type::variable: return (flags & validity::variable) != 0;
    case property_special::e_sub_type::context: return (flags & validity::context) != 0;
    case property_special::e_sub_type::credential: return (flags & validity::wrapped) != 0;
    }
    return false;
}

std::size_t constraint::deepest_nesting() noexcept {
    return std::min(kxbase::current_limits().nesting, kxbase::limit_nesting);
}

void constraint::check_extent(std::uint64_t depth, std::uint64_t parts) {
    std::size_t const deepest = deepest_nesting();
    if (depth > deepest)
        limit_error::raise("constraints nested deeper than " + std::to_string(deepest) + " levels (limit nesting)");
    std::size_t const most_parts = kxbase::current_limits().members;
    if (parts > most_parts)
        limit_error::raise("a constraint of more than " + std::to_string(most_parts) + " parts (limit members)");
}

void constraint::adopt(constraint const& part) {
    std::uint32_t const depth = std::max(depth_, part.depth_ + 1);
    std::uint64_t const parts = parts_ + part.parts_;
    check_extent(depth, parts);
    depth_ = depth;
    parts_ = parts;
    mark_part(part);
}

std::string constraint_text(constraint const& of) {
    std::string text;
    of.to_string(text);
    return text;
}

std::string constraint_description(constraint const& of) {
    std::string text;
    of.describe(text);
    return text;
}

} // namespace kxcore
