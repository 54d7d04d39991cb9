#include "constraint_short_text.h"

#include "constraint_words.h"

#include <kxbase/errors.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_property.h>
#include <kxcore/constraint_values.h>
#include <kxcore/nearest_text.h>
#include <kxcore/property_values.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace kxcore {

namespace {

using part = kxbase::ptr_refcount<constraint const>;

[[noreturn]] void refuse(std::string_view text, std::string const& why) {
    std::string message = "the short text ";
    words::append_shown(message, text.substr(0, 200));
    kxbase::es::arg::raise(message + " " + why);
}

bool take(std::string_view& text, std::string_view word) {
    if (!text.starts_with(word)) return false;
    text.remove_prefix(word.size());
    return true;
}

// The bounds of a range, each as it is when the text does not give it.
template <class Number>
struct range {
    Number min;
    Number max;
};

template <class Number>
Number number_from(std::string_view text, std::string_view whole) {
    Number number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        std::string shown;
        words::append_shown(shown, text);
        refuse(whole, "holds " + shown + " where a number is expected, or a range like 1..64, 1.. or ..64");
    }
    return number;
}

// Takes " RANGE" from the beginning, if a range stands there.
template <class Number>
range<Number> take_range(std::string_view& rest, std::string_view whole, range<Number> const& unbounded) {
    if (rest.size() < 2 || rest[0] != ' ' || std::string_view("0123456789-.").find(rest[1]) == std::string_view::npos)
        return unbounded;
    std::string_view const text = rest.substr(1, rest.find(' ', 1) - 1);
    rest.remove_prefix(1 + text.size());
    std::size_t const dots = text.find("..");
    if (dots == std::string_view::npos) {
        auto const exact = number_from<Number>(text, whole);
        return {exact, exact};
    }
    range<Number> bounds = unbounded;
    if (dots != 0) bounds.min = number_from<Number>(text.substr(0, dots), whole);
    if (dots + 2 != text.size()) bounds.max = number_from<Number>(text.substr(dots + 2), whole);
    return bounds;
}

range<std::size_t> take_sizes(std::string_view& rest, std::string_view whole) {
    return take_range<std::size_t>(rest, whole, {0, words::unbounded});
}

constexpr std::string_view first_words[] = {"any", "bool", "true", "false", "string", "int", "binary", "list", "enum"};

[[noreturn]] void refuse_first_word(std::string_view text) {
    nearest_text nearest(text.substr(0, text.find(' ')));
    for (std::string_view const word : first_words)
        nearest.consider(word);
    std::string why = "is no constraint: it begins with none of";
    for (std::string_view const word : first_words)
        why += " " + std::string(word);
    why += " and @NAME";
    if (!nearest.good_guess().empty()) why += " (did you mean " + std::string(nearest.good_guess()) + "?)";
    refuse(text, why);
}

using resolver = std::function<part(std::string_view)>;

part read_any(std::string_view& rest) {
    property_kind kind = property_kind::special;
    bool const names_kind = rest.starts_with(' ') && property_kind_from_name(rest.substr(1), kind);
    if (names_kind && kind != property_kind::special) rest = {};
    return kxbase::make_refcount<constraint_any>(kind);
}

part read_string(std::string_view& rest, std::string_view text) {
    auto const sizes = take_sizes(rest, text);
    std::string_view pattern;
    if (take(rest, " matching ")) {
        pattern = rest;
        rest = {};
        if (pattern.empty()) refuse(text, "lacks the pattern");
    }
    return kxbase::make_refcount<constraint_string>(sizes.min, sizes.max, pattern);
}

part read_int(std::string_view& rest, std::string_view text) {
    using limits = std::numeric_limits<std::int64_t>;
    auto const bounds = take_range<std::int64_t>(rest, text, {limits::min(), limits::max()});
    return kxbase::make_refcount<constraint_int>(bounds.min, bounds.max);
}

// A list of lists of ... is written flat, so it is read without recursion.
part read_list(std::string_view& rest, std::string_view text, resolver const& resolve) {
    std::vector<range<std::size_t>> sizes{take_sizes(rest, text)};
    bool has_element = take(rest, " of ");
    while (has_element && take(rest, "list")) {
        sizes.push_back(take_sizes(rest, text));
        has_element = take(rest, " of ");
    }
    part made = kxbase::make_refcount<constraint_any>();
    if (has_element) {
        made = constraint_from_short_text(rest, resolve);
        rest = {};
    }
    std::reverse(sizes.begin(), sizes.end());
    for (auto const& [min, max] : sizes)
        made = kxbase::make_refcount<constraint_list>(made, min, max);
    return made;
}

} // namespace

bool take_required(std::string_view& text) {
    return take(text, "required ");
}

part constraint_from_short_text(std::string_view text, resolver const& resolve) {
    std::string_view rest = text;
    part made;
    if (take(rest, "@")) return resolve(rest);
    if (take(rest, "enum ")) return kxbase::make_refcount<constraint_enum>(rest);
    if (text == "enum") refuse(text, "lacks the values: enum a|b|c");
    if (take(rest, "any")) {
        made = read_any(rest);
    } else if (take(rest, "bool")) {
        made = kxbase::make_refcount<constraint_bool>();
    } else if (take(rest, "true")) {
        made = kxbase::make_refcount<constraint_property>(kxbase::make_refcount<property_bool>(true));
    } else if (take(rest, "false")) {
        made = kxbase::make_refcount<constraint_property>(kxbase::make_refcount<property_bool>(false));
    } else if (take(rest, "string")) {
        made = read_string(rest, text);
    } else if (take(rest, "int")) {
        made = read_int(rest, text);
    } else if (take(rest, "binary")) {
        auto const sizes = take_sizes(rest, text);
        made = kxbase::make_refcount<constraint_binary>(sizes.min, sizes.max);
    } else if (take(rest, "list")) {
        made = read_list(rest, text, resolve);
    } else {
        refuse_first_word(text);
    }
    if (!rest.empty() && rest.front() != ' ') refuse_first_word(text);
    if (!rest.empty()) {
        std::string shown;
        words::append_shown(shown, rest.substr(1, 100));
        refuse(text, "goes on with " + shown + ", which is not understood");
    }
    return made;
}

} // namespace kxcore
