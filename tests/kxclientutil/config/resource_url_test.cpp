#include "config/resource_url.h"

#include <gtest/gtest.h>

#include <string>

namespace kxclientutil {

namespace {

struct row {
    char const* from;
    char const* to;
};

TEST(resource_url, becomes_the_file_of_the_same_path) {
    for (row const& each : {
             row{"kxrc:/media/a.mov", "file:/media/a.mov"},
             row{"kxrc:/media/a%20b%23c.mov", "file:/media/a%20b%23c.mov"},
             row{"kxrc:/", "file:/"},
             row{"kxrc:/media/", "file:/media/"},
         }) {
        std::string url = each.from;
        EXPECT_TRUE(make_file_url_of_resource(url)) << each.from;
        EXPECT_EQ(url, each.to);
    }
}

TEST(resource_url, loses_its_query_and_fragment) {
    for (char const* from : {"kxrc:/#!x", "kxrc:/#!create-dir", "kxrc:/?a=b"}) {
        std::string url = from;
        EXPECT_TRUE(make_file_url_of_resource(url)) << from;
        EXPECT_EQ(url, "file:/") << from;
    }
}

TEST(resource_url, is_told_by_its_scheme_alone) {
    for (char const* other : {"file:/media/a.mov", "kxrc+iseq:/media/a.mov", "KXRC:/media/a.mov", "kxfs://host/a",
                              "/media/kxrc:/a", "kxvar:/#uuid", ""}) {
        std::string url = other;
        EXPECT_FALSE(make_file_url_of_resource(url)) << other;
        EXPECT_EQ(url, other);
    }
}

} // namespace

} // namespace kxclientutil
