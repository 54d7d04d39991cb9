// Connections between tasks.
#include "kxworkflow/support/workflows.h"

#include <gmock/gmock.h>

namespace {

using kx_test::encoder;
using kx_test::exported;
using kx_test::exported_task;
using kx_test::id;
using kx_test::list;
using kx_test::make_builder;
using kx_test::make_builder_from;
using kx_test::make_task;
using kx_test::properties;
using kx_test::status;
using kx_test::text;
using kx_test::text_at;
using kx_test::tree;
using kx_test::upload;

std::string const a = id(encoder, "a");
std::string const b = id(upload, "b");
std::string const c = id(upload, "c");

kxworkflow::workflow_builder three_tasks() {
    return make_builder(
        {make_task(encoder, "a"), make_task(upload, "b", tree({{"own", text("x")}})), make_task(upload, "c")});
}

TEST(connecting, records_the_connection_with_the_task_that_is_fed) {
    auto builder = three_tasks();
    ASSERT_TRUE(builder.connect(a, "dest-url", b, "source-url"));
    EXPECT_EQ(
        *exported_task(builder, b).find("input-connections"),
        *list({tree({{"from-wtid", text(a)}, {"from-node", text("dest-url")}, {"to-node", text("source-url")}})}));
    EXPECT_FALSE(exported_task(builder, a).is_present("input-connections"));
    EXPECT_TRUE(builder.get_task_configuration(b)->find("source-url") == nullptr) << "the configuration is not touched";
}

TEST(connecting, accepts_outputs_that_are_declared_or_published) {
    auto builder = three_tasks();
    EXPECT_TRUE(builder.connect(a, "output-media-info", b, "source-url"));
    EXPECT_TRUE(builder.connect(b, "extra-dest-urls", c, "extra-source-urls")) << "published by the plugin";
    EXPECT_FALSE(builder.connect(a, "extra", b, "source-url"));
    builder.publish_out(a, "extra", text("x"));
    EXPECT_TRUE(builder.connect(a, "extra", b, "source-url")) << "published by the task";
}

TEST(connecting, accepts_inputs_that_are_possible) {
    auto builder = three_tasks();
    EXPECT_TRUE(builder.connect(a, "dest-url", b, "own")) << "configured";
    EXPECT_TRUE(builder.connect(a, "dest-url", b, "dest-filename[2]")) << "declared";
    EXPECT_FALSE(builder.connect(a, "dest-url", b, "other"));
    EXPECT_FALSE(builder.connect(a, "dest-url", b, "dest-filename[x]"));
    EXPECT_FALSE(builder.connect(a, "dest-url", b, ""));
}

TEST(connecting, is_impossible_without_either_task_or_with_itself) {
    auto builder = three_tasks();
    properties const before = exported(builder);
    EXPECT_FALSE(builder.connect("wtid:x#y", "dest-url", b, "source-url"));
    EXPECT_FALSE(builder.connect(a, "dest-url", "wtid:x#y", "source-url"));
    EXPECT_FALSE(builder.connect(b, "dest-url", b, "source-url"));
    EXPECT_EQ(exported(builder), before);
}

TEST(connecting, is_impossible_when_it_closes_a_cycle) {
    auto builder = three_tasks();
    ASSERT_TRUE(builder.connect(a, "dest-url", b, "source-url"));
    ASSERT_TRUE(builder.connect(b, "dest-url", c, "source-url"));
    properties const before = exported(builder);
    EXPECT_FALSE(builder.connect(c, "dest-url", a, "source-url"));
    EXPECT_FALSE(builder.connect(b, "dest-url", a, "source-url"));
    EXPECT_EQ(exported(builder), before);
}

TEST(connecting, minds_run_dependencies) {
    auto builder = three_tasks();
    builder.depend_task(b, c, status("succeeded"));
    EXPECT_FALSE(builder.connect(b, "dest-url", c, "source-url"));
    EXPECT_TRUE(builder.connect(c, "dest-url", b, "source-url"));
}

TEST(connecting, does_not_mind_kill_triggers) {
    auto builder = three_tasks();
    builder.add_kill_triggers(c, {b}, status("failed"));
    EXPECT_TRUE(builder.connect(b, "dest-url", c, "source-url"));
}

TEST(connecting, feeds_an_input_from_several_outputs_in_the_order_of_the_calls) {
    auto builder = make_builder({make_task(encoder, "z"), make_task(encoder, "a"), make_task(upload, "b")});
    ASSERT_TRUE(builder.connect(id(encoder, "z"), "dest-url", b, "source-url"));
    ASSERT_TRUE(builder.connect(a, "dest-url", b, "source-url"));
    ASSERT_TRUE(builder.connect(a, "bitrate-kbps", b, "source-url"));
    properties const task = exported_task(builder, b);
    EXPECT_EQ(text_at(task, "input-connections[0]{from-wtid}"), id(encoder, "z"));
    EXPECT_EQ(text_at(task, "input-connections[1]{from-wtid}"), a);
    EXPECT_EQ(text_at(task, "input-connections[2]{from-node}"), "bitrate-kbps");
}

TEST(connecting, twice_counts_once) {
    auto builder = three_tasks();
    ASSERT_TRUE(builder.connect(a, "dest-url", b, "source-url"));
    ASSERT_TRUE(builder.connect(a, "dest-url", b, "source-url"));
    EXPECT_EQ(exported_task(builder, b).get_list_value("input-connections")->size(), 1u);
}

TEST(connecting, goes_on_where_a_document_left_off) {
    auto builder = three_tasks();
    ASSERT_TRUE(builder.connect(a, "dest-url", b, "source-url"));
    auto again = make_builder_from(exported(builder));
    ASSERT_TRUE(again.connect(a, "dest-url", b, "source-url"));
    ASSERT_TRUE(again.connect(a, "dest-url", b, "dest-dir-url"));
    EXPECT_FALSE(again.connect(b, "dest-url", a, "source-url"));
    EXPECT_EQ(exported_task(again, b).get_list_value("input-connections")->size(), 2u);
}

} // namespace
