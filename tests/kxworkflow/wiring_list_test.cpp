// Run dependencies and kill triggers.
#include "kxworkflow/support/workflows.h"

#include <gmock/gmock.h>

namespace {

using kx_test::arg_message;
using kx_test::encoder;
using kx_test::exported;
using kx_test::exported_task;
using kx_test::flag;
using kx_test::id;
using kx_test::list;
using kx_test::make_builder;
using kx_test::make_builder_from;
using kx_test::make_task;
using kx_test::properties;
using kx_test::property_handle;
using kx_test::script;
using kx_test::status;
using kx_test::texts;
using kx_test::tree;

std::string const a = id(encoder, "a");
std::string const b = id(encoder, "b");
std::string const c = id(encoder, "c");
std::string const m = id(script, "m");

kxworkflow::workflow_builder four_tasks() {
    return make_builder(
        {make_task(encoder, "a"), make_task(encoder, "b"), make_task(encoder, "c"), make_task(script, "m")});
}

property_handle entry(std::vector<std::string> const& wtids, char const* statuses) {
    return tree(
        {{"tasks", texts(wtids)}, {"status", kxbase::make_refcount<kxcore::property_constraint>(status(statuses))}});
}

/// A list of a task as it is exported; of kind bool when there is none.
property_handle wiring(kxworkflow::workflow_builder const& builder, std::string const& wtid, char const* key) {
    properties const task = exported_task(builder, wtid);
    return task.is_present(key) ? task.get_property(key) : flag(false);
}

TEST(run_dependencies, wait_for_one_task_or_any_of_several) {
    auto builder = four_tasks();
    builder.depend_task(m, b, status("succeeded"));
    builder.depend_any_task(m, {c, a}, status("failed|cancelled"));
    EXPECT_EQ(*wiring(builder, m, "run-dependencies"),
              *list({entry({b}, "succeeded"), entry({a, c}, "failed|cancelled")}));
    EXPECT_EQ(*wiring(builder, b, "run-dependencies"), *flag(false));
}

TEST(run_dependencies, on_an_empty_set_are_never_met) {
    auto builder = four_tasks();
    builder.depend_any_task(m, {}, status("failed"));
    EXPECT_EQ(*wiring(builder, m, "run-dependencies"), *list({entry({}, "failed")}));
}

TEST(run_dependencies, count_once) {
    auto builder = four_tasks();
    builder.depend_task(m, a, status("succeeded"));
    builder.depend_task(m, a, status("succeeded"));
    builder.depend_any_task(m, {a}, status("succeeded"));
    EXPECT_EQ(*wiring(builder, m, "run-dependencies"), *list({entry({a}, "succeeded")}));
    builder.depend_task(m, a, status("failed"));
    EXPECT_EQ(*wiring(builder, m, "run-dependencies"), *list({entry({a}, "succeeded"), entry({a}, "failed")}));
}

TEST(run_dependencies, share_the_constraint) {
    auto builder = four_tasks();
    auto const shared = status("succeeded");
    builder.depend_task(m, a, shared);
    properties const task = exported_task(builder, m);
    auto const* const stored =
        kxcore::property_cast<kxcore::property_constraint>(task.find_referenced("run-dependencies[0]{status}"));
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->value(), shared);
}

TEST(run_dependencies, make_no_task_wait_for_itself) {
    auto builder = four_tasks();
    builder.depend_task(b, a, status("succeeded"));
    ASSERT_TRUE(builder.connect(b, "dest-url", m, "source-url"));
    properties const before = exported(builder);
    std::string const end = "': a run dependency would make it wait for itself";
    EXPECT_EQ(arg_message([&] { builder.depend_task(a, a, status("succeeded")); }), "workflow task '" + a + end);
    EXPECT_EQ(arg_message([&] { builder.depend_task(a, b, status("succeeded")); }), "workflow task '" + a + end);
    EXPECT_EQ(arg_message([&] {
                  builder.depend_any_task(a, {c, m}, status("succeeded"));
              }),
              "workflow task '" + a + end);
    EXPECT_EQ(exported(builder), before);
    builder.depend_task(a, c, status("succeeded")); // which the refused one named, too
}

