#include <kxcore/constraint_list.h>

#include "constraint_words.h"

#include <kxbase/errors.h>
#include <kxcore/constraint_schema.h>
#include <kxcore/property_list.h>
#include <kxcore/xml_writer.h>

#include <algorithm>

namespace kxcore {

namespace {

constexpr std::size_t longest_suggestion = 1000;

} // namespace

constraint_list::constraint_list(kxbase::ptr_refcount<constraint const> element, std::size_t min_size,
                                 std::size_t max_size)
    : element_(std::move(element)), min_size_(min_size), max_size_(max_size) {
    if (!element_) kxbase::es::arg::raise("a constraint on lists needs a constraint on their elements");
    words::check_bounds(min_size, max_size, "a list's size");
    adopt(*element_);
}

constraint_list::~constraint_list() = default;
constraint_list::constraint_list(constraint_list const&) = default;

constraint_kind constraint_list::kind() const {
    return constraint_kind::list;
}

kxbase::ptr_refcount<constraint> constraint_list::clone() const {
    return kxbase::make_refcount<constraint_list>(*this);
}

property_kind constraint_list::property_kind() const {
    return property_list::class_kind();
}

void constraint_list::to_string(std::string& out) const {
    out += "list";
    words::append_bounds(out, min_size_, max_size_);
    out += ' ';
    words::append_part(out, *element_);
}

void constraint_list::to_rng(xml::writer& out) const {
    write_rng_elements(out, *this);
}

void constraint_list::to_xsd(xml::writer& out) const {
    write_xsd_list(out, *this);
}

void constraint_list::to_documentation_xml(xml::writer& out, unsigned int levels) const {
    out.start_node("list");
    constraint::to_documentation_xml(out, levels);
    if (levels > 0) {
        out.start_node("element");
        element_->to_documentation_xml(out, levels - 1);
        out.end_node();
    }
    out.end_node();
}

void constraint_list::to_documentation_html_xmlrpc(xml::writer& out, std::set<std::string>& documented) const {
    std::string heading = "a list";
    words::append_amount(heading, min_size_, max_size_, "element");
    out.append(heading + ", each ");
    element_->to_documentation_html_xmlrpc(out, documented);
}

property_handle constraint_list::suggest_value() const {
    if (min_size_ > longest_suggestion) return {};
    if (min_size_ == 0) return kxbase::make_refcount<property_list>();
    property_handle const element = element_->suggest_value();
    if (!element) return {};
    return kxbase::make_refcount<property_list>(element, min_size_);
}

bool constraint_list::is_valid(property const* value, unsigned int flags) const {
    auto const* list = property_cast<property_list>(value);
    if (list == nullptr) return is_flagged_valid(value, flags);
    if (list->size() < min_size_ || list->size() > max_size_) return false;
    constraint const& element = *element_;
    return std::all_of(list->begin(), list->end(),
                       [&element, flags](property_handle const& each) { return element.is_valid(each.get(), flags); });
}

void constraint_list::describe(std::string& out) const {
    out += "a list";
    words::append_amount(out, min_size_, max_size_, "element");
    bool const says_nothing =
        element_->kind() == constraint_kind::any && element_->property_kind() == kxcore::property_kind::special;
    if (says_nothing) return;
    out += ", each ";
    element_->describe(out);
}

} // namespace kxcore
