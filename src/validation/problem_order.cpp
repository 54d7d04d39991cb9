#include "validation/problem_order.h"

#include <algorithm>
#include <tuple>

namespace kxclientutil {

namespace {

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

/// The digits that the text begins with.
std::string_view leading_number(std::string_view text) {
    return text.substr(0, static_cast<std::size_t>(std::ranges::find_if_not(text, is_digit) - text.begin()));
}

} // namespace

void sort_problems(std::vector<document_problem>& problems) {
    std::ranges::stable_sort(problems, [](document_problem const& a, document_problem const& b) {
        auto const place = [](document_problem const& of) { return std::tuple(of.line == 0, of.line, of.column); };
        if (place(a) != place(b)) return place(a) < place(b);
        if (a.path != b.path) return is_path_before(a.path, b.path);
        return a.severity < b.severity;
    });
}

bool is_path_before(std::string_view a, std::string_view b) {
    while (!a.empty() && !b.empty()) {
        if (is_digit(a.front()) && is_digit(b.front())) {
            // Indices have no leading zeros, so the longer one is the greater.
            std::string_view const x = leading_number(a);
            std::string_view const y = leading_number(b);
            if (x != y) return x.size() != y.size() ? x.size() < y.size() : x < y;
            a.remove_prefix(x.size());
            b.remove_prefix(y.size());
        } else {
            if (a.front() != b.front()) return a.front() < b.front();
            a.remove_prefix(1);
            b.remove_prefix(1);
        }
    }
    return a.empty() && !b.empty();
}

} // namespace kxclientutil
