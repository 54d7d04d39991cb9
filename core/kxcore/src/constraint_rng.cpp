#include <kxcore/constraint_schema.h>

#include "schema_text.h"

#include <kxbase/base64.h>
#include <kxcore/constraint_db.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/property_special.h>
#include <kxcore/xml_writer.h>

#include <algorithm>
#include <map>
#include <set>
#include <span>

namespace kxcore {

namespace {

constexpr std::string_view rng_namespace = "http://relaxng.org/ns/structure/1.0";
constexpr std::string_view datatypes = "http://www.w3.org/2001/XMLSchema-datatypes";

// Beyond this many, a list's bounds are not told: the language can't count, it can only repeat.
constexpr std::size_t most_repeated = 16;

/// Walks constraints and writes patterns. In a grammar every database becomes a definition, and so does a member that
/// several of them have: what is used in several places is written once. In a fragment everything is written in its
/// place.
class rng_writer {
public:
    rng_writer(xml::writer& out, bool is_grammar) : out_(out), is_grammar_(is_grammar) {}

    void grammar(schema_document const& document);
    void member(constraint const* value, std::string_view const* key);
    void members(constraint_db const& database);
    void elements(constraint_list const& list);

private:
    void element(constraint const& value, std::string_view const* key);
    void content(constraint const& value);
    void string_content(constraint const& value);
    void database_content(constraint_db const& database);
    void other_members(constraint_db const& database);
    void write_other_members(constraint_db const& database);
    void count_uses(constraint const& of);
    void pending_definitions();
    void define_database(std::string const& name, constraint_db const& database);
    void define_member(std::string const& name, constraint_db::member const& of);
    std::string const& definition_of(constraint_db const& database);
    std::string const& definition_of(constraint_db::member const& of);
    std::string free_name(std::string const& wanted);

    using member_identity = std::pair<std::string_view, constraint const*>;
    static member_identity identity(constraint_db::member const& of) { return {of.name, of.value.get()}; }

    // One of the two.
    struct definition {
        constraint_db const* database;
        constraint_db::member const* member;
        std::string name;
    };

