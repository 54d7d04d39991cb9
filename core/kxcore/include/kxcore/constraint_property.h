#pragma once

/// @file
/// The constraint that accepts one fixed value. A tag that a task requires or excludes is one of a bool.

#include <kxcore/constraint.h>

namespace kxcore {

/// Accepts the values that are equal to one.
class KXCORE_EXPORT constraint_property : public constraint {
public:
    /// @param value shared, and not to be changed any more
    /// @throws es::arg when the handle is empty, when the value is nested deeper than the limit nesting, and when a key
    ///         in it is not UTF-8, holds one of { } [ ] or is longer than the limit key
    explicit constraint_property(kxbase::ptr_refcount<property const> value);
    ~constraint_property() override;
    constraint_property(constraint_property const&);
    constraint_property& operator=(constraint_property const&) = delete;

    /// The fixed value; never empty.
    [[nodiscard]] kxbase::ptr_refcount<property const> const& value() const noexcept { return value_; }

    [[nodiscard]] constraint_kind kind() const override;
    [[nodiscard]] kxbase::ptr_refcount<constraint> clone() const override;
    /// The kind of the fixed value.
    [[nodiscard]] kxcore::property_kind property_kind() const override;
    void to_string(std::string& out) const override;
    void to_rng(xml::writer& out) const override;
    void to_xsd(xml::writer& out) const override;
    /// The fixed value.
    [[nodiscard]] kxbase::ptr_refcount<property const> suggest_value() const override;
    [[nodiscard]] bool exact_match(property const* value) const override;
    /// A fixed value that is a special one matches nothing: special values are valid by their flag alone.
    [[nodiscard]] bool is_valid(property const* value, unsigned int flags) const override;
    void describe(std::string& out) const override;

private:
    kxbase::ptr_refcount<property const> value_;
};

} // namespace kxcore
