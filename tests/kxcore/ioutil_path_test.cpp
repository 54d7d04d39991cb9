#include "ioutil_path.h"

#include <kxbase/errors.h>

#include <gtest/gtest.h>

namespace {

TEST(local_paths, are_what_file_urls_mean) {
    struct {
        std::string url;
        std::string path;
    } const cases[] = {
        {"file:/a/b", "/a/b"},
        {"file:///a/b", "/a/b"},
        {"file://localhost/a", "/a"},
        {"file:/a%20b%C3%A9", "/a b\xC3\xA9"},
        {"file:/a%252Fb", "/a%2Fb"},
        {"file:/a%2Fb", "/a%2Fb"},
        {"file:/a%2", "/a%2"},
        {"file:/a%zz%", "/a%zz%"},
        {"file:/a?b#c", "/a"},
        {"/a%20b?c#d", "/a%20b?c#d"},
        {"a", "a"},
        {"", ""},
    };
    for (auto const& [url, path] : cases) {
        EXPECT_FALSE(kxcore::is_remote(url));
        EXPECT_EQ(kxcore::local_path(url), path) << url;
    }
}

TEST(local_paths, are_not_on_other_machines) {
    for (std::string const url : {"http://h/x", "https://h/x", "ftp://h/x", "smb://h/x"}) {
        EXPECT_TRUE(kxcore::is_remote(url));
        EXPECT_THROW(static_cast<void>(kxcore::local_path(url)), kxbase::es::unsupp);
    }
    EXPECT_THROW(static_cast<void>(kxcore::local_path("file://server/x")), kxbase::es::unsupp);
    EXPECT_THROW(static_cast<void>(kxcore::local_path("kxrc:/x")), kxbase::es::unsupp);
    EXPECT_THROW(static_cast<void>(kxcore::local_path("file:")), kxbase::es::arg);
}

} // namespace
