#pragma once

/// @file
/// The conversion of a whole folder of documents: everything is checked before anything is written, and everything is
/// written beside its place before anything takes it.

#include "application.h"

#include <kxcore/configuration.h>

#include <filesystem>
#include <optional>
#include <string>

namespace kx {

/// The folder that a path or file: URL names, if it is one.
[[nodiscard]] std::optional<std::filesystem::path> existing_folder(std::string const& path_or_url);

/// Converts all documents and presets at and below a folder into another, with the same names below it; a preset's
/// becomes that of a document. What is neither is told and left out, and so are symbolic links, which are not followed.
///
/// Nothing is changed when one of them can't be read, upgraded or written: all problems of all files are told then. A
/// run that is killed while it puts the finished files into place leaves some of them old and some new, each whole.
///
/// @param in   an existing folder
/// @param out  the same, one that exists, or one that does not, whose parent does; neither within @p in nor around it
/// @param wanted  the format of all written documents; without it each keeps its own
void convert_folder(application& app, std::filesystem::path const& in, std::string const& out,
                    std::optional<kxcore::configuration::format> wanted);

} // namespace kx
