#include <kxcore/xml_writer.h>

#include <kxbase/errors.h>

#include <cstdint>

namespace kxcore::xml {

namespace {

void check_name(std::string_view name);
void check_text(std::string_view text, std::string_view where);
void append_text(std::string& out, std::string_view text);
void append_attribute_value(std::string& out, std::string_view text);

} // namespace

writer::writer(std::string& out, unsigned int indentation) : out_(out), indentation_(indentation) {
    levels_.emplace_back();
}

writer::~writer() = default;

void writer::declaration() {
    level& outside = levels_.front();
    if (levels_.size() != 1 || outside.has_nodes || outside.has_text)
        kxbase::es::arg::raise("the XML declaration comes before anything else");
    out_ += R"(<?xml version="1.0" encoding="UTF-8"?>)";
    outside.has_nodes = true;
}

void writer::start_node(std::string_view name) {
    start_node(name, {});
}

void writer::start_node(std::string_view name, std::string_view attribute, std::string_view value) {
    start_node(name, {{attribute, value}});
}

void writer::start_node(std::string_view name, std::initializer_list<xml::attribute> attributes) {
    open_tag(name, attributes);
    levels_.emplace_back().name = name;
    tag_is_open_ = true;
}

void writer::empty_node(std::string_view name) {
    empty_node(name, {});
}

void writer::empty_node(std::string_view name, std::string_view attribute, std::string_view value) {
    empty_node(name, {{attribute, value}});
}

void writer::empty_node(std::string_view name, std::initializer_list<xml::attribute> attributes) {
    open_tag(name, attributes);
    out_ += "/>";
}

void writer::text_node(std::string_view name, std::string_view text) {
    text_node(name, {}, text);
}

void writer::text_node(std::string_view name, std::initializer_list<xml::attribute> attributes, std::string_view text) {
    check_text(text, name);
    open_tag(name, attributes);
    if (text.empty()) {
        out_ += "/>";
        return;
    }
    out_ += '>';
    append_text(out_, text);
    out_ += "</";
    out_ += name;
    out_ += '>';
}

void writer::append(std::string_view text) {
    if (text.empty()) return;
    check_text(text, levels_.back().name);
    close_open_tag();
    take_back_breaks();
    levels_.back().has_text = true;
    append_text(out_, text);
}

void writer::end_node() {
    if (levels_.size() == 1) kxbase::es::arg::raise("there is no open XML node to end");
    level const ended = std::move(levels_.back());
    levels_.pop_back();
    if (tag_is_open_) {
        out_ += "/>";
        tag_is_open_ = false;
        return;
    }
    if (ended.has_nodes && !ended.has_text) {
        out_ += '\n';
        out_.append(indentation_ * depth(), ' ');
    }
    out_ += "</";
    out_ += ended.name;
    out_ += '>';
}

void writer::open_tag(std::string_view name, std::initializer_list<xml::attribute> attributes) {
    check_name(name);
    for (auto const& each : attributes) {
        check_name(each.name);
        check_text(each.value, each.name);
    }
    close_open_tag();
    break_line();
    levels_.back().has_nodes = true;
    out_ += '<';
    out_ += name;
    for (auto const& each : attributes) {
        out_ += ' ';
        out_ += each.name;
        out_ += "=\"";
        append_attribute_value(out_, each.value);
        out_ += '"';
    }
}

void writer::close_open_tag() {
    if (!tag_is_open_) return;
    out_ += '>';
    tag_is_open_ = false;
}

void writer::break_line() {
    level& around = levels_.back();
    // What is outside of all nodes begins without a line break.
    if (around.has_text || (levels_.size() == 1 && !around.has_nodes)) return;
    around.breaks.push_back(out_.size());
    out_ += '\n';
    out_.append(indentation_ * depth(), ' ');
}

// Line breaks between nodes mean nothing until text stands beside them: then they would be part of it.
void writer::take_back_breaks() {
    level& around = levels_.back();
    while (!around.breaks.empty()) {
        out_.erase(around.breaks.back(), 1 + indentation_ * depth());
        around.breaks.pop_back();
    }
}

namespace {

bool is_name_start(unsigned char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || byte == '_' || byte == ':' || byte >= 0x80;
}

bool is_name_byte(unsigned char byte) {
    return is_name_start(byte) || (byte >= '0' && byte <= '9') || byte == '-' || byte == '.';
}

void check_name(std::string_view name) {
    bool good = !name.empty() && is_name_start(static_cast<unsigned char>(name.front()));
    for (char const byte : name)
        good = good && is_name_byte(static_cast<unsigned char>(byte));
    if (!good) kxbase::es::arg::raise("\"" + std::string(name) + "\" is not a name that XML allows");
    check_text(name, "name");
}

// The length of the character that begins the text, 0 when it is none that XML can hold.
std::size_t character_length(std::string_view text) {
    auto const byte = [&](std::size_t at) -> std::uint32_t {
        return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
    };
    std::uint32_t const first = byte(0);
    if (first < 0x80) return first >= 0x20 || first == '\t' || first == '\n' || first == '\r' ? 1 : 0;
    std::size_t const length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4) return 0;
    std::uint32_t code = first & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0U) != 0x80) return 0;
        code = code << 6 | (byte(i) & 0x3FU);
    }
    constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    bool const surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code >= least[length] && code <= 0x10FFFF && !surrogate && code != 0xFFFE && code != 0xFFFF ? length : 0;
}

void check_text(std::string_view text, std::string_view where) {
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const length = character_length(text.substr(at));
        if (length == 0)
            kxbase::es::arg::raise("XML can't hold the byte at offset " + std::to_string(at) + " of the text in \"" +
                                   std::string(where) + "\"");
        at += length;
    }
}

// Appends the text with the bytes of `special` replaced.
template <std::size_t Count>
void append_escaped(std::string& out, std::string_view text, char const (&special)[Count]) {
    for (std::size_t at = 0;;) {
        std::size_t const next = text.find_first_of(std::string_view(special, Count - 1), at);
        out += text.substr(at, next - at);
        if (next == std::string_view::npos) return;
        switch (text[next]) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += "&#" + std::to_string(static_cast<unsigned char>(text[next])) + ";"; break;
        }
        at = next + 1;
    }
}

void append_text(std::string& out, std::string_view text) {
    // A bare carriage return would be read back as a line feed.
    append_escaped(out, text, "&<>\r");
}

void append_attribute_value(std::string& out, std::string_view text) {
    // Readers turn bare white space in attributes into blanks.
    append_escaped(out, text, "&<>\"\t\n\r");
}

} // namespace

} // namespace kxcore::xml
