#include "document_formats.h"
#include "xml_names.h"

namespace kxcore {

namespace {

constexpr std::string_view blanks = " \t\r\n";

void skip_blanks(std::string_view& text);
/// Skips what begins and ends so; false when the text does not begin so, or has no end of it.
bool skip_between(std::string_view& text, std::string_view begin, std::string_view end);

} // namespace

/// Looks behind what may stand before the first element. A DOCTYPE is none of it for a reader of documents, but one
/// that names our element says well enough what is meant: reading then tells why it is refused.
bool is_xml_document(std::string_view prefix) noexcept {
    constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
    if (prefix.starts_with(byte_order_mark)) prefix.remove_prefix(byte_order_mark.size());
    do
        skip_blanks(prefix);
    while (skip_between(prefix, "<?", "?>") || skip_between(prefix, "<!--", "-->"));
    if (prefix.starts_with("<!DOCTYPE")) {
        prefix.remove_prefix(9);
        skip_blanks(prefix);
    } else if (prefix.starts_with('<')) {
        prefix.remove_prefix(1);
    } else {
        return false;
    }
    if (!prefix.starts_with(root_name)) return false;
    prefix.remove_prefix(root_name.size());
    return !prefix.empty() && (blanks.find(prefix.front()) != std::string_view::npos || prefix.front() == '>' ||
                               prefix.front() == '/' || prefix.front() == '[');
}

namespace {

void skip_blanks(std::string_view& text) {
    std::size_t const first = text.find_first_not_of(blanks);
    text.remove_prefix(first == std::string_view::npos ? text.size() : first);
}

bool skip_between(std::string_view& text, std::string_view begin, std::string_view end) {
    if (!text.starts_with(begin)) return false;
    std::size_t const at = text.find(end, begin.size());
    if (at == std::string_view::npos) return false;
    text.remove_prefix(at + end.size());
    return true;
}

} // namespace

} // namespace kxcore
