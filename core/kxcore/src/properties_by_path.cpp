#include <kxcore/properties.h>
#include <kxcore/property_list.h>

#include "leaf_walk.h"
#include "reference_cursor.h"
#include "shared_block.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <span>

namespace kxcore {

namespace {

using steps_view = std::span<reference_step const>;

property const* find_child(property const& container, reference_step const& step) noexcept;
std::vector<reference_step> split_or_raise(std::string_view path);
[[noreturn]] void refuse(std::string_view path, steps_view steps, std::string const& why);

/// The number of steps, from the first on, that name something which is there.
std::size_t count_present(properties const& tree, steps_view steps);

/// Raises where a value cannot be set: the first missing step must be one that `may_create` lets be made.
void check_place(properties const& tree, std::string_view path, steps_view steps, std::size_t present, bool may_create);

/// Sets the value at the end of the steps, copying what others share on the way.
void set_along(properties& tree, steps_view steps, property_handle value);

} // namespace

property_handle properties::get_referenced_property(std::string_view path) const {
    property const* const found = find_referenced(path);
    return property_handle(found);
}

property const* properties::find_referenced(std::string_view path) const {
    if (path.size() > kxbase::current_limits().path) return nullptr;
    detail::reference_cursor cursor(path, property_kind::properties);
    property const* found = this;
    reference_step step;
    while (found != nullptr && cursor.next(step)) {
        found = find_child(*found, step);
    }
    return cursor.is_malformed() ? nullptr : found;
}

void properties::set_referenced_property(std::string_view path, property_handle value) {
    std::vector<reference_step> const steps = split_or_raise(path);
    std::size_t const present = count_present(*this, steps);
    if (!value && present < steps.size()) return;
    check_place(*this, path, steps, present, false);
    set_along(*this, steps, std::move(value));
}

void properties::set_create_referenced_property(std::string_view path, property_handle value) {
    std::vector<reference_step> const steps = split_or_raise(path);
    std::size_t const present = count_present(*this, steps);
    if (!value && present < steps.size()) return;
    check_place(*this, path, steps, present, true);
    // What is missing is made around the value, from the inside out, and set in one step.
    std::size_t last = steps.size() - 1;
    for (; last > present; --last) {
        value = kxbase::make_refcount<properties>(steps[last].key, std::move(value));
    }
    set_along(*this, steps_view(steps).first(last + 1), std::move(value));
}

namespace {

property const* find_child(property const& container, reference_step const& step) noexcept {
    if (step.is_index) {
        auto const* const list = property_cast<property_list>(&container);
        return list != nullptr && step.index < list->size() ? (*list)[step.index].get() : nullptr;
    }
    auto const* const tree = property_cast<properties>(&container);
    return tree != nullptr ? tree->find(step.key) : nullptr;
}

std::vector<reference_step> split_or_raise(std::string_view path) {
    std::size_t const limit = kxbase::current_limits().path;
    if (path.size() > limit) {
        kxbase::es::arg::raise("path '" + detail::shown_path(path, 64) + "' is longer than " + std::to_string(limit) +
                               " characters (limit path)");
    }
    std::vector<reference_step> steps;
    detail::reference_cursor cursor(path, property_kind::properties);
    for (reference_step step; cursor.next(step);) {
        steps.push_back(step);
    }
    if (cursor.is_malformed()) {
        kxbase::es::arg::raise("path '" + std::string(path) + "' is malformed; expected key, {key} and [n]");
    }
    return steps;
}

std::size_t count_present(properties const& tree, steps_view steps) {
    property const* found = &tree;
    std::size_t present = 0;
    while (present < steps.size()) {
        found = find_child(*found, steps[present]);
        if (found == nullptr) break;
        ++present;
    }
    return present;
}

void check_place(properties const& tree, std::string_view path, steps_view steps, std::size_t present,
                 bool may_create) {
    if (present == steps.size()) return;
    property const* container = &tree;
    for (reference_step const& step : steps.first(present)) {
        container = find_child(*container, step);
    }
    reference_step const& missing = steps[present];
    steps_view const before = steps.first(present);
    property_kind const wanted = missing.is_index ? property_kind::list : property_kind::properties;
    if (container->kind() != wanted) {
        refuse(path, before,
               "is of kind " + std::string(property_kind_name(container->kind())) + "; expected kind " +
                   std::string(property_kind_name(wanted)));
    }
    if (missing.is_index && missing.index > static_cast<property_list const*>(container)->size()) {
        refuse(path, before,
               "has only " + std::to_string(static_cast<property_list const*>(container)->size()) + " elements");
    }
    steps_view const after = steps.subspan(present + 1);
    if (!after.empty() && !may_create) refuse(path, steps.first(present + 1), "is missing");
    for (std::size_t index = 0; index < after.size(); ++index) {
        if (after[index].is_index) refuse(path, steps.first(present + 1 + index), "is a missing list");
    }
}

void refuse(std::string_view path, steps_view steps, std::string const& why) {
    std::string place;
    for (reference_step const& step : steps) {
        if (step.is_index) {
            append_reference_index(place, step.index);
        } else {
            append_reference_key(place, step.key);
        }
    }
    kxbase::es::arg::raise("path '" + std::string(path) +
                           "' cannot be set: " + (steps.empty() ? "the tree" : "'" + place + "'") + " " + why);
}

/// The handle that the step names in a container that nobody else sees; its block becomes the container's own.
property_handle& own_child(property& container, reference_step const& step) {
    if (step.is_index) {
        detail::list_block*& block = detail::list_block::of(static_cast<property_list&>(container));
        detail::list_block::own(block, block->size);
        return block->begin()[step.index];
    }
    auto& tree = static_cast<properties&>(container);
    detail::member_block*& block = detail::member_block::of(tree);
    auto const index = static_cast<std::size_t>(tree.find_member(step.key) - tree.begin());
    detail::member_block::own(block, block->size);
    return detail::member_block::value_of(block->begin()[index]);
}

void set_along(properties& tree, steps_view steps, property_handle value) {
    // A tree within itself would never end: what goes in is the tree as it is now.
    if (value.get() == &tree) value = kxbase::make_refcount<properties>(tree);
    property* container = &tree;
    for (reference_step const& step : steps.first(steps.size() - 1)) {
        container = &detail::own_object(own_child(*container, step));
    }
    reference_step const& last = steps.back();
    if (last.is_index) {
        static_cast<property_list*>(container)->set_element(last.index, std::move(value));
    } else {
        static_cast<properties*>(container)->set_property(last.key, std::move(value));
    }
}

} // namespace

} // namespace kxcore
