#include <kxcore/references.h>

#include "reference_cursor.h"

#include <charconv>

namespace kxcore {

bool split_reference(std::string_view path, std::vector<reference_step>& steps) {
    steps.clear();
    detail::reference_cursor cursor(path, path.starts_with('[') ? property_kind::list : property_kind::properties);
    reference_step step;
    while (cursor.next(step)) {
        steps.push_back(step);
    }
    if (cursor.is_malformed()) steps.clear();
    return !cursor.is_malformed();
}

void append_reference_key(std::string& path, std::string_view key) {
    if (path.empty()) {
        path += key;
    } else {
        path += '{';
        path += key;
        path += '}';
    }
}

void append_reference_index(std::string& path, std::size_t index) {
    char digits[20];
    auto const written = std::to_chars(std::begin(digits), std::end(digits), index);
    path += '[';
    path.append(digits, written.ptr);
    path += ']';
}

namespace detail {

bool reference_cursor::next(reference_step& step) noexcept {
    if (is_at_bare_key_) {
        is_at_bare_key_ = false;
        return next_key(step, "{[", 0);
    }
    if (at_ == path_.size()) return false;
    if (path_[at_] == '{') {
        ++at_;
        return next_key(step, "}", 1);
    }
    if (path_[at_] == '[') return next_index(step);
    return fail();
}

/// Reads a key up to one of the terminators; `closing` is the number of characters that belong to the end of the step.
bool reference_cursor::next_key(reference_step& step, std::string_view terminators, std::size_t closing) noexcept {
    std::size_t const end = path_.find_first_of("{}[]", at_);
    bool const is_ended =
        end == std::string_view::npos ? closing == 0 : terminators.find(path_[end]) != terminators.npos;
    if (!is_ended) return fail();
    std::size_t const stop = end == std::string_view::npos ? path_.size() : end;
    step = {path_.substr(at_, stop - at_), 0, false};
    at_ = stop + closing;
    return true;
}

bool reference_cursor::next_index(reference_step& step) noexcept {
    char const* const first = path_.data() + at_ + 1;
    char const* const last = path_.data() + path_.size();
    std::size_t index = 0;
    auto const [stop, error] = std::from_chars(first, last, index);
    if (error != std::errc() || stop == last || *stop != ']' || (*first == '0' && stop != first + 1)) return fail();
    step = {{}, index, true};
    at_ = static_cast<std::size_t>(stop - path_.data()) + 1;
    return true;
}

bool reference_cursor::fail() noexcept {
    is_malformed_ = true;
    at_ = path_.size();
    return false;
}

} // namespace detail

} // namespace kxcore
