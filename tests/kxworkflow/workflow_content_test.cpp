// Removing tasks: nothing refers to a task that is not there.
#include "kxworkflow/support/workflows.h"

#include <gmock/gmock.h>

namespace {

using kx_test::arg_message;
using kx_test::encoder;
using kx_test::exported;
using kx_test::exported_task;
using kx_test::id;
using kx_test::list;
using kx_test::make_builder;
using kx_test::make_builder_from;
using kx_test::make_task;
using kx_test::make_workflow;
using kx_test::properties;
using kx_test::text;
using kx_test::text_at;
using kx_test::tree;
using kx_test::tree_handle;
using kx_test::upload;
using testing::ElementsAre;

std::string const a = id(encoder, "a");
std::string const b = id(upload, "b");
std::string const c = id(upload, "c");

tree_handle drawn(std::string const& from, std::string const& to) {
    return tree({{"from-wtid", text(from)}, {"to-wtid", text(to)}});
}

kxworkflow::workflow_builder chain() {
    auto workflow = make_workflow({make_task(encoder, "a"), make_task(upload, "b"), make_task(upload, "c")});
    workflow.set_property("workflow-meta",
                          tree({{"connections", list({drawn(a, b), drawn(b, c), text("odd"), drawn(a, c)})}}));
    auto builder = make_builder_from(workflow);
    EXPECT_TRUE(builder.connect(a, "dest-url", b, "source-url"));
    EXPECT_TRUE(builder.connect(b, "dest-url", c, "source-url"));
    EXPECT_TRUE(builder.connect(a, "dest-url", c, "extra-source-urls"));
    return builder;
}

TEST(removal, takes_the_task_and_what_connects_it) {
    auto builder = chain();
    builder.remove_task(b);
    EXPECT_EQ(builder.get_task_count(), 2u);
    EXPECT_FALSE(builder.has_task(b));
    properties const task = exported_task(builder, c);
    ASSERT_EQ(task.get_list_value("input-connections")->size(), 1u);
    EXPECT_EQ(text_at(task, "input-connections[0]{from-wtid}"), a);
    kxworkflow::task::node_list nodes;
    builder.get_task(a)->get_connected_out_nodes(nodes);
    ASSERT_EQ(nodes.size(), 1u);
    EXPECT_THAT(nodes.front()->get_connection_ids(), ElementsAre(c + ">extra-source-urls"));
    EXPECT_TRUE(make_builder_from(exported(builder)) == builder);
}

TEST(removal, leaves_no_empty_list_behind) {
    auto builder = chain();
    builder.remove_task(a);
    builder.remove_task(b);
    EXPECT_FALSE(exported_task(builder, c).is_present("input-connections"));
    builder.remove_task(c);
    EXPECT_EQ(*exported(builder).find("tasks"), *list({}));
}

TEST(removal, takes_drawn_connections_that_name_the_task) {
    auto builder = chain();
    builder.remove_task(b);
    EXPECT_EQ(*builder.get_workflow_meta_data()->find("connections"), *list({text("odd"), drawn(a, c)}));
    builder.remove_task(c);
    EXPECT_EQ(*exported(builder).find_referenced("workflow-meta{connections}"), *list({text("odd")}));
}

TEST(removal, leaves_meta_data_without_such_connections_as_they_are) {
    auto workflow = make_workflow({make_task(encoder, "a")});
    auto builder = make_builder_from(workflow);
    builder.remove_task(a);
    EXPECT_TRUE(builder.get_workflow_meta_data()->empty());

    auto const meta = tree({{"connections", text("no list")}});
    workflow.set_property("workflow-meta", meta);
    auto other = make_builder_from(workflow);
    other.remove_task(a);
    EXPECT_EQ(*other.get_workflow_meta_data(), *meta);
}

TEST(removal, does_not_revive_drawn_connections_for_a_new_task_of_that_name) {
    auto builder = chain();
    builder.remove_task(b);
    ASSERT_EQ(builder.add_task(upload, {}, 0, "b", "again"), b);
    EXPECT_EQ(*builder.get_workflow_meta_data()->find("connections"), *list({text("odd"), drawn(a, c)}));
    EXPECT_FALSE(exported_task(builder, b).is_present("input-connections"));
}

TEST(removal, keeps_connections_that_are_set_afterwards) {
    auto builder = chain();
    builder.remove_task(b);
    builder.add_workflow_meta_data("connections", list({drawn(b, c)}));
    EXPECT_EQ(*builder.get_workflow_meta_data()->find("connections"), *list({drawn(b, c)}));
}

TEST(removal, frees_the_order_that_the_task_imposed) {
    auto builder = chain();
    EXPECT_FALSE(builder.connect(c, "dest-url", a, "source-url"));
    builder.remove_task(b);
    EXPECT_FALSE(builder.connect(c, "dest-url", a, "source-url")) << "a still feeds c";
    auto other = make_builder({make_task(encoder, "a"), make_task(upload, "b"), make_task(upload, "c")});
    ASSERT_TRUE(other.connect(a, "dest-url", b, "source-url"));
    ASSERT_TRUE(other.connect(b, "dest-url", c, "source-url"));
    other.remove_task(b);
    EXPECT_TRUE(other.connect(c, "dest-url", a, "source-url"));
}

TEST(removal, of_a_task_that_is_not_there_is_an_error) {
    auto builder = chain();
    EXPECT_EQ(arg_message([&] { builder.remove_task("wtid:x#y"); }), "workflow: there is no task 'wtid:x#y'");
    builder.remove_task(b);
    EXPECT_EQ(arg_message([&] { builder.remove_task(b); }), "workflow: there is no task '" + b + "'");
}

TEST(removal, leaves_views_as_they_were) {
    auto builder = chain();
    auto const view = builder.get_task(b);
    builder.remove_task(b);
    EXPECT_EQ(view->get_id(), b);
    EXPECT_EQ(view->get_name(), "b");
}

} // namespace
