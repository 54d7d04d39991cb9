#include <kxcore/constraint_schema.h>

#include <kxcore/constraint_db.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/property.h>
#include <kxcore/xml_writer.h>

#include <algorithm>
#include <vector>

namespace kxcore {

namespace {

void write_key(xml::writer& out, std::string_view const* key);
void write_element(xml::writer& out, constraint const& value, std::string_view const* key);
void write_any_element(xml::writer& out, std::string_view const* key);
void write_special(xml::writer& out, std::string_view const* key);
void write_other_members(xml::writer& out, constraint_db const& database);

// The alternatives that stand in elements of their own; false when one of them may stand in any.
bool collect_elements(constraint const& value, std::vector<constraint const*>& elements) {
    bool const any_kind = value.kind() == constraint_kind::any && value.property_kind() == property_kind::special;
    if (any_kind) return false;
    if (value.kind() != constraint_kind::one_of) {
        // A fixed special value matches nothing.
        if (value.property_kind() != property_kind::special) elements.push_back(&value);
        return true;
    }
    auto const alternatives = static_cast<constraint_one_of const&>(value).alternatives();
    return std::all_of(alternatives.begin(), alternatives.end(),
                       [&elements](auto const& each) { return collect_elements(*each, elements); });
}

} // namespace

void write_rng_member(xml::writer& out, constraint const* value, std::string_view const* key) {
    std::vector<constraint const*> elements;
    if (value == nullptr || !collect_elements(*value, elements)) {
        write_any_element(out, key);
        return;
    }
    out.start_node("choice");
    for (constraint const* each : elements)
        write_element(out, *each, key);
    write_special(out, key);
    out.end_node();
}

void write_rng_members(xml::writer& out, constraint_db const& database) {
    if (database.is_closed() && database.empty()) {
        out.empty_node("empty");
        return;
    }
    if (!database.is_closed()) write_other_members(out, database);
    for (auto const& member : database.members()) {
        std::string_view const key = member.name;
        if (!member.required) out.start_node("optional");
        write_rng_member(out, member.value.get(), &key);
        if (!member.required) out.end_node();
        if (!database.is_closed()) write_other_members(out, database);
    }
}

void write_rng_definitions(xml::writer& out) {
    out.start_node("define", "name", "any-content");
    out.start_node("zeroOrMore");
    out.start_node("attribute");
    out.start_node("anyName");
    out.start_node("except");
    out.text_node("name", "key");
    out.end_node();
    out.end_node();
    out.end_node();
    out.end_node();
    out.start_node("mixed");
    out.start_node("zeroOrMore");
    out.empty_node("ref", "name", "any-element");
    out.end_node();
    out.end_node();
    out.end_node();
    out.start_node("define", "name", "any-element");
    out.start_node("element");
    out.empty_node("anyName");
    out.start_node("optional");
    out.empty_node("attribute", "name", "key");
    out.end_node();
    out.empty_node("ref", "name", "any-content");
    out.end_node();
    out.end_node();
}

namespace {

void write_key(xml::writer& out, std::string_view const* key) {
    if (key == nullptr) return;
    out.start_node("attribute", "name", "key");
    out.text_node("value", {{"type", "string"}}, *key);
    out.end_node();
}

// A string that XML can't hold exactly is stored as base64: its content says nothing to a schema.
void write_element(xml::writer& out, constraint const& value, std::string_view const* key) {
    out.start_node("element", "name", property_kind_name(value.property_kind()));
    write_key(out, key);
    if (value.property_kind() != property_kind::string) {
        value.to_rng(out);
    } else {
        out.start_node("choice");
        value.to_rng(out);
        out.start_node("group");
        out.start_node("attribute", "name", "encoding");
        out.text_node("value", "base64");
        out.end_node();
        out.empty_node("data", "type", "base64Binary");
        out.end_node();
        out.end_node();
    }
    out.end_node();
}

void write_any_element(xml::writer& out, std::string_view const* key) {
    out.start_node("element");
    out.empty_node("anyName");
    write_key(out, key);
    out.empty_node("ref", "name", "any-content");
    out.end_node();
}

void write_special(xml::writer& out, std::string_view const* key) {
    out.start_node("element", "name", "special");
    write_key(out, key);
    out.empty_node("ref", "name", "any-content");
    out.end_node();
}

// Members that an open database does not name may stand between those that it names.
void write_other_members(xml::writer& out, constraint_db const& database) {
    out.start_node("zeroOrMore");
    out.start_node("element");
    out.empty_node("anyName");
    out.start_node("attribute", "name", "key");
    out.start_node("data", "type", "string");
    if (!database.empty()) {
        out.start_node("except");
        for (auto const& member : database.members())
            out.text_node("value", {{"type", "string"}}, member.name);
        out.end_node();
    }
    out.end_node();
    out.end_node();
    out.empty_node("ref", "name", "any-content");
    out.end_node();
    out.end_node();
}

} // namespace

} // namespace kxcore
