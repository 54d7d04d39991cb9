#include "document_formats.h"
#include "key_compare.h"
#include "xml_names.h"

#include <kxcore/constraint.h>
#include <kxcore/constraint_codec.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxcore/references.h>

#include <kxbase/base64.h>
#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxbase/utf8.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <vector>

namespace kxcore {

namespace {

/// What stands in the way of writing a byte as it is.
enum e_obstacle : std::uint8_t {
    escaped_in_text = 1,      ///< & < > and the carriage return, which a reader would take for a line end
    escaped_in_attribute = 2, ///< those, the quotation mark, and what a reader would turn into a blank
    impossible = 4,           ///< no XML document can hold it, not even escaped
    not_ascii = 8,            ///< to be checked as UTF-8
};

constexpr std::array<std::uint8_t, 256> make_obstacles() {
    std::array<std::uint8_t, 256> table = {};
    for (std::size_t i = 0; i != 0x20; ++i)
        table[i] = impossible;
    for (std::size_t i = 0x80; i != 0x100; ++i)
        table[i] = not_ascii;
    table['\t'] = table['\n'] = table['"'] = escaped_in_attribute;
    table['\r'] = table['&'] = table['<'] = table['>'] = escaped_in_text | escaped_in_attribute;
    return table;
}

constexpr std::array<std::uint8_t, 256> obstacles = make_obstacles();

/// One step of the path to what is being written; errors alone make a text of it.
struct write_step {
    write_step const* outer;
    std::string_view key;
    std::size_t index;
    bool in_list;
};

/// Writes the tree from the outside in, straight into the buffer. The limit of nesting bounds its recursion.
class xml_document_writer {
public:
    explicit xml_document_writer(kxbase::buffer& out) : out_(out), begin_(out.size()) {}

    void write(std::string_view identifier, unsigned int version, properties const& tree);

private:
    void write_members(properties const& tree, write_step const* outer, std::size_t level);
    void write_elements(property_list const& list, write_step const* outer, std::size_t level);
    void write_value(property const& value, write_step const& step, std::size_t level);
    void write_container(property const& value, write_step const& step, std::size_t level);
    void write_text_value(std::string_view value, std::string_view name, write_step const& step);
    void write_special_attributes(property_special const& special);
    void write_number(std::int64_t number);

    void open_tag(std::string_view name, write_step const& step, std::size_t level);
    void append_plain_tag(std::string_view name, std::string_view key, std::size_t level);
    void close_element(std::string_view name);
    void indent(std::size_t level);

    void append(std::string_view text) { out_.append(text); }
    [[nodiscard]] char* append_unset(std::size_t count) { return reinterpret_cast<char*>(out_.append_unset(count)); }
    void append_escaped(std::string_view text, e_obstacle where);
    void append_base64(std::string_view bytes);

    void check_members(std::size_t count, write_step const* step) const;
    void check_size(write_step const* step, std::size_t more = 0) const;
    [[noreturn]] void refuse(write_step const* step, std::string const& why) const;

