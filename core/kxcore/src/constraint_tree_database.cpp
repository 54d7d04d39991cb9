#include "constraint_tree_reader.h"

#include "constraint_short_text.h"

#include <kxcore/constraint_db.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

namespace kxcore {

using part = constraint_tree_reader::part;

namespace {

constexpr std::string_view member_keys[] = {"required"};

} // namespace

part constraint_tree_reader::read_database(properties const& tree, std::size_t level) {
    auto database = kxbase::make_refcount<constraint_db>(flag_member(tree, "closed"));
    read_includes(tree, *database, level);
    read_members(tree, *database, level);
    read_odd_members(tree, *database, level);
    return database;
}

void constraint_tree_reader::read_includes(properties const& tree, constraint_db& into, std::size_t level) {
    property const* const member = tree.find("include");
    if (member == nullptr) return;
    step const here(*this, "include");
    if (auto const* text = property_cast<property_string>(member)) return include(into, text->value(), level);
    auto const* list = property_cast<property_list>(member);
    if (list == nullptr) refuse_kind("the name of a definition, or a list of them", *member);
    for (std::size_t i = 0; i < list->size(); ++i) {
        step const element(*this, i);
        auto const* name = property_cast<property_string>((*list)[i].get());
        if (name == nullptr) refuse_kind("the name of a definition", *(*list)[i]);
        include(into, name->value(), level);
    }
}

void constraint_tree_reader::include(constraint_db& into, std::string_view name, std::size_t level) {
    if (name.starts_with('@')) name.remove_prefix(1);
    part const included = read_reference(name, level);
    if (included->kind() != constraint_kind::database)
        refuse("expected the name of a database, found that of " + constraint_description(*included));
    guarded([&] {
        for (auto const& each : static_cast<constraint_db const&>(*included).members())
            into.add_constraint(each.name, each.value, each.required);
    });
}

void constraint_tree_reader::read_members(properties const& tree, constraint_db& into, std::size_t level) {
    property const* const member = tree.find("members");
    if (member == nullptr) return;
    step const here(*this, "members");
    auto const* members = property_cast<properties>(member);
    if (members == nullptr) refuse_kind("a tree of named constraints", *member);
    for (property_member const& each : *members) {
        step const inner(*this, each.key());
        named_member const read = read_member(*each.value(), level + 1);
        guarded([&] { into.add_constraint(each.key(), read.value, read.required); });
    }
}

void constraint_tree_reader::read_odd_members(properties const& tree, constraint_db& into, std::size_t level) {
    property const* const member = tree.find("odd-members");
    if (member == nullptr) return;
    step const here(*this, "odd-members");
    auto const* list = property_cast<property_list>(member);
    if (list == nullptr) refuse_kind(R"(a list of trees with "name" and "constraint")", *member);
    for (std::size_t i = 0; i < list->size(); ++i) {
        step const element(*this, i);
        auto const* record = property_cast<properties>((*list)[i].get());
        if (record == nullptr) refuse_kind(R"(a tree with "name" and "constraint")", *(*list)[i]);
        std::string_view const name = text_member(*record, "name");
        named_member const read = read_record(*record, level + 1, true);
        guarded([&] { into.add_constraint(name, read.value, read.required); });
    }
}

constraint_tree_reader::named_member constraint_tree_reader::read_member(property const& form, std::size_t level) {
    if (auto const* string = property_cast<property_string>(&form)) {
        std::string_view text = string->value();
        bool const required = take_required(text);
        return {text == "none" ? part() : read_text(text, level), required};
    }
    auto const* tree = property_cast<properties>(&form);
    if (tree == nullptr) refuse_kind("a constraint: a short text, or a tree with \"type\"", form);
    if (tree->is_present("constraint")) return read_record(*tree, level, false);
    bool const required = flag_member(*tree, "required");
    if (tree->get_string_value("type", "") != "none") return {read_tree(*tree, level, member_keys), required};
    constexpr std::string_view type[] = {"type"};
    check_keys(*tree, type, member_keys);
    return {part(), required};
}

constraint_tree_reader::named_member constraint_tree_reader::read_record(properties const& record, std::size_t level,
                                                                         bool named) {
    constexpr std::string_view keys[] = {"constraint", "required"};
    constexpr std::string_view name[] = {"name"};
    check_keys(record, keys, named ? std::span<std::string_view const>(name) : std::span<std::string_view const>());
    property const& form = needed_member(record, "constraint", "a constraint");
    bool const required = flag_member(record, "required");
    step const here(*this, "constraint");
    return {read_optional_form(form, level), required};
}

part constraint_tree_reader::read_optional_form(property const& form, std::size_t level) {
    auto const* text = property_cast<property_string>(&form);
    if (text != nullptr && text->value() == "none") return {};
    auto const* tree = property_cast<properties>(&form);
    if (tree != nullptr && tree->size() == 1 && tree->get_string_value("type", "") == "none") return {};
    return read_form(form, level);
}

} // namespace kxcore
