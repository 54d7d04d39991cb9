#include <kxworkflow/identifiers.h>

#include <gmock/gmock.h>

#include <set>

namespace {

using kxworkflow::port_new;
using kxworkflow::port_new_id;
using kxworkflow::wtid_create;
using kxworkflow::wtid_new;
using kxworkflow::wtid_plid;
using testing::StartsWith;

TEST(identifiers, give_the_plugin_that_a_wtid_begins_with) {
    struct {
        char const* wtid;
        char const* plid;
    } const cases[] = {
        {"wtid:task/regular/mail/1.0#desk", "task/regular/mail/1.0"},
        {"task/regular/mail/1.0#desk", "task/regular/mail/1.0"},
        {"wtid:task/regular/mail/1.0", "task/regular/mail/1.0"},
        {"task/regular/mail/1.0", "task/regular/mail/1.0"},
        {"wtid:task/regular/mail/1.0#a#b", "task/regular/mail/1.0"},
        {"wtid:task/regular/mail/1.0#", "task/regular/mail/1.0"},
        {"wtid:#x", ""},
        {"#x", ""},
        {"wtid:", ""},
        {"", ""},
        {"wtid:wtid:p#x", "wtid:p"},
        {"WTID:p#x", "WTID:p"},
    };
    for (auto const& each : cases)
        EXPECT_EQ(wtid_plid(each.wtid), each.plid) << each.wtid;
}

TEST(identifiers, make_wtids_that_nobody_else_has) {
    std::set<std::string> made;
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(made.insert(wtid_new()).second);
        EXPECT_TRUE(made.insert(wtid_new("task/regular/mail/1.0")).second);
    }
}

TEST(identifiers, make_a_fresh_wtid_without_a_plugin) {
    std::string const wtid = wtid_new();
    EXPECT_THAT(wtid, testing::MatchesRegex("wtid:#[0-9a-f-]+"));
    EXPECT_EQ(wtid.size(), std::string("wtid:#").size() + 36);
    EXPECT_EQ(wtid_plid(wtid), "");
    EXPECT_EQ(wtid_plid(wtid + "suffix"), "");
}

TEST(identifiers, make_a_fresh_wtid_of_a_plugin) {
    std::string const wtid = wtid_new("task/regular/mail/1.0");
    EXPECT_THAT(wtid, StartsWith("wtid:task/regular/mail/1.0#"));
    EXPECT_EQ(wtid_plid(wtid), "task/regular/mail/1.0");
}

TEST(identifiers, make_the_wtid_of_an_instance) {
    EXPECT_EQ(wtid_create("task/regular/localize/1.0", "localizer"), "wtid:task/regular/localize/1.0#localizer");
}

TEST(identifiers, name_ports) {
    EXPECT_EQ(port_new_id("wtid:p#x", "clips[0]{url}"), "wtid:p#x>clips[0]{url}");
    EXPECT_EQ(port_new_id("", ""), ">");
    EXPECT_THAT(port_new(), testing::MatchesRegex("port:[0-9a-f-]+"));
    EXPECT_NE(port_new(), port_new());
}

} // namespace
