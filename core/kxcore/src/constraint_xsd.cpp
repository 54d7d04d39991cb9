#include <kxcore/constraint_schema.h>

#include <kxcore/constraint_db.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/property.h>
#include <kxcore/xml_writer.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace kxcore {

namespace {

// XML Schema 1.0 gives all elements of one name in one place the same type. So what stands in one place is gathered by
// kind first, and each kind gets a type that takes whatever one of its constraints takes.

// The constraints on elements of one kind, and the keys that they may have (none in a list).
struct gathered_kind {
    std::vector<constraint const*> constraints;
    std::set<std::string_view> keys;
};

struct gathered {
    std::map<property_kind, gathered_kind> kinds;
    std::set<std::string_view> keys;
    // There may be elements that nothing is known about.
    bool anything = false;

    void add(constraint const* value, std::string_view const* key);
    void add(constraint_db const& database);
};

void write_tree_content(xml::writer& out, std::vector<constraint const*> const& databases);
void write_list_content(xml::writer& out, std::vector<constraint const*> const& lists);

void gathered::add(constraint const* value, std::string_view const* key) {
    if (key != nullptr) keys.insert(*key);
    bool const any_kind =
        value == nullptr || (value->kind() == constraint_kind::any && value->property_kind() == property_kind::special);
    if (any_kind) {
        anything = true;
    } else if (value->kind() == constraint_kind::one_of) {
        for (auto const& each : static_cast<constraint_one_of const*>(value)->alternatives())
            add(each.get(), key);
    } else if (value->property_kind() != property_kind::special) {
        auto& kind = kinds[value->property_kind()];
        kind.constraints.push_back(value);
        if (key != nullptr) kind.keys.insert(*key);
    }
}

void gathered::add(constraint_db const& database) {
    if (!database.is_closed()) anything = true;
    for (auto const& member : database.members()) {
        std::string_view const key = member.name;
        add(member.value.get(), &key);
    }
}

void write_key_attribute(xml::writer& out, std::set<std::string_view> const& keys) {
    if (keys.empty()) return;
    out.start_node("xs:attribute", {{"name", "key"}, {"use", "required"}});
    out.start_node("xs:simpleType");
    out.start_node("xs:restriction", "base", "xs:string");
    for (std::string_view const key : keys)
        out.empty_node("xs:enumeration", "value", key);
    out.end_node();
    out.end_node();
    out.end_node();
}

bool is_simple(property_kind kind) {
    return kind == property_kind::string || kind == property_kind::boolean || kind == property_kind::integer ||
           kind == property_kind::binary;
}

void write_simple_element(xml::writer& out, property_kind kind, gathered_kind const& what) {
    out.start_node("xs:element", "name", property_kind_name(kind));
    out.start_node("xs:complexType");
    out.start_node("xs:simpleContent");
    out.start_node("xs:restriction", "base", "simple-value");
    if (what.constraints.size() == 1) {
        what.constraints.front()->to_xsd(out);
    } else {
        out.start_node("xs:simpleType");
        out.start_node("xs:union");
        for (constraint const* each : what.constraints)
            each->to_xsd(out);
        out.end_node();
        out.end_node();
    }
    write_key_attribute(out, what.keys);
    out.end_node();
    out.end_node();
    out.end_node();
    out.end_node();
}

void write_element(xml::writer& out, property_kind kind, gathered_kind const& what) {
    bool const any_content = std::any_of(what.constraints.begin(), what.constraints.end(),
                                         [](constraint const* each) { return each->kind() == constraint_kind::any; });
    if (is_simple(kind) && !any_content) return write_simple_element(out, kind, what);
    constraint_kind const wanted = kind == property_kind::list ? constraint_kind::list : constraint_kind::database;
    bool const is_described = kind != property_kind::constraint &&
                              std::all_of(what.constraints.begin(), what.constraints.end(),
                                          [wanted](constraint const* each) { return each->kind() == wanted; });
    if (!is_described) {
        // A fixed tree, or a constraint: its content is not described.
        out.empty_node("xs:element", {{"name", property_kind_name(kind)}, {"type", "any-content"}});
        return;
    }
    out.start_node("xs:element", "name", property_kind_name(kind));
    out.start_node("xs:complexType");
    if (kind == property_kind::list)
        write_list_content(out, what.constraints);
    else
        write_tree_content(out, what.constraints);
    write_key_attribute(out, what.keys);
    out.end_node();
    out.end_node();
}

void write_choice(xml::writer& out, gathered const& all, std::size_t min, std::size_t max) {
    std::string const least = std::to_string(min);
    std::string const most = max == constraint_list::unbounded ? "unbounded" : std::to_string(max);
    if (all.anything) {
        out.start_node("xs:sequence");
        out.empty_node("xs:any", {{"minOccurs", least}, {"maxOccurs", most}, {"processContents", "skip"}});
        out.end_node();
        return;
    }
    out.start_node("xs:choice", {{"minOccurs", least}, {"maxOccurs", most}});
    for (auto const& [kind, what] : all.kinds)
        write_element(out, kind, what);
    out.empty_node("xs:element", {{"name", "special"}, {"type", "any-content"}});
    out.end_node();
}

void write_tree_content(xml::writer& out, std::vector<constraint const*> const& databases) {
    gathered all;
    for (constraint const* each : databases)
        all.add(*static_cast<constraint_db const*>(each));
    std::size_t least = constraint_list::unbounded;
    for (constraint const* each : databases) {
        auto const members = static_cast<constraint_db const*>(each)->members();
        least =
            std::min(least, static_cast<std::size_t>(std::count_if(
                                members.begin(), members.end(), [](auto const& member) { return member.required; })));
    }
    std::size_t const most = all.anything ? constraint_list::unbounded : all.keys.size();
    write_choice(out, all, least, most);
}

void write_list_content(xml::writer& out, std::vector<constraint const*> const& lists) {
    gathered all;
    std::size_t least = constraint_list::unbounded;
    std::size_t most = 0;
    for (constraint const* each : lists) {
        auto const& list = *static_cast<constraint_list const*>(each);
        all.add(list.element().get(), nullptr);
        least = std::min(least, list.min_size());
        most = std::max(most, list.max_size());
    }
    write_choice(out, all, least, most);
}

} // namespace

void write_xsd_members(xml::writer& out, constraint_db const& database) {
    write_tree_content(out, {&database});
}

void write_xsd_list(xml::writer& out, constraint_list const& list) {
    out.start_node("xs:complexType");
    write_list_content(out, {&list});
    out.end_node();
}

void write_xsd_definitions(xml::writer& out) {
    out.start_node("xs:complexType", "name", "simple-value");
    out.start_node("xs:simpleContent");
    out.start_node("xs:extension", "base", "xs:anySimpleType");
    out.empty_node("xs:attribute", {{"name", "key"}, {"type", "xs:string"}});
    out.empty_node("xs:attribute", {{"name", "encoding"}, {"type", "xs:string"}});
    out.end_node();
    out.end_node();
    out.end_node();
    out.start_node("xs:complexType", {{"name", "any-content"}, {"mixed", "true"}});
    out.start_node("xs:sequence");
    out.empty_node("xs:any", {{"minOccurs", "0"}, {"maxOccurs", "unbounded"}, {"processContents", "skip"}});
    out.end_node();
    out.empty_node("xs:anyAttribute", "processContents", "skip");
    out.end_node();
}

} // namespace kxcore