    kxbase::buffer& out_;
    std::size_t begin_;
    kxbase::limits const limits_ = kxbase::current_limits();
    std::string scratch_;
};

std::uint8_t obstacles_in(std::string_view text) noexcept;
bool fits_xml(std::string_view text, std::uint8_t found) noexcept;
void append_path(std::string& path, write_step const* step);
std::string quoted(std::string_view text);

} // namespace

void write_xml_document(std::string_view identifier, unsigned int version, properties const& tree,
                        kxbase::buffer& out) {
    std::size_t const size_before = out.size();
    try {
        xml_document_writer(out).write(identifier, version, tree);
    } catch (...) {
        out.resize(size_before);
        throw;
    }
}

namespace {

void xml_document_writer::write(std::string_view identifier, unsigned int version, properties const& tree) {
    append("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<document identifier=\"");
    append_escaped(identifier, escaped_in_attribute);
    append("\" version=\"");
    write_number(version);
    append("\"");
    if (limits_.nesting == 0) refuse(nullptr, "nesting deeper than 0 levels (limit nesting)");
    check_members(tree.size(), nullptr);
    if (tree.empty()) {
        append("/>\n");
    } else {
        append(">\n");
        write_members(tree, nullptr, 1);
        append("</document>\n");
    }
    check_size(nullptr);
}

void xml_document_writer::write_members(properties const& tree, write_step const* outer, std::size_t level) {
    for (property_member const& member : tree) {
        write_step const step{outer, member.key(), 0, false};
        if (member.key().size() > limits_.key)
            refuse(outer, "a key of more than " + std::to_string(limits_.key) + " bytes (limit key)");
        if (std::string_view const fault = detail::key_fault(member.key(), limits_.key); !fault.empty())
            refuse(outer, "the key " + quoted(member.key()) + ": " + std::string(fault));
        write_value(*member.value(), step, level);
    }
}

void xml_document_writer::write_elements(property_list const& list, write_step const* outer, std::size_t level) {
    std::size_t index = 0;
    for (property_handle const& element : list)
        write_value(*element, {outer, {}, index++, true}, level);
}

void xml_document_writer::write_value(property const& value, write_step const& step, std::size_t level) {
    property_kind const kind = value.kind();
    std::string_view const name = element_name(kind);
    open_tag(name, step, level);
    switch (kind) {
    case property_kind::string: write_text_value(static_cast<property_string const&>(value).value(), name, step); break;
    case property_kind::boolean:
        append(static_cast<property_bool const&>(value).value() ? ">true" : ">false");
        close_element(name);
        break;
    case property_kind::integer:
        append(">");
        write_number(static_cast<property_int const&>(value).value());
        close_element(name);
        break;
    case property_kind::binary: {
        kxbase::buffer const& bytes = static_cast<property_binary const&>(value).value();
        // Refused before memory is taken for what no document could hold.
        check_size(&step, bytes.size() / 3 * 4);
        append(bytes.empty() ? "/>\n" : ">");
        append_base64(bytes.text());
        if (!bytes.empty()) close_element(name);
        break;
    }
    case property_kind::special: {
        auto const& special = static_cast<property_special const&>(value);
        write_special_attributes(special);
        write_text_value(special.value(), name, step);
        break;
    }
    case property_kind::properties:
    case property_kind::list:
    case property_kind::constraint: write_container(value, step, level); break;
    }
    check_size(&step);
}

void xml_document_writer::write_container(property const& value, write_step const& step, std::size_t level) {
    if (level + 1 > limits_.nesting)
        refuse(&step, "nesting deeper than " + std::to_string(limits_.nesting) + " levels (limit nesting)");
    kxbase::ptr_refcount<properties const> form;
    if (auto const* const constraint = property_cast<property_constraint>(&value))
        form = constraint_to_tree(*constraint->value());
    auto const* const tree = form ? form.get() : property_cast<properties>(&value);
    auto const* const list = property_cast<property_list>(&value);
    std::size_t const size = list != nullptr ? list->size() : tree->size();
    check_members(size, &step);
    if (size == 0) {
        append("/>\n");
        return;
    }
    append(">\n");
    if (list != nullptr)
        write_elements(*list, &step, level + 1);
    else
        write_members(*tree, &step, level + 1);
    indent(level);
    close_element(element_name(value.kind()));
}

void xml_document_writer::write_text_value(std::string_view value, std::string_view name, write_step const& step) {
    if (value.size() > limits_.string)
        refuse(&step, "a string of more than " + std::to_string(limits_.string) + " bytes (limit string)");
    if (value.empty()) {
        append("/>\n");
        return;
    }
    std::uint8_t const found = obstacles_in(value);
    if (!fits_xml(value, found)) {
        append(" encoding=\"base64\">");
        append_base64(value);
    } else {
        append(">");
        if ((found & escaped_in_text) == 0)
            append(value);
        else
            append_escaped(value, escaped_in_text);
    }
    close_element(name);
}

void xml_document_writer::write_special_attributes(property_special const& special) {
    append(" type=\"");
    append(special_type_name(special.type()));
    append("\" sub-type=\"");
    append(special_sub_type_name(special.sub_type()));
    append("\" kind=\"");
    append(property_kind_name(special.value_kind()));
    append("\"");
}

void xml_document_writer::write_number(std::int64_t number) {
    std::array<char, 24> digits{};
    auto const end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    append({digits.data(), static_cast<std::size_t>(end.ptr - digits.data())});
}

void xml_document_writer::open_tag(std::string_view name, write_step const& step, std::size_t level) {
    std::uint8_t const found = obstacles_in(step.key);
    if (found == 0 && !step.in_list) return append_plain_tag(name, step.key, level);
    indent(level);
    append("<");
    append(name);
    if (step.in_list) return;
    if (!fits_xml(step.key, found)) {
        append(" key-base64=\"");
        append_base64(step.key);
    } else {
        append(" key=\"");
        append_escaped(step.key, escaped_in_attribute);
    }
    append("\"");
}

/// Half of a document are such tags, so each is put together in one piece.
void xml_document_writer::append_plain_tag(std::string_view name, std::string_view key, std::size_t level) {
    constexpr std::string_view before_key = " key=\"";
    char* at = append_unset(2 * level + 1 + name.size() + before_key.size() + key.size() + 1);
    at = std::fill_n(at, 2 * level, ' ');
    *at++ = '<';
    at = std::copy(name.begin(), name.end(), at);
    at = std::copy(before_key.begin(), before_key.end(), at);
    at = std::copy(key.begin(), key.end(), at);
    *at = '"';
}

void xml_document_writer::close_element(std::string_view name) {
    char* at = append_unset(name.size() + 4);
    *at++ = '<';
    *at++ = '/';
    at = std::copy(name.begin(), name.end(), at);
    *at++ = '>';
    *at = '\n';
}

void xml_document_writer::indent(std::size_t level) {
    constexpr std::string_view blanks = "                                                                ";
    for (std::size_t left = 2 * level; left != 0;) {
        std::size_t const now = std::min(left, blanks.size());
        append(blanks.substr(0, now));
        left -= now;
    }
}

void xml_document_writer::append_escaped(std::string_view text, e_obstacle where) {
    std::size_t done = 0;
    for (std::size_t i = 0; i != text.size(); ++i) {
        if ((obstacles[static_cast<unsigned char>(text[i])] & where) == 0) continue;
        append(text.substr(done, i - done));
        done = i + 1;
        switch (text[i]) {
        case '&': append("&amp;"); break;
        case '<': append("&lt;"); break;
        // Readers stop at the end mark of a CDATA section alone; elsewhere '>' is text, and is faster to read as such.
        case '>': append(text.substr(0, i).ends_with("]]") ? "&gt;" : ">"); break;
        case '"': append("&quot;"); break;
        case '\t': append("&#9;"); break;
        case '\n': append("&#10;"); break;
        default: append("&#13;"); break;
        }
    }
    append(text.substr(done));
}

void xml_document_writer::append_base64(std::string_view bytes) {
    scratch_.clear();
    kxbase::base64_encode(bytes, scratch_);
    append(scratch_);
}

void xml_document_writer::check_members(std::size_t count, write_step const* step) const {
    if (count > limits_.members)
        refuse(step, "a tree or list of more than " + std::to_string(limits_.members) + " members (limit members)");
}

/// Asked after every value: a tree that shares its parts may be far larger written out than it is in memory.
void xml_document_writer::check_size(write_step const* step, std::size_t more) const {
    if (out_.size() - begin_ + more > limits_.document)
        refuse(step, "a document of more than " + std::to_string(limits_.document) + " bytes (limit document)");
}

void xml_document_writer::refuse(write_step const* step, std::string const& why) const {
    std::string message;
    append_path(message, step);
    if (!message.empty()) message += ": ";
    kxbase::es::arg::raise(message + why);
}

std::uint8_t obstacles_in(std::string_view text) noexcept {
    std::uint8_t found = 0;
    for (char const c : text)
        found |= obstacles[static_cast<unsigned char>(c)];
    return found;
}

/// Whether XML can hold the text exactly. Two characters that are valid UTF-8 are no XML characters: U+FFFE and U+FFFF.
bool fits_xml(std::string_view text, std::uint8_t found) noexcept {
    if ((found & impossible) != 0) return false;
    if ((found & not_ascii) == 0) return true;
    if (!kxbase::is_valid_utf8(text)) return false;
    return text.find("\xEF\xBF\xBE") == std::string_view::npos && text.find("\xEF\xBF\xBF") == std::string_view::npos;
}

void append_path(std::string& path, write_step const* step) {
    if (step == nullptr) return;
    append_path(path, step->outer);
    if (step->in_list)
        append_reference_index(path, step->index);
    else
        append_reference_key(path, step->key);
}

/// For messages, which hold nothing but UTF-8.
std::string quoted(std::string_view text) {
    return kxbase::is_valid_utf8(text) ? '"' + std::string(text) + '"' : "of other bytes";
}

} // namespace

} // namespace kxcore
