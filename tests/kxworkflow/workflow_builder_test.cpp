// The workflow as a whole, and tasks that are added.
#include <kxworkflow/workflow_builder.h>

#include "kxworkflow/support/workflows.h"

#include <kxcore/constraint_values.h>
#include <kxworkflow/identifiers.h>

#include <gmock/gmock.h>

namespace {

using kx_test::arg_message;
using kx_test::deferred;
using kx_test::encoder;
using kx_test::exported;
using kx_test::exported_task;
using kx_test::flag;
using kx_test::id;
using kx_test::list;
using kx_test::localizer;
using kx_test::make_builder;
using kx_test::make_builder_from;
using kx_test::make_plugins;
using kx_test::make_task;
using kx_test::make_workflow;
using kx_test::number;
using kx_test::properties;
using kx_test::script;
using kx_test::status;
using kx_test::text;
using kx_test::text_at;
using kx_test::texts;
using kx_test::tree;
using kx_test::upload;

std::string const a = id(encoder, "a");

TEST(workflow_builder, knows_the_name_of_the_workflow) {
    EXPECT_EQ(make_builder({}).get_workflow_name(), "News");
}

TEST(workflow_builder, sets_what_belongs_to_the_workflow) {
    auto builder = make_builder({});
    auto const value = text("N");
    builder.set_workflow_capability("node-id", value);
    builder.set_workflow_configuration("priority", number(5));
    builder.set_workflow_configuration("guess-shared-storage", flag(true));
    builder.add_workflow_meta_data("source-name", text("S"));
    builder.set_workflow_type(2);
    EXPECT_EQ(exported(builder),
              *tree({{"name", text("News")},
                     {"tasks", list({})},
                     {"capabilities", tree({{"node-id", text("N")}})},
                     {"configuration", tree({{"guess-shared-storage", flag(true)}, {"priority", number(5)}})},
                     {"workflow-meta", tree({{"source-name", text("S")}})},
                     {"type", number(2)}}));
    EXPECT_EQ(exported(builder).get_properties_value("capabilities")->get_property("node-id"), value) << "shared";
    EXPECT_EQ(builder.get_workflow_type(), 2);
    builder.set_workflow_type(0);
    EXPECT_EQ(*exported(builder).find("type"), *number(0));
}

TEST(workflow_builder, takes_back_what_is_set_to_nothing) {
    auto builder = make_builder({});
    properties const before = exported(builder);
    builder.set_workflow_capability("node-id", text("N"));
    builder.set_workflow_configuration("priority", number(5));
    builder.add_workflow_meta_data("source-name", text("S"));
    builder.set_workflow_capability("node-id", {});
    builder.set_workflow_configuration("priority", {});
    builder.add_workflow_meta_data("source-name", {});
    EXPECT_EQ(exported(builder), before);
}

TEST(workflow_builder, refuses_names_that_cannot_be_keys) {
    auto builder = make_builder({});
    EXPECT_THAT(arg_message([&] { builder.set_workflow_capability("a{b}", text("x")); }),
                testing::StartsWith("workflow: the capability 'a{b}' cannot be a key: "));
    EXPECT_EQ(arg_message([&] { builder.set_workflow_configuration("", text("x")); }),
              "workflow: the setting '' cannot be a key: is empty");
    EXPECT_THAT(arg_message([&] { builder.add_workflow_meta_data("a[0]", text("x")); }),
                testing::StartsWith("workflow: the meta data key 'a[0]' cannot be a key: "));
}

TEST(workflow_builder, hands_out_meta_data_as_a_snapshot) {
    auto builder = make_builder({});
    builder.add_workflow_meta_data("source-name", text("S"));
    auto const meta = builder.get_workflow_meta_data();
    builder.add_workflow_meta_data("source-name", text("T"));
    EXPECT_EQ(text_at(*meta, "source-name"), "S");
    EXPECT_EQ(text_at(*builder.get_workflow_meta_data(), "source-name"), "T");
}

TEST(workflow_builder, records_extra_meta_data_of_a_task) {
    auto task = make_task(encoder, "a");
    task->set_property("ext-meta", tree({{"colour", text("red")}}));
    auto builder = make_builder({task, make_task(upload, "b")});
    auto const name = text("720p");
    builder.add_task_ext_meta(a, "KVD-8292", name);
    builder.add_task_ext_meta(id(upload, "b"), "KVD-8292", name);
    EXPECT_EQ(*exported_task(builder, a).find("ext-meta"),
              *tree({{"KVD-8292", text("720p")}, {"colour", text("red")}}));
    EXPECT_EQ(*exported_task(builder, id(upload, "b")).find("ext-meta"), *tree({{"KVD-8292", text("720p")}}));
    EXPECT_EQ(text_at(*task, "ext-meta{colour}"), "red");
    EXPECT_EQ(text_at(*task, "ext-meta{KVD-8292}"), "(no string at ext-meta{KVD-8292})") << "the caller's document";
    builder.add_task_ext_meta(id(upload, "b"), "KVD-8292", {});
    EXPECT_FALSE(exported_task(builder, id(upload, "b")).is_present("ext-meta"));
    EXPECT_EQ(arg_message([&] { builder.add_task_ext_meta("wtid:x#y", "k", name); }),
              "workflow: there is no task 'wtid:x#y'");
    EXPECT_THAT(arg_message([&] { builder.add_task_ext_meta(a, "k{", name); }),
                testing::StartsWith("workflow task '" + a + "': the meta data key 'k{' cannot be a key: "));
}

TEST(workflow_builder, moves) {
    auto builder = make_builder({make_task(encoder, "a")});
    auto moved = std::move(builder);
    EXPECT_TRUE(moved.has_task(a));
    builder = std::move(moved);
    EXPECT_TRUE(builder.has_task(a));
}

TEST(workflow_builder, keeps_the_plugins_alive) {
    auto builder = [] {
        auto const plugins = make_plugins();
        return kxworkflow::workflow_builder(make_workflow({}), plugins, kxcore::constraint_db(false));
    }();
    EXPECT_EQ(builder.add_task(encoder, {}, 0, "a", "A"), a);
}

// Adding a task document.

TEST(adding_a_document, gives_it_a_fresh_wtid) {
    auto builder = make_builder({make_task(encoder, "a")});
    auto const document = make_task(encoder, "a", tree({{"source-url", text("u")}}));
    document->set_property("x-task", text("kept"));
    std::string const first = builder.add_task(document);
    std::string const second = builder.add_task(document);
    EXPECT_EQ(kxworkflow::wtid_plid(first), encoder);
    EXPECT_NE(first, a);
    EXPECT_NE(first, second);
    EXPECT_EQ(builder.get_task_count(), 3u);
    EXPECT_EQ(text_at(exported_task(builder, first), "x-task"), "kept");
    EXPECT_EQ(text_at(exported_task(builder, first), "name"), "a");
    EXPECT_EQ(text_at(*document, "id"), a) << "the caller's document";
    EXPECT_TRUE(make_builder_from(exported(builder)) == builder);
}

TEST(adding_a_document, shares_the_configuration) {
    auto builder = make_builder({});
    auto const configuration = tree({{"source-url", text("u")}});
    auto const document = tree({{"plugin-id", text(encoder)}, {"configuration", configuration}});
    std::string const wtid = builder.add_task(document);
    EXPECT_EQ(builder.get_task_configuration(wtid).get(), configuration.get());
    EXPECT_EQ(exported_task(builder, wtid).find("configuration"), configuration.get());
}

TEST(adding_a_document, takes_the_plugin_from_an_id_when_need_be) {
    auto builder = make_builder({});
    std::string const wtid = builder.add_task(tree({{"id", text(a)}}));
    EXPECT_NE(wtid, a);
    EXPECT_EQ(text_at(exported_task(builder, wtid), "plugin-id"), encoder);
}

TEST(adding_a_document, refuses_what_is_no_task_and_changes_nothing) {
    auto builder = make_builder({make_task(encoder, "a")});
    properties const before = exported(builder);
    std::string const place = "workflow, task to be added: ";
    EXPECT_EQ(arg_message([&] { static_cast<void>(builder.add_task({})); }),
              "workflow: no document of the task to be added");
    EXPECT_EQ(arg_message([&] { static_cast<void>(builder.add_task(tree({}))); }),
              place + "neither \"id\" nor \"plugin-id\" says what it is");
    EXPECT_EQ(arg_message([&] {
                  static_cast<void>(builder.add_task(tree({{"plugin-id", text("no/such/1.0")}})));
              }),
              place + "unknown plugin 'no/such/1.0'");
    EXPECT_EQ(
        arg_message([&] {
            static_cast<void>(builder.add_task(tree({{"plugin-id", text(encoder)}, {"configuration", text("x")}})));
        }),
        place + "\"configuration\" is of kind string, not properties");
    auto const wait = tree(
        {{"tasks", texts({"wtid:x#y"})}, {"status", kxbase::make_refcount<kxcore::property_constraint>(status("s"))}});
    EXPECT_THAT(
        arg_message([&] {
            static_cast<void>(builder.add_task(tree({{"plugin-id", text(encoder)}, {"kill-triggers", list({wait})}})));
        }),
        testing::EndsWith("', kill-triggers[0]: there is no task 'wtid:x#y'"));
    EXPECT_EQ(exported(builder), before);
}

TEST(adding_a_document, takes_its_wiring_along) {
    auto builder = make_builder({make_task(encoder, "a")});
    auto const wait =
        tree({{"tasks", texts({a})}, {"status", kxbase::make_refcount<kxcore::property_constraint>(status("s"))}});
    std::string const wtid = builder.add_task(tree({{"plugin-id", text(script)}, {"run-dependencies", list({wait})}}));
    EXPECT_EQ(*exported_task(builder, wtid).find("run-dependencies"), *list({wait}));
    EXPECT_FALSE(builder.connect(wtid, "exit-code", a, "source-url")) << "it waits for that one";
    builder.remove_task(a);
    EXPECT_TRUE(exported_task(builder, wtid).get_list_value("run-dependencies")->get_element(0) != wait);
}

TEST(adding_a_document, holds_it_to_the_constraint_on_tasks_when_there_is_one) {
    auto const user_task = kxbase::make_refcount<kxcore::constraint_db>(true);
    for (char const* const key : {"plugin-id", "configuration"})
        user_task->add_constraint(key, {}, true);
    user_task->add_constraint("note", kxbase::make_refcount<kxcore::constraint_string>(), true);
    kxcore::constraint_db constraints(false);
    constraints.add_constraint("node.user-task", user_task, true);
    kxworkflow::workflow_builder builder(make_workflow({}), make_plugins(), constraints);
    EXPECT_NO_THROW(static_cast<void>(builder.add_task(tree({{"plugin-id", text(encoder)}, {"note", deferred()}}))))
        << "specials are valid anywhere, and a missing member is no matter here";
    std::string const message = arg_message([&] {
        static_cast<void>(builder.add_task(tree({{"plugin-id", text(encoder)}, {"colour", text("red")}})));
    });
    EXPECT_THAT(message, testing::StartsWith("workflow, task to be added: colour"));
    EXPECT_EQ(builder.get_task_count(), 1u);

    kxcore::constraint_db odd(false);
    odd.add_constraint("node.user-task", kxbase::make_refcount<kxcore::constraint_string>(), true);
    kxworkflow::workflow_builder other(make_workflow({}), make_plugins(), odd);
    EXPECT_THAT(arg_message([&] {
                    static_cast<void>(other.add_task(tree({{"plugin-id", text(encoder)}})));
                }),
                testing::StartsWith("workflow, task to be added: must be "));
}

// Adding a task by its parts.

TEST(adding_by_parts, makes_the_whole_task) {
    auto builder = make_builder({});
    auto const configuration = tree({{"source-url", deferred()}});
    std::string const wtid = builder.add_task(localizer, configuration, 0, "localizer", "Main Source");
    EXPECT_EQ(wtid, "wtid:task/regular/localize/1.0#localizer");
    EXPECT_EQ(exported_task(builder, wtid), *tree({{"id", text(wtid)},
                                                   {"plugin-id", text(localizer)},
                                                   {"name", text("Main Source")},
                                                   {"configuration", configuration}}));
    EXPECT_EQ(builder.get_task_configuration(wtid).get(), configuration.get()) << "shared, not copied";
}

TEST(adding_by_parts, makes_a_fresh_wtid_when_the_name_is_empty_or_taken) {
    auto builder = make_builder({});
    std::string const named = builder.add_task(localizer, {}, 0, "localizer", "one");
    std::string const taken = builder.add_task(localizer, {}, 0, "localizer", "two");
    std::string const empty = builder.add_task(localizer, {}, 0, "", "three");
    std::string const other_plugin = builder.add_task(encoder, {}, 0, "localizer", "four");
    EXPECT_EQ(other_plugin, id(encoder, "localizer"));
    for (auto const& fresh : {taken, empty}) {
        EXPECT_NE(fresh, named);
        EXPECT_EQ(kxworkflow::wtid_plid(fresh), localizer);
        EXPECT_EQ(fresh.size(), id(localizer, "").size() + 36);
    }
    EXPECT_NE(taken, empty);
    builder.remove_task(named);
    EXPECT_EQ(builder.add_task(localizer, {}, 0, "localizer", "five"), named) << "free again";
}

TEST(adding_by_parts, names_an_unlabelled_task_untitled) {
    auto builder = make_builder({});
    EXPECT_EQ(builder.get_task(builder.add_task(localizer, {}, 0, "x", ""))->get_name(), "Untitled");
}

TEST(adding_by_parts, keeps_flags_that_are_set) {
    auto builder = make_builder({});
    EXPECT_EQ(*exported_task(builder, builder.add_task(localizer, {}, 7, "", "x")).find("flags"), *number(7));
    EXPECT_FALSE(exported_task(builder, builder.add_task(localizer, {}, 0, "", "x")).is_present("flags"));
}

TEST(adding_by_parts, takes_no_configuration_for_an_empty_one) {
    auto builder = make_builder({});
    std::string const wtid = builder.add_task(localizer, {}, 0, "x", "X");
    EXPECT_TRUE(builder.get_task_configuration(wtid)->empty());
    EXPECT_EQ(*exported_task(builder, wtid).find("configuration"), *tree({}));
}

TEST(adding_by_parts, refuses_an_unknown_plugin_and_a_name_with_a_separator) {
    auto builder = make_builder({});
    EXPECT_EQ(arg_message([&] { static_cast<void>(builder.add_task("no/such/1.0", {}, 0, "", "")); }),
              "workflow, task to be added: unknown plugin 'no/such/1.0'");
    EXPECT_EQ(arg_message([&] { static_cast<void>(builder.add_task(localizer, {}, 0, "a>b", "")); }),
              "workflow, task to be added: its name 'a>b' holds '>', which separates a task from its input");
    EXPECT_EQ(builder.get_task_count(), 0u);
}

} // namespace
