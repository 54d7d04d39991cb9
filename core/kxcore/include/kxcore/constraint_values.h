#pragma once

/// @file
/// The constraints on single values that are neither texts nor made of others: any value, a bool, an int of a range,
/// bytes of a bounded size.

#include <kxcore/constraint.h>
#include <kxcore/property.h>

#include <cstddef>
#include <cstdint>
#include <limits>

namespace kxcore {

/// Accepts every value but special ones, or every value of one kind: any tree, any list, any constraint. What is inside
/// is not looked at.
class KXCORE_EXPORT constraint_any : public constraint {
public:
    /// Values of all kinds.
    constraint_any() = default;

    /// @param of the one kind of value; `special` for all kinds (but that one)
    explicit constraint_any(kxcore::property_kind of) : of_(of) {}

    [[nodiscard]] constraint_kind kind() const override;
    [[nodiscard]] kxbase::ptr_refcount<constraint> clone() const override;
    [[nodiscard]] kxcore::property_kind property_kind() const override;
    void to_string(std::string& out) const override;
    void to_rng(xml::writer& out) const override;
    void to_xsd(xml::writer& out) const override;
    /// The empty value of the kind, for all kinds the empty string; empty for constraints.
    [[nodiscard]] kxbase::ptr_refcount<property const> suggest_value() const override;
    [[nodiscard]] bool is_valid(property const* value, unsigned int flags) const override;
    void describe(std::string& out) const override;

private:
    kxcore::property_kind of_ = kxcore::property_kind::special;
};

/// Accepts true and false.
class KXCORE_EXPORT constraint_bool : public constraint {
public:
    [[nodiscard]] constraint_kind kind() const override;
    [[nodiscard]] kxbase::ptr_refcount<constraint> clone() const override;
    [[nodiscard]] kxcore::property_kind property_kind() const override;
    void to_string(std::string& out) const override;
    void to_rng(xml::writer& out) const override;
    void to_xsd(xml::writer& out) const override;
    /// False.
    [[nodiscard]] kxbase::ptr_refcount<property const> suggest_value() const override;
    [[nodiscard]] bool is_valid(property const* value, unsigned int flags) const override;
    void describe(std::string& out) const override;
};

/// Accepts the ints of a range, both ends included.
class KXCORE_EXPORT constraint_int : public constraint {
public:
    /// Every int.
    constraint_int() = default;

    /// @throws es::arg when @p min is greater than @p max
    explicit constraint_int(std::int64_t min, std::int64_t max = std::numeric_limits<std::int64_t>::max());

    [[nodiscard]] std::int64_t min() const noexcept { return min_; }
    [[nodiscard]] std::int64_t max() const noexcept { return max_; }

    [[nodiscard]] constraint_kind kind() const override;
    [[nodiscard]] kxbase::ptr_refcount<constraint> clone() const override;
    [[nodiscard]] kxcore::property_kind property_kind() const override;
    void to_string(std::string& out) const override;
    void to_rng(xml::writer& out) const override;
    void to_xsd(xml::writer& out) const override;
    /// The int of the range that is nearest to 0.
    [[nodiscard]] kxbase::ptr_refcount<property const> suggest_value() const override;
    [[nodiscard]] bool exact_match(property const* value) const override;
    [[nodiscard]] bool is_valid(property const* value, unsigned int flags) const override;
    void describe(std::string& out) const override;

private:
    std::int64_t min_ = std::numeric_limits<std::int64_t>::min();
    std::int64_t max_ = std::numeric_limits<std::int64_t>::max();
};

/// Accepts binary values of a bounded size.
class KXCORE_EXPORT constraint_binary : public constraint {
public:
    /// No upper bound.
    static constexpr std::size_t unbounded = std::numeric_limits<std::size_t>::max();

    /// Every binary value.
    constraint_binary() = default;

    /// @param min_size, max_size in bytes
    /// @throws es::arg when the bounds cross
    explicit constraint_binary(std::size_t min_size, std::size_t max_size = unbounded);

    [[nodiscard]] std::size_t min_size() const noexcept { return min_size_; }
    [[nodiscard]] std::size_t max_size() const noexcept { return max_size_; }

    [[nodiscard]] constraint_kind kind() const override;
    [[nodiscard]] kxbase::ptr_refcount<constraint> clone() const override;
    [[nodiscard]] kxcore::property_kind property_kind() const override;
    void to_string(std::string& out) const override;
    void to_rng(xml::writer& out) const override;
    void to_xsd(xml::writer& out) const override;
    /// The shortest value, of zero bytes; empty when it would be longer than 1 KiB.
    [[nodiscard]] kxbase::ptr_refcount<property const> suggest_value() const override;
    [[nodiscard]] bool is_valid(property const* value, unsigned int flags) const override;
    void describe(std::string& out) const override;

private:
    std::size_t min_size_ = 0;
    std::size_t max_size_ = unbounded;
};

} // namespace kxcore
