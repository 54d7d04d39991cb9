#pragma once

/// @file
/// A constraint made of named constraints: what the members of a tree must be, which of them must be there, and whether
/// there may be others. The installation's constraint database is one whose members describe the document types.

#include <kxcore/constraint.h>
#include <kxcore/constraint_finding.h>

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kxcore {

/// Named constraints, in byte order of their names.
///
/// A copy shares the members until one side changes. A database that has become part of another constraint can't be
/// changed any more: copy it, change the copy, and put that in its place.
class KXCORE_EXPORT constraint_db : public constraint {
public:
    /// One named constraint.
    struct member {
        std::string name;
        /// Empty when the name is known and any value is valid.
        kxbase::ptr_refcount<constraint const> value;
        /// Whether a tree must have it.
        bool required = false;
    };

    /// No member.
    ///
    /// @param closed whether a tree may have only the members that are named here; an open database says nothing
    ///        about others
    explicit constraint_db(bool closed = false);
    ~constraint_db() override;
    constraint_db(constraint_db const& other);
    constraint_db& operator=(constraint_db const&) = delete;

    [[nodiscard]] bool is_closed() const noexcept { return closed_; }

    /// @throws es::arg when this is part of another constraint
    void set_closed(bool closed);

    [[nodiscard]] bool empty() const noexcept;
    [[nodiscard]] std::size_t size() const noexcept;

    /// The members in byte order of their names; valid until this object is changed or destroyed.
    [[nodiscard]] std::span<member const> members() const noexcept;

    /// The member of that name; nullptr when there is none. Valid as members() is.
    [[nodiscard]] member const* find(std::string_view name) const noexcept;

    [[nodiscard]] bool is_present(std::string_view name) const noexcept { return find(name) != nullptr; }

    /// The constraint of that name; empty when there is no such member, or it has no constraint.
    [[nodiscard]] kxbase::ptr_refcount<constraint const> get_constraint(std::string_view name) const;

    /// Adds a member, or replaces constraint and flag of the one that has the name.
    ///
    /// @param name any bytes
    /// @param value may be empty: then the name is known and any value is valid. Not to be changed any more.
    /// @param required whether a tree must have the member
    /// @throws es::arg when this is part of another constraint, when it is added to itself, and beyond the limits
    ///         nesting and members; nothing is changed then
    void add_constraint(std::string_view name, kxbase::ptr_refcount<constraint const> value, bool required);

    /// Removes a member, if there is one of that name.
    ///
    /// @throws es::arg when this is part of another constraint
    void remove_constraint(std::string_view name);

    /// Whether every member that the tree has fits, at every depth, and in a closed database none is unknown. A member
    /// that is missing is no matter here.
    [[nodiscard]] bool is_valid(properties const& tree, unsigned int flags) const;
    [[nodiscard]] bool is_valid(properties const* tree, unsigned int flags) const;

    /// Whether every required member is there, in this tree and in every nested one.
    [[nodiscard]] bool constraints_satisfied(properties const& tree, unsigned int flags) const;

    /// Appends the first reason why the tree is not valid; nothing when it is.
    ///
    /// "configuration{priority}: found the int 12, must be an int from 0 to 10 (did you mean 10?)"
    void get_invalid_reason(properties const& tree, std::string& out, unsigned int flags) const;

    /// Appends the first required member that is missing, the same way; nothing when none is.
    void get_constraints_not_satisfied_reason(properties const& tree, std::string& out, unsigned int flags) const;

    /// Everything that is wrong with the tree, found in one pass, in the order of the paths: members that don't fit,
    /// members that are unknown, members that are missing. Empty exactly when is_valid() and constraints_satisfied().
    ///
    /// @param at_most stops when so many are found
    [[nodiscard]] std::vector<finding> findings(properties const& tree, unsigned int flags,
                                                std::size_t at_most = static_cast<std::size_t>(-1)) const;

    [[nodiscard]] constraint_kind kind() const override;
    [[nodiscard]] kxbase::ptr_refcount<constraint> clone() const override;
    [[nodiscard]] kxcore::property_kind property_kind() const override;
    void to_string(std::string& out) const override;
    void to_rng(xml::writer& out) const override;
    void to_xsd(xml::writer& out) const override;
    void to_documentation_xml(xml::writer& out, unsigned int levels) const override;
    void to_documentation_html_xmlrpc(xml::writer& out, std::set<std::string>& documented) const override;
    /// A tree of the required members, as their constraints suggest them; empty when one of them suggests nothing.
    [[nodiscard]] kxbase::ptr_refcount<property const> suggest_value() const override;
    [[nodiscard]] bool is_valid(property const* value, unsigned int flags) const override;
    void describe(std::string& out) const override;

private:
    struct table;

    void refuse_when_part() const;
    table& own_table();

    bool closed_ = false;
    // Null when empty; shared with copies, and copied before a change when it is.
    std::shared_ptr<table> table_;
};

} // namespace kxcore
