#pragma once

/// @file
/// What may have been meant: the nearest of several texts to one that nobody knows, for whoever explains a slip.

#include <kxcore/export.h>

#include <cstddef>
#include <string_view>

namespace kxcore {

/// How many characters have to be changed, added, left out or exchanged with their neighbour to make one text of the
/// other; the case of a to z is no matter. Texts are compared up to 256 bytes.
[[nodiscard]] KXCORE_EXPORT std::size_t edit_distance(std::string_view a, std::string_view b);

/// Whether a text at that distance is near enough to have been meant: one slip in a short text, one in three letters in a
/// long one.
[[nodiscard]] KXCORE_EXPORT bool is_good_guess(std::string_view given, std::string_view guess, std::size_t distance);

/// The best of several guesses at what was meant.
class KXCORE_EXPORT nearest_text {
public:
    /// @param given must outlive this object
    explicit nearest_text(std::string_view given) : given_(given) {}

    /// @param guess must outlive this object
    void consider(std::string_view guess);

    /// The nearest one, the first of several; empty when there was none.
    [[nodiscard]] std::string_view nearest() const noexcept { return nearest_; }

    /// The same, but empty when it is no good guess.
    [[nodiscard]] std::string_view good_guess() const;

private:
    std::string_view given_;
    std::string_view nearest_;
    std::size_t distance_ = static_cast<std::size_t>(-1);
};

} // namespace kxcore
