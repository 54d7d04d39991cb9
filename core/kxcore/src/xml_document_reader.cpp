#include "document_formats.h"
#include "key_compare.h"
#include "limit_error.h"
#include "xml_names.h"

#include <kxcore/constraint.h>
#include <kxcore/constraint_codec.h>
#include <kxcore/document_places.h>
#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxcore/references.h>
#include <kxcore/tree_builder.h>

#include <kxbase/base64.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxbase/utf8.h>

#include <expat.h>

#include <charconv>
#include <deque>
#include <exception>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

namespace kxcore {

namespace {

struct freed {
    void operator()(XML_Parser parser) const noexcept { XML_ParserFree(parser); }
};
using expat_parser = std::unique_ptr<XML_ParserStruct, freed>;

/// What ends a read: carries its message out of the parser's callbacks, where no exception may pass.
struct read_failure {
    e_document_fault fault{};
    std::string message;
};

/// The attributes of an element of the tree; null where there is none of the name.
struct value_attributes {
    char const* key = nullptr;
    char const* key_base64 = nullptr;
    char const* encoding = nullptr;
    char const* type = nullptr;
    char const* sub_type = nullptr;
    char const* kind = nullptr;
};

/// An element that has begun and not ended, below the root.
struct open_element {
    property_kind kind;
    property_key key;
    /// Its position in the list around it; meaningful when there is one.
    std::size_t index;
    bool in_list;
    /// The length of the path of what is around it.
    std::size_t outer_path;
};

/// Builds the tree while the parser goes through the text: the parser's callbacks arrive here.
class xml_reader {
public:
    xml_reader(document_content& out, document_places* places);

    document_outcome read(std::string_view bytes);

    void start(char const* name, char const** attributes);
    void end();
    void characters(std::string_view text);
    void declaration(char const* version, char const* encoding) const;

    /// Runs a callback and keeps what it raises.
    template <class F>
    void guarded(F&& callback) noexcept;

private:
    void start_root(std::string_view name, char const** attributes);
    value_attributes read_attributes(property_kind kind, char const** attributes) const;
    property_key read_key(value_attributes const& attributes);
    void start_value(property_kind kind, property_key key, value_attributes const& attributes);
    void begin_special(value_attributes const& attributes);
    void check_nesting() const;
    void note_place();

    property_handle make_value(property_kind kind);
    property_handle make_constraint();
    std::string_view decoded_text();
    std::string_view trimmed_text() const;

    tree_builder& builder() { return builders_.back(); }
    std::string path() const;
    void extend_path(std::string& path, open_element const& element) const;
    std::string located(std::string const& message) const;
    [[noreturn]] void fail(std::string const& message, e_document_fault fault = e_document_fault::malformed) const;
    [[noreturn]] void fail_limit(std::string what, std::size_t limit, char const* unit, char const* name) const;
    document_diagnostic diagnostic(std::string message) const;

    document_content& out_;
    document_places* places_;
    kxbase::limits const limits_ = kxbase::current_limits();
    expat_parser parser_;
    std::optional<read_failure> failure_;
    document_diagnostic failure_place_;
    /// Whatever else was raised in a callback: no memory, for example.
    std::exception_ptr error_;

    bool root_seen_ = false;
    std::vector<open_element> open_;
    /// One for the document, and one for each constraint that is open.
    std::deque<tree_builder> builders_;
    std::size_t nesting_ = 0;

    // Of the leaf that is open.
    std::string text_;
    std::string decoded_;
    bool is_base64_ = false;
    property_special::e_type special_type_ = {};
    property_special::e_sub_type special_sub_type_ = {};
    property_kind special_kind_ = {};

