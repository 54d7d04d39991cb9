// Any tree finalized as a submission: a job that can be sent, with the submission in it, or an error of the library that
// makes no job of it.
//
// An input is a tree in the network encoding.
#include "support/environment.h"
#include "support/tree_mutation.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxclientutil/submission.h>
#include <kxcore/credentials.h>
#include <kxcore/network_encoding.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_string;

/// Small enough that what has no end ends soon.
constexpr std::size_t largest_job = std::size_t{1} << 20;

constexpr char const* original_path = "ext-meta{compressed-original}";

kxclientutil::finalize_sub_conf const& settings() {
    static kxclientutil::finalize_sub_conf const made = [] {
        kxclientutil::finalize_sub_conf chosen("origin");
        chosen.node_id = "node";
        chosen.resource_uri_option = true;
        chosen.set_priority(5);
        auto const value = make_refcount<property_string>("file:/value");
        chosen.in_values = {{"dest-dir-url", value}, {"dest-filename[2]", value}, {"env{A}", value}};
        chosen.task_name_in_values["a"] = {{"dest-filename[9]", value}};
        return chosen;
    }();
    return made;
}

bool same_value(kxcore::property const* left, kxcore::property const* right) {
    return left == nullptr || right == nullptr ? left == right : *left == *right;
}

void check_job(properties const& job, properties const& before) {
    kx_fuzz::require(kxclientutil::submission_is_finalized(job), "a job holds its original");
    kx_fuzz::require(*kxclientutil::submission_get_unfinalized_submission(job) == before, "the original comes back");
    kxbase::buffer encoded;
    kxcore::encoder_network(encoded).write(job);
    kx_fuzz::require(encoded.size() <= largest_job, "a job keeps to the limit");
    auto const again = kx_fuzz::decode_tree(encoded.text());
    kx_fuzz::require(again && *again == job, "a job can be read back");
    static_cast<void>(kxcore::credentials::holds_credentials(job));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    auto const& installation = kx_fuzz::sample_installation();
    kxbase::limits limits;
    limits.document = largest_job;
    kxbase::scoped_limits const scope(limits);
    std::string_view const encoded = kx_fuzz::text_of(data, size);
    auto const given = kx_fuzz::decode_tree(encoded);
    if (!given) return 0;
    auto const before = kx_fuzz::decode_tree(encoded);
    properties submission = *given;
    kxcore::property_list resources;
    resources.push_back(make_refcount<property_string>("before"));
    try {
        kxclientutil::submission_finalize(submission, resources, settings(), installation.get_plugins(),
                                          installation.get_constraints());
        check_job(submission, *before);
    } catch (kxbase::es::base const&) {
        kx_fuzz::require(same_value(submission.find_referenced(original_path), before->find_referenced(original_path)),
                         "an error makes no job");
        kx_fuzz::require(resources.size() == 1, "an error leaves the resources as they are");
    }
    kx_fuzz::require(*given == *before, "values that others hold stay as they are");
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t max_size,
                                               unsigned int seed) {
    return kx_fuzz::mutate_encoded_tree(data, size, max_size, seed, 0);
}
