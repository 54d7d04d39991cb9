#include "document.h"

#include "standard_streams.h"

#include <kxbase/errors.h>
#include <kxbase/urls.h>
#include <kxclientutil/submission.h>
#include <kxcore/ioutil.h>
#include <kxcore/sealed_file.h>

#include <array>

namespace kx {
namespace {

constexpr std::array<std::string_view, 12> identifiers = {
    "unknown",  "filter",     "encoder",     "packetizer",     "exporter",   "task",
    "workflow", "submission", "file-source", "monitor-source", "edl-source", "iseq-source",
};

// Enough to tell a job file from everything else.
constexpr std::size_t prefix_size = 64;

/// The library's two ways to read a document, for one purpose.
struct reader {
    decltype(kxclientutil::read_config)* of_bytes;
    decltype(kxclientutil::read_config_file)* of_file;
};

kxclientutil::e_config_type read_stream(application& app, reader const& reader, kxcore::properties& tree,
                                        kxcore::configuration::format& format) {
    auto const content = read_standard_input();
    if (kxcore::is_sealed(content.text()))
        kxbase::es::arg::raise("a finalized job is read from a file, not from standard input");
    if (!kxcore::configuration::recognizes(content.text())) return kxclientutil::config_unknown;
    auto const& installation = app.installation();
    return reader.of_bytes(content, installation.get_plugins(), installation.get_constraints(), tree, &format);
}

document read_with(application& app, std::string const& file, reader const& reader) {
    document read;
    auto const& installation = app.installation();
    auto format = kxcore::configuration::format_xml;
    read.config_type = is_standard_stream(file) ? read_stream(app, reader, read.tree, format)
                                                : reader.of_file(file, installation.get_plugins(),
                                                                 installation.get_constraints(), read.tree, &format);
    if (read.config_type == kxclientutil::config_unknown) kxbase::es::arg::raise("neither a document nor a job file");
    read.type = identifier_of(read.config_type);
    read.format = is_preset(file) ? "setting" : format_name(format);
    return read;
}

} // namespace

document read_document(application& app, std::string const& file) {
    if (!is_standard_stream(file) && is_job_file(app, file)) {
        document read;
        read.type = read.format = "job";
        read.tree = read_job(app, file);
        return read;
    }
    return read_with(app, file, {kxclientutil::read_config, kxclientutil::read_config_file});
}

document read_document_to_edit(application& app, std::string const& file) {
    if (!is_standard_stream(file) && is_job_file(app, file))
        kxbase::es::arg::raise("a finalized job is no document; see kx original");
    return read_with(app, file, {kxclientutil::read_config_to_edit, kxclientutil::read_config_file_to_edit});
}

kxcore::properties read_job(application& app, std::string const& file) {
    static_cast<void>(app.installation()); // for the key of an encrypted job
    return *kxclientutil::read_job_file(file);
}

kxbase::buffer content_of(application& app, std::string const& file) {
    if (is_standard_stream(file)) return read_standard_input();
    kxbase::buffer content;
    kxcore::ioutil::get_file_content(kxbase::url_create_from_url_or_path(file, ""), content,
                                     app.installation().get_plugins());
    return content;
}

bool is_job_file(application& app, std::string const& file) {
    auto const url = kxbase::url_create_from_url_or_path(file, "");
    return kxcore::is_sealed(kxcore::ioutil::get_file_prefix(url, prefix_size, app.installation().get_plugins()));
}

std::string_view identifier_of(kxclientutil::e_config_type type) {
    return type < identifiers.size() ? identifiers[type] : identifiers[0];
}

std::string in_words(document const& read) {
    bool const begins_with_vowel = std::string_view("aeiou").find(read.type.front()) != std::string_view::npos;
    return (begins_with_vowel ? "an " : "a ") + read.type + " document";
}

std::string_view format_name(kxcore::configuration::format format) {
    return format == kxcore::configuration::format_binary ? "binary" : "xml";
}

std::optional<kxcore::configuration::format> format_of(std::string_view name) {
    if (name == "xml") return kxcore::configuration::format_xml;
    if (name == "binary") return kxcore::configuration::format_binary;
    return std::nullopt;
}

bool is_preset(std::string const& file) {
    return kxbase::url_path_suffix(kxbase::url_create_from_url_or_path(file, "")) == "setting";
}

} // namespace kx
