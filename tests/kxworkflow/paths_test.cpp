#include <kxworkflow/paths.h>

#include <gmock/gmock.h>

namespace {

using kxworkflow::workflow_id;
using kxworkflow::workflow_scheme;
using kxworkflow::wpath_create;
using kxworkflow::wpath_get_target_node_id;
using kxworkflow::wpath_get_wtid;

TEST(paths, read_scheme_id_and_node) {
    EXPECT_EQ(wpath_create("wtid:task/regular/localize/1.0#localizer", "source-url"),
              "workflow:wtid:task/regular/localize/1.0#localizer>source-url");
    EXPECT_EQ(workflow_scheme(), "workflow");
}

TEST(paths, are_taken_apart_as_they_were_made) {
    char const* const ids[] = {"wtid:task/regular/localize/1.0#localizer", "wtid:p#a b%41?x=1#y", "WOFL-1", ""};
    char const* const nodes[] = {"source-url", "clips[0]{url}", "a>b", "env{A#B}", "x?y%3E", ""};
    for (auto const* const id : ids)
        for (auto const* const node : nodes) {
            std::string const path = wpath_create(id, node);
            EXPECT_EQ(wpath_get_wtid(path), id) << path;
            EXPECT_EQ(wpath_get_target_node_id(path), node) << path;
        }
}

TEST(paths, are_split_at_the_first_separator) {
    EXPECT_EQ(wpath_get_wtid("workflow:a>b>c"), "a");
    EXPECT_EQ(wpath_get_target_node_id("workflow:a>b>c"), "b>c");
}

TEST(paths, may_lack_scheme_or_node) {
    EXPECT_EQ(wpath_get_wtid("wtid:p#x>in"), "wtid:p#x");
    EXPECT_EQ(wpath_get_target_node_id("wtid:p#x>in"), "in");
    EXPECT_EQ(wpath_get_wtid("workflow:wtid:p#x"), "wtid:p#x");
    EXPECT_EQ(wpath_get_target_node_id("workflow:wtid:p#x"), "");
    EXPECT_EQ(wpath_get_wtid(""), "");
    EXPECT_EQ(wpath_get_target_node_id(""), "");
}

TEST(paths, lose_their_scheme_for_the_id_of_a_workflow) {
    EXPECT_EQ(workflow_id("workflow:WOFL-1"), "WOFL-1");
    EXPECT_EQ(workflow_id("WOFL-1"), "WOFL-1");
    EXPECT_EQ(workflow_id("workflow:"), "");
    EXPECT_EQ(workflow_id("workflow:workflow:a"), "workflow:a");
    EXPECT_EQ(workflow_id("Workflow:a"), "Workflow:a");
    EXPECT_EQ(workflow_id("workflows:a"), "workflows:a");
}

} // namespace