    /// The path of the element that is open; kept up only when places are.
    std::string place_path_;
};

constexpr bool is_container(property_kind kind) {
    return kind == property_kind::properties || kind == property_kind::list || kind == property_kind::constraint;
}

/// For messages, which hold nothing but UTF-8.
std::string quoted(std::string_view text) {
    return kxbase::is_valid_utf8(text) ? '"' + std::string(text) + '"' : "of other bytes";
}

constexpr bool is_blank(char c) {
    return c == ' ' || c == '\n' || c == '\t' || c == '\r';
}

template <class T>
bool parse_number(std::string_view text, T& out) {
    char const* const end = text.data() + text.size();
    auto const result = std::from_chars(text.data(), end, out);
    return result.ec == std::errc() && result.ptr == end;
}

/// What the parser's own words leave to be guessed.
char const* hint_for(XML_Error code) {
    switch (code) {
    case XML_ERROR_NO_ELEMENTS: return ": the text ends before the document does";
    case XML_ERROR_INVALID_TOKEN: return ": in texts & is written as &amp; and < as &lt;, and all is UTF-8";
    case XML_ERROR_TAG_MISMATCH: return ": another element is open than the one that ends here";
    case XML_ERROR_JUNK_AFTER_DOC_ELEMENT: return ": a file holds one document and nothing behind it";
    default: return "";
    }
}

void XMLCALL on_start(void* reader, char const* name, char const** attributes) {
    auto& self = *static_cast<xml_reader*>(reader);
    self.guarded([&] { self.start(name, attributes); });
}

void XMLCALL on_end(void* reader, char const*) {
    auto& self = *static_cast<xml_reader*>(reader);
    self.guarded([&] { self.end(); });
}

void XMLCALL on_characters(void* reader, char const* text, int size) {
    auto& self = *static_cast<xml_reader*>(reader);
    self.guarded([&] { self.characters({text, static_cast<std::size_t>(size)}); });
}

void XMLCALL on_declaration(void* reader, char const* version, char const* encoding, int) {
    auto& self = *static_cast<xml_reader*>(reader);
    self.guarded([&] { self.declaration(version, encoding); });
}

void XMLCALL on_doctype(void* reader, char const*, char const*, char const*, int) {
    auto& self = *static_cast<xml_reader*>(reader);
    self.guarded([] {
        throw read_failure{e_document_fault::malformed, "found a DOCTYPE, which no document may have"};
    });
}

} // namespace

document_outcome read_xml_document(std::string_view bytes, document_content& out, document_places* places) {
    return xml_reader(out, places).read(bytes);
}

namespace {

xml_reader::xml_reader(document_content& out, document_places* places)
    : out_(out), places_(places), parser_(XML_ParserCreate("UTF-8")) {
    if (!parser_) throw std::bad_alloc();
    XML_SetUserData(parser_.get(), this);
    XML_SetElementHandler(parser_.get(), &on_start, &on_end);
    XML_SetCharacterDataHandler(parser_.get(), &on_characters);
    XML_SetXmlDeclHandler(parser_.get(), &on_declaration);
    XML_SetStartDoctypeDeclHandler(parser_.get(), &on_doctype);
    builders_.emplace_back(property_kind::properties);
}

document_outcome xml_reader::read(std::string_view bytes) {
    // In pieces, since the parser counts in int.
    constexpr std::size_t piece = std::size_t{1} << 30;
    XML_Status status = XML_STATUS_OK;
    do {
        std::string_view const now = bytes.substr(0, piece);
        bytes.remove_prefix(now.size());
        status =
            XML_Parse(parser_.get(), now.data(), static_cast<int>(now.size()), bytes.empty() ? XML_TRUE : XML_FALSE);
    } while (status == XML_STATUS_OK && !bytes.empty());
    if (error_) std::rethrow_exception(error_);
    if (failure_) {
        failure_place_.message = std::move(failure_->message);
        return {failure_->fault, failure_place_};
    }
    if (status != XML_STATUS_OK) {
        XML_Error const code = XML_GetErrorCode(parser_.get());
        if (code == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
        return {e_document_fault::malformed,
                diagnostic(std::string("not well-formed XML: ") + XML_ErrorString(code) + hint_for(code))};
    }
    return {};
}

template <class F>
void xml_reader::guarded(F&& callback) noexcept {
    // The parser may have callbacks left after it was stopped.
    if (failure_) return;
    try {
        callback();
        return;
    } catch (read_failure const& failure) {
        failure_ = failure;
    } catch (kxbase::es::arg const& error) { // limits have been dealt with where they are met
        failure_ = {e_document_fault::malformed, located(error.what())};
    } catch (...) {
        failure_.emplace();
        error_ = std::current_exception();
    }
    // Once it is stopped, the parser stands behind what was wrong.
    failure_place_ = diagnostic({});
    XML_StopParser(parser_.get(), XML_FALSE);
}

void xml_reader::declaration(char const* version, char const* encoding) const {
    if (version != nullptr && std::string_view(version) != "1.0")
        fail("expected XML version 1.0, found \"" + std::string(version) + '"');
    if (encoding != nullptr && !is_utf8_name(encoding))
        fail("expected the encoding UTF-8, found \"" + std::string(encoding) + '"');
}

void xml_reader::start(char const* name, char const** attributes) {
    if (!root_seen_) return start_root(name, attributes);
    if (!open_.empty() && !is_container(open_.back().kind))
        fail("found the element <" + std::string(name) + "> where only text may be");
    property_kind kind = {};
    if (!kind_of_element(name, kind)) fail("found the unknown element <" + std::string(name) + '>');
    value_attributes const found = read_attributes(kind, attributes);
    property_key key = read_key(found);
    start_value(kind, std::move(key), found);
}

void xml_reader::start_root(std::string_view name, char const** attributes) {
    root_seen_ = true;
    out_.place = diagnostic({});
    if (name != root_name) fail("expected the element <document>, found <" + std::string(name) + '>');
    bool has_identifier = false;
    bool has_version = false;
    for (; *attributes != nullptr; attributes += 2) {
        std::string_view const attribute = attributes[0];
        std::string_view const value = attributes[1];
        if (attribute == "identifier") {
            if (std::string_view const fault = identifier_fault(value); !fault.empty()) fail(std::string(fault));
            out_.identifier = value;
            has_identifier = true;
        } else if (attribute == "version") {
            if (!parse_number(value, out_.version))
                fail("expected a version from 0 to " + std::to_string(std::numeric_limits<unsigned int>::max()) +
                     ", found \"" + std::string(value) + '"');
            has_version = true;
        } else {
            fail("found the unknown attribute \"" + std::string(attribute) + "\" of <document>");
        }
    }
    if (!has_identifier) fail("the attribute \"identifier\" of <document> is missing");
    if (!has_version) fail("the attribute \"version\" of <document> is missing");
    if (places_ != nullptr) places_->set({}, {out_.place.line, out_.place.column});
    nesting_ = 1;
    check_nesting();
}

value_attributes xml_reader::read_attributes(property_kind kind, char const** attributes) const {
    value_attributes found;
    for (; *attributes != nullptr; attributes += 2) {
        std::string_view const name = attributes[0];
        char const* const value = attributes[1];
        bool const is_special = kind == property_kind::special;
        if (name == "key")
            found.key = value;
        else if (name == "key-base64")
            found.key_base64 = value;
        else if (name == "encoding" && (is_special || kind == property_kind::string))
            found.encoding = value;
        else if (name == "type" && is_special)
            found.type = value;
        else if (name == "sub-type" && is_special)
            found.sub_type = value;
        else if (name == "kind" && is_special)
            found.kind = value;
        else
            fail("found the unknown attribute \"" + std::string(name) + "\" of <" + std::string(element_name(kind)) +
                 '>');
    }
    return found;
}

property_key xml_reader::read_key(value_attributes const& attributes) {
    bool const has_key = attributes.key != nullptr || attributes.key_base64 != nullptr;
    if (builder().kind() == property_kind::list) {
        if (has_key) fail("found a key in a list, whose elements have none");
        return {};
    }
    if (!has_key) fail("the attribute \"key\" is missing");
    std::string_view text;
    if (attributes.key_base64 != nullptr) {
        if (attributes.key != nullptr) fail(R"(found both "key" and "key-base64")");
        decoded_.clear();
        if (!kxbase::base64_decode(attributes.key_base64, decoded_)) fail("expected base64 as \"key-base64\"");
        text = decoded_;
    } else {
        text = attributes.key;
    }
    if (text.size() > limits_.key) fail_limit("a key", limits_.key, "bytes", "key");
    if (std::string_view const fault = detail::key_fault(text, limits_.key); !fault.empty())
        fail("the key " + quoted(text) + ": " + std::string(fault));
    if (builder().size() != 0 && builder().last_key().text() == text)
        fail("found the key \"" + std::string(text) + "\" twice");
    return property_key(text);
}

void xml_reader::start_value(property_kind kind, property_key key, value_attributes const& attributes) {
    if (builder().size() >= limits_.members) fail_limit("a tree or list", limits_.members, "members", "members");
    bool const in_list = builder().kind() == property_kind::list;
    open_.push_back({kind, key, builder().size(), in_list, place_path_.size()});
    if (places_ != nullptr) note_place();
    if (!is_container(kind)) {
        text_.clear();
        is_base64_ = kind == property_kind::binary;
        if (attributes.encoding != nullptr) {
            if (std::string_view(attributes.encoding) != "base64")
                fail(R"(expected the encoding "base64", found ")" + std::string(attributes.encoding) + '"');
            is_base64_ = true;
        }
        if (kind == property_kind::special) begin_special(attributes);
        return;
    }
    ++nesting_;
    check_nesting();
    if (kind == property_kind::constraint)
        builders_.emplace_back(property_kind::properties);
    else
        builder().begin(std::move(key), kind);
}

void xml_reader::begin_special(value_attributes const& attributes) {
    if (attributes.type == nullptr || !special_type_from_name(attributes.type, special_type_))
        fail(R"(expected the "type" of a special: "deferred", "wrapped-urlupp" or "wrapped-encrypted")");
    if (attributes.sub_type == nullptr || !special_sub_type_from_name(attributes.sub_type, special_sub_type_))
        fail(R"(expected the "sub-type" of a special: "plain", "context", "variable" or "credential")");
    if (attributes.kind == nullptr || !property_kind_from_name(attributes.kind, special_kind_))
        fail("expected the \"kind\" of the value that a special stands for");
}

void xml_reader::check_nesting() const {
    if (nesting_ > limits_.nesting)
        fail("nesting deeper than " + std::to_string(limits_.nesting) + " levels (limit nesting)",
             e_document_fault::beyond_limit);
}

void xml_reader::note_place() {
    extend_path(place_path_, open_.back());
    places_->set(place_path_, {XML_GetCurrentLineNumber(parser_.get()), XML_GetCurrentColumnNumber(parser_.get()) + 1});
}

void xml_reader::characters(std::string_view text) {
    if (!open_.empty() && !is_container(open_.back().kind)) {
        text_ += text;
        // Bounded while it grows; base64 takes four bytes for three, and blanks between them are free.
        if (!is_base64_ && text_.size() > limits_.string) fail_limit("a string", limits_.string, "bytes", "string");
        return;
    }
    for (char const c : text)
        if (!is_blank(c)) fail("found text where only elements may be");
}

void xml_reader::end() {
    if (open_.empty()) {
        out_.tree =
            kxbase::static_refcount_cast<properties const>(kxbase::ptr_refcount<property const>(builder().finish()));
        return;
    }
    property_kind const kind = open_.back().kind;
    if (kind == property_kind::properties || kind == property_kind::list) {
        builder().end();
    } else {
        property_handle value = kind == property_kind::constraint ? make_constraint() : make_value(kind);
        builder().add(std::move(open_.back().key), std::move(value));
    }
    if (is_container(kind)) --nesting_;
    if (places_ != nullptr) place_path_.resize(open_.back().outer_path);
    open_.pop_back();
}

property_handle xml_reader::make_value(property_kind kind) {
    switch (kind) {
    case property_kind::string: return kxbase::make_refcount<property_string>(decoded_text());
    case property_kind::boolean: {
        std::string_view const text = trimmed_text();
        if (text != "true" && text != "false") fail("expected true or false");
        return kxbase::make_refcount<property_bool>(text == "true");
    }
    case property_kind::integer: {
        std::int64_t number = 0;
        if (!parse_number(trimmed_text(), number)) fail("expected an integer of 64 bits in decimal");
        return kxbase::make_refcount<property_int>(number);
    }
    case property_kind::binary: {
        auto const binary = kxbase::make_refcount<property_binary>();
        if (!kxbase::base64_decode(text_, binary->value())) fail("expected base64");
        return binary;
    }
    default:
        return property_special::create_from_parts(special_type_, special_sub_type_, special_kind_, decoded_text());
    }
}

property_handle xml_reader::make_constraint() {
    auto const tree =
        kxbase::static_refcount_cast<properties const>(kxbase::ptr_refcount<property const>(builder().finish()));
    builders_.pop_back();
    try {
        return kxbase::make_refcount<property_constraint>(constraint_from_tree(*tree));
    } catch (kxbase::es::arg const& error) {
        fail(std::string("not a constraint: ") + error.what(),
             limit_error::is_one(error) ? e_document_fault::beyond_limit : e_document_fault::malformed);
    }
}

std::string_view xml_reader::decoded_text() {
    if (!is_base64_) return text_;
    decoded_.clear();
    if (!kxbase::base64_decode(text_, decoded_)) fail("expected base64");
    if (decoded_.size() > limits_.string) fail_limit("a string", limits_.string, "bytes", "string");
    return decoded_;
}

std::string_view xml_reader::trimmed_text() const {
    std::string_view text = text_;
    while (!text.empty() && is_blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back()))
        text.remove_suffix(1);
    return text;
}

std::string xml_reader::path() const {
    std::string path;
    for (open_element const& element : open_)
        extend_path(path, element);
    return path;
}

void xml_reader::extend_path(std::string& path, open_element const& element) const {
    if (element.in_list)
        append_reference_index(path, element.index);
    else
        append_reference_key(path, element.key.text());
}

void xml_reader::fail(std::string const& message, e_document_fault fault) const {
    throw read_failure{fault, located(message)};
}

std::string xml_reader::located(std::string const& message) const {
    std::string const where = path();
    return where.empty() ? message : where + ": " + message;
}

void xml_reader::fail_limit(std::string what, std::size_t limit, char const* unit, char const* name) const {
    fail(std::move(what) + " of more than " + std::to_string(limit) + ' ' + unit + " (limit " + name + ')',
         e_document_fault::beyond_limit);
}

document_diagnostic xml_reader::diagnostic(std::string message) const {
    document_diagnostic found;
    found.message = std::move(message);
    found.line = XML_GetCurrentLineNumber(parser_.get());
    found.column = XML_GetCurrentColumnNumber(parser_.get()) + 1;
    XML_Index const offset = XML_GetCurrentByteIndex(parser_.get());
    found.offset = offset < 0 ? 0 : static_cast<std::size_t>(offset);
    found.path = path();
    return found;
}

} // namespace

} // namespace kxcore