TEST(run_dependencies, name_tasks_of_the_workflow_and_a_status) {
    auto builder = four_tasks();
    EXPECT_EQ(arg_message([&] { builder.depend_task("wtid:x#y", a, status("s")); }),
              "workflow: there is no task 'wtid:x#y'");
    EXPECT_EQ(arg_message([&] { builder.depend_task(a, "wtid:x#y", status("s")); }),
              "workflow: there is no task 'wtid:x#y'");
    EXPECT_EQ(arg_message([&] {
                  builder.depend_any_task(a, {b, "wtid:x#y"}, status("s"));
              }),
              "workflow: there is no task 'wtid:x#y'");
    EXPECT_EQ(arg_message([&] { builder.depend_task(a, b, {}); }),
              "workflow task '" + a + "': no constraint on the status that it is about");
    EXPECT_EQ(*wiring(builder, a, "run-dependencies"), *flag(false));
}

TEST(run_dependencies, on_a_removed_task_are_never_met) {
    auto builder = four_tasks();
    builder.depend_task(m, a, status("succeeded"));
    builder.depend_any_task(m, {a, b}, status("failed"));
    builder.remove_task(a);
    EXPECT_EQ(*wiring(builder, m, "run-dependencies"), *list({entry({}, "succeeded"), entry({b}, "failed")}));
}

TEST(run_dependencies, that_become_equal_count_once) {
    auto builder = four_tasks();
    builder.depend_any_task(m, {a, c}, status("failed"));
    builder.depend_any_task(m, {a, b}, status("failed"));
    builder.depend_task(m, a, status("failed"));
    builder.remove_task(b);
    EXPECT_EQ(*wiring(builder, m, "run-dependencies"), *list({entry({a, c}, "failed"), entry({a}, "failed")}));
}

TEST(kill_triggers, stop_the_others) {
    auto builder = four_tasks();
    builder.add_kill_triggers(a, {c, b}, status("failed"));
    builder.add_kill_triggers(a, {m}, status("cancelled"));
    EXPECT_EQ(*wiring(builder, a, "kill-triggers"), *list({entry({b, c}, "failed"), entry({m}, "cancelled")}));
}

TEST(kill_triggers, leave_the_task_itself_out) {
    auto builder = four_tasks();
    builder.add_kill_triggers(a, {a, b}, status("failed"));
    EXPECT_EQ(*wiring(builder, a, "kill-triggers"), *list({entry({b}, "failed")}));
    builder.add_kill_triggers(b, {b}, status("failed"));
    builder.add_kill_triggers(c, {}, status("failed"));
    EXPECT_EQ(*wiring(builder, b, "kill-triggers"), *flag(false));
    EXPECT_EQ(*wiring(builder, c, "kill-triggers"), *flag(false));
}

TEST(kill_triggers, count_once_and_may_be_mutual) {
    auto builder = four_tasks();
    builder.add_kill_triggers(a, {b}, status("failed"));
    builder.add_kill_triggers(a, {b}, status("failed"));
    builder.add_kill_triggers(b, {a}, status("failed"));
    EXPECT_EQ(*wiring(builder, a, "kill-triggers"), *list({entry({b}, "failed")}));
    EXPECT_EQ(*wiring(builder, b, "kill-triggers"), *list({entry({a}, "failed")}));
    EXPECT_TRUE(make_builder_from(exported(builder)) == builder);
}

TEST(kill_triggers, lose_removed_tasks) {
    auto builder = four_tasks();
    builder.add_kill_triggers(a, {b, c}, status("failed"));
    builder.add_kill_triggers(a, {b}, status("cancelled"));
    builder.remove_task(b);
    EXPECT_EQ(*wiring(builder, a, "kill-triggers"), *list({entry({c}, "failed")}));
    builder.remove_task(c);
    EXPECT_EQ(*wiring(builder, a, "kill-triggers"), *flag(false));
}

TEST(kill_triggers, name_tasks_of_the_workflow_and_a_status) {
    auto builder = four_tasks();
    EXPECT_EQ(arg_message([&] { builder.add_kill_triggers("wtid:x#y", {a}, status("s")); }),
              "workflow: there is no task 'wtid:x#y'");
    EXPECT_EQ(arg_message([&] { builder.add_kill_triggers(a, {"wtid:x#y"}, status("s")); }),
              "workflow: there is no task 'wtid:x#y'");
    EXPECT_EQ(arg_message([&] { builder.add_kill_triggers(a, {b}, {}); }),
              "workflow task '" + a + "': no constraint on the status that it is about");
    EXPECT_EQ(*wiring(builder, a, "kill-triggers"), *flag(false));
}

} // namespace
