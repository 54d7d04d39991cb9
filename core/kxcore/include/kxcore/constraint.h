#pragma once

/// @file
/// The base of all constraints. A constraint says which values are valid somewhere in a document, explains what is
/// wrong with the others, and writes itself as text, as schema fragments and as documentation. Constraints never change
/// once they are shared, so one object serves every document and every thread.

#include <kxbase/ptr_refcount.h>
#include <kxcore/export.h>
#include <kxcore/fwd.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

namespace kxcore {

namespace xml {
class writer;
}

/// What a constraint is; the value determines the class. 5 and 9 are fixed by what others rely on.
// The name is the one that the interface promises, without the prefix that enumerations have elsewhere.
enum class constraint_kind : unsigned int { // NOLINT(readability-identifier-naming)
    any = 0,                                ///< constraint_any
    string = 1,                             ///< constraint_string
    boolean = 2,                            ///< constraint_bool
    integer = 3,                            ///< constraint_int
    binary = 4,                             ///< constraint_binary
    enumeration = 5,                        ///< constraint_enum
    property = 6,                           ///< constraint_property
    one_of = 7,                             ///< constraint_one_of
    list = 8,                               ///< constraint_list
    database = 9,                           ///< constraint_db
};

/// Validation flags: which special values are valid wherever they stand. Bits, to be combined.
namespace validity {
inline constexpr unsigned int none = 0;
inline constexpr unsigned int deferred = 2; ///< a deferred value without a source
inline constexpr unsigned int variable = 4; ///< a reference to an output
inline constexpr unsigned int context = 8;  ///< a reference to a context variable
inline constexpr unsigned int wrapped = 16; ///< a wrapped credential
inline constexpr unsigned int all = 30;     ///< every special value
} // namespace validity

/// A constraint on one value. Make one with `kxbase::make_refcount`.
///
/// Functions with a `std::string& out` append to it. A null value is never valid.
class KXCORE_EXPORT constraint : public kxbase::object_refcount {
public:
    ~constraint() override;

    /// What this constraint is.
    [[nodiscard]] virtual constraint_kind kind() const = 0;

    /// A constraint of its own that accepts the same values. What is inside (allowed values, nested constraints) is
    /// shared with this one, since it never changes.
    [[nodiscard]] virtual kxbase::ptr_refcount<constraint> clone() const = 0;

    /// The kind of the values that are valid; `special` when they are of several kinds.
    [[nodiscard]] virtual kxcore::property_kind property_kind() const = 0;

    /// Appends the canonical text: constraints of one kind have the same text exactly when they accept the same values
    /// in the same words. See docs/constraints.md for its form.
    virtual void to_string(std::string& out) const = 0;

    /// Writes the content of the element that holds such a value in an XML document, as a RELAX NG pattern. The element
    /// itself, with its key, is written by `write_rng_member` (kxcore/constraint_schema.h).
    virtual void to_rng(xml::writer& out) const = 0;

    /// The same as an anonymous XML Schema type.
    virtual void to_xsd(xml::writer& out) const = 0;

    /// Writes an element that documents the constraint.
    ///
    /// @param levels how many levels of members are documented below this one; 0 for none
    virtual void to_documentation_xml(xml::writer& out, unsigned int levels) const;

    /// Writes the documentation as HTML: words for a plain constraint, a table for one with parts.
    ///
    /// @param documented canonical texts of the databases that the page shows already; one that is found there is
    ///        mentioned, not shown again, and one that is shown is added
    virtual void to_documentation_html_xmlrpc(xml::writer& out, std::set<std::string>& documented) const;

    /// A valid value to propose; empty when there is none or none can be found.
    [[nodiscard]] virtual kxbase::ptr_refcount<property const> suggest_value() const = 0;

    /// The valid value that is nearest to the one given: itself when it is valid; the number at the near end of the
    /// range; the allowed text with the fewest differing characters; else what suggest_value() says, which may be
    /// empty.
    [[nodiscard]] virtual kxbase::ptr_refcount<property const>
    closest_valid_value(kxbase::ptr_refcount<property const> const& value) const;

    /// Whether this constraint has exactly one valid value, and the given one is it.
    [[nodiscard]] virtual bool exact_match(property const* value) const;

    /// Whether the value is valid. Costs no allocation when it is.
    ///
    /// @param flags see `validity`: a special value whose bit is set is valid anywhere, any other never
    [[nodiscard]] virtual bool is_valid(property const* value, unsigned int flags) const = 0;

    /// Appends what the value must be, for a value that is not valid. Never the value itself, which may be a secret:
    /// whoever knows its place adds it (`constraint_db::findings`).
    virtual void invalid_reason(property const* value, std::string& out, unsigned int flags) const;

    /// Appends which values are valid, in words that follow "must be ": "an int from 0 to 10".
    virtual void describe(std::string& out) const = 0;

    /// Whether the other constraint is of the same kind and has the same canonical text. constraint_enum alone compares
    /// its value objects by identity.
    [[nodiscard]] virtual bool operator==(constraint const& other) const;

    /// Whether the value is a special one whose bit is set in @p flags: then it is valid anywhere.
    [[nodiscard]] static bool is_flagged_valid(property const* value, unsigned int flags);

    /// How deep constraints may be nested: the limit nesting, of which a host may take but to which it may not add.
    /// Constraints are walked by recursion, and this is what keeps it short.
    [[nodiscard]] static std::size_t deepest_nesting() noexcept;

    /// How deep constraints are nested in this one, itself counted: 1 for one without parts.
    [[nodiscard]] std::uint32_t depth() const noexcept { return depth_; }

    /// How many constraints it consists of, itself counted; a shared part counts at every use.
    [[nodiscard]] std::uint64_t parts() const noexcept { return parts_; }

    constraint& operator=(constraint const&) = delete;

protected:
    constraint() = default;
    /// The copy is part of nothing yet.
    constraint(constraint const& other);

    /// Counts a part in and marks it as one.
    ///
    /// @throws es::arg beyond the limits nesting and members
    void adopt(constraint const& part);

    /// @throws es::arg beyond the limits nesting and members
    static void check_extent(std::uint64_t depth, std::uint64_t parts);

    /// Whether this has become part of another constraint: from then on it must not change.
    [[nodiscard]] bool is_part() const noexcept { return is_part_.load(std::memory_order_relaxed); }
    static void mark_part(constraint const& part) noexcept { part.is_part_.store(true, std::memory_order_relaxed); }

    void set_extent(std::uint32_t depth, std::uint64_t parts) noexcept {
        depth_ = depth;
        parts_ = parts;
    }

private:
    mutable std::atomic<bool> is_part_{false};
    std::uint32_t depth_ = 1;
    std::uint64_t parts_ = 1;
};

/// The canonical text, as a new string.
[[nodiscard]] KXCORE_EXPORT std::string constraint_text(constraint const& of);

/// The description, as a new string.
[[nodiscard]] KXCORE_EXPORT std::string constraint_description(constraint const& of);

} // namespace kxcore
