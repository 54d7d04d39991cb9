#pragma once

/// @file
/// A job as a node announces it.

#include <kxbase/ptr_refcount.h>
#include <kxcapi/export.h>
#include <kxcore/properties.h>

#include <string>
#include <string_view>

namespace kxcapi {

/// What is known of a job. A plain value; `announced` is shared.
struct job {
    std::string id;
    std::string status; ///< "waiting", "running", "done", "failed", "cancelled", or what a later node may say
    std::string name;   ///< for people; may be empty
    /// All that the node has announced about it, the members above included.
    kxbase::ptr_refcount<kxcore::properties const> announced;
};

/// Whether a job of this status has come to its end.
[[nodiscard]] KXCAPI_EXPORT bool is_finished(std::string_view status) noexcept;

/// Reads the form in which jobs are announced.
///
/// @throws es::arg naming the key when "id" or "status" is missing, empty or no string
[[nodiscard]] KXCAPI_EXPORT job job_from_tree(kxbase::ptr_refcount<kxcore::properties const> const& announced);

} // namespace kxcapi
