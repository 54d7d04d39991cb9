#include <kxcore/constraint_codec.h>

#include "constraint_words.h"

#include <kxcore/constraint_db.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/constraint_property.h>
#include <kxcore/constraint_string.h>
#include <kxcore/constraint_values.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <limits>

namespace kxcore {

namespace {

using tree_handle = kxbase::ptr_refcount<properties>;

tree_handle tree_of(constraint const& from);

void set_text(properties& tree, std::string_view key, std::string_view text) {
    tree.set_property(key, kxbase::make_refcount<property_string>(text));
}

void set_int(properties& tree, std::string_view key, std::int64_t value) {
    tree.set_property(key, kxbase::make_refcount<property_int>(value));
}

void set_flag(properties& tree, std::string_view key, bool value) {
    if (value) tree.set_property(key, kxbase::make_refcount<property_bool>(true));
}

void set_sizes(properties& tree, std::size_t min, std::size_t max) {
    if (min != 0) set_int(tree, "min", static_cast<std::int64_t>(min));
    if (max != words::unbounded) set_int(tree, "max", static_cast<std::int64_t>(max));
}

void set_string(properties& tree, constraint_string const& from) {
    set_sizes(tree, from.min_length(), from.max_length());
    if (!from.pattern().empty()) set_text(tree, "pattern", from.pattern());
}

void set_bounds(properties& tree, constraint_int const& from) {
    if (from.min() != std::numeric_limits<std::int64_t>::min()) set_int(tree, "min", from.min());
    if (from.max() != std::numeric_limits<std::int64_t>::max()) set_int(tree, "max", from.max());
}

void set_values(properties& tree, constraint_enum const& from) {
    auto values = kxbase::make_refcount<property_list>();
    for (property_handle const& each : from.allowed())
        values->push_back(each);
    tree.set_property("values", values);
}

void set_alternatives(properties& tree, constraint_one_of const& from) {
    auto alternatives = kxbase::make_refcount<property_list>();
    for (auto const& each : from.alternatives())
        alternatives->push_back(tree_of(*each));
    tree.set_property("of", alternatives);
}

tree_handle member_tree(constraint_db::member const& member) {
    tree_handle tree;
    if (member.value) {
        tree = tree_of(*member.value);
    } else {
        tree = kxbase::make_refcount<properties>();
        set_text(*tree, "type", "none");
    }
    set_flag(*tree, "required", member.required);
    return tree;
}

// Members whose names no key of a document can hold go into a list, with the name as a string.
void set_members(properties& tree, constraint_db const& from) {
    set_flag(tree, "closed", from.is_closed());
    auto members = kxbase::make_refcount<properties>();
    auto odd = kxbase::make_refcount<property_list>();
    for (auto const& member : from.members()) {
        tree_handle described = member_tree(member);
        if (!member.name.empty() && property_key_fault(member.name).empty()) {
            members->set_property(member.name, described);
            continue;
        }
        auto named = kxbase::make_refcount<properties>();
        set_text(*named, "name", member.name);
        described->erase("required");
        named->set_property("constraint", described);
        set_flag(*named, "required", member.required);
        odd->push_back(named);
    }
    if (!members->empty()) tree.set_property("members", members);
    if (!odd->empty()) tree.set_property("odd-members", odd);
}

tree_handle tree_of(constraint const& from) {
    auto tree = kxbase::make_refcount<properties>();
    set_text(*tree, "type", words::type_name(from.kind()));
    switch (from.kind()) {
    case constraint_kind::boolean: break;
    case constraint_kind::any:
        if (from.property_kind() != property_kind::special)
            set_text(*tree, "kind", property_kind_name(from.property_kind()));
        break;
    case constraint_kind::string: set_string(*tree, static_cast<constraint_string const&>(from)); break;
    case constraint_kind::integer: set_bounds(*tree, static_cast<constraint_int const&>(from)); break;
    case constraint_kind::binary: {
        auto const& binary = static_cast<constraint_binary const&>(from);
        set_sizes(*tree, binary.min_size(), binary.max_size());
        break;
    }
    case constraint_kind::enumeration: set_values(*tree, static_cast<constraint_enum const&>(from)); break;
    case constraint_kind::property:
        tree->set_property("value", static_cast<constraint_property const&>(from).value());
        break;
    case constraint_kind::one_of: set_alternatives(*tree, static_cast<constraint_one_of const&>(from)); break;
    case constraint_kind::list: {
        auto const& list = static_cast<constraint_list const&>(from);
        tree->set_property("of", tree_of(*list.element()));
        set_sizes(*tree, list.min_size(), list.max_size());
        break;
    }
    case constraint_kind::database: set_members(*tree, static_cast<constraint_db const&>(from)); break;
    }
    return tree;
}

} // namespace

kxbase::ptr_refcount<properties const> constraint_to_tree(constraint const& from) {
    return tree_of(from);
}

} // namespace kxcore
