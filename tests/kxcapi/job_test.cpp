#include <kxcapi/job.h>

#include "support/scripted_node.h"

#include <kxcore/property_values.h>

#include <gmock/gmock.h>

namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_string;

TEST(job, is_finished_when_it_is_done_failed_or_cancelled) {
    for (char const* const status : {"done", "failed", "cancelled"})
        EXPECT_TRUE(kxcapi::is_finished(status)) << status;
    for (char const* const status : {"waiting", "running", "", "Done", "suspended"})
        EXPECT_FALSE(kxcapi::is_finished(status)) << status;
}

TEST(job, is_read_from_what_is_announced) {
    auto const tree = make_refcount<properties>("id", make_refcount<property_string>("7"), "status",
                                                make_refcount<property_string>("running"));
    kxcapi::job const nameless = kxcapi::job_from_tree(tree);
    EXPECT_EQ(nameless.id, "7");
    EXPECT_EQ(nameless.status, "running");
    EXPECT_EQ(nameless.name, "");
    EXPECT_EQ(nameless.announced, tree);
    tree->set_property("name", make_refcount<property_string>("clip"));
    EXPECT_EQ(kxcapi::job_from_tree(tree).name, "clip");
}

TEST(job, needs_an_id_and_a_status) {
    auto const error = [](char const* id, kxcore::property_handle const& status) {
        auto const tree = make_refcount<properties>("id", make_refcount<property_string>(id), "status", status);
        return kx_test::error_of<kxbase::es::arg>([&] { static_cast<void>(kxcapi::job_from_tree(tree)); });
    };
    EXPECT_EQ(error("", make_refcount<property_string>("done")), "\"id\" of a job is empty");
    EXPECT_EQ(error("7", make_refcount<property_string>("")), "\"status\" of a job is empty");
    EXPECT_THAT(error("7", kxcore::property_int::create(1)), testing::HasSubstr("status"));
    EXPECT_THAT(error("7", nullptr), testing::HasSubstr("status"));
}

} // namespace