    xml::writer& out_;
    bool is_grammar_;
    std::set<constraint const*> counted_;
    std::map<member_identity, std::size_t> uses_;
    std::map<constraint_db const*, std::string> names_;
    std::map<member_identity, std::string> member_names_;
    std::set<std::string> taken_;
    std::vector<definition> pending_;
    // What a database is named after that is met now.
    std::string place_ = "root";
};

void write_key(xml::writer& out, std::string_view const* key);
void write_any_key(xml::writer& out, std::span<constraint_db::member const> but);
void write_any_value(xml::writer& out, std::string_view const* key);
void write_special(xml::writer& out, std::string_view const* key);
std::string definition_name(std::string_view key);

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

void write_rng_grammar(xml::writer& out, schema_document const& document) {
    rng_writer(out, true).grammar(document);
}

void write_rng_member(xml::writer& out, constraint const* value, std::string_view const* key) {
    rng_writer(out, false).member(value, key);
}

void write_rng_members(xml::writer& out, constraint_db const& database) {
    rng_writer(out, false).members(database);
}

void write_rng_elements(xml::writer& out, constraint_list const& list) {
    rng_writer(out, false).elements(list);
}

namespace {

void rng_writer::grammar(schema_document const& document) {
    for (auto const& tree : document.trees)
        count_uses(*tree);
    out_.start_node("grammar", {{"xmlns", rng_namespace}, {"datatypeLibrary", datatypes}});
    out_.start_node("start");
    out_.start_node("element", "name", "document");
    out_.start_node("attribute", "name", "identifier");
    out_.start_node("choice");
    for (std::string const& identifier : document.identifiers)
        out_.text_node("value", {{"type", "string"}}, identifier);
    out_.end_node();
    out_.end_node();
    out_.start_node("attribute", "name", "version");
    out_.text_node("value", {{"type", "string"}}, std::to_string(document.version));
    out_.end_node();
    place_ = definition_name(document.identifiers.front());
    out_.start_node("choice");
    for (auto const& tree : document.trees)
        database_content(*tree);
    out_.end_node();
    out_.end_node();
    out_.end_node();
    pending_definitions();
    write_rng_definitions(out_);
    out_.end_node();
}

void rng_writer::member(constraint const* value, std::string_view const* key) {
    if (key != nullptr) place_ = definition_name(*key);
    std::vector<constraint const*> elements;
    if (value == nullptr || !collect_elements(*value, elements)) {
        write_any_value(out_, key);
        return;
    }
    out_.start_node("choice");
    for (constraint const* each : elements)
        element(*each, key);
    write_special(out_, key);
    out_.end_node();
}

void rng_writer::members(constraint_db const& database) {
    if (database.is_closed() && database.empty()) {
        out_.empty_node("empty");
        return;
    }
    if (!database.is_closed()) other_members(database);
    for (auto const& each : database.members()) {
        std::string_view const key = each.name;
        if (!each.required) out_.start_node("optional");
        auto const used = uses_.find(identity(each));
        if (used != uses_.end() && used->second > 1)
            out_.empty_node("ref", "name", definition_of(each));
        else
            member(each.value.get(), &key);
        if (!each.required) out_.end_node();
        if (!database.is_closed()) other_members(database);
    }
}

void rng_writer::elements(constraint_list const& list) {
    constraint const* const value = list.element().get();
    std::size_t const min = list.min_size();
    std::size_t const max = list.max_size();
    std::string const place = place_;
    auto const repeat = [&](std::size_t times, std::string_view node) {
        for (std::size_t i = 0; i < times; ++i) {
            if (!node.empty()) out_.start_node(node);
            place_ = place + "-element";
            member(value, nullptr);
            if (!node.empty()) out_.end_node();
        }
    };
    if (max == 0) {
        out_.empty_node("empty");
    } else if (max <= most_repeated) {
        repeat(min, "");
        repeat(max - min, "optional");
    } else if (min > most_repeated) {
        repeat(1, "oneOrMore");
    } else {
        repeat(min == 0 ? 0 : min - 1, "");
        repeat(1, min == 0 ? "zeroOrMore" : "oneOrMore");
    }
}

void rng_writer::element(constraint const& value, std::string_view const* key) {
    std::string const place = place_;
    out_.start_node("element", "name", property_kind_name(value.property_kind()));
    write_key(out_, key);
    content(value);
    out_.end_node();
    place_ = place;
}

void rng_writer::content(constraint const& value) {
    switch (value.kind()) {
    case constraint_kind::database: database_content(static_cast<constraint_db const&>(value)); break;
    case constraint_kind::list: elements(static_cast<constraint_list const&>(value)); break;
    default:
        if (value.property_kind() == property_kind::string)
            string_content(value);
        else
            value.to_rng(out_);
        break;
    }
}

// A string that XML can't hold exactly is stored as base64: its content says nothing to a schema.
void rng_writer::string_content(constraint const& value) {
    if (value.kind() == constraint_kind::any) {
        out_.empty_node("ref", "name", "any-string");
        return;
    }
    out_.start_node("choice");
    if (value.kind() == constraint_kind::enumeration) {
        // Not the fragment, whose values would be compared without the blanks at their ends.
        for (property_handle const& each : static_cast<constraint_enum const&>(value).allowed())
            if (fits_xml(each->to_string())) out_.text_node("value", {{"type", "string"}}, each->to_string());
    } else {
        value.to_rng(out_);
    }
    out_.empty_node("ref", "name", "base64-string");
    out_.end_node();
}

void rng_writer::database_content(constraint_db const& database) {
    if (is_grammar_)
        out_.empty_node("ref", "name", definition_of(database));
    else
        members(database);
}

// Members that an open database does not name may stand between those that it names.
void rng_writer::other_members(constraint_db const& database) {
    if (database.empty())
        out_.empty_node("ref", "name", "any-properties");
    else if (is_grammar_)
        out_.empty_node("ref", "name", "others-of-" + definition_of(database));
    else
        write_other_members(database);
}

void rng_writer::write_other_members(constraint_db const& database) {
    out_.start_node("zeroOrMore");
    out_.start_node("choice");
    for (property_kind const kind : schema_kinds) {
        out_.start_node("element", "name", property_kind_name(kind));
        write_any_key(out_, database.members());
        out_.empty_node("ref", "name", "any-" + std::string(property_kind_name(kind)));
        out_.end_node();
    }
    out_.start_node("element", "name", "special");
    write_any_key(out_, database.members());
    out_.empty_node("ref", "name", "any-special");
    out_.end_node();
    out_.end_node();
    out_.end_node();
}

void rng_writer::count_uses(constraint const& of) {
    if (!counted_.insert(&of).second) return;
    if (of.kind() == constraint_kind::list) {
        count_uses(*static_cast<constraint_list const&>(of).element());
    } else if (of.kind() == constraint_kind::one_of) {
        for (auto const& each : static_cast<constraint_one_of const&>(of).alternatives())
            count_uses(*each);
    } else if (of.kind() == constraint_kind::database) {
        for (auto const& each : static_cast<constraint_db const&>(of).members()) {
            ++uses_[identity(each)];
            if (each.value) count_uses(*each.value);
        }
    }
}

void rng_writer::pending_definitions() {
    // More become known while they are written, which a loop over the range would not survive.
    for (std::size_t i = 0; i < pending_.size(); ++i) { // NOLINT(modernize-loop-convert)
        definition const each = pending_[i];
        if (each.database != nullptr)
            define_database(each.name, *each.database);
        else
            define_member(each.name, *each.member);
    }
}

void rng_writer::define_database(std::string const& name, constraint_db const& database) {
    out_.start_node("define", "name", name);
    members(database);
    out_.end_node();
    if (database.is_closed() || database.empty()) return;
    out_.start_node("define", "name", "others-of-" + name);
    write_other_members(database);
    out_.end_node();
}

void rng_writer::define_member(std::string const& name, constraint_db::member const& of) {
    std::string_view const key = of.name;
    out_.start_node("define", "name", name);
    member(of.value.get(), &key);
    out_.end_node();
}

std::string const& rng_writer::definition_of(constraint_db const& database) {
    auto const [at, is_new] = names_.try_emplace(&database);
    if (is_new) {
        at->second = free_name("tree-" + place_);
        pending_.push_back({&database, nullptr, at->second});
    }
    return at->second;
}

std::string const& rng_writer::definition_of(constraint_db::member const& of) {
    auto const [at, is_new] = member_names_.try_emplace(identity(of));
    if (is_new) {
        at->second = free_name("member-" + definition_name(of.name));
        pending_.push_back({nullptr, &of, at->second});
    }
    return at->second;
}

std::string rng_writer::free_name(std::string const& wanted) {
    std::string name = wanted;
    for (std::size_t number = 2; !taken_.insert(name).second; ++number)
        name = wanted + '-' + std::to_string(number);
    return name;
}

void write_key(xml::writer& out, std::string_view const* key) {
    if (key == nullptr) return;
    bool const is_plain = fits_xml(*key);
    out.start_node("attribute", "name", is_plain ? "key" : "key-base64");
    if (is_plain)
        out.text_node("value", {{"type", "string"}}, *key);
    else
        out.text_node("value", {{"type", "base64Binary"}}, kxbase::base64_encoded(*key));
    out.end_node();
}

void write_any_key(xml::writer& out, std::span<constraint_db::member const> but) {
    auto const attribute = [&](std::string_view name, std::string_view type, bool is_plain) {
        out.start_node("attribute", "name", name);
        out.start_node("data", "type", type);
        if (is_plain) out.text_node("param", {{"name", "pattern"}}, key_pattern);
        if (std::any_of(but.begin(), but.end(), [&](auto const& each) { return fits_xml(each.name) == is_plain; })) {
            out.start_node("except");
            for (auto const& each : but)
                if (fits_xml(each.name) == is_plain)
                    out.text_node("value", {{"type", type}}, is_plain ? each.name : kxbase::base64_encoded(each.name));
            out.end_node();
        }
        out.end_node();
        out.end_node();
    };
    out.start_node("choice");
    attribute("key", "string", true);
    attribute("key-base64", "base64Binary", false);
    out.end_node();
}

void write_any_value(xml::writer& out, std::string_view const* key) {
    if (key == nullptr) {
        out.empty_node("ref", "name", "any-element");
        return;
    }
    out.start_node("choice");
    for (property_kind const kind : schema_kinds) {
        out.start_node("element", "name", property_kind_name(kind));
        write_key(out, key);
        out.empty_node("ref", "name", "any-" + std::string(property_kind_name(kind)));
        out.end_node();
    }
    write_special(out, key);
    out.end_node();
}

void write_special(xml::writer& out, std::string_view const* key) {
    out.start_node("element", "name", "special");
    write_key(out, key);
    out.empty_node("ref", "name", "any-special");
    out.end_node();
}

// Keys are no names to XML: what a name can't hold becomes a hyphen.
std::string definition_name(std::string_view key) {
    std::string name;
    for (char const byte : key) {
        bool const fits = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                          (byte >= '0' && byte <= '9') || byte == '-' || byte == '_' || byte == '.';
        name += fits ? byte : '-';
    }
    return name;
}

} // namespace

} // namespace kxcore
