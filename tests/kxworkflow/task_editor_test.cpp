#include <kxworkflow/task_editor.h>

#include "kxworkflow/support/workflows.h"

#include <kxworkflow/workflow_builder.h>

#include <gmock/gmock.h>

namespace {

using kx_test::arg_message;
using kx_test::encoder;
using kx_test::exported_task;
using kx_test::id;
using kx_test::make_builder;
using kx_test::make_task;
using kx_test::text;
using kx_test::tree;
using kx_test::upload;
using kxworkflow::task_editor;

std::string const a = id(encoder, "a");
std::string const b = id(upload, "b");

std::vector<std::string> wtids(kxworkflow::workflow_builder& builder) {
    std::vector<std::string> seen;
    builder.for_each_task([&](task_editor& task) { seen.push_back(task.get_wtid()); });
    return seen;
}

TEST(task_editor, comes_to_every_task_by_wtid) {
    auto builder = make_builder({make_task(upload, "b", tree({})), make_task(encoder, "a", tree({}))});
    EXPECT_THAT(wtids(builder), testing::ElementsAre(a, b));
    auto none = make_builder({});
    EXPECT_THAT(wtids(none), testing::IsEmpty());
}

TEST(task_editor, shows_the_task_as_it_is_now) {
    auto builder = make_builder({make_task(encoder, "a", tree({}))});
    builder.configure_task(a, *tree({{"x", text("1")}}));
    builder.for_each_task([&](task_editor& task) {
        EXPECT_EQ(task.get_name(), builder.get_task(a)->get_name());
        EXPECT_EQ(task.get_configuration(), builder.get_task_configuration(a));
    });
}

TEST(task_editor, configures_with_the_very_tree) {
    auto builder = make_builder({make_task(encoder, "a", tree({})), make_task(upload, "b", tree({}))});
    auto const before = builder.get_task(a);
    auto const fresh = tree({{"x", text("1")}});
    builder.for_each_task([&](task_editor& task) {
        if (task.get_wtid() == a) task.configure(fresh);
    });
    EXPECT_EQ(builder.get_task_configuration(a), fresh);
    EXPECT_EQ(exported_task(builder, a).get_property("configuration"), fresh);
    EXPECT_NE(before->get_configuration(), fresh) << "a view is a snapshot";
    EXPECT_NE(builder.get_task_configuration(b), fresh);
}

TEST(task_editor, refuses_to_configure_with_nothing) {
    auto builder = make_builder({make_task(encoder, "a", tree({}))});
    auto const before = builder.get_task_configuration(a);
    builder.for_each_task([&](task_editor& task) {
        EXPECT_EQ(arg_message([&] { task.configure({}); }),
                  "workflow task '" + a + "': no configuration to replace its own by");
    });
    EXPECT_EQ(builder.get_task_configuration(a), before);
}

TEST(task_editor, adds_meta_data_as_the_builder_does) {
    auto edited = make_builder({make_task(encoder, "a", tree({}))});
    auto built = make_builder({make_task(encoder, "a", tree({}))});
    edited.for_each_task([](task_editor& task) { task.add_ext_meta("key", text("value")); });
    built.add_task_ext_meta(a, "key", text("value"));
    EXPECT_EQ(edited, built);
    edited.for_each_task([](task_editor& task) {
        EXPECT_EQ(arg_message([&] { task.add_ext_meta("k{", text("value")); }),
                  "workflow task '" + task.get_wtid() +
                      "': the meta data key 'k{' cannot be a key: holds one of { } [ ]");
    });
}

} // namespace
