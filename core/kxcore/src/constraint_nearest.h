#pragma once

/// @file
/// What may have been meant: the nearest of several texts, the nearest valid value.

#include <kxcore/property.h>

#include <cstddef>
#include <string_view>

namespace kxcore {

/// How many characters have to be changed, added, left out or exchanged with their neighbour to make one text of the
/// other; the case of a to z is no matter. Texts are compared up to 256 bytes.
std::size_t edit_distance(std::string_view a, std::string_view b);

/// Whether a text at that distance is near enough to have been meant.
bool is_good_guess(std::string_view given, std::string_view guess, std::size_t distance);

/// The best of several guesses at what was meant.
class nearest_text {
public:
    explicit nearest_text(std::string_view given) : given_(given) {}

    /// The guess must outlive this object.
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

/// The valid value that is nearest to one that is not valid; empty when nothing of it can be kept.
property_handle nearest_valid_value(constraint const& of, property const* value);

} // namespace kxcore
