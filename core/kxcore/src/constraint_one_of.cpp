#include <kxcore/constraint_one_of.h>

#include "constraint_words.h"

#include <kxbase/errors.h>
#include <kxcore/property.h>
#include <kxcore/xml_writer.h>

#include <algorithm>

namespace kxcore {

using part = kxbase::ptr_refcount<constraint const>;

constraint_one_of::constraint_one_of(std::vector<part> alternatives) : alternatives_(std::move(alternatives)) {
    for (part const& each : alternatives_) {
        if (!each) kxbase::es::arg::raise("an alternative must be a constraint");
        adopt(*each);
    }
}

constraint_one_of::~constraint_one_of() = default;
constraint_one_of::constraint_one_of(constraint_one_of const&) = default;

std::span<part const> constraint_one_of::alternatives() const noexcept {
    return alternatives_;
}

constraint_kind constraint_one_of::kind() const {
    return constraint_kind::one_of;
}

kxbase::ptr_refcount<constraint> constraint_one_of::clone() const {
    return kxbase::make_refcount<constraint_one_of>(*this);
}

property_kind constraint_one_of::property_kind() const {
    if (alternatives_.empty()) return kxcore::property_kind::special;
    auto const first = alternatives_.front()->property_kind();
    bool const all = std::all_of(alternatives_.begin(), alternatives_.end(),
                                 [first](part const& each) { return each->property_kind() == first; });
    return all ? first : kxcore::property_kind::special;
}

void constraint_one_of::to_string(std::string& out) const {
    for (part const& each : alternatives_)
        words::append_part(out, *each);
}

void constraint_one_of::to_rng(xml::writer& out) const {
    if (alternatives_.empty()) {
        out.empty_node("notAllowed");
        return;
    }
    out.start_node("choice");
    for (part const& each : alternatives_) {
        // One alternative may be a sequence of patterns.
        out.start_node("group");
        each->to_rng(out);
        out.end_node();
    }
    out.end_node();
}

// A union can hold simple types only; of others, anything is accepted.
void constraint_one_of::to_xsd(xml::writer& out) const {
    auto const is_simple = [](part const& each) {
        switch (each->property_kind()) {
        case kxcore::property_kind::string:
        case kxcore::property_kind::boolean:
        case kxcore::property_kind::integer:
        case kxcore::property_kind::binary: return true;
        default: return false;
        }
    };
    if (!alternatives_.empty() && std::all_of(alternatives_.begin(), alternatives_.end(), is_simple)) {
        out.start_node("xs:simpleType");
        out.start_node("xs:union");
        for (part const& each : alternatives_)
            each->to_xsd(out);
    } else {
        out.start_node("xs:complexType");
        out.start_node("xs:complexContent");
        out.empty_node("xs:extension", "base", "any-content");
    }
    out.end_node();
    out.end_node();
}

void constraint_one_of::to_documentation_xml(xml::writer& out, unsigned int levels) const {
    out.start_node("one-of");
    constraint::to_documentation_xml(out, levels);
    if (levels > 0)
        for (part const& each : alternatives_) {
            out.start_node("alternative");
            each->to_documentation_xml(out, levels - 1);
            out.end_node();
        }
    out.end_node();
}

void constraint_one_of::to_documentation_html_xmlrpc(xml::writer& out, std::set<std::string>& documented) const {
    if (alternatives_.empty()) {
        out.append(constraint_description(*this));
        return;
    }
    out.append("One of");
    out.start_node("ul");
    for (part const& each : alternatives_) {
        out.start_node("li");
        each->to_documentation_html_xmlrpc(out, documented);
        out.end_node();
    }
    out.end_node();
}

property_handle constraint_one_of::suggest_value() const {
    for (part const& each : alternatives_)
        if (property_handle value = each->suggest_value()) return value;
    return {};
}

bool constraint_one_of::exact_match(property const* value) const {
    return !alternatives_.empty() && std::all_of(alternatives_.begin(), alternatives_.end(),
                                                 [value](part const& each) { return each->exact_match(value); });
}

bool constraint_one_of::is_valid(property const* value, unsigned int flags) const {
    if (is_flagged_valid(value, flags)) return true;
    return std::any_of(alternatives_.begin(), alternatives_.end(),
                       [value, flags](part const& each) { return each->is_valid(value, flags); });
}

void constraint_one_of::describe(std::string& out) const {
    if (alternatives_.empty()) {
        out += "nothing (there are no alternatives)";
        return;
    }
    for (std::size_t i = 0; i < alternatives_.size(); ++i) {
        if (i != 0) out += ", or ";
        std::string text = constraint_description(*alternatives_[i]);
        // Some descriptions end in a blank of their own.
        text.erase(text.find_last_not_of(' ') + 1);
        out += text;
    }
}

} // namespace kxcore
