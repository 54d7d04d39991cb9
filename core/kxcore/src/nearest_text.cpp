#include <kxcore/nearest_text.h>

#include <algorithm>
#include <array>

namespace kxcore {

namespace {

constexpr std::size_t longest_compared = 256;

char folded(char byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

} // namespace

std::size_t edit_distance(std::string_view a, std::string_view b) {
    a = a.substr(0, longest_compared);
    b = b.substr(0, longest_compared);
    // Three rows of the usual table: an exchange of neighbours looks two rows back.
    using row = std::array<std::size_t, longest_compared + 1>;
    row before_last{};
    row last{};
    row now{};
    for (std::size_t j = 0; j <= b.size(); ++j)
        last[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        now[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            bool const same = folded(a[i - 1]) == folded(b[j - 1]);
            now[j] = std::min({last[j] + 1, now[j - 1] + 1, last[j - 1] + (same ? 0U : 1U)});
            bool const exchanged =
                i > 1 && j > 1 && folded(a[i - 1]) == folded(b[j - 2]) && folded(a[i - 2]) == folded(b[j - 1]);
            if (exchanged) now[j] = std::min(now[j], before_last[j - 2] + 1);
        }
        before_last = last;
        last = now;
    }
    return last[b.size()];
}

bool is_good_guess(std::string_view given, std::string_view guess, std::size_t distance) {
    // One slip in a short word, one in three letters in a long one.
    return distance <= std::max<std::size_t>(1, std::min(given.size(), guess.size()) / 3) &&
           distance < std::max(given.size(), guess.size());
}

void nearest_text::consider(std::string_view guess) {
    std::size_t const difference = std::max(given_.size(), guess.size()) - std::min(given_.size(), guess.size());
    if (difference >= distance_) return;
    std::size_t const distance = edit_distance(given_, guess);
    if (distance >= distance_) return;
    distance_ = distance;
    nearest_ = guess;
}

std::string_view nearest_text::good_guess() const {
    return is_good_guess(given_, nearest_, distance_) ? nearest_ : std::string_view();
}

} // namespace kxcore
