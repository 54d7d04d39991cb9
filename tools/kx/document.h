#pragma once

/// @file
/// A file given on the command line: a document in either format, a preset, or a job file.

#include "application.h"

#include <kxbase/buffer.h>
#include <kxclientutil/config.h>
#include <kxcore/properties.h>

#include <optional>
#include <string>

namespace kx {

/// A file as read.
struct document {
    /// The identifier ("task", "filter"), "job" for a finalized job.
    std::string type;
    /// What it was stored in: "xml", "binary", "setting" for a preset, "job" for a job file.
    std::string format;
    kxclientutil::e_config_type config_type = kxclientutil::config_unknown;
    kxcore::properties tree{false};
};

/// Reads a document, a preset or a job file; a document also from standard input, "-".
///
/// @throws es::arg for what is none of them or does not fit its constraint, es::call for a file that can't be read
[[nodiscard]] document read_document(application& app, std::string const& file);

/// The same for a document that is to be changed and written back: its URLs stay as it has them.
[[nodiscard]] document read_document_to_edit(application& app, std::string const& file);

/// Reads a job file.
///
/// @throws es::arg for what is none
[[nodiscard]] kxcore::properties read_job(application& app, std::string const& file);

/// The bytes of a file, or of standard input.
[[nodiscard]] kxbase::buffer content_of(application& app, std::string const& file);

/// Whether the file begins like a job file.
[[nodiscard]] bool is_job_file(application& app, std::string const& file);

/// The document identifier of a type: "filter" too, which has no printable name in the library.
[[nodiscard]] std::string_view identifier_of(kxclientutil::e_config_type type);

/// What was read, in words: "a task document", "an encoder document".
[[nodiscard]] std::string in_words(document const& read);

/// The word for a document format, and the format of a word.
[[nodiscard]] std::string_view format_name(kxcore::configuration::format format);
[[nodiscard]] std::optional<kxcore::configuration::format> format_of(std::string_view name);

/// Whether the file is a preset by its name.
[[nodiscard]] bool is_preset(std::string const& file);

} // namespace kx
