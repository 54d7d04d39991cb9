#pragma once

/// @file
/// A document that a command makes out of its arguments: the settings that go on top, and how it is checked, written and
/// told of.

#include "application.h"

#include <kxclientutil/config.h>
#include <kxcore/properties.h>

#include <string>
#include <vector>

namespace CLI { // NOLINT(readability-identifier-naming): the parser's own
class App;
}

namespace kx {

/// What all commands that make a document take.
struct made_document_options {
    std::vector<std::string> settings;
    std::string out;
};

/// Gives a command the option --set.
void add_set_option(CLI::App& command, made_document_options& options);

/// The settings as a tree; a key may be a path, "meta-data{category}".
///
/// @throws CLI::ValidationError for what is no setting, for a path that can't be set, and for secrets; es::arg and es::call
///         for a file that is no good
[[nodiscard]] kxcore::properties tree_of_settings(application& app, made_document_options const& options);

/// Puts the settings into a tree, each at its path; a tree is merged with the one that is there.
///
/// @throws as above
void put_settings(application& app, made_document_options const& options, kxcore::properties& into);

/// Writes the document, in the XML format where the file is new, when it has no errors; else tells all of them and writes
/// nothing. Then tells what was made, in one line.
///
/// @param what for people: `mail task "desk@example.com"`
/// @param told for programs, behind the path, the format and the type
void write_made_document(application& app, std::string const& out, kxclientutil::e_config_type type,
                         kxcore::configuration::format format, kxcore::properties const& tree, std::string const& what,
                         json const& told);

} // namespace kx
