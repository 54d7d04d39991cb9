#include <kxbase/paths.h>

#include <gmock/gmock.h>

#include <string>

using kxbase::path_normalized;

namespace {

struct path_case {
    std::string_view path;
    char separator;
    std::string_view expected;
};

} // namespace

TEST(path_normalized, gives_the_simplest_form) {
    for (auto const& [path, separator, expected] : {
             path_case{"", '/', ""},
             {"/", '/', "/"},
             {"a", '/', "a"},
             {"/a/b", '/', "/a/b"},
             // the other separator is turned, runs are folded
             {"a\\b/c", '/', "a/b/c"},
             {"a\\b/c", '\\', "a\\b\\c"},
             {"a//b\\\\c/\\d", '/', "a/b/c/d"},
             {"///a", '/', "/a"},
             // a trailing separator stays
             {"/a/b/", '/', "/a/b/"},
             {"/a/b//", '/', "/a/b/"},
             {"a\\", '/', "a/"},
             // "." is dropped, ".." resolved
             {"/a/./b/.", '/', "/a/b"},
             {"./a", '/', "a"},
             {"/a/b/../c", '/', "/a/c"},
             {"/a/b/../../c/", '/', "/c/"},
             {"/a/b/..", '/', "/a"},
             {"/a/b/../", '/', "/a/"},
             {"/...", '/', "/..."},
             {"/a/..b/.c", '/', "/a/..b/.c"},
             // never above the root
             {"/..", '/', "/"},
             {"/../../a", '/', "/a"},
             {"/a/../..", '/', "/"},
             {"C:\\..\\a", '/', "C:/a"},
             {"C:/a/../..", '\\', "C:\\"},
             {"/C:/../a", '/', "/C:/a"},
             {"/C:", '/', "/C:"},
             {"C:", '/', "C:"},
             {"C:/", '/', "C:/"},
             {"/C:x/../a", '/', "/a"},
             {"\\\\server\\share\\..\\..\\a", '/', "//server/a"},
             // a UNC path keeps its two leading separators
             {"\\\\server\\share\\x", '/', "//server/share/x"},
             {"//server/share//x/", '\\', "\\\\server\\share\\x\\"},
             {"\\\\server", '/', "//server"},
             {"\\\\.\\x", '/', "/x"},
             {"//../x", '/', "/x"},
             {"\\\\.", '/', "/"},
             {"//.../x", '/', "//.../x"},
             {"\\\\server\\", '/', "//server/"},
             {"\\/server/x", '/', "//server/x"},
             {"//", '/', "/"},
             // relative paths
             {"../a", '/', "../a"},
             {"../../a/../b", '/', "../../b"},
             {"a/../../b", '/', "../b"},
             {"..", '/', ".."},
             {"../", '/', "../"},
             {"C:a/../..", '/', "C:.."},
             {".", '/', ""},
             {"./", '/', ""},
             {"a/..", '/', ""},
             // other separators have no counterpart, no drive and no server
             {"a>>b/c\\d>.>e", '>', "a>b/c\\d>e"},
             {">>a", '>', ">a"},
             {"C:>..", '>', ""},
             // placeholders are names
             {"$TMPPATH$//a\\b", '/', "$TMPPATH$/a/b"},
         })
        EXPECT_EQ(path_normalized(path, separator), expected) << path << ' ' << separator;
}

TEST(path_normalized, changes_nothing_the_second_time) {
    for (std::string_view const path : {"/a//b/../c/", "\\\\s\\x\\..", "C:\\a\\.\\b", "../..//a", "a/../", "///x/./"}) {
        std::string const once = path_normalized(path, '/');
        EXPECT_EQ(path_normalized(once, '/'), once);
    }
}

TEST(path_appended, puts_one_separator_between) {
    EXPECT_EQ(kxbase::path_appended("a", "b", '/'), "a/b");
    EXPECT_EQ(kxbase::path_appended("a/", "b", '/'), "a/b");
    EXPECT_EQ(kxbase::path_appended("a", "/b", '/'), "a/b");
    EXPECT_EQ(kxbase::path_appended("a/", "/b", '/'), "a/b");
    EXPECT_EQ(kxbase::path_appended("/", "b", '/'), "/b");
    EXPECT_EQ(kxbase::path_appended("", "b", '/'), "b");
    EXPECT_EQ(kxbase::path_appended("a", "", '/'), "a");
    EXPECT_EQ(kxbase::path_appended("wtid:task/regular/mail/1.0#x", "to-mail[0]", '>'),
              "wtid:task/regular/mail/1.0#x>to-mail[0]");
}

TEST(path_new_file, replaces_what_stands_behind_the_last_separator) {
    EXPECT_EQ(kxbase::path_new_file("/a/b.mov", "c", '/'), "/a/c");
    EXPECT_EQ(kxbase::path_new_file("/a/b.mov", "", '/'), "/a/");
    EXPECT_EQ(kxbase::path_new_file("/a/", "c", '/'), "/a/c");
    EXPECT_EQ(kxbase::path_new_file("b", "c", '/'), "c");
    EXPECT_EQ(kxbase::path_new_file("x\\b", "c", '\\'), "x\\c");
}

TEST(path_front, and_the_rest_split_at_the_first_separator) {
    struct front_case {
        std::string_view path, front, rest;
    };
    for (auto const& [path, front, rest] : {front_case{"workflow:id>wtid:x#1>a>b", "workflow:id", "wtid:x#1>a>b"},
                                            {"workflow:id", "workflow:id", ""},
                                            {">a", "", "a"},
                                            {"a>", "a", ""},
                                            {"", "", ""}}) {
        EXPECT_EQ(kxbase::path_front(path, '>'), front) << path;
        EXPECT_EQ(kxbase::path_popped_front(path, '>'), rest) << path;
    }
}

TEST(path_back, and_the_rest_split_at_the_last_separator) {
    struct back_case {
        std::string_view path, back, rest;
    };
    for (auto const& [path, back, rest] :
         {back_case{"/a/b", "b", "/a"}, {"/a/b/", "", "/a/b"}, {"b", "b", ""}, {"/b", "b", ""}, {"", "", ""}}) {
        EXPECT_EQ(kxbase::path_back(path, '/'), back) << path;
        EXPECT_EQ(kxbase::path_file(path, '/'), back) << path;
        EXPECT_EQ(kxbase::path_popped_back(path, '/'), rest) << path;
    }
    EXPECT_EQ(kxbase::path_file("C:\\scripts/x\\run.sh", '\\'), "run.sh");
    EXPECT_EQ(kxbase::path_file("/usr/bin/run.sh", '\\'), "/usr/bin/run.sh");
}

TEST(path_has_drive, wants_a_letter_and_a_colon) {
    for (char const* const path : {"C:", "c:\\x", "Z:/x", "a:x"})
        EXPECT_TRUE(kxbase::path_has_drive(path)) << path;
    for (char const* const path : {"", "C", "CC:", "1:", ":C", "/C:/"})
        EXPECT_FALSE(kxbase::path_has_drive(path)) << path;
}

TEST(path_is_unc, wants_two_separators_and_a_name) {
    for (char const* const path : {"\\\\server", "//server/share", "\\/s"})
        EXPECT_TRUE(kxbase::path_is_unc(path)) << path;
    for (char const* const path : {"", "//", "///x", "/server", "s//x"})
        EXPECT_FALSE(kxbase::path_is_unc(path)) << path;
}
