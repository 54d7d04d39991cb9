#include <kxclientutil/resolve.h>

#include "kxclientutil/support/many_threads.h"
#include "kxclientutil/support/trees.h"

#include <kxbase/env.h>
#include <kxbase/errors.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace kxclientutil {

namespace {

using kx_test::deferred;
using kx_test::flag;
using kx_test::number;
using kx_test::text;

// The table of placeholders belongs to the process, and each test is a process of its own under ctest. Run by hand in one
// process the tests still pass: none changes an entry that another one reads, but the one that says so puts it back.
class placeholder_override {
public:
    placeholder_override(std::string name, std::string const& value) : name_(std::move(name)) {
        before_ = resolve_path(name_);
        add_resolve_path(name_, value);
    }
    ~placeholder_override() { add_resolve_path(name_, before_); }
    placeholder_override(placeholder_override const&) = delete;
    placeholder_override& operator=(placeholder_override const&) = delete;

private:
    std::string name_;
    std::string before_;
};

TEST(resolve, gives_each_built_in_placeholder_its_folder) {
    EXPECT_EQ(resolve_path("$EXEPATH$"), kxbase::env::get_executable_path());
    EXPECT_EQ(resolve_path("$USERHOMEPATH$"), kxbase::env::get_user_home_path());
    EXPECT_EQ(resolve_path("$PRODLONG$"), "Vostrel");
    EXPECT_EQ(resolve_path("$TMPPATH$"), kxbase::env::get_default_tmp_path());
    EXPECT_EQ(resolve_path("$USERMOVIEPATH$"), kxbase::env::get_folder_path(kxbase::env::folder_documents));
    EXPECT_EQ(resolve_path("$USERDESKTOPPATH$"), kxbase::env::get_folder_path(kxbase::env::folder_documents));
    EXPECT_EQ(resolve_path("$COMMONAPPDATA$"), kxbase::env::get_folder_path(kxbase::env::folder_common_data));
}

TEST(resolve, takes_the_documents_folder_for_movies_and_desktop) {
    EXPECT_EQ(resolve_path("$USERDESKTOPPATH$"), resolve_path("$USERMOVIEPATH$"));
}

TEST(resolve, leaves_a_path_without_placeholder_alone) {
    for (char const* path : {"", "/media/in/a.mov", "C:\\media\\a.mov", "a//b/../c", "no sign at all"})
        EXPECT_EQ(resolve_path(path), path);
}

TEST(resolve, leaves_an_unknown_placeholder_alone) {
    EXPECT_EQ(resolve_path("$NOSUCHPATH$/a.mov"), "$NOSUCHPATH$/a.mov");
    EXPECT_EQ(resolve_path("$prodlong$"), "$prodlong$");
    EXPECT_EQ(resolve_path("PRODLONG"), "PRODLONG");
}

TEST(resolve, does_not_pair_dollar_signs) {
    EXPECT_EQ(resolve_path("$source.filename$PRODLONG$"), "$source.filenameVostrel");
    EXPECT_EQ(resolve_path("$$PRODLONG$$"), "$Vostrel$");
}

TEST(resolve, replaces_every_occurrence) {
    EXPECT_EQ(resolve_path("$PRODLONG$/x/$PRODLONG$$PRODLONG$"), "Vostrel/x/VostrelVostrel");
}

TEST(resolve, adds_entries_beside_the_built_in_ones) {
    placeholder_override const media("$MEDIA$", "/mnt/media");
    EXPECT_EQ(resolve_path("$MEDIA$/a.mov"), "/mnt/media/a.mov");
    EXPECT_EQ(resolve_path("$PRODLONG$"), "Vostrel");
}

TEST(resolve, lets_an_entry_replace_a_built_in_one) {
    placeholder_override const temporary("$TMPPATH$", "/fast/scratch");
    EXPECT_EQ(resolve_path("$TMPPATH$/x"), "/fast/scratch/x");
    EXPECT_EQ(resolve_url_path("file:$TMPPATH$/x"), "file:/fast/scratch/x");
}

TEST(resolve, stores_a_name_as_it_is_given) {
    placeholder_override const plain("STORE", "/mnt/store");
    EXPECT_EQ(resolve_path("STORE/$STORE$"), "/mnt/store/$/mnt/store$");
}

TEST(resolve, does_not_resolve_what_it_put_in) {
    placeholder_override const nested("$NESTED$", "$PRODLONG$");
    EXPECT_EQ(resolve_path("$NESTED$"), "$PRODLONG$");
}

// Runs in a process of its own: there the table has never been asked for.
void add_first_and_exit() {
    add_resolve_path("$TMPPATH$", "/fast/scratch");
    bool const kept = resolve_path("$PRODLONG$") == "Vostrel" &&
                      resolve_path("$EXEPATH$") == kxbase::env::get_executable_path() &&
                      resolve_path("$USERHOMEPATH$") == kxbase::env::get_user_home_path() &&
                      resolve_path("$USERMOVIEPATH$") == kxbase::env::get_folder_path(5) &&
                      resolve_path("$USERDESKTOPPATH$") == kxbase::env::get_folder_path(5) &&
                      resolve_path("$COMMONAPPDATA$") == kxbase::env::get_folder_path(35);
    std::_Exit(kept && resolve_path("$TMPPATH$") == "/fast/scratch" ? 7 : 1);
}

TEST(resolve, has_the_built_in_entries_before_the_first_added_one) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(add_first_and_exit(), testing::ExitedWithCode(7), "");
}

