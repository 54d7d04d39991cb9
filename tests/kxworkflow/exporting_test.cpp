// How a workflow_builder puts documents together again.
#include "kxworkflow/support/workflows.h"

#include <gmock/gmock.h>

namespace {

using kx_test::bytes;
using kx_test::encoder;
using kx_test::exported;
using kx_test::exported_task;
using kx_test::flag;
using kx_test::id;
using kx_test::list;
using kx_test::make_builder;
using kx_test::make_builder_from;
using kx_test::make_task;
using kx_test::make_workflow;
using kx_test::number;
using kx_test::output_reference;
using kx_test::properties;
using kx_test::script;
using kx_test::status;
using kx_test::text;
using kx_test::text_at;
using kx_test::texts;
using kx_test::tree;
using kx_test::upload;

/// A workflow with everything in it, known or not.
properties rich_workflow() {
    auto const connection = tree({{"from-wtid", text(id(encoder, "b"))},
                                  {"from-node", text("dest-url")},
                                  {"to-node", text("source-url")},
                                  {"x-note", text("kept")}});
    auto const end = kxbase::make_refcount<kxcore::property_constraint>(status("succeeded|failed"));
    auto const wait = tree({{"tasks", texts({id(encoder, "b")})}, {"status", end}, {"x-note", text("kept")}});
    auto uploader = make_task(upload, "a", tree({{"dest-filename", texts({"x", "$source.name$"})}}));
    uploader->set_property("input-connections", list({connection}));
    uploader->set_property("run-dependencies", list({wait}));
    uploader->set_property("kill-triggers", list({wait}));
    uploader->set_property("published-outputs", tree({{"extra", text("e")}}));
    uploader->set_property("ext-meta", tree({{"colour", text("red")}}));
    uploader->set_property("flags", number(3));
    uploader->set_property("x-task", list({text("kept")}));
    auto workflow = make_workflow({uploader, make_task(encoder, "b")});
    workflow.set_property("workflow-meta", tree({{"connections", list({})}, {"x-meta", text("kept")}}));
    workflow.set_property("ext-meta", tree({{"compressed", bytes("\x01")}}));
    workflow.set_property("capabilities", tree({{"node-id", text("N")}}));
    workflow.set_property("configuration", tree({{"priority", number(7)}}));
    workflow.set_property("type", number(2));
    workflow.set_property("x-workflow", tree({{"kept", flag(true)}}));
    return workflow;
}

TEST(exporting, gives_an_untouched_workflow_back) {
    properties const workflow = rich_workflow();
    EXPECT_EQ(exported(make_builder_from(workflow)), workflow);
}

TEST(exporting, replaces_the_whole_content_of_the_document) {
    auto const builder = make_builder_from(rich_workflow());
    properties out("other", text("x"), "name", text("y"));
    builder.export_workflow(out);
    EXPECT_EQ(out, rich_workflow());
}

TEST(exporting, keeps_what_is_not_understood_through_changes) {
    auto builder = make_builder_from(rich_workflow());
    std::string const a = id(upload, "a");
    builder.configure_task(a, *tree({{"dest-dir-url", text("file:/out")}}));
    std::string const script_id = builder.add_task(script, tree({}), 0, "s", "S");
    builder.depend_task(a, script_id, status("succeeded"));
    properties const task = exported_task(builder, a);
    EXPECT_EQ(*task.find("x-task"), *list({text("kept")}));
    EXPECT_EQ(text_at(task, "input-connections[0]{x-note}"), "kept");
    EXPECT_EQ(text_at(task, "run-dependencies[0]{x-note}"), "kept");
    EXPECT_EQ(text_at(task, "kill-triggers[0]{x-note}"), "kept");
    EXPECT_EQ(text_at(task, "ext-meta{colour}"), "red");
    properties const workflow = exported(builder);
    EXPECT_EQ(text_at(workflow, "workflow-meta{x-meta}"), "kept");
    EXPECT_TRUE(workflow.is_present("x-workflow"));
}

TEST(exporting, keeps_what_is_not_understood_in_an_entry_that_loses_a_task) {
    auto const end = kxbase::make_refcount<kxcore::property_constraint>(status("failed"));
    auto const wait =
        tree({{"tasks", texts({id(encoder, "b"), id(encoder, "c")})}, {"status", end}, {"x-note", text("k")}});
    auto waiting = make_task(upload, "a");
    waiting->set_property("run-dependencies", list({wait}));
    auto builder = make_builder({waiting, make_task(encoder, "b"), make_task(encoder, "c")});
    builder.remove_task(id(encoder, "b"));
    EXPECT_EQ(*exported_task(builder, id(upload, "a")).find_referenced("run-dependencies[0]"),
              *tree({{"tasks", texts({id(encoder, "c")})}, {"status", end}, {"x-note", text("k")}}));
}

TEST(exporting, twice_gives_the_same) {
    auto builder = make_builder_from(rich_workflow());
    builder.set_in_value(id(upload, "a"), "dest-dir-url", text("file:/out"));
    properties const first = exported(builder);
    EXPECT_EQ(exported(builder), first);
    EXPECT_EQ(exported(builder).get_list_value("tasks")->get_element(0), first.get_list_value("tasks")->get_element(0))
        << "a task that did not change is the same object";
}

TEST(exporting, gives_what_an_equal_builder_is_made_from) {
    auto builder = make_builder_from(rich_workflow());
    builder.set_in_value(id(upload, "a"), "dest-dir-url", text("file:/out"));
    builder.publish_out(id(encoder, "b"), "extra-dest-urls", output_reference("x"));
    std::string const mail = builder.add_task(script, tree({{"env", tree({{"A", text("b")}})}}), 1, "", "Mail");
    ASSERT_TRUE(builder.connect(id(upload, "a"), "dest-url", mail, "env{URL}"));
    builder.depend_any_task(mail, {id(encoder, "b"), id(upload, "a")}, status("failed"));
    builder.depend_any_task(mail, {}, status("failed"));
    builder.add_kill_triggers(id(encoder, "b"), {mail}, status("failed"));
    builder.update_task_requirements(true, true);
    auto const again = make_builder_from(exported(builder));
    EXPECT_TRUE(again == builder);
    EXPECT_EQ(exported(again), exported(builder));
}

TEST(exporting, tells_builders_apart) {
    auto builder = make_builder_from(rich_workflow());
    auto const other = make_builder_from(rich_workflow());
    EXPECT_TRUE(builder == other);
    builder.set_workflow_type(0);
    EXPECT_FALSE(builder == other);
}

TEST(exporting, keeps_the_order_of_the_tasks_and_puts_new_ones_last) {
    auto builder = make_builder({make_task(upload, "z"), make_task(encoder, "a"), make_task(script, "m")});
    builder.remove_task(id(encoder, "a"));
    static_cast<void>(builder.add_task(encoder, {}, 0, "a", "again"));
    properties const workflow = exported(builder);
    EXPECT_EQ(text_at(workflow, "tasks[0]{name}"), "z");
    EXPECT_EQ(text_at(workflow, "tasks[1]{name}"), "m");
    EXPECT_EQ(text_at(workflow, "tasks[2]{name}"), "again");
}

TEST(exporting, shows_later_changes_in_later_exports_only) {
    auto builder = make_builder({make_task(encoder, "a")});
    properties const before = exported(builder);
    builder.set_in_value(id(encoder, "a"), "source-url", text("file:/in"));
    EXPECT_FALSE(before.find_referenced("tasks[0]{configuration}{source-url}"));
    EXPECT_EQ(text_at(exported(builder), "tasks[0]{configuration}{source-url}"), "file:/in");
}

TEST(exporting, records_the_same_connection_in_a_document_once) {
    auto const entry =
        tree({{"from-wtid", text(id(encoder, "b"))}, {"from-node", text("dest-url")}, {"to-node", text("source-url")}});
    auto task = make_task(upload, "a");
    task->set_property("input-connections", list({entry, entry}));
    auto const builder = make_builder({task, make_task(encoder, "b")});
    EXPECT_EQ(exported_task(builder, id(upload, "a")).get_list_value("input-connections")->size(), 1u);
}

} // namespace
