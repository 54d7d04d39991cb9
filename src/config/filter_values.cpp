#include "config/filter_values.h"

#include "raising.h"

#include <kxbase/text.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxcore/shown_value.h>

#include <charconv>
#include <chrono>

namespace kxclientutil {

namespace {

using kxcore::property_int;
using kxcore::property_list;
using kxcore::property_string;

constexpr std::int64_t day = 86400;

/// A text that is taken apart from its beginning.
struct date_reader {
    std::string_view rest;

    bool take(std::string_view any_of);
    std::optional<int> take_number(std::size_t digits);
};

[[noreturn]] void refuse(std::string const& path, std::string const& what);
std::string found(kxcore::property const& value);
std::optional<std::int64_t> whole_number(kxcore::property const& value);
std::optional<std::int64_t> date_of(std::string_view written, e_day_part part);
std::optional<std::int64_t> time_of(date_reader& reader);

} // namespace

std::vector<std::string> filter_texts(kxcore::property const* value, std::string const& path) {
    if (value == nullptr) return {};
    if (auto const* const text = kxcore::property_cast<property_string>(value)) return {std::string(text->value())};
    auto const* const list = kxcore::property_cast<property_list>(value);
    if (list == nullptr) refuse(path, found(*value) + " is neither a text nor a list of texts");
    std::vector<std::string> texts;
    for (auto const& element : *list) {
        auto const* const text = kxcore::property_cast<property_string>(element.get());
        if (text == nullptr) refuse(path, found(*element) + " is no text");
        texts.emplace_back(text->value());
    }
    return texts;
}

kxcore::text_pattern filter_pattern(std::string const& expression, std::string const& path) {
    try {
        return kxcore::text_pattern(expression);
    } catch (kxbase::es::arg const& error) {
        refuse(path, error.message());
    }
}

std::optional<std::uint64_t> filter_size(kxcore::property const* value, std::string const& path) {
    if (value == nullptr) return {};
    auto const size = whole_number(*value);
    if (!size || *size < 0) refuse(path, found(*value) + " is no number of bytes");
    return static_cast<std::uint64_t>(*size);
}

std::optional<std::int64_t> filter_date(kxcore::property const* value, std::string const& path, e_day_part part) {
    if (value == nullptr) return {};
    if (auto const seconds = whole_number(*value)) return seconds;
    auto const* const text = kxcore::property_cast<property_string>(value);
    auto const date = text == nullptr ? std::nullopt : date_of(text->value(), part);
    if (!date) refuse(path, found(*value) + " is no date; write it as 2012-12-31, 2012-12-31 23:59:59 or seconds");
    return date;
}

std::string shown_date(std::int64_t seconds) {
    // Years of more than five digits have no calendar.
    constexpr std::int64_t most = 32767LL * 365 * day;
    if (seconds > most || seconds < -most) return std::to_string(seconds) + " seconds since 1970";
    std::chrono::sys_seconds const when{std::chrono::seconds(seconds)};
    auto const midnight = std::chrono::floor<std::chrono::days>(when);
    std::chrono::year_month_day const date(midnight);
    std::chrono::hh_mm_ss const time(when - midnight);
    return kxbase::string_with_format("%04d-%02u-%02u %02d:%02d:%02d UTC", static_cast<int>(date.year()),
                                      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                                      static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                                      static_cast<int>(time.seconds().count()));
}

namespace {

void refuse(std::string const& path, std::string const& what) {
    raise_from<kxbase::es::arg>(config_source_path, path + ": " + what);
}

std::string found(kxcore::property const& value) {
    return kxcore::found_text(value, false);
}

std::optional<std::int64_t> whole_number(kxcore::property const& value) {
    if (auto const* const number = kxcore::property_cast<property_int>(&value)) return number->value();
    auto const* const text = kxcore::property_cast<property_string>(&value);
    if (text == nullptr) return {};
    std::string_view const written = text->value();
    std::int64_t number = 0;
    auto const parsed = std::from_chars(written.data(), written.data() + written.size(), number);
    if (parsed.ec != std::errc() || parsed.ptr != written.data() + written.size()) return {};
    return number;
}

std::optional<std::int64_t> date_of(std::string_view written, e_day_part part) {
    date_reader reader{written};
    auto const year = reader.take_number(4);
    if (!year || !reader.take("-")) return {};
    auto const month = reader.take_number(2);
    if (!month || !reader.take("-")) return {};
    auto const day_of_month = reader.take_number(2);
    if (!day_of_month) return {};
    std::chrono::year_month_day const date(std::chrono::year{*year}, std::chrono::month{static_cast<unsigned>(*month)},
                                           std::chrono::day{static_cast<unsigned>(*day_of_month)});
    if (!date.ok()) return {};
    std::int64_t const begin = std::chrono::sys_days(date).time_since_epoch().count() * day;
    if (reader.rest.empty()) return part == e_day_part::begin ? begin : begin + day - 1;
    auto const time = time_of(reader);
    if (!time) return {};
    return begin + *time;
}

std::optional<std::int64_t> time_of(date_reader& reader) {
    if (!reader.take(" T")) return {};
    auto const hours = reader.take_number(2);
    if (!hours || *hours > 23 || !reader.take(":")) return {};
    auto const minutes = reader.take_number(2);
    if (!minutes || *minutes > 59) return {};
    std::int64_t seconds = 0;
    if (reader.take(":")) {
        auto const given = reader.take_number(2);
        if (!given || *given > 59) return {};
        seconds = *given;
    }
    reader.take("Z");
    if (!reader.rest.empty()) return {};
    return *hours * 3600 + *minutes * 60 + seconds;
}

bool date_reader::take(std::string_view any_of) {
    if (rest.empty() || any_of.find(rest.front()) == std::string_view::npos) return false;
    rest.remove_prefix(1);
    return true;
}

std::optional<int> date_reader::take_number(std::size_t digits) {
    if (rest.size() < digits) return {};
    int number = 0;
    auto const parsed = std::from_chars(rest.data(), rest.data() + digits, number);
    if (parsed.ec != std::errc() || parsed.ptr != rest.data() + digits || number < 0) return {};
    rest.remove_prefix(digits);
    return number;
}

} // namespace

} // namespace kxclientutil
