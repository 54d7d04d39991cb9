#include <kxcore/constraint_db.h>

#include "constraint_findings.h"
#include "constraint_words.h"

#include <kxbase/errors.h>
#include <kxcore/constraint_schema.h>
#include <kxcore/constraint_values.h>
#include <kxcore/properties.h>
#include <kxcore/xml_writer.h>

#include <algorithm>

namespace kxcore {

struct constraint_db::table {
    std::vector<member> members;
};

namespace {

using part = kxbase::ptr_refcount<constraint const>;

template <class Iterator>
Iterator seek(Iterator first, Iterator last, std::string_view name) {
    return std::lower_bound(first, last, name,
                            [](auto const& each, std::string_view wanted) { return each.name < wanted; });
}

std::uint32_t depth_below(part const& value) {
    return value ? value->depth() + 1 : 1;
}

std::uint64_t parts_of(part const& value) {
    return value ? value->parts() : 1;
}

} // namespace

constraint_db::constraint_db(bool closed) : closed_(closed) {}
constraint_db::~constraint_db() = default;
constraint_db::constraint_db(constraint_db const&) = default;

void constraint_db::set_closed(bool closed) {
    refuse_when_part();
    closed_ = closed;
}

bool constraint_db::empty() const noexcept {
    return size() == 0;
}

std::size_t constraint_db::size() const noexcept {
    return table_ ? table_->members.size() : 0;
}

std::span<constraint_db::member const> constraint_db::members() const noexcept {
    return table_ ? std::span<member const>(table_->members) : std::span<member const>();
}

constraint_db::member const* constraint_db::find(std::string_view name) const noexcept {
    auto const all = members();
    auto const at = seek(all.begin(), all.end(), name);
    return at != all.end() && at->name == name ? &*at : nullptr;
}

part constraint_db::get_constraint(std::string_view name) const {
    member const* const found = find(name);
    return found != nullptr ? found->value : part();
}

void constraint_db::add_constraint(std::string_view name, part value, bool required) {
    refuse_when_part();
    if (value.get() == this) kxbase::es::arg::raise("a constraint database can't be a member of itself");
    if (find(name) != nullptr) {
        constraint_db without(*this);
        without.remove_constraint(name);
        without.add_constraint(name, std::move(value), required);
        table_ = std::move(without.table_);
        set_extent(without.depth(), without.parts());
        return;
    }
    std::uint32_t const new_depth = std::max(depth(), depth_below(value));
    std::uint64_t const new_parts = parts() + parts_of(value);
    check_extent(new_depth, new_parts);
    auto& all = own_table().members;
    auto const at =
        all.insert(seek(all.begin(), all.end(), name), member{std::string(name), std::move(value), required});
    set_extent(new_depth, new_parts);
    if (at->value) mark_part(*at->value);
}

void constraint_db::remove_constraint(std::string_view name) {
    refuse_when_part();
    if (find(name) == nullptr) return;
    auto& all = own_table().members;
    all.erase(seek(all.begin(), all.end(), name));
    std::uint32_t new_depth = 1;
    std::uint64_t new_parts = 1;
    for (member const& each : all) {
        new_depth = std::max(new_depth, depth_below(each.value));
        new_parts += parts_of(each.value);
    }
    set_extent(new_depth, new_parts);
}

void constraint_db::refuse_when_part() const {
    if (is_part())
        kxbase::es::arg::raise("the constraint database is part of another constraint and can't be changed: change a "
                               "copy of it");
}

constraint_db::table& constraint_db::own_table() {
    if (!table_)
        table_ = std::make_shared<table>();
    else if (table_.use_count() != 1)
        table_ = std::make_shared<table>(*table_);
    return *table_;
}

bool constraint_db::is_valid(properties const& tree, unsigned int flags) const {
    auto const all = members();
    auto next = all.begin();
    for (property_member const& each : tree) {
        std::string_view const key = each.key();
        // Both sides are in the same order, and the next name is mostly the one wanted.
        if (next != all.end() && next->name != key) next = seek(next, all.end(), key);
        if (next == all.end() || next->name != key) {
            if (closed_) return false;
            continue;
        }
        if (next->value && !next->value->is_valid(each.value().get(), flags)) return false;
        ++next;
    }
    return true;
}

bool constraint_db::is_valid(properties const* tree, unsigned int flags) const {
    return tree != nullptr && is_valid(*tree, flags);
}

bool constraint_db::is_valid(property const* value, unsigned int flags) const {
    auto const* tree = property_cast<properties>(value);
    return tree != nullptr ? is_valid(*tree, flags) : is_flagged_valid(value, flags);
}

bool constraint_db::constraints_satisfied(properties const& tree, unsigned int flags) const {
    return is_satisfied(*this, tree, flags);
}

void constraint_db::get_invalid_reason(properties const& tree, std::string& out, unsigned int flags) const {
    auto const found = find_findings(*this, tree, {flags, 1, true, false});
    if (!found.empty()) out += found.front().to_string();
}

void constraint_db::get_constraints_not_satisfied_reason(properties const& tree, std::string& out,
                                                         unsigned int flags) const {
    auto const found = find_findings(*this, tree, {flags, 1, false, true});
    if (!found.empty()) out += found.front().to_string();
}

std::vector<finding> constraint_db::findings(properties const& tree, unsigned int flags, std::size_t at_most) const {
    return find_findings(*this, tree, {flags, at_most, true, true});
}

constraint_kind constraint_db::kind() const {
    return constraint_kind::database;
}

kxbase::ptr_refcount<constraint> constraint_db::clone() const {
    return kxbase::make_refcount<constraint_db>(*this);
}

property_kind constraint_db::property_kind() const {
    return properties::class_kind();
}

void constraint_db::to_string(std::string& out) const {
    out += closed_ ? "closed" : "open";
    for (member const& each : members()) {
        out += ' ';
        words::append_quoted(out, each.name);
        if (each.required) out += '!';
        if (each.value)
            words::append_part(out, *each.value);
        else
            out += "()";
    }
}

void constraint_db::to_rng(xml::writer& out) const {
    write_rng_members(out, *this);
}

void constraint_db::to_xsd(xml::writer& out) const {
    out.start_node("xs:complexType");
    write_xsd_members(out, *this);
    out.end_node();
}

void constraint_db::to_documentation_xml(xml::writer& out, unsigned int levels) const {
    out.start_node("database", "closed", closed_ ? "true" : "false");
    for (member const& each : members()) {
        out.start_node("member", {{"name", each.name}, {"required", each.required ? "true" : "false"}});
        if (!each.value)
            out.text_node("description", "any value");
        else if (levels > 0)
            each.value->to_documentation_xml(out, levels - 1);
        else
            out.text_node("description", constraint_description(*each.value));
        out.end_node();
    }
    out.end_node();
}

void constraint_db::to_documentation_html_xmlrpc(xml::writer& out, std::set<std::string>& documented) const {
    if (empty()) {
        out.append(closed_ ? "An empty tree" : "Any tree");
        return;
    }
    if (!documented.insert(constraint_text(*this)).second) {
        out.append("A tree as described before");
        return;
    }
    out.append(closed_ ? "A tree of these members" : "A tree of these members and any others");
    out.start_node("table", "class", "db_table");
    for (member const& each : members()) {
        out.start_node("tr");
        out.start_node("td", "class", "db_name");
        out.append("!S!" + each.name + "!SE!");
        out.end_node();
        out.start_node("td", "class", "db_required");
        out.append(each.required ? "required" : "optional");
        out.end_node();
        out.start_node("td", "class", "db_value");
        if (each.value)
            each.value->to_documentation_html_xmlrpc(out, documented);
        else
            out.append("any value");
        out.end_node();
        out.end_node();
    }
    out.end_node();
}

property_handle constraint_db::suggest_value() const {
    auto tree = kxbase::make_refcount<properties>();
    for (member const& each : members()) {
        if (!each.required) continue;
        property_handle value = each.value ? each.value->suggest_value() : constraint_any().suggest_value();
        if (!value) return {};
        tree->set_property(each.name, std::move(value));
    }
    return tree;
}

void constraint_db::describe(std::string& out) const {
    constexpr std::size_t most_names = 12;
    auto const all = members();
    if (all.empty()) {
        out += closed_ ? "an empty tree" : "a tree";
        return;
    }
    out += "a tree with the members ";
    for (std::size_t i = 0; i < std::min(all.size(), most_names); ++i) {
        if (i != 0) out += ", ";
        words::append_shown(out, all[i].name);
        if (all[i].required) out += " (required)";
    }
    if (all.size() > most_names) out += " and " + std::to_string(all.size() - most_names) + " more";
    if (!closed_) out += ", and any others";
}

} // namespace kxcore
