#include <kxcore/configuration.h>

#include "document_formats.h"

#include <kxcore/constraint_db.h>
#include <kxcore/document_places.h>
#include <kxcore/ioutil.h>
#include <kxcore/properties.h>

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxbase/report.h>
#include <kxbase/source_position.h>
#include <kxbase/utf8.h>

namespace kxcore {

struct configuration::state {
    document_content document;
    properties config{false};
    properties default_config{false};
    bool is_set = false;
    document_diagnostic diagnostic;
    bool keeps_places = false;
    document_places places;

    void forget();
    read_error judge(constraint_db const& accepted, std::map<std::string, unsigned int> const& versions);
    void tell_of_head(std::string message);
    void tell(document_diagnostic found, kxbase::source_position where = kxbase::source_position::current());
};

configuration::configuration() : state_(std::make_unique<state>()) {}

configuration::configuration(constraint_db const&, std::pair<std::string, unsigned int> identifier_and_version)
    : configuration() {
    state_->document.identifier = std::move(identifier_and_version.first);
    state_->document.version = identifier_and_version.second;
}

configuration::~configuration() = default;
configuration::configuration(configuration const& other) : state_(std::make_unique<state>(*other.state_)) {}
configuration::configuration(configuration&&) noexcept = default;

configuration& configuration::operator=(configuration&&) noexcept = default;

configuration& configuration::operator=(configuration const& other) {
    state_ = std::make_unique<state>(*other.state_);
    return *this;
}

configuration::read_error configuration::read_config(constraint_db const& accepted,
                                                     std::map<std::string, unsigned int> const& versions,
                                                     kxbase::buffer const& document, format* stored_format) {
    state& self = *state_;
    self.forget();
    std::string_view const bytes = document.text();
    std::string_view const prefix = bytes.substr(0, kxbase::limit_recognition);
    bool const is_binary = is_binary_document(prefix);
    if (!is_binary && !is_xml_document(prefix)) {
        self.tell({"not a document: neither of XML nor of the binary format", 0, 0, 0});
        return read_unknown;
    }
    if (stored_format != nullptr) *stored_format = is_binary ? format_binary : format_xml;

    std::size_t const limit = kxbase::current_limits().document;
    document_outcome outcome;
    if (bytes.size() > limit)
        outcome = {e_document_fault::beyond_limit,
                   {"a document of more than " + std::to_string(limit) + " bytes (limit document)", 0, 0, limit}};
    else if (is_binary)
        outcome = read_binary_document(bytes, self.document);
    else
        outcome = read_xml_document(bytes, self.document, self.keeps_places ? &self.places : nullptr);

    if (outcome.fault != e_document_fault::none) {
        self.places.clear();
        self.tell(std::move(outcome.diagnostic));
        if (outcome.fault == e_document_fault::malformed) return read_invalid;
        self.document = {};
        kxbase::es::arg::raise(self.diagnostic.to_string());
    }
    self.config = properties(self.document.tree);
    self.is_set = true;
    return self.judge(accepted, versions);
}

std::string const& configuration::get_identifier() const noexcept {
    return state_->document.identifier;
}

unsigned int configuration::get_version() const noexcept {
    return state_->document.version;
}

properties const& configuration::get_config() const noexcept {
    return state_->is_set ? state_->config : state_->default_config;
}

void configuration::set_config(properties const& tree) {
    state_->config = tree;
    state_->is_set = true;
}

void configuration::set_default_config(properties const& tree) {
    state_->default_config = tree;
}

void configuration::write_config(kxbase::buffer& out, format stored_format) const {
    document_content const& document = state_->document;
    if (std::string_view const fault = identifier_fault(document.identifier); !fault.empty())
        kxbase::es::arg::raise(fault);
    switch (stored_format) {
    case format_xml: return write_xml_document(document.identifier, document.version, get_config(), out);
    case format_binary: return write_binary_document(document.identifier, document.version, get_config(), out);
    }
    kxbase::es::arg::raise("no document format has the number " + std::to_string(static_cast<int>(stored_format)));
}

document_diagnostic const& configuration::get_diagnostic() const noexcept {
    return state_->diagnostic;
}

void configuration::keep_places(bool keep) {
    state_->keeps_places = keep;
}

document_places const& configuration::get_places() const noexcept {
    return state_->places;
}

bool configuration::recognizes_file(std::string_view path_or_url, plugin_db const& plugins) {
    return recognizes(ioutil::get_file_prefix(path_or_url, kxbase::limit_recognition, plugins));
}

bool configuration::recognizes(std::string_view bytes) noexcept {
    std::string_view const prefix = bytes.substr(0, kxbase::limit_recognition);
    return is_binary_document(prefix) || is_xml_document(prefix);
}

std::string document_diagnostic::to_string() const {
    if (message.empty()) return {};
    if (line != 0) return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + message;
    return "byte " + std::to_string(offset) + ": " + message;
}

std::string_view identifier_fault(std::string_view identifier) noexcept {
    constexpr std::size_t most = 256;
    if (identifier.empty()) return "a document needs an identifier";
    if (identifier.size() > most) return "an identifier of more than 256 bytes";
    for (char const c : identifier)
        if (static_cast<unsigned char>(c) < ' ' || static_cast<unsigned char>(c) > '~')
            return "an identifier of other characters than ASCII";
    return {};
}

void configuration::state::forget() {
    document = {};
    config.clear();
    is_set = false;
    diagnostic = {};
    places.clear();
}

/// What to say of a document that was read as a whole.
configuration::read_error configuration::state::judge(constraint_db const& accepted,
                                                      std::map<std::string, unsigned int> const& versions) {
    auto const current = versions.find(document.identifier);
    bool const is_known = current != versions.end() || accepted.is_present(document.identifier);
    if (!is_known) {
        tell_of_head("the identifier \"" + document.identifier + "\" is not an expected one");
        return read_unexpected;
    }
    if (current == versions.end() || document.version == current->second) return read_ok;
    if (document.version < current->second) return read_old_version;
    tell_of_head("version " + std::to_string(document.version) + " of \"" + document.identifier +
                 "\" is above the current one, " + std::to_string(current->second));
    return read_invalid;
}

void configuration::state::tell_of_head(std::string message) {
    document_diagnostic found = document.place;
    found.message = std::move(message);
    tell(std::move(found));
}

void configuration::state::tell(document_diagnostic found, kxbase::source_position where) {
    constexpr unsigned int kind = 4;
    constexpr unsigned int severity = 3;
    diagnostic = std::move(found);
    kxbase::report(where.file_name(), where.line(), "document", kind, severity, diagnostic.to_string());
}

} // namespace kxcore
