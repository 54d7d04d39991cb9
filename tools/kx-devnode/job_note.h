#pragma once

/// @file
/// What the spool remembers of a job beside the job itself.

#include <cstdint>
#include <filesystem>
#include <string>

namespace devnode {

/// Who submitted a job, and when.
struct job_note {
    std::string user;              ///< empty when that is not known
    std::int64_t submitted_ms = 0; ///< milliseconds since 1970-01-01 UTC
};

/// Writes the note so that it outlives a power cut.
///
/// @throws es::call when it cannot be written
void write_note(std::filesystem::path const& file, job_note const& note);

/// Reads a note back.
///
/// @throws es::call, es::arg when there is none, or it cannot be read
[[nodiscard]] job_note read_note(std::filesystem::path const& file);

} // namespace devnode
