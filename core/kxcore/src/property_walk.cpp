#include <kxcore/property_walk.h>

#include "leaf_walk.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <algorithm>
#include <list>
#include <optional>
#include <type_traits>
#include <vector>

namespace kxcore {

namespace {

using detail::children;

/// A tree or list that the walk is in.
struct open_container {
    property const* container;
    children rest;
    std::size_t path_size;
    std::size_t first_change;
};

/// What stands in the place of the child with that index; an empty handle for a child that goes.
struct change {
    std::size_t index;
    property_handle value;
};

/// A container with some of its children changed.
property_handle with_changes(property const& container, change* first, change const* last);

void list_references(properties const& tree, property_kind const* kind, std::list<std::string>& paths);

template <class Visitor>
void walk_leaves(property const& container, Visitor const& visitor);

/// What stands in the place of a child, an empty handle to erase it; nothing to leave it, and to go into a container.
using decision = std::optional<property_handle>;

/// Walks the tree and asks `decide(path, key, value, kind)` about every child.
template <bool with_path, class Decide>
std::size_t rewrite(properties& tree, Decide const& decide);

constexpr bool is_container(property_kind kind) {
    return kind == property_kind::properties || kind == property_kind::list;
}

} // namespace

void visit_leaves(properties const& tree, leaf_visitor const& visitor) {
    // The visitor may change the tree; the walk goes on over what it was.
    properties const held(tree); // NOLINT(performance-unnecessary-copy-initialization)
    walk_leaves(held, visitor);
}

void visit_leaves(property_list const& list, leaf_visitor const& visitor) {
    property_list const held(list); // NOLINT(performance-unnecessary-copy-initialization)
    walk_leaves(held, visitor);
}

std::size_t rewrite_leaves(properties& tree, leaf_rewriter const& rewriter) {
    return rewrite<true>(
        tree,
        [&](std::string_view path, property_key const&, property_handle const& value, property_kind kind) -> decision {
            if (is_container(kind)) return std::nullopt;
            property_handle rewritten = rewriter(path, value);
            if (rewritten == value) return std::nullopt;
            return rewritten;
        });
}

std::size_t replace_values(properties& tree, property_kind kind, value_replacer const& replacer) {
    return rewrite<false>(
        tree,
        [&](std::string_view, property_key const&, property_handle const& value, property_kind found) -> decision {
            if (found != kind || is_container(kind)) return std::nullopt;
            property_handle replacement = replacer(value);
            if (!replacement || replacement == value) return std::nullopt;
            return replacement;
        });
}

std::size_t rewrite_members(properties& tree, member_rewriter const& rewriter) {
    return rewrite<false>(tree, [&](std::string_view, property_key const& key, property_handle const& value,
                                    property_kind) { return rewriter(key.text(), value); });
}

std::size_t erase_members(properties& tree, member_predicate const& predicate) {
    return rewrite<true>(
        tree, [&](std::string_view path, property_key const&, property_handle const& value, property_kind) -> decision {
            if (predicate(path, value)) return property_handle();
            return std::nullopt;
        });
}

std::size_t properties::recursive_erase_ids(std::string_view key) {
    return rewrite<false>(
        *this, [key](std::string_view, property_key const& found, property_handle const&, property_kind) -> decision {
            if (&found != &children::no_key() && found.text() == key) return property_handle();
            return std::nullopt;
        });
}

void properties::get_leaf_references(std::list<std::string>& paths) const {
    list_references(*this, nullptr, paths);
}

void properties::get_leaf_references(property_kind kind, std::list<std::string>& paths) const {
    list_references(*this, &kind, paths);
}

namespace {

template <class Visitor>
void walk_leaves(property const& container, Visitor const& visitor) {
    for (detail::leaf_walk walk(container); walk.next();) {
        if (!detail::is_container(walk.value())) visitor(walk.path(), walk.handle());
    }
}

template <bool with_path, class Decide>
std::size_t rewrite(properties& tree, Decide const& decide) {
    constexpr std::size_t usual_depth = 8;
    properties const held(tree);
    std::string path;
    std::size_t count = 0;
    std::vector<change> changes;
    std::vector<open_container> open;
    open.reserve(usual_depth);
    open.push_back({&held, children(held), 0, 0});
    while (true) {
        open_container& current = open.back();
        if (!current.rest.at_end()) {
            if constexpr (with_path) {
                path.resize(current.path_size);
                detail::append_step(path, open.size(), current.rest);
            }
            property_handle const& value = current.rest.value();
            property_kind const kind = value->kind();
            std::size_t const index = current.rest.index();
            decision decided = decide(path, current.rest.key(), value, kind);
            current.rest.next();
            if (decided) {
                ++count;
                changes.push_back({index, *std::move(decided)});
            } else if (is_container(kind)) {
                open.push_back({value.get(), children(*value, kind), path.size(), changes.size()});
            }
            continue;
        }
        property_handle changed;
        if (current.first_change != changes.size()) {
            auto const first = changes.begin() + static_cast<std::ptrdiff_t>(current.first_change);
            changed = with_changes(*current.container, &*first, &*first + (changes.end() - first));
            changes.erase(first, changes.end());
        }
        open.pop_back();
        if (open.empty()) {
            if (changed) tree = static_cast<properties const&>(*changed);
            return count;
        }
        if (changed) changes.push_back({open.back().rest.index() - 1, std::move(changed)});
    }
}

/// A copy of the container with the changes made, in one block of the right size.
template <class Container, class Block>
property_handle copy_with_changes(Container const& container, change* next, change const* last) {
    auto const goes =
        std::count_if(static_cast<change const*>(next), last, [](change const& made) { return !made.value; });
    auto copy = kxbase::make_refcount<Container>();
    Block*& block = Block::of(*copy);
    block = Block::make(container.size() - static_cast<std::size_t>(goes));
    auto* place = block->begin();
    std::size_t index = 0;
    for (auto const& child : container) {
        if (next == last || next->index != index) {
            ++index;
            new (place++) std::remove_pointer_t<decltype(place)>(child);
            continue;
        }
        ++index;
        property_handle value = std::move((next++)->value);
        if (!value) continue;
        if constexpr (Block::holds) {
            new (place++) property_member(child.key_handle(), std::move(value));
        } else {
            new (place++) property_handle(std::move(value));
        }
    }
    block->size = static_cast<std::uint32_t>(place - block->begin());
    return copy;
}

property_handle with_changes(property const& container, change* first, change const* last) {
    if (container.kind() == property_kind::properties) {
        return copy_with_changes<properties, detail::member_block>(static_cast<properties const&>(container), first,
                                                                   last);
    }
    return copy_with_changes<property_list, detail::list_block>(static_cast<property_list const&>(container), first,
                                                                last);
}

void list_references(properties const& tree, property_kind const* kind, std::list<std::string>& paths) {
    std::size_t left = kxbase::current_limits().expansion;
    walk_leaves(tree, [&](std::string_view path, property_handle const& value) {
        if (kind != nullptr && value->kind() != *kind) return;
        if (path.size() > left) kxbase::es::arg::raise("the paths of all leaves are too long (limit expansion)");
        left -= path.size();
        paths.emplace_back(path);
    });
}

} // namespace

} // namespace kxcore
