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
kxbase::ptr_refcount<kxcore::properties> older_original(kxcore::property_binary const& kept, std::size_t& left);

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

/// Looks into the original as well, and into the one inside that of a submission that was finalized more than once: so
/// deep as anything may be nested, and until together they have expanded as far as one may. What is beyond that, or cannot be
/// read, is taken for a credential: then nothing is disclosed, and few bytes do not cost endless work.
bool holds_credentials_at_any_age(kxcore::properties const& job) {
    if (kxcore::credentials::holds_credentials(job)) return true;
    kxbase::limits const limits = kxbase::current_limits();
    std::size_t left = limits.expansion;
    kxbase::ptr_refcount<kxcore::properties const> current = expand_original(*kept_original(job), left);
    for (std::size_t level = 1; current && level < limits.nesting; ++level) {
        if (kxcore::credentials::holds_credentials(*current)) return true;
        kxcore::property_binary const* const kept = kept_original(*current);
        if (!kept) return false;
        current = older_original(*kept, left);
    }
    return true;
}

/// Null for one that cannot be read, or for which there are not enough bytes left.
kxbase::ptr_refcount<kxcore::properties> older_original(kxcore::property_binary const& kept, std::size_t& left) {
    try {
        return expand_original(kept, left);
    } catch (kxbase::es::arg const&) {
        return {};
    }
}

} // namespace

} // namespace kxclientutil
