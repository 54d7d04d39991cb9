// A submission finalized with everything that came of it, and the same as a text that is equal for equal jobs.
#pragma once

#include <kxclientutil/submission.h>

#include <kxcore/properties.h>

#include <string>
#include <string_view>
#include <vector>

namespace kxcore {
class installation;
} // namespace kxcore

namespace kx_test {

/// What finalization made of a copy of a submission.
struct finalized {
    kxcore::properties submission{false};
    std::vector<std::string> resources;
    std::vector<std::string> reports; ///< "category kind severity: message" each
    std::string error;                ///< the message, when it raised
};

/// Finalizes a copy.
///
/// @param before what the list of resources holds already
[[nodiscard]] finalized finalize_copy(kxcore::properties const& submission,
                                      kxclientutil::finalize_sub_conf const& settings, kxcore::installation const& with,
                                      std::vector<std::string> const& before = {});

/// Finalizes a copy where no document may be larger than its job is, and expects that no count on the way there, before
/// the job itself is measured, calls it too large.
void expect_room_for(finalized const& job, kxcore::properties const& submission,
                     kxclientutil::finalize_sub_conf const& settings, kxcore::installation const& with);

/// The whole result as an XML document for people to read: the job, the resources and the reports. Two things stand in
/// the place of what is no use there: "(as it was)" for the original inside, if it is equal to this one, and a number
/// for each identifier that the original does not have, the same wherever that identifier stands.
[[nodiscard]] std::string described(finalized const& result, kxcore::properties const& original);

/// Puts "uuid-1", "uuid-2" and so on for the identifiers in a text, in the order in which they come up there, "UUID-1"
/// for those in capitals. Those that `known` holds stay.
[[nodiscard]] std::string with_numbered_identifiers(std::string_view text, std::string_view known);

} // namespace kx_test
