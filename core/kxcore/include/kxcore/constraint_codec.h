#pragma once

/// @file
/// The one structural form of constraints: a tree. Documents, the network encoding and the installation's constraint
/// database all hold constraints as such trees. docs/constraints.md describes the form for people who write it by hand.

#include <kxbase/ptr_refcount.h>
#include <kxcore/export.h>
#include <kxcore/fwd.h>

#include <memory>
#include <string>
#include <string_view>

namespace kxcore {

class constraint;

/// The tree form of a constraint; constraint_from_tree() makes an equal one of it (the same kind and canonical text).
///
/// References are written out, short texts are not used: the tree depends on what the constraint is, not on how it was
/// written.
[[nodiscard]] KXCORE_EXPORT kxbase::ptr_refcount<properties const> constraint_to_tree(constraint const& from);

/// Named constraints that references may name, for trees that are split over several files. Each is read when it is
/// first referred to, so the order in which files are added is no matter.
class KXCORE_EXPORT constraint_definitions {
public:
    /// No definitions.
    constraint_definitions();
    ~constraint_definitions();
    constraint_definitions(constraint_definitions&&) noexcept;
    constraint_definitions& operator=(constraint_definitions&&) noexcept;
    constraint_definitions(constraint_definitions const&) = delete;
    constraint_definitions& operator=(constraint_definitions const&) = delete;

    /// Takes the member "definitions" of a tree, if it has one. The tree is shared.
    ///
    /// @throws es::arg when it is not a tree, or a name is defined already, with the path
    void add(properties const& tree);

    /// The constraint of that name; empty when it is not defined.
    ///
    /// @throws es::arg with the path in the definition when it is malformed, and naming the chain when it refers to
    ///         itself
    [[nodiscard]] kxbase::ptr_refcount<constraint const> get(std::string_view name);

    /// Reads every definition, so that a malformed one is found though nothing refers to it.
    ///
    /// @throws es::arg as get() does
    void check_all();

private:
    struct state;
    friend class constraint_tree_reader;
    std::unique_ptr<state> state_;
};

/// Makes a constraint of its tree form.
///
/// References are resolved in the tree's own "definitions".
///
/// @throws es::arg with the path inside the tree of what is wrong and what is expected there, and beyond the limits
///         nesting and members
[[nodiscard]] KXCORE_EXPORT kxbase::ptr_refcount<constraint const> constraint_from_tree(properties const& tree);

/// The same for a tree whose definitions, if it has any, have been added to @p definitions, where references are
/// resolved.
[[nodiscard]] KXCORE_EXPORT kxbase::ptr_refcount<constraint const>
constraint_from_tree(properties const& tree, constraint_definitions& definitions);

} // namespace kxcore
