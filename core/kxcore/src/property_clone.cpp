#include <kxcore/tree_builder.h>

#include "children.h"

namespace kxcore {

namespace {

/// A deep copy of a tree or a list, made from the outside in.
kxbase::ptr_refcount<property> clone_container(property const& container) {
    tree_builder builder(container.kind());
    std::vector<detail::children> open{detail::children(container)};
    while (true) {
        detail::children& current = open.back();
        if (current.at_end()) {
            open.pop_back();
            if (open.empty()) return builder.finish();
            builder.end();
            continue;
        }
        property_handle const& value = current.value();
        if (detail::is_container(*value)) {
            builder.begin(current.key(), value->kind());
            current.next();
            open.emplace_back(*value);
        } else {
            builder.add(current.key(), value->clone());
            current.next();
        }
    }
}

} // namespace

kxbase::ptr_refcount<property> properties::clone() const {
    return clone_container(*this);
}

kxbase::ptr_refcount<property> property_list::clone() const {
    return clone_container(*this);
}

} // namespace kxcore
