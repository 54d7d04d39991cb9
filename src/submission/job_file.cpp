#include "raising.h"
#include "submission/compressed_original.h"

#include <kxclientutil/submission.h>

#include <kxbase/limits.h>
#include <kxcore/credentials.h>
#include <kxcore/encodable.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>
#include <kxcore/sealed_file.h>

namespace kxclientutil {

namespace {

bool holds_credentials_at_any_age(kxcore::properties const& job);

} // namespace

void write_job_file(std::string const& path_or_url, kxcore::properties const& job) {
    if (!kept_original(job)) raise_from<kxbase::es::arg>(submission_source_path, "Not a finalized submission");
    kxcore::require_encodable(job, kxbase::current_limits().document);
    auto const sealing = holds_credentials_at_any_age(job) ? kxcore::e_sealing::encrypted : kxcore::e_sealing::plain;
    kxcore::write_sealed_file(path_or_url, job, sealing);
}

kxbase::ptr_refcount<kxcore::properties> read_job_file(std::string const& path_or_url) {
    auto job = kxcore::read_sealed_file(path_or_url);
    if (!kept_original(*job))
        raise_from<kxbase::es::arg>(submission_source_path,
                                    "'" + path_or_url + "' is no job file: it holds no finalized submission");
    return job;
}

namespace {

/// Looks into the original as well, and into the one inside that of a submission that was finalized more than once.
/// What is nested deeper than anything can be read is taken for a credential: then nothing is disclosed.
bool holds_credentials_at_any_age(kxcore::properties const& job) {
    kxbase::ptr_refcount<kxcore::properties const> current(&job);
    for (std::size_t level = 0; level < kxbase::current_limits().nesting; ++level) {
        if (kxcore::credentials::holds_credentials(*current)) return true;
        kxcore::property_binary const* const original = kept_original(*current);
        if (!original) return false;
        current = expand_original(*original);
    }
    return true;
}

} // namespace

} // namespace kxclientutil
