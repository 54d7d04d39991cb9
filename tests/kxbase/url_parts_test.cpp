#include <kxbase/url_parts.h>

#include <kxbase/paths.h>
#include <kxbase/urls.h>

#include <gtest/gtest.h>

namespace kxbase {

namespace {

TEST(url_parts, finds_every_component) {
    url_parts const parts = split_url("http://user:pw@host:80/a/b.mov?x=1&y#part");
    EXPECT_TRUE(parts.is_url());
    EXPECT_EQ(parts.scheme, "http");
    EXPECT_TRUE(parts.has_authority);
    EXPECT_EQ(parts.authority, "user:pw@host:80");
    EXPECT_EQ(parts.path, "/a/b.mov");
    EXPECT_TRUE(parts.has_query);
    EXPECT_EQ(parts.query, "x=1&y");
    EXPECT_TRUE(parts.has_fragment);
    EXPECT_EQ(parts.fragment, "part");
}

TEST(url_parts, tells_an_empty_component_from_a_missing_one) {
    url_parts const empty = split_url("file:///x?#");
    EXPECT_TRUE(empty.has_authority && empty.has_query && empty.has_fragment);
    EXPECT_TRUE(empty.authority.empty() && empty.query.empty() && empty.fragment.empty());
    url_parts const missing = split_url("file:/x");
    EXPECT_FALSE(missing.has_authority || missing.has_query || missing.has_fragment);
}

TEST(url_parts, take_a_text_without_scheme_for_a_path) {
    for (char const* path : {"", "/a?b#c", "C:/a#b", "a b:c", "://x"}) {
        url_parts const parts = split_url(path);
        EXPECT_FALSE(parts.is_url()) << path;
        EXPECT_EQ(parts.path, path);
    }
}

TEST(url_parts, join_to_the_text_that_they_came_from) {
    for (char const* text :
         {"", "/a?b#c", "C:\\a", "file:/x", "file:///x", "file:", "file:?#", "http://h", "http://h?q",
          "http://u:p@[::1]:8/%2F//x?a=b#c#d", "kxvar:/?url.path_name#workflow.spawn-value"})
        EXPECT_EQ(join_url(split_url(text)), text);
}

TEST(url_parts, join_with_what_was_changed) {
    url_parts parts = split_url("file://host/a.mov?x#old");
    parts.scheme = "kxrc";
    parts.has_authority = false;
    parts.fragment = "new";
    parts.has_query = false;
    EXPECT_EQ(join_url(parts), "kxrc:/a.mov#new");
}

TEST(url_parts, decode_and_encode_a_path_as_urls_do) {
    EXPECT_EQ(decoded_path(split_url("file:/a%20b%2Fc")), "/a b%2Fc");
    EXPECT_EQ(decoded_path(split_url("/a%20b")), "/a%20b");
    for (char const* path : {"/a b", "/a?b#c", "/%2F/$X$", "/\xC3\xA4"})
        EXPECT_EQ("file:" + encoded_path(path), url_new_path("file:/", path, true));
    for (char const* fragment : {"node,origin", "a b#c", "%2F"})
        EXPECT_EQ("file:/x#" + encoded_fragment(fragment), url_set_fragment("file:/x", fragment, true));
}

TEST(url_parts, know_a_path_that_nothing_changes) {
    for (char const* path : {"", "/", "/a", "/a/b.mov", "/a/b/", "C:/x", "/$X$/y", "a:b"}) {
        EXPECT_TRUE(is_settled_path(path)) << path;
        EXPECT_EQ(encoded_path(path_normalized(decoded_path(split_url("file:" + std::string(path))), '/')), path);
    }
    for (char const* path :
         {"/a%20b", "/a b", "//a", "/a//b", "/./a", "/a/..", ".", "a:.", "/a\\b", "/a?b", "/\xC3\xA4"})
        EXPECT_FALSE(is_settled_path(path)) << path;
}

std::string fitted(char const* url, std::string path) {
    fit_path(split_url(url), path);
    return path;
}

TEST(url_parts, fit_a_path_behind_an_authority_or_none) {
    EXPECT_EQ(fitted("file:/x", "//server/y"), "/server/y");
    EXPECT_EQ(fitted("file:/x", "///"), "/");
    EXPECT_EQ(fitted("file:/x", "relative"), "relative");
    EXPECT_EQ(fitted("file://host", "relative"), "/relative");
    EXPECT_EQ(fitted("file://host", "//y"), "//y");
    EXPECT_EQ(fitted("file://host", ""), "");
    EXPECT_EQ(fitted("no url", "//server/y"), "//server/y");
}

} // namespace

} // namespace kxbase