// The values are computed once: a later change of the environment is not seen.
TEST(resolve, does_not_see_a_later_change_of_the_environment) {
    std::string const before = resolve_path("$TMPPATH$");
    ASSERT_EQ(setenv("TMPDIR", "/somewhere/else", 1), 0);
    EXPECT_EQ(resolve_path("$TMPPATH$"), before);
    unsetenv("TMPDIR");
}

TEST(resolve_url, resolves_and_normalizes_the_path) {
    std::string const home = kxbase::env::get_user_home_path();
    EXPECT_EQ(resolve_url_path("file:$USERHOMEPATH$/clips/a.mov"), "file:" + home + "/clips/a.mov");
    EXPECT_EQ(resolve_url_path("file:/x//y/./z/../a.mov"), "file:/x/y/a.mov");
    EXPECT_EQ(resolve_url_path("file:/x\\y\\a.mov"), "file:/x/y/a.mov");
    EXPECT_EQ(resolve_url_path("file:\\\\.\\y\\a.mov"), "file:/y/a.mov");
    EXPECT_EQ(resolve_url_path("x/../take:2/a b.mov"), "./take:2/a b.mov") << "stays a path";
    EXPECT_EQ(resolve_url_path("./take:2/a b.mov"), "./take:2/a b.mov");
    for (char const* const nowhere : {"t/..", ".", "./", "t/../"})
        EXPECT_EQ(resolve_url_path(nowhere), ".") << nowhere;
    EXPECT_EQ(resolve_url_path(""), "");
}

TEST(resolve_url, keeps_scheme_host_query_and_fragment) {
    EXPECT_EQ(resolve_url_path("ftp://user:pw@host:21/$PRODLONG$//a.mov?x=1&y=2#part"),
              "ftp://user:pw@host:21/Vostrel/a.mov?x=1&y=2#part");
}

TEST(resolve_url, resolves_nothing_outside_the_path) {
    EXPECT_EQ(resolve_url_path("file://$PRODLONG$/x"), "file://$PRODLONG$/x");
    EXPECT_EQ(resolve_url_path("http://host/x?name=$PRODLONG$#$PRODLONG$"), "http://host/x?name=$PRODLONG$#$PRODLONG$");
}

TEST(resolve_url, finds_an_encoded_placeholder) {
    EXPECT_EQ(resolve_url_path("file:/%24PRODLONG%24/x"), "file:/Vostrel/x");
}

TEST(resolve_url, encodes_what_a_path_cannot_hold) {
    placeholder_override const odd("$ODD$", "a b#c?d");
    EXPECT_EQ(resolve_url_path("file:/$ODD$/x"), "file:/a%20b%23c%3Fd/x");
}

