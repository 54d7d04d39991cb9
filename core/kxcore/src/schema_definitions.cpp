#include <kxcore/constraint_schema.h>

#include "schema_text.h"

#include <kxcore/property_special.h>
#include <kxcore/xml_writer.h>

#include <algorithm>
#include <span>
#include <vector>

namespace kxcore {

namespace {

using e_type = property_special::e_type;
using e_sub_type = property_special::e_sub_type;

struct special_form {
    e_type type;
    e_sub_type sub_type;
};

constexpr std::array special_forms = {
    special_form{e_type::deferred, e_sub_type::plain},
    special_form{e_type::deferred, e_sub_type::context},
    special_form{e_type::deferred, e_sub_type::variable},
    special_form{e_type::wrapped_urlupp, e_sub_type::credential},
    special_form{e_type::wrapped_encrypted, e_sub_type::credential},
};

std::string any_of_kind(property_kind kind) {
    return "any-" + std::string(property_kind_name(kind));
}

} // namespace

// RELAX NG

namespace {

void define_rng_values(xml::writer& out);
void define_rng_special(xml::writer& out);
void define_rng_any(xml::writer& out, std::string_view name, bool is_member);
void write_rng_fixed_attribute(xml::writer& out, std::string_view name, std::string_view value);
void write_rng_any_key(xml::writer& out);

} // namespace

void write_rng_definitions(xml::writer& out) {
    define_rng_values(out);
    define_rng_special(out);
    define_rng_any(out, "any-member", true);
    define_rng_any(out, "any-element", false);
}

namespace {

void define_rng_values(xml::writer& out) {
    out.start_node("define", "name", "base64-string");
    write_rng_fixed_attribute(out, "encoding", "base64");
    out.empty_node("data", "type", "base64Binary");
    out.end_node();

    out.start_node("define", "name", "any-string");
    out.start_node("choice");
    out.empty_node("text");
    out.empty_node("ref", "name", "base64-string");
    out.end_node();
    out.end_node();

    out.start_node("define", "name", "any-bool");
    out.start_node("choice");
    out.text_node("value", "true");
    out.text_node("value", "false");
    out.end_node();
    out.end_node();

    out.start_node("define", "name", "any-int");
    out.start_node("data", "type", "long");
    out.text_node("param", {{"name", "pattern"}}, int_pattern);
    out.end_node();
    out.end_node();

    out.start_node("define", "name", "any-binary");
    out.empty_node("data", "type", "base64Binary");
    out.end_node();

    for (std::string_view const name : {"any-properties", "any-list", "any-constraint"}) {
        out.start_node("define", "name", name);
        out.start_node("zeroOrMore");
        out.empty_node("ref", "name", name == "any-list" ? "any-element" : "any-member");
        out.end_node();
        out.end_node();
    }

    // Where the kind is not known the text of a bool, an int or a binary value is that of a string, too.
    out.start_node("define", "name", "any-content");
    out.start_node("choice");
    for (std::string_view const name : {"any-string", "any-special", "any-properties", "any-list"})
        out.empty_node("ref", "name", name);
    out.end_node();
    out.end_node();
}

void define_rng_special(xml::writer& out) {
    out.start_node("define", "name", "any-special");
    out.start_node("choice");
    for (special_form const& each : special_forms) {
        out.start_node("group");
        write_rng_fixed_attribute(out, "type", special_type_name(each.type));
        write_rng_fixed_attribute(out, "sub-type", special_sub_type_name(each.sub_type));
        out.end_node();
    }
    out.end_node();
    out.start_node("attribute", "name", "kind");
    out.start_node("choice");
    for (property_kind const kind : schema_kinds)
        out.text_node("value", {{"type", "string"}}, property_kind_name(kind));
    out.end_node();
    out.end_node();
    out.empty_node("ref", "name", "any-string");
    out.end_node();
}

void define_rng_any(xml::writer& out, std::string_view name, bool is_member) {
    out.start_node("define", "name", name);
    out.start_node("choice");
    auto const element = [&](property_kind kind) {
        out.start_node("element", "name", property_kind_name(kind));
        if (is_member) write_rng_any_key(out);
        out.empty_node("ref", "name", any_of_kind(kind));
        out.end_node();
    };
    for (property_kind const kind : schema_kinds)
        element(kind);
    element(property_kind::special);
    out.end_node();
    out.end_node();
}

void write_rng_fixed_attribute(xml::writer& out, std::string_view name, std::string_view value) {
    out.start_node("attribute", "name", name);
    out.text_node("value", {{"type", "string"}}, value);
    out.end_node();
}

void write_rng_any_key(xml::writer& out) {
    out.start_node("choice");
    out.start_node("attribute", "name", "key");
    out.start_node("data", "type", "string");
    out.text_node("param", {{"name", "pattern"}}, key_pattern);
    out.end_node();
    out.end_node();
    out.start_node("attribute", "name", "key-base64");
    out.empty_node("data", "type", "base64Binary");
    out.end_node();
    out.end_node();
}

} // namespace

// XML Schema

namespace {

void define_xsd_value(xml::writer& out, std::string_view name, bool is_member, bool is_text);
void define_xsd_special(xml::writer& out, std::string_view name, bool is_member);
void define_xsd_keys(xml::writer& out);
void define_xsd_any(xml::writer& out, std::string_view name, bool is_member);
void write_xsd_any_element(xml::writer& out, property_kind kind, bool is_member);
void write_xsd_texts(xml::writer& out, std::string_view attribute, std::span<std::string_view const> texts);

} // namespace

void write_xsd_definitions(xml::writer& out) {
    define_xsd_keys(out);
    define_xsd_value(out, "text", false, true);
    define_xsd_value(out, "keyed-text", true, true);
    define_xsd_value(out, "keyed-value", true, false);
    define_xsd_special(out, "special", false);
    define_xsd_special(out, "keyed-special", true);
    define_xsd_any(out, "any-members", true);
    define_xsd_any(out, "any-elements", false);

    out.start_node("xs:complexType", {{"name", "any-content"}, {"mixed", "true"}});
    out.start_node("xs:sequence");
    out.empty_node("xs:any", {{"minOccurs", "0"}, {"maxOccurs", "unbounded"}, {"processContents", "skip"}});
    out.end_node();
    out.empty_node("xs:anyAttribute", "processContents", "skip");
    out.end_node();
}

void write_xsd_simple_kind(xml::writer& out, property_kind kind) {
    out.start_node("xs:simpleType");
    switch (kind) {
    case property_kind::boolean:
        out.start_node("xs:restriction", "base", "xs:token");
        out.empty_node("xs:enumeration", "value", "true");
        out.empty_node("xs:enumeration", "value", "false");
        out.end_node();
        break;
    case property_kind::integer:
        out.start_node("xs:restriction", "base", "xs:long");
        out.empty_node("xs:pattern", "value", int_pattern);
        out.end_node();
        break;
    case property_kind::binary: out.empty_node("xs:restriction", "base", "xs:base64Binary"); break;
    default: out.empty_node("xs:restriction", "base", "xs:string"); break;
    }
    out.end_node();
}

namespace {

void define_xsd_keys(xml::writer& out) {
    out.start_node("xs:simpleType", "name", "key");
    out.start_node("xs:restriction", "base", "xs:string");
    out.empty_node("xs:pattern", "value", key_pattern);
    out.end_node();
    out.end_node();
    out.start_node("xs:attributeGroup", "name", "keys");
    out.empty_node("xs:attribute", {{"name", "key"}, {"type", "key"}});
    out.empty_node("xs:attribute", {{"name", "key-base64"}, {"type", "xs:base64Binary"}});
    out.end_node();
    out.start_node("xs:attributeGroup", "name", "encoding");
    constexpr std::string_view encodings[] = {"base64"};
    write_xsd_texts(out, "encoding", encodings);
    out.end_node();
}

// What a type with the content of one place is restricted from.
void define_xsd_value(xml::writer& out, std::string_view name, bool is_member, bool is_text) {
    out.start_node("xs:complexType", "name", name);
    out.start_node("xs:simpleContent");
    out.start_node("xs:extension", "base", "xs:anySimpleType");
    if (is_member) out.empty_node("xs:attributeGroup", "ref", "keys");
    if (is_text) out.empty_node("xs:attributeGroup", "ref", "encoding");
    out.end_node();
    out.end_node();
    out.end_node();
}

void define_xsd_special(xml::writer& out, std::string_view name, bool is_member) {
    std::vector<std::string_view> types;
    std::vector<std::string_view> sub_types;
    auto const add = [](std::vector<std::string_view>& to, std::string_view text) {
        if (std::find(to.begin(), to.end(), text) == to.end()) to.push_back(text);
    };
    for (special_form const& each : special_forms) {
        add(types, special_type_name(each.type));
        add(sub_types, special_sub_type_name(each.sub_type));
    }
    std::vector<std::string_view> kinds;
    for (property_kind const kind : schema_kinds)
        add(kinds, property_kind_name(kind));
    out.start_node("xs:complexType", "name", name);
    out.start_node("xs:simpleContent");
    out.start_node("xs:extension", "base", "xs:string");
    write_xsd_texts(out, "type", types);
    write_xsd_texts(out, "sub-type", sub_types);
    write_xsd_texts(out, "kind", kinds);
    out.empty_node("xs:attributeGroup", "ref", "encoding");
    if (is_member) out.empty_node("xs:attributeGroup", "ref", "keys");
    out.end_node();
    out.end_node();
    out.end_node();
}

void define_xsd_any(xml::writer& out, std::string_view name, bool is_member) {
    out.start_node("xs:group", "name", name);
    out.start_node("xs:choice");
    for (property_kind const kind : schema_kinds)
        write_xsd_any_element(out, kind, is_member);
    out.empty_node("xs:element", {{"name", "special"}, {"type", is_member ? "keyed-special" : "special"}});
    out.end_node();
    out.end_node();
}

void write_xsd_any_element(xml::writer& out, property_kind kind, bool is_member) {
    out.start_node("xs:element", "name", property_kind_name(kind));
    if (is_simple_kind(kind) && !is_member && kind != property_kind::string) {
        write_xsd_simple_kind(out, kind);
        out.end_node();
        return;
    }
    out.start_node("xs:complexType");
    if (is_simple_kind(kind)) {
        std::string_view const keyed = kind == property_kind::string ? "keyed-text" : "keyed-value";
        out.start_node("xs:simpleContent");
        out.start_node("xs:restriction", "base", is_member ? keyed : "text");
        write_xsd_simple_kind(out, kind);
        out.end_node();
        out.end_node();
    } else {
        out.empty_node("xs:group", {{"ref", kind == property_kind::list ? "any-elements" : "any-members"},
                                    {"minOccurs", "0"},
                                    {"maxOccurs", "unbounded"}});
        if (is_member) out.empty_node("xs:attributeGroup", "ref", "keys");
    }
    out.end_node();
    if (!is_simple_kind(kind) && kind != property_kind::list) write_xsd_key(out);
    out.end_node();
}

void write_xsd_texts(xml::writer& out, std::string_view attribute, std::span<std::string_view const> texts) {
    out.start_node("xs:attribute", {{"name", attribute}, {"use", attribute == "encoding" ? "optional" : "required"}});
    out.start_node("xs:simpleType");
    out.start_node("xs:restriction", "base", "xs:string");
    for (std::string_view const text : texts)
        out.empty_node("xs:enumeration", "value", text);
    out.end_node();
    out.end_node();
    out.end_node();
}

} // namespace

std::string write_xsd_key(xml::writer& out) {
    std::string const name = "members-" + std::to_string(out.next_number());
    out.start_node("xs:key", "name", name);
    out.empty_node("xs:selector", "xpath", "*");
    out.empty_node("xs:field", "xpath", "@key|@key-base64");
    out.end_node();
    return name;
}

} // namespace kxcore
