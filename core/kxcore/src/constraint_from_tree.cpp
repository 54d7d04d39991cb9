#include <kxcore/constraint_codec.h>

#include "constraint_tree_reader.h"

#include <kxbase/errors.h>
#include <kxcore/properties.h>

namespace kxcore {

using part = kxbase::ptr_refcount<constraint const>;

constraint_definitions::constraint_definitions() : state_(std::make_unique<state>()) {}
constraint_definitions::~constraint_definitions() = default;
constraint_definitions::constraint_definitions(constraint_definitions&&) noexcept = default;
constraint_definitions& constraint_definitions::operator=(constraint_definitions&&) noexcept = default;

void constraint_definitions::add(properties const& tree) {
    property_handle const member = tree.get_property("definitions");
    if (!member) return;
    auto const* added = property_cast<properties>(member.get());
    if (added == nullptr) kxbase::es::arg::raise("definitions: expected a tree of named constraints");
    for (property_member const& each : *added)
        if (state_->named.contains(each.key()))
            kxbase::es::arg::raise("definitions{" + std::string(each.key()) + "}: this name is defined already");
    for (property_member const& each : *added)
        state_->named.emplace(each.key(), constraint_definition{each.value(), {}, false});
}

part constraint_definitions::get(std::string_view name) {
    if (!state_->named.contains(name)) return {};
    return constraint_tree_reader(*this).read_definition(name, 1);
}

void constraint_definitions::check_all() {
    for (auto const& each : state_->named)
        (void)constraint_tree_reader(*this).read_definition(each.first, 1);
}

part constraint_from_tree(properties const& tree) {
    constraint_definitions definitions;
    definitions.add(tree);
    definitions.check_all();
    return constraint_from_tree(tree, definitions);
}

part constraint_from_tree(properties const& tree, constraint_definitions& definitions) {
    return constraint_tree_reader(definitions).read_root(tree);
}

} // namespace kxcore
