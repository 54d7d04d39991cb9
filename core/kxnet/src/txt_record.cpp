#include "txt_record.h"

#include <kxbase/errors.h>
#include <kxbase/one_line.h>

#include <algorithm>

namespace kxnet {
namespace {

constexpr std::size_t longest_entry = 255;
constexpr std::size_t longest_record = 65'535;

bool is_key_character(char c) {
    return c >= ' ' && c <= '~' && c != '=';
}

/// The entries, sorted. Bytes that are missing at the end are taken as they are: any record has entries.
std::vector<std::string_view> sorted_entries(std::string_view record) {
    std::vector<std::string_view> entries;
    while (!record.empty()) {
        auto const length = std::size_t{static_cast<unsigned char>(record.front())};
        entries.push_back(record.substr(1, length));
        record.remove_prefix(std::min(record.size(), length + 1));
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

} // namespace

std::string encode_txt_record(std::vector<std::pair<std::string, std::string>> const& entries) {
    std::string record;
    for (auto const& [key, value] : entries) {
        if (key.empty() || !std::all_of(key.begin(), key.end(), is_key_character))
            kxbase::es::arg::raise("the key \"" + kxbase::string_on_one_line(key) +
                                   "\" of a TXT record is not made of printable ASCII without '='");
        std::string entry = key;
        entry.append("=").append(value);
        if (entry.size() > longest_entry)
            kxbase::es::arg::raise("the entry \"" + key + "\" of a TXT record has " + std::to_string(entry.size()) +
                                   " bytes, at most " + std::to_string(longest_entry));
        record += static_cast<char>(entry.size());
        record += entry;
    }
    if (record.size() > longest_record)
        kxbase::es::arg::raise("a TXT record of " + std::to_string(record.size()) + " bytes, at most " +
                               std::to_string(longest_record));
    return record.empty() ? std::string(1, '\0') : record;
}

bool have_same_entries(std::string_view left, std::string_view right) {
    return left == right || (left.size() == right.size() && sorted_entries(left) == sorted_entries(right));
}

} // namespace kxnet