TEST(resolve_url, leaves_a_url_without_placeholder_as_it_is) {
    for (char const* url : {"", "file:/clips/a%20b.mov", "http://host", "kxrc:/#!create-dir", "rtsp://server/live?x#y",
                            "smb://server/share/a.mov", "kxvar:/?url.path_name#workflow.spawn-value"})
        EXPECT_EQ(resolve_url_path(url), url) << url;
}

TEST(resolve_url, goes_on_in_many_threads_once_the_table_is_there) {
    placeholder_override const media("$MEDIA$", "/mnt/media");
    kx_test::run_in_threads([] {
        EXPECT_EQ(resolve_path("$MEDIA$/$PRODLONG$"), "/mnt/media/Vostrel");
        EXPECT_EQ(resolve_url_path("file:$MEDIA$//a.mov"), "file:/mnt/media/a.mov");
        EXPECT_EQ(create_resource_uri("file:$MEDIA$/a.mov", "n1", true), "kxrc:/mnt/media/a.mov#n1");
    });
}

TEST(resolve_url, takes_a_text_without_scheme_for_a_path) {
    EXPECT_EQ(resolve_url_path("$PRODLONG$/a#b?c"), "Vostrel/a#b?c");
}

TEST(is_url, follows_the_rule_for_schemes) {
    struct {
        char const* value;
        bool expected;
    } const cases[] = {
        {"file:/C:/clip.mov", true},
        {"kxrc:/#!x", true},
        {"c:/clip.mov", true},
        {"C:/clip.mov", false},
        {"C:\\clip.mov", false},
        {"FILE:/x", false},
        {"File:/x", false},
        {"abcdefghijklm:/x", true},
        {"abcdefghijklmn:/x", false},
        {":/x", false},
        {"my_scheme:/x", false},
        {"my scheme:/x", false},
        {"a1+-.:/x", true},
        {"1:/", true},
        {"kxvar:/", true},
        {"http:", false},
        {"http:x/", false},
        {"", false},
        {"/plain/path", false},
        {"mailto:a@b", false},
        {"x/y:/z", false},
        {"abcdefghijklm:", false},
        {"abcdefghijklm:/", true},
        {"a:/b:/c", true},
        {"A:/b:/c", false},
        {"source:name:/x", false},
        {"\xc3\xa4:/x", false},
    };
    for (auto const& [value, expected] : cases)
        EXPECT_EQ(is_url(text(value)), expected) << value;
}

TEST(is_url, takes_nothing_but_strings) {
    EXPECT_FALSE(is_url(flag(true)));
    EXPECT_FALSE(is_url(number(5)));
    EXPECT_FALSE(is_url(kx_test::context("file:/x")));
    EXPECT_FALSE(is_url(kx_test::bytes("file:/x")));
    EXPECT_FALSE(is_url(kx_test::texts({"file:/x"})));
    EXPECT_FALSE(is_url(kx_test::tree({{"url", text("file:/x")}})));
    EXPECT_FALSE(is_url({}));
}

TEST(is_url_to_physical_resource, knows_five_beginnings) {
    struct {
        char const* value;
        bool expected;
    } const cases[] = {
        {"file:/x", true},
        {"file://server/x", true},
        {"kxfs://node/x", true},
        {"kxfs:/x", false},
        {"kxrc:/x", true},
        {"kxrc:/#!x", true},
        {"smb://server/share", true},
        {"smb:/server", false},
        {"ftp://host/x", true},
        {"ftp:/host", false},
        {"ftps://host/x", false},
        {"http://host/x", false},
        {"https://host/x", false},
        {"rtsp://server/a.mov", false},
        {"kxvar:/#uuid", false},
        {"FILE:/x", false},
        {"file+iseq:/x", false},
        {"x file:/", false},
        {"/file:/x", false},
        {"", false},
    };
    for (auto const& [value, expected] : cases)
        EXPECT_EQ(is_url_to_physical_resource(text(value)), expected) << value;
}

