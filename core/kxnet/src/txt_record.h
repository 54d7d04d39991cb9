// TXT records as announcements carry them.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kxnet {

/// The bytes of a record with these entries, in their order; one without entries is a single empty text.
///
/// @throws es::arg naming the entry: a key that is empty, holds '=' or anything but printable ASCII, or an entry of more
///         than 255 bytes with its '='; or when the record would have more than 65,535 bytes
[[nodiscard]] std::string encode_txt_record(std::vector<std::pair<std::string, std::string>> const& entries);

/// Whether two records have the same entries, in whatever order: some client libraries turn it round in the answer to one
/// question and not in that to another.
[[nodiscard]] bool have_same_entries(std::string_view left, std::string_view right);

} // namespace kxnet
