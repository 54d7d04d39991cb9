#include <kxcore/constraint_schema.h>

#include "schema_text.h"

#include <kxbase/base64.h>
#include <kxcore/constraint_db.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/property_key.h>
#include <kxcore/xml_writer.h>

#include <algorithm>
#include <map>
#include <set>

namespace kxcore {

namespace {

// XML Schema 1.0 gives all elements of one name in one place the same type. So what stands in one place is gathered by
// kind first, and each kind gets a type that takes whatever one of its constraints takes. What no type can say, identity
// constraints do: no key comes twice, and what is required is there.

using key_set = std::set<std::string_view>;

// The constraints on elements of one kind, and the keys that they may have (none in a list).
struct gathered_kind {
    std::vector<constraint const*> constraints;
    key_set keys;
    // Some of them may hold anything that is of the kind.
    bool anything = false;
};

struct gathered {
    std::map<property_kind, gathered_kind> kinds;
    key_set keys;
    // The keys without which no tree is complete.
    key_set required;
    bool is_tree = false;
    // There may be members that nothing is known about.
    bool is_open = false;
    // In open trees: keys that are known wherever members may be unknown.
    key_set known_everywhere;

    void add(constraint const* value, std::string_view const* key);
    void add(constraint_db const& database);
    void require_what_all_do(std::vector<constraint_db const*> const& databases);
    void know_what_open_ones_do(std::vector<constraint_db const*> const& databases);
};

gathered gathered_members(std::vector<constraint_db const*> const& databases);
void write_model(xml::writer& out, gathered const& all);
void write_required_attributes(xml::writer& out, gathered const& all);
void write_required_references(xml::writer& out, gathered const& all);
void write_element(xml::writer& out, property_kind kind, gathered_kind const& what, gathered const& all);
void write_simple_type(xml::writer& out, property_kind kind, gathered_kind const& what);
void write_special_element(xml::writer& out, gathered const& all);
void write_list_type(xml::writer& out, std::vector<constraint const*> const& lists);
void write_keys(xml::writer& out, property_kind kind, gathered const& all);
void write_key_texts(xml::writer& out, property_kind kind, key_set const& keys, bool is_plain);
void write_other_keys(xml::writer& out, key_set const& keys, gathered const& all);

// Automata grow with the bounds of lists; beyond this they are not told.
constexpr std::size_t greatest_bound = 1000;

template <class Database>
std::vector<constraint_db const*> as_databases(std::vector<Database> const& constraints) {
    std::vector<constraint_db const*> databases;
    databases.reserve(constraints.size());
    for (auto const& each : constraints)
        databases.push_back(static_cast<constraint_db const*>(&*each));
    return databases;
}

} // namespace

void write_xsd_schema(xml::writer& out, schema_document const& document) {
    gathered const all = gathered_members(as_databases(document.trees));
    out.start_node("xs:schema", "xmlns:xs", "http://www.w3.org/2001/XMLSchema");
    out.start_node("xs:element", "name", "document");
    out.start_node("xs:complexType");
    write_model(out, all);
    out.start_node("xs:attribute", {{"name", "identifier"}, {"use", "required"}});
    out.start_node("xs:simpleType");
    out.start_node("xs:restriction", "base", "xs:string");
    for (std::string const& identifier : document.identifiers)
        out.empty_node("xs:enumeration", "value", identifier);
    out.end_node();
    out.end_node();
    out.end_node();
    out.empty_node(
        "xs:attribute",
        {{"name", "version"}, {"type", "xs:string"}, {"use", "required"}, {"fixed", std::to_string(document.version)}});
    write_required_attributes(out, all);
    out.end_node();
    write_required_references(out, all);
    out.end_node();
    write_xsd_definitions(out);
    out.end_node();
}

void write_xsd_members(xml::writer& out, constraint_db const& database) {
    write_model(out, gathered_members({&database}));
}

void write_xsd_list(xml::writer& out, constraint_list const& list) {
    out.start_node("xs:complexType");
    write_list_type(out, {&list});
    out.end_node();
}

namespace {

void gathered::add(constraint const* value, std::string_view const* key) {
    if (key != nullptr) keys.insert(*key);
    auto const kind_of = [&](property_kind kind) -> gathered_kind& {
        auto& of = kinds[kind];
        if (key != nullptr) of.keys.insert(*key);
        return of;
    };
    bool const is_special = value != nullptr && value->property_kind() == property_kind::special;
    if (value == nullptr || (is_special && value->kind() == constraint_kind::any)) {
        for (property_kind const kind : schema_kinds)
            kind_of(kind).anything = true;
    } else if (value->kind() == constraint_kind::one_of) {
        for (auto const& each : static_cast<constraint_one_of const*>(value)->alternatives())
            add(each.get(), key);
    } else if (!is_special) {
        auto& of = kind_of(value->property_kind());
        bool const is_described = is_simple_kind(value->property_kind()) ? value->kind() != constraint_kind::any
                                                                         : value->kind() == constraint_kind::database ||
                                                                               value->kind() == constraint_kind::list;
        if (is_described)
            of.constraints.push_back(value);
        else
            of.anything = true;
    }
}

void gathered::add(constraint_db const& database) {
    for (auto const& member : database.members()) {
        std::string_view const key = member.name;
        // No document holds such a key.
        if (!property_key_fault(key).empty()) continue;
        add(member.value.get(), &key);
    }
    if (database.is_closed()) return;
    is_open = true;
    for (property_kind const kind : schema_kinds)
        kinds[kind].anything = true;
}

void gathered::require_what_all_do(std::vector<constraint_db const*> const& databases) {
    for (auto const& member : databases.front()->members()) {
        bool const all = std::all_of(databases.begin(), databases.end(), [&member](constraint_db const* each) {
            auto const* found = each->find(member.name);
            return found != nullptr && found->required;
        });
        if (all && keys.contains(member.name) && fits_xml(member.name)) required.insert(member.name);
    }
}

void gathered::know_what_open_ones_do(std::vector<constraint_db const*> const& databases) {
    for (std::string_view const key : keys) {
        bool const all = std::all_of(databases.begin(), databases.end(), [key](constraint_db const* each) {
            return each->is_closed() || each->is_present(key);
        });
        if (all) known_everywhere.insert(key);
    }
}

gathered gathered_members(std::vector<constraint_db const*> const& databases) {
    gathered all;
    all.is_tree = true;
    for (constraint_db const* each : databases)
        all.add(*each);
    all.require_what_all_do(databases);
    all.know_what_open_ones_do(databases);
    return all;
}

void write_model(xml::writer& out, gathered const& all) {
    out.start_node("xs:choice", {{"minOccurs", "0"}, {"maxOccurs", "unbounded"}});
    for (auto const& [kind, what] : all.kinds)
        write_element(out, kind, what, all);
    write_special_element(out, all);
    out.end_node();
}

void write_required_attributes(xml::writer& out, gathered const& all) {
    std::size_t number = 0;
    for (std::string_view const key : all.required) {
        std::string const name = "required-" + std::to_string(++number);
        out.empty_node("xs:attribute", {{"name", name}, {"type", "key"}, {"fixed", key}});
    }
}

// The members' keys are a key of the element, and the fixed value of the attribute refers to one of them.
void write_required_references(xml::writer& out, gathered const& all) {
    std::string const members = write_xsd_key(out);
    for (std::size_t number = 1; number <= all.required.size(); ++number) {
        std::string const attribute = "required-" + std::to_string(number);
        std::string name = members;
        name += '-';
        name += attribute;
        std::string const field = '@' + attribute;
        out.start_node("xs:keyref", {{"name", name}, {"refer", members}});
        out.empty_node("xs:selector", "xpath", ".");
        out.empty_node("xs:field", "xpath", field);
        out.end_node();
    }
}

void write_element(xml::writer& out, property_kind kind, gathered_kind const& what, gathered const& all) {
    out.start_node("xs:element", "name", property_kind_name(kind));
    bool const is_keyed = all.is_tree;
    if (is_simple_kind(kind) && !is_keyed && kind != property_kind::string) {
        write_simple_type(out, kind, what);
        out.end_node();
        return;
    }
    out.start_node("xs:complexType");
    if (is_simple_kind(kind)) {
        std::string_view const keyed = kind == property_kind::string ? "keyed-text" : "keyed-value";
        out.start_node("xs:simpleContent");
        out.start_node("xs:restriction", "base", is_keyed ? keyed : "text");
        write_simple_type(out, kind, what);
        write_keys(out, kind, all);
        out.end_node();
        out.end_node();
        out.end_node();
    } else if (kind == property_kind::list && !what.anything) {
        write_list_type(out, what.constraints);
        write_keys(out, kind, all);
        out.end_node();
    } else if (kind == property_kind::properties && !what.anything) {
        gathered const inside = gathered_members(as_databases(what.constraints));
        write_model(out, inside);
        write_keys(out, kind, all);
        write_required_attributes(out, inside);
        out.end_node();
        write_required_references(out, inside);
    } else {
        out.empty_node("xs:group", {{"ref", kind == property_kind::list ? "any-elements" : "any-members"},
                                    {"minOccurs", "0"},
                                    {"maxOccurs", "unbounded"}});
        write_keys(out, kind, all);
        out.end_node();
        if (kind != property_kind::list) write_xsd_key(out);
    }
    out.end_node();
}

void write_simple_type(xml::writer& out, property_kind kind, gathered_kind const& what) {
    if (what.anything) return write_xsd_simple_kind(out, kind);
    if (what.constraints.size() == 1) return what.constraints.front()->to_xsd(out);
    out.start_node("xs:simpleType");
    out.start_node("xs:union");
    for (constraint const* each : what.constraints)
        each->to_xsd(out);
    out.end_node();
    out.end_node();
}

void write_special_element(xml::writer& out, gathered const& all) {
    if (!all.is_tree) {
        out.empty_node("xs:element", {{"name", "special"}, {"type", "special"}});
        return;
    }
    if (!all.is_open && all.keys.empty()) return;
    out.start_node("xs:element", "name", "special");
    out.start_node("xs:complexType");
    out.start_node("xs:simpleContent");
    out.start_node("xs:restriction", "base", "keyed-special");
    write_keys(out, property_kind::special, all);
    out.end_node();
    out.end_node();
    out.end_node();
    out.end_node();
}

void write_list_type(xml::writer& out, std::vector<constraint const*> const& lists) {
    gathered all;
    std::size_t least = constraint_list::unbounded;
    std::size_t most = 0;
    for (constraint const* each : lists) {
        auto const& list = *static_cast<constraint_list const*>(each);
        all.add(list.element().get(), nullptr);
        least = std::min(least, list.min_size());
        most = std::max(most, list.max_size());
    }
    std::string const min = std::to_string(std::min(least, greatest_bound));
    std::string const max = most > greatest_bound ? "unbounded" : std::to_string(most);
    out.start_node("xs:choice", {{"minOccurs", min}, {"maxOccurs", max}});
    for (auto const& [kind, what] : all.kinds)
        write_element(out, kind, what, all);
    write_special_element(out, all);
    out.end_node();
}

// In a closed tree, the keys of the kind; in an open one all keys but those that are known and of other kinds only.
void write_keys(xml::writer& out, property_kind kind, gathered const& all) {
    if (!all.is_tree) return;
    auto const found = all.kinds.find(kind);
    key_set const& keys = kind == property_kind::special ? all.keys : found->second.keys;
    if (all.is_open)
        write_other_keys(out, keys, all);
    else
        for (bool const is_plain : {true, false})
            write_key_texts(out, kind, keys, is_plain);
}

void write_key_texts(xml::writer& out, property_kind kind, key_set const& keys, bool is_plain) {
    std::string_view const attribute = is_plain ? "key" : "key-base64";
    std::string_view const type = is_plain ? "key" : "xs:base64Binary";
    auto const fits = [is_plain](std::string_view key) { return fits_xml(key) == is_plain; };
    if (std::none_of(keys.begin(), keys.end(), fits)) {
        // What the type of a simple value is restricted from would allow it.
        if (is_simple_kind(kind) || kind == property_kind::special)
            out.empty_node("xs:attribute", {{"name", attribute}, {"type", type}, {"use", "prohibited"}});
        return;
    }
    bool const is_only = std::all_of(keys.begin(), keys.end(), fits);
    out.start_node("xs:attribute", {{"name", attribute}, {"use", is_only ? "required" : "optional"}});
    out.start_node("xs:simpleType");
    out.start_node("xs:restriction", "base", type);
    for (std::string_view const key : keys)
        if (fits_xml(key) == is_plain)
            out.empty_node("xs:enumeration", "value", is_plain ? std::string(key) : kxbase::base64_encoded(key));
    out.end_node();
    out.end_node();
    out.end_node();
}

void write_other_keys(xml::writer& out, key_set const& keys, gathered const& all) {
    key_set others;
    for (std::string_view const key : all.known_everywhere)
        if (!keys.contains(key) && fits_xml(key)) others.insert(key);
    if (others.empty()) {
        out.empty_node("xs:attribute", {{"name", "key"}, {"type", "key"}});
    } else {
        out.start_node("xs:attribute", "name", "key");
        out.start_node("xs:simpleType");
        out.start_node("xs:restriction", "base", "key");
        out.empty_node("xs:pattern", "value", pattern_of_others(others));
        out.end_node();
        out.end_node();
        out.end_node();
    }
    out.empty_node("xs:attribute", {{"name", "key-base64"}, {"type", "xs:base64Binary"}});
}

} // namespace

} // namespace kxcore
