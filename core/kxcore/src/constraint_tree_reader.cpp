#include "constraint_tree_reader.h"

#include "constraint_found.h"
#include "constraint_short_text.h"
#include "constraint_words.h"
#include "limit_error.h"

#include <kxbase/errors.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/constraint_property.h>
#include <kxcore/constraint_string.h>
#include <kxcore/constraint_values.h>
#include <kxcore/nearest_text.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxcore/shown_value.h>

#include <algorithm>
#include <array>
#include <limits>

namespace kxcore {

namespace {

using part = constraint_tree_reader::part;

enum class e_type { any, boolean, string, integer, binary, enumeration, property, one_of, list, database, reference };

// The members that a tree of each type may have, beside "type".
struct type_row {
    std::string_view name;
    e_type type;
    std::array<std::string_view, 4> keys;
};

constexpr type_row types[] = {
    {"any", e_type::any, {"kind"}},
    {"bool", e_type::boolean, {}},
    {"string", e_type::string, {"min", "max", "pattern"}},
    {"int", e_type::integer, {"min", "max"}},
    {"binary", e_type::binary, {"min", "max"}},
    {"enum", e_type::enumeration, {"values"}},
    {"property", e_type::property, {"value"}},
    {"one-of", e_type::one_of, {"of"}},
    {"list", e_type::list, {"of", "min", "max"}},
    {"database", e_type::database, {"closed", "include", "members", "odd-members"}},
    {"reference", e_type::reference, {"name"}},
};

constexpr std::string_view root_keys[] = {"definitions"};

// Marks a definition as being read as long as it is.
class reading_mark {
public:
    reading_mark(constraint_definition& definition, std::vector<std::string>& chain, std::string_view name)
        : definition_(definition), chain_(chain) {
        chain_.emplace_back(name);
        definition_.in_progress = true;
    }
    reading_mark(reading_mark const&) = delete;
    reading_mark& operator=(reading_mark const&) = delete;
    ~reading_mark() {
        definition_.in_progress = false;
        chain_.pop_back();
    }

private:
    constraint_definition& definition_;
    std::vector<std::string>& chain_;
};

} // namespace

constraint_tree_reader::constraint_tree_reader(constraint_definitions& definitions)
    : constraint_tree_reader(*definitions.state_) {}

constraint_tree_reader::constraint_tree_reader(constraint_definitions::state& definitions)
    : definitions_(definitions), deepest_(constraint::deepest_nesting()) {}

part constraint_tree_reader::read_root(properties const& tree) {
    return read_tree(tree, 1, root_keys);
}

part constraint_tree_reader::read_definition(std::string_view name, std::size_t level) {
    constraint_definition& definition = definitions_.named.find(name)->second;
    if (definition.made) return definition.made;
    if (definition.in_progress) {
        std::string circle;
        auto const first = std::find(definitions_.chain.begin(), definitions_.chain.end(), name);
        for (auto each = first; each != definitions_.chain.end(); ++each)
            circle += *each + " -> ";
        refuse("the definition refers to itself: " + circle + std::string(name));
    }
    reading_mark const mark(definition, definitions_.chain, name);
    constraint_tree_reader reader(definitions_);
    step const outer(reader, "definitions");
    step const inner(reader, name);
    definition.made = reader.read_form(*definition.form, level);
    return definition.made;
}

part constraint_tree_reader::read_form(property const& form, std::size_t level) {
    if (auto const* text = property_cast<property_string>(&form)) return read_text(text->value(), level);
    if (auto const* tree = property_cast<properties>(&form)) return read_tree(*tree, level, {});
    refuse_kind("a constraint: a short text, or a tree with \"type\"", form);
}

part constraint_tree_reader::read_text(std::string_view text, std::size_t level) {
    // A reference brings a path of its own, so only what is wrong with the text itself gets this one.
    if (text.starts_with('@')) return read_reference(text.substr(1), level);
    bool is_foreign = false;
    try {
        return constraint_from_short_text(text, [&](std::string_view name) {
            is_foreign = true;
            part made = read_reference(name, level);
            is_foreign = false;
            return made;
        });
    } catch (kxbase::es::arg const& error) {
        if (is_foreign) throw;
        refuse_as(error);
    }
}

part constraint_tree_reader::read_reference(std::string_view name, std::size_t level) {
    if (level > deepest_) refuse_depth();
    if (definitions_.named.contains(name)) return read_definition(name, level + 1);
    std::string why = "there is no definition of ";
    words::append_shown(why, name.substr(0, 200));
    nearest_text nearest(name);
    for (auto const& each : definitions_.named)
        nearest.consider(each.first);
    if (!nearest.good_guess().empty()) {
        why += " (did you mean ";
        words::append_shown(why, nearest.good_guess());
        why += "?)";
    }
    refuse(why);
}

part constraint_tree_reader::read_tree(properties const& tree, std::size_t level,
                                       std::span<std::string_view const> more_keys) {
    if (level > deepest_) refuse_depth();
    std::string_view const name = text_member(tree, "type");
    auto const* const type =
        std::find_if(std::begin(types), std::end(types), [name](type_row const& each) { return each.name == name; });
    if (type == std::end(types)) {
        step const here(*this, "type");
        std::string why = "expected ";
        nearest_text nearest(name);
        for (type_row const& each : types) {
            why += std::string(each.name) + ", ";
            nearest.consider(each.name);
        }
        why += "found ";
        words::append_shown(why, name.substr(0, 200));
        if (!nearest.good_guess().empty()) why += " (did you mean " + std::string(nearest.good_guess()) + "?)";
        refuse(why);
    }
    check_keys(tree, type->keys, more_keys);
    switch (type->type) {
    case e_type::any: return read_any(tree);
    case e_type::boolean: return kxbase::make_refcount<constraint_bool>();
    case e_type::string: return read_string(tree);
    case e_type::integer: return read_int(tree);
    case e_type::binary: return read_binary(tree);
    case e_type::enumeration: return read_enum(tree);
    case e_type::property: return read_property(tree);
    case e_type::one_of: return read_one_of(tree, level);
    case e_type::list: return read_list(tree, level);
    case e_type::database: return read_database(tree, level);
    case e_type::reference: break;
    }
    return read_reference(text_member(tree, "name"), level);
}

part constraint_tree_reader::read_any(properties const& tree) {
    if (!tree.is_present("kind")) return kxbase::make_refcount<constraint_any>();
    std::string_view const name = text_member(tree, "kind");
    property_kind kind = property_kind::special;
    if (!property_kind_from_name(name, kind) || kind == property_kind::special) {
        step const here(*this, "kind");
        refuse_kind("string, bool, int, binary, properties, list or constraint", *tree.find("kind"));
    }
    return kxbase::make_refcount<constraint_any>(kind);
}

part constraint_tree_reader::read_string(properties const& tree) {
    std::size_t const min = size_member(tree, "min", 0);
    std::size_t const max = size_member(tree, "max", words::unbounded);
    std::string_view const pattern = tree.is_present("pattern") ? text_member(tree, "pattern") : std::string_view();
    return guarded([&] { return part(kxbase::make_refcount<constraint_string>(min, max, pattern)); });
}

part constraint_tree_reader::read_int(properties const& tree) {
    std::int64_t const min = int_member(tree, "min").value_or(std::numeric_limits<std::int64_t>::min());
    std::int64_t const max = int_member(tree, "max").value_or(std::numeric_limits<std::int64_t>::max());
    return guarded([&] { return part(kxbase::make_refcount<constraint_int>(min, max)); });
}

part constraint_tree_reader::read_binary(properties const& tree) {
    std::size_t const min = size_member(tree, "min", 0);
    std::size_t const max = size_member(tree, "max", words::unbounded);
    return guarded([&] { return part(kxbase::make_refcount<constraint_binary>(min, max)); });
}

part constraint_tree_reader::read_enum(properties const& tree) {
    property const& values = needed_member(tree, "values", "a list of strings, or one string with bars");
    step const here(*this, "values");
    if (auto const* text = property_cast<property_string>(&values))
        return kxbase::make_refcount<constraint_enum>(text->value());
    auto const* list = property_cast<property_list>(&values);
    if (list == nullptr) refuse_kind("a list of strings, or one string with bars", values);
    std::string joined;
    for (std::size_t i = 0; i < list->size(); ++i) {
        step const element(*this, i);
        if ((*list)[i]->kind() != property_kind::string) refuse_kind("a string", *(*list)[i]);
        if (i != 0) joined += '|';
        property::encode((*list)[i].get(), joined, false);
    }
    if (list->size() == 1 && joined.empty())
        refuse("the empty text can't be the only value: use the type string with max 0");
    return kxbase::make_refcount<constraint_enum>(joined);
}

part constraint_tree_reader::read_property(properties const& tree) {
    (void)needed_member(tree, "value", "the value");
    return guarded([&] { return part(kxbase::make_refcount<constraint_property>(tree.get_property("value"))); });
}

part constraint_tree_reader::read_list(properties const& tree, std::size_t level) {
    std::size_t const min = size_member(tree, "min", 0);
    std::size_t const max = size_member(tree, "max", words::unbounded);
    part element;
    if (property const* const of = tree.find("of")) {
        step const here(*this, "of");
        element = read_form(*of, level + 1);
    } else {
        element = kxbase::make_refcount<constraint_any>();
    }
    return guarded([&] { return part(kxbase::make_refcount<constraint_list>(element, min, max)); });
}

part constraint_tree_reader::read_one_of(properties const& tree, std::size_t level) {
    property const& of = needed_member(tree, "of", "a list of constraints");
    step const here(*this, "of");
    auto const* list = property_cast<property_list>(&of);
    if (list == nullptr) refuse_kind("a list of constraints", of);
    std::vector<part> alternatives;
    for (std::size_t i = 0; i < list->size(); ++i) {
        step const element(*this, i);
        alternatives.push_back(read_form(*(*list)[i], level + 1));
    }
    return guarded([&] { return part(kxbase::make_refcount<constraint_one_of>(std::move(alternatives))); });
}

// The members of trees

std::optional<std::int64_t> constraint_tree_reader::int_member(properties const& tree, std::string_view key) {
    property const* const member = tree.find(key);
    if (member == nullptr) return std::nullopt;
    step const here(*this, key);
    auto const* number = property_cast<property_int>(member);
    if (number == nullptr) refuse_kind("an int", *member);
    return number->value();
}

std::size_t constraint_tree_reader::size_member(properties const& tree, std::string_view key, std::size_t otherwise) {
    std::optional<std::int64_t> const number = int_member(tree, key);
    if (!number) return otherwise;
    if (*number < 0) {
        step const here(*this, key);
        refuse("expected an int that is not negative, found " + std::to_string(*number));
    }
    return static_cast<std::size_t>(*number);
}

bool constraint_tree_reader::flag_member(properties const& tree, std::string_view key) {
    property const* const member = tree.find(key);
    if (member == nullptr) return false;
    step const here(*this, key);
    auto const* flag = property_cast<property_bool>(member);
    if (flag == nullptr) refuse_kind("a bool", *member);
    return flag->value();
}

std::string_view constraint_tree_reader::text_member(properties const& tree, std::string_view key) {
    property const& member = needed_member(tree, key, "a string");
    step const here(*this, key);
    auto const* text = property_cast<property_string>(&member);
    if (text == nullptr) refuse_kind("a string", member);
    return text->value();
}

property const& constraint_tree_reader::needed_member(properties const& tree, std::string_view key,
                                                      std::string_view expected) {
    if (property const* const member = tree.find(key)) return *member;
    step const here(*this, key);
    refuse("missing, expected " + std::string(expected));
}

void constraint_tree_reader::check_keys(properties const& tree, std::span<std::string_view const> keys,
                                        std::span<std::string_view const> more_keys) {
    for (property_member const& each : tree) {
        auto const is_this = [&each](std::string_view key) { return !key.empty() && key == each.key(); };
        if (each.key() == "type" || std::any_of(keys.begin(), keys.end(), is_this) ||
            std::any_of(more_keys.begin(), more_keys.end(), is_this))
            continue;
        nearest_text nearest(each.key());
        for (std::string_view const key : keys)
            nearest.consider(key);
        for (std::string_view const key : more_keys)
            nearest.consider(key);
        std::string why = "unknown member of a constraint";
        if (!nearest.good_guess().empty()) why += " (did you mean \"" + std::string(nearest.good_guess()) + "\"?)";
        step const here(*this, each.key());
        refuse(why);
    }
}

// Paths and errors

constraint_tree_reader::step::step(constraint_tree_reader& reader, std::string_view key)
    : reader_(reader), length_(reader.path_.size()) {
    if (reader.path_.empty())
        reader.path_ = key;
    else
        reader.path_.append("{").append(key).append("}");
}

constraint_tree_reader::step::step(constraint_tree_reader& reader, std::size_t index)
    : reader_(reader), length_(reader.path_.size()) {
    reader.path_ += '[' + std::to_string(index) + ']';
}

constraint_tree_reader::step::~step() {
    reader_.path_.resize(length_);
}

void constraint_tree_reader::refuse(std::string_view what) const {
    kxbase::es::arg::raise(located(what));
}

void constraint_tree_reader::refuse_depth() const {
    limit_error::raise(located("nesting deeper than " + std::to_string(deepest_) + " levels (limit nesting)"));
}

void constraint_tree_reader::refuse_as(kxbase::es::arg const& cause) const {
    limit_error::raise_as(cause, located(cause.message()));
}

std::string constraint_tree_reader::located(std::string_view what) const {
    std::string message;
    words::append_shown(message, path_);
    message = path_.empty() ? "the constraint" : message.substr(1, message.size() - 2);
    message += ": ";
    message += what;
    return message;
}

void constraint_tree_reader::refuse_kind(std::string_view expected, property const& found) const {
    refuse("expected " + std::string(expected) + ", found " + found_text(found, false));
}

} // namespace kxcore