TEST(is_url_to_physical_resource, takes_nothing_but_strings) {
    EXPECT_FALSE(is_url_to_physical_resource({}));
    EXPECT_FALSE(is_url_to_physical_resource(deferred()));
    EXPECT_FALSE(is_url_to_physical_resource(number(0)));
}

TEST(create_resource_uri, leaves_a_finished_resource_uri_alone) {
    for (bool const as_resource : {false, true}) {
        EXPECT_EQ(create_resource_uri("kxrc:/#!create-dir", "node-1", as_resource), "kxrc:/#!create-dir");
        EXPECT_EQ(create_resource_uri("kxrc:/#!", "", as_resource), "kxrc:/#!");
    }
}

TEST(create_resource_uri, only_sets_the_fragment_of_other_schemes) {
    for (bool const as_resource : {false, true}) {
        EXPECT_EQ(create_resource_uri("ftp://u:p@host/$TMPPATH$/a.mov?x#old", "n1,n2", as_resource),
                  "ftp://u:p@host/$TMPPATH$/a.mov?x#n1,n2");
        EXPECT_EQ(create_resource_uri("http://host/x//y", "", as_resource), "http://host/x//y");
        EXPECT_EQ(create_resource_uri("kxrc:/clips/a.mov", "n1", as_resource), "kxrc:/clips/a.mov#n1");
        EXPECT_EQ(create_resource_uri("kxfs://node/a.mov", "n1", as_resource), "kxfs://node/a.mov#n1");
        EXPECT_EQ(create_resource_uri("FILE:/a.mov", "n1", as_resource), "FILE:/a.mov#n1");
    }
}

TEST(create_resource_uri, resolves_a_file_url_and_keeps_scheme_and_host) {
    EXPECT_EQ(create_resource_uri("file:/clips/$PRODLONG$//a.mov#old", "n1,n2", false),
              "file:/clips/Vostrel/a.mov#n1,n2");
    EXPECT_EQ(create_resource_uri("file://server/share/a.mov?q", "n1", false), "file://server/share/a.mov?q#n1");
    EXPECT_EQ(create_resource_uri("file+iseq:/a.%23%23", "n1", false), "file+iseq:/a.%23%23#n1");
}

TEST(create_resource_uri, makes_a_file_a_resource) {
    EXPECT_EQ(create_resource_uri("file:/clips/a.mov", "n1,n2", true), "kxrc:/clips/a.mov#n1,n2");
    EXPECT_EQ(create_resource_uri("file:///clips/a.mov", "n1", true), "kxrc:/clips/a.mov#n1");
    EXPECT_EQ(create_resource_uri("file://server/share/a.mov", "n1", true), "kxrc:/share/a.mov#n1");
    EXPECT_EQ(create_resource_uri("file:/clips/a.mov#old", "", true), "kxrc:/clips/a.mov");
}

TEST(create_resource_uri, resolves_the_temporary_folder_of_a_resource) {
    EXPECT_EQ(create_resource_uri("file:$TMPPATH$/a.mov", "n1", true),
              "kxrc:" + kxbase::env::get_default_tmp_path() + "/a.mov#n1");
}

TEST(create_resource_uri, keeps_what_follows_the_plus_of_a_compound_scheme) {
    EXPECT_EQ(create_resource_uri("file+iseq:/frames/a.png", "n1", true), "kxrc+iseq:/frames/a.png#n1");
    EXPECT_EQ(create_resource_uri("file+a+b:/x", "n1", true), "kxrc+a+b:/x#n1");
    EXPECT_EQ(create_resource_uri("file+:/x", "n1", true), "kxrc+:/x#n1");
    EXPECT_EQ(create_resource_uri("ftp+iseq://host/x", "n1", true), "ftp+iseq://host/x#n1");
    EXPECT_EQ(create_resource_uri("files:/x", "n1", true), "files:/x#n1");
}

TEST(create_resource_uri, encodes_the_fragment) {
    EXPECT_EQ(create_resource_uri("file:/a.mov", "node one", true), "kxrc:/a.mov#node%20one");
}

} // namespace

} // namespace kxclientutil
