#include "kxclientutil/support/submission_fixture.h"

namespace kxclientutil {

namespace {

using kx_test::bytes;
using kx_test::list;
using kx_test::text;
using kx_test::tree;
using kxcore::properties;

TEST(submission_documents, take_files_in_their_order) {
    properties submission(false);
    submission_add_files({"file:/b.mov", "no url", "", "file:/a.mov"}, "Two files", submission);
    auto const entry = [](char const* url) {
        return kxcore::property_handle(tree({{"url", text(url)}, {"targets", list({})}}));
    };
    EXPECT_EQ(submission, *tree({{"file-source", tree({{"name", text("Two files")},
                                                       {"files", list({entry("file:/b.mov"), entry("no url"), entry(""),
                                                                       entry("file:/a.mov")})}})}}));
}

TEST(submission_documents, replace_an_earlier_file_source_whole) {
    properties submission = *tree({{"name", text("Mine")}, {"file-source", tree({{"ext-meta", text("old")}})}});
    submission_add_files({"file:/a.mov"}, "First", submission);
    submission_add_files({}, "", submission);
    EXPECT_EQ(submission,
              *tree({{"name", text("Mine")}, {"file-source", tree({{"name", text("")}, {"files", list({})}})}}));
}

TEST(submission_documents, take_a_copy_of_the_workflow) {
    properties workflow = *tree({{"name", text("News")}});
    properties submission = *tree({{"workflow", text("anything")}});
    submission_add_workflow(workflow, submission);
    workflow["name"] = text("changed");
    EXPECT_EQ(submission, *tree({{"workflow", tree({{"name", text("News")}})}}));
}

TEST(submission_documents, are_finalized_when_they_hold_a_binary_original) {
    EXPECT_TRUE(submission_is_finalized(*tree({{"ext-meta", tree({{"compressed-original", bytes("")}})}})));
    EXPECT_FALSE(submission_is_finalized(*tree({})));
    EXPECT_FALSE(submission_is_finalized(*tree({{"compressed-original", bytes("x")}})));
    EXPECT_FALSE(submission_is_finalized(*tree({{"ext-meta", bytes("x")}})));
    for (auto const& value : {text("x"), kxcore::property_handle(tree({})), list({bytes("x")}), kx_test::flag(true)})
        EXPECT_FALSE(submission_is_finalized(*tree({{"ext-meta", tree({{"compressed-original", value}})}})));
}

// On purpose: whoever asks for the original of what was never finalized gets its name and no more.
TEST(submission_documents, give_only_the_name_where_there_is_no_original) {
    auto const submission = tree({{"name", text("Mine")}, {"workflow", tree({})}});
    auto const original = submission_get_unfinalized_submission(*submission);
    EXPECT_EQ(*original, *tree({{"name", text("Mine")}}));
    EXPECT_EQ(original->get_property("name"), submission->get_property("name"));
    EXPECT_EQ(*submission_get_unfinalized_submission(*tree({{"workflow", tree({})}})), *tree({}));
    EXPECT_EQ(*submission_get_unfinalized_submission(*tree({{"name", kx_test::number(5)}})),
              *tree({{"name", kx_test::number(5)}}));
}

} // namespace

} // namespace kxclientutil
