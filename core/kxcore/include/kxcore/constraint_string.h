#pragma once

/// @file
/// The constraint on texts: any string, one of a bounded length, one that matches a pattern.

#include <kxcore/constraint.h>

#include <limits>
#include <memory>
#include <string>
#include <string_view>

namespace kxcore {

/// Accepts strings (no special values).
class KXCORE_EXPORT constraint_string : public constraint {
public:
    /// No upper bound.
    static constexpr std::size_t unbounded = std::numeric_limits<std::size_t>::max();

    /// Accepts every string.
    constraint_string();

    /// Accepts strings of a bounded length, and with a pattern only those that match it as a whole.
    ///
    /// @param min_length, max_length in characters; what is not UTF-8 counts every byte that does not continue a
    ///        character
    /// @param pattern a regular expression in RE2's syntax; the empty text for none
    /// @throws es::arg when the bounds cross, when the pattern is not well-formed (message of the position), or when it
    ///         needs more memory than patterns may
    explicit constraint_string(std::size_t min_length, std::size_t max_length = unbounded,
                               std::string_view pattern = {});

    /// Accepts strings that match the pattern as a whole; as above.
    explicit constraint_string(std::string_view pattern);

    ~constraint_string() override;
    constraint_string(constraint_string const&);
    constraint_string& operator=(constraint_string const&) = delete;

    [[nodiscard]] std::size_t min_length() const noexcept { return min_length_; }
    [[nodiscard]] std::size_t max_length() const noexcept { return max_length_; }
    /// The pattern; empty when there is none.
    [[nodiscard]] std::string const& pattern() const noexcept;

    [[nodiscard]] constraint_kind kind() const override;
    [[nodiscard]] kxbase::ptr_refcount<constraint> clone() const override;
    [[nodiscard]] kxcore::property_kind property_kind() const override;
    void to_string(std::string& out) const override;
    void to_rng(xml::writer& out) const override;
    void to_xsd(xml::writer& out) const override;
    /// The empty text, or the shortest one of blanks; empty when there is a pattern that it does not match.
    [[nodiscard]] kxbase::ptr_refcount<property const> suggest_value() const override;
    [[nodiscard]] bool is_valid(property const* value, unsigned int flags) const override;
    void invalid_reason(property const* value, std::string& out, unsigned int flags) const override;
    void describe(std::string& out) const override;

private:
    struct compiled_pattern;

    std::size_t min_length_ = 0;
    std::size_t max_length_ = unbounded;
    // Compiled once, shared by clones.
    std::shared_ptr<compiled_pattern const> pattern_;
};

} // namespace kxcore
