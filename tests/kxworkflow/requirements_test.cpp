// What nodes must be like to run the tasks of a workflow.
#include "kxworkflow/support/workflows.h"

#include <kxcore/constraint_property.h>
#include <kxcore/constraint_values.h>

#include <gmock/gmock.h>

namespace {

using kx_test::arg_message;
using kx_test::encoder;
using kx_test::exported;
using kx_test::exported_task;
using kx_test::flag;
using kx_test::id;
using kx_test::localizer;
using kx_test::make_builder;
using kx_test::make_builder_from;
using kx_test::make_plugin;
using kx_test::make_plugins;
using kx_test::make_task;
using kx_test::make_workflow;
using kx_test::number;
using kx_test::properties;
using kx_test::property_handle;
using kx_test::text;
using kx_test::text_at;
using kx_test::tree;
using kx_test::tree_handle;
using kx_test::upload;
using kxbase::make_refcount;
using kxcore::constraint_db;
using kxcore::constraint_property;

std::string const a = id(encoder, "a");
std::string const b = id(upload, "b");

kxbase::ptr_refcount<constraint_property> must_be(property_handle const& value) {
    return make_refcount<constraint_property>(value);
}

kxbase::ptr_refcount<constraint_db> database(std::vector<constraint_db::member> const& members) {
    auto made = make_refcount<constraint_db>(false);
    for (auto const& each : members)
        made->add_constraint(each.name, each.value, each.required);
    return made;
}

property_handle as_property(kxbase::ptr_refcount<kxcore::constraint const> const& constraint) {
    return make_refcount<kxcore::property_constraint>(constraint);
}

kxbase::ptr_refcount<constraint_db> plugins_of(std::vector<std::string> const& plids) {
    std::vector<constraint_db::member> members;
    for (auto const& plid : plids)
        members.push_back({plid, must_be(flag(true)), true});
    return database(members);
}

/// The requirements of a task as it is exported; of kind bool when there are none.
property_handle requirements(kxworkflow::workflow_builder const& builder, std::string const& wtid) {
    properties const task = exported_task(builder, wtid);
    return task.is_present("requirements") ? task.get_property("requirements") : flag(false);
}

tree_handle with_requirements(tree_handle task, property_handle const& value) {
    task->set_property("requirements", value);
    return task;
}

TEST(requirements, ask_for_the_plugin_of_each_task) {
    auto builder = make_builder({make_task(encoder, "a"), make_task(upload, "b")});
    EXPECT_EQ(*requirements(builder, a), *flag(false)) << "nothing is derived before it is asked for";
    builder.update_task_requirements(true, true);
    EXPECT_EQ(*requirements(builder, a), *as_property(database({{"plugins", plugins_of({encoder}), true}})));
    EXPECT_EQ(*requirements(builder, b), *as_property(database({{"plugins", plugins_of({upload}), true}})));
}

TEST(requirements, fit_a_node_that_has_the_plugin) {
    auto builder = make_builder({make_task(encoder, "a")});
    builder.set_workflow_capability("node-id", text("N"));
    builder.update_task_requirements(true, true);
    auto const found = kxcore::property_cast<kxcore::property_constraint>(requirements(builder, a));
    auto const& wanted = static_cast<constraint_db const&>(*found->value());
    auto const node = [](char const* plid, char const* node_id) {
        return properties("node-id", text(node_id), "plugins", tree({{plid, flag(true)}}));
    };
    auto const fits = [&](properties const& each) {
        return wanted.is_valid(each, 0) && wanted.constraints_satisfied(each, 0);
    };
    EXPECT_TRUE(fits(node(encoder, "N")));
    EXPECT_FALSE(fits(node(upload, "N")));
    EXPECT_FALSE(fits(node(encoder, "M")));
    EXPECT_FALSE(fits(properties(false)));
}

TEST(requirements, do_not_change_when_they_are_derived_again) {
    auto builder = make_builder({make_task(encoder, "a")});
    builder.set_workflow_capability("node-id", text("N"));
    builder.update_task_requirements(true, true);
    auto const first = requirements(builder, a);
    builder.update_task_requirements(true, true);
    EXPECT_EQ(requirements(builder, a), first) << "the same object";
    auto again = make_builder_from(exported(builder));
    again.update_task_requirements(true, true);
    EXPECT_TRUE(again == builder);
    EXPECT_EQ(requirements(again, a), first);
}

TEST(requirements, demand_the_capabilities_of_the_workflow) {
    auto builder = make_builder({make_task(encoder, "a")});
    builder.set_workflow_capability("node-id", text("N"));
    builder.set_workflow_capability("memory", number(8));
    builder.update_task_requirements(true, true);
    auto const wanted = database({{"plugins", plugins_of({encoder}), true},
                                  {"node-id", must_be(text("N")), true},
                                  {"memory", must_be(number(8)), true}});
    EXPECT_EQ(*requirements(builder, a), *as_property(wanted));
    EXPECT_EQ(text_at(exported(builder), "capabilities{node-id}"), "N");
}

TEST(requirements, follow_a_capability_that_changes_or_goes) {
    auto builder = make_builder({make_task(encoder, "a")});
    builder.set_workflow_capability("node-id", text("N"));
    builder.update_task_requirements(true, true);
    builder.set_workflow_capability("node-id", text("M"));
    builder.update_task_requirements(true, true);
    EXPECT_EQ(*requirements(builder, a), *as_property(database({{"plugins", plugins_of({encoder}), true},
                                                                {"node-id", must_be(text("M")), true}})));
    builder.set_workflow_capability("node-id", {});
    builder.update_task_requirements(true, true);
    EXPECT_EQ(*requirements(builder, a), *as_property(database({{"plugins", plugins_of({encoder}), true}})));
    EXPECT_FALSE(exported(builder).is_present("capabilities"));
}

TEST(requirements, leave_what_a_task_demands_beyond_a_capability_that_goes) {
    auto const own = database({{"node-id", must_be(text("mine")), true}, {"rack", must_be(text("R")), true}});
    auto builder = make_builder({with_requirements(make_task(encoder, "a"), as_property(own))});
    builder.set_workflow_capability("rack", text("S"));
    builder.set_workflow_capability("rack", {});
    builder.set_workflow_capability("node-id", {});
    builder.update_task_requirements(true, true);
    EXPECT_EQ(*requirements(builder, a), *as_property(database({{"plugins", plugins_of({encoder}), true},
                                                                {"node-id", must_be(text("mine")), true},
                                                                {"rack", must_be(text("R")), true}})));
}

TEST(requirements, keep_the_tags_and_all_else_that_the_user_asked_for) {
    auto const tags = database({{"fast", must_be(flag(true)), true}, {"old", must_be(flag(false)), false}});
    auto const own = database({{"tags", tags, true}, {"rack", {}, false}, {"plugins", plugins_of({"x/y/1.0"}), true}});
    auto builder = make_builder({with_requirements(make_task(encoder, "a"), as_property(own))});
    for (int i = 0; i < 3; ++i) {
        builder.update_task_requirements(true, true);
        EXPECT_EQ(
            *requirements(builder, a),
            *as_property(database(
                {{"tags", tags, true}, {"rack", {}, false}, {"plugins", plugins_of({"x/y/1.0", encoder}), true}})));
    }
    EXPECT_EQ(own->size(), 3u) << "the caller's database";
    EXPECT_EQ(static_cast<constraint_db const&>(*own->get_constraint("plugins")).size(), 1u);
}

TEST(requirements, can_be_derived_for_new_tasks_alone) {
    auto builder = make_builder({make_task(encoder, "a")});
    builder.update_task_requirements(true, true);
    builder.set_workflow_capability("node-id", text("N"));
    std::string const added = builder.add_task(localizer, {}, 0, "localizer", "Main Source");
    builder.update_task_requirements(false, true);
    EXPECT_EQ(*requirements(builder, a), *as_property(database({{"plugins", plugins_of({encoder}), true}})));
    EXPECT_EQ(*requirements(builder, added), *as_property(database({{"plugins", plugins_of({localizer}), true},
                                                                    {"node-id", must_be(text("N")), true}})));
}

TEST(requirements, can_be_refreshed_without_new_tasks) {
    auto builder = make_builder({make_task(encoder, "a")});
    builder.update_task_requirements(true, true);
    builder.set_workflow_capability("node-id", text("N"));
    std::string const added = builder.add_task(localizer, {}, 0, "localizer", "Main Source");
    builder.update_task_requirements(false, false);
    EXPECT_EQ(*requirements(builder, a), *as_property(database({{"plugins", plugins_of({encoder}), true}})));
    builder.update_task_requirements(true, false);
    EXPECT_EQ(*requirements(builder, a), *as_property(database({{"plugins", plugins_of({encoder}), true},
                                                                {"node-id", must_be(text("N")), true}})));
    EXPECT_EQ(*requirements(builder, added), *flag(false));
}

TEST(requirements, of_a_plugin_are_taken_over) {
    auto const node = database({{"gpu", must_be(flag(true)), true}});
    auto const demanded = database({{"tags", node, true},
                                    {"memory", make_refcount<kxcore::constraint_int>(4, 64), true},
                                    {"node-id", must_be(text("plugin's")), true},
                                    {"optional", {}, false}});
    auto plugins = make_plugins();
    plugins.add_plugin(make_plugin("task/gpu/1.0", "gpu", {}, {}, {{"requirements", as_property(demanded)}}));
    auto const tags = database({{"fast", must_be(flag(true)), true}});
    auto const task = with_requirements(make_task("task/gpu/1.0", "g"), as_property(database({{"tags", tags, true}})));
    kxworkflow::workflow_builder builder(make_workflow({task}), plugins, constraint_db(false));
    builder.set_workflow_capability("node-id", text("N"));
    auto const wanted = as_property(
        database({{"plugins", plugins_of({"task/gpu/1.0"}), true},
                  {"tags", database({{"fast", must_be(flag(true)), true}, {"gpu", must_be(flag(true)), true}}), true},
                  {"memory", make_refcount<kxcore::constraint_int>(4, 64), true},
                  {"node-id", must_be(text("N")), true},
                  {"optional", {}, false}}));
    for (int i = 0; i < 2; ++i) {
        builder.update_task_requirements(true, true);
        EXPECT_EQ(*requirements(builder, "wtid:task/gpu/1.0#g"), *wanted);
    }
}

TEST(requirements, share_one_object_between_tasks_of_a_plugin) {
    auto builder = make_builder({make_task(encoder, "a"), make_task(encoder, "c")});
    builder.update_task_requirements(true, true);
    auto const value = [&](std::string const& wtid) {
        return kxcore::property_cast<kxcore::property_constraint>(requirements(builder, wtid))->value();
    };
    EXPECT_EQ(value(a), value(id(encoder, "c")));
}

TEST(requirements, of_a_task_are_added_by_name) {
    auto builder = make_builder({make_task(encoder, "a")});
    auto const first = database({{"fast", must_be(flag(true)), true}});
    builder.add_task_requirement(a, "tags", first);
    EXPECT_EQ(*requirements(builder, a), *as_property(database({{"tags", first, true}})));
    auto const second = database({{"slow", must_be(flag(false)), false}});
    builder.add_task_requirement(a, "tags", second);
    builder.add_task_requirement(a, "rack", must_be(text("R")));
    EXPECT_EQ(*requirements(builder, a),
              *as_property(database({{"tags", second, true}, {"rack", must_be(text("R")), true}})));
    builder.update_task_requirements(true, true);
    EXPECT_EQ(*requirements(builder, a), *as_property(database({{"tags", second, true},
                                                                {"rack", must_be(text("R")), true},
                                                                {"plugins", plugins_of({encoder}), true}})));
}

TEST(requirements, that_say_nothing_are_refused) {
    auto builder = make_builder({make_task(encoder, "a")});
    EXPECT_EQ(arg_message([&] { builder.add_task_requirement(a, "tags", {}); }),
              "workflow task '" + a + "': the requirement 'tags' has no constraint");
    EXPECT_EQ(arg_message([&] { builder.add_task_requirement(a, "", must_be(text("x"))); }),
              "workflow task '" + a + "': a requirement without a name");
    EXPECT_EQ(arg_message([&] { builder.add_task_requirement("wtid:x#y", "tags", must_be(text("x"))); }),
              "workflow: there is no task 'wtid:x#y'");
}

TEST(requirements, that_are_no_database_are_refused_before_anything_is_changed) {
    auto builder = make_builder(
        {make_task(encoder, "a"), with_requirements(make_task(upload, "b"), as_property(must_be(text("x"))))});
    std::string const message = "workflow task '" + b + "': \"requirements\" is not a constraint db";
    EXPECT_EQ(arg_message([&] { builder.update_task_requirements(true, true); }), message);
    EXPECT_EQ(*requirements(builder, a), *flag(false));
    EXPECT_EQ(arg_message([&] { builder.add_task_requirement(b, "tags", must_be(text("x"))); }), message);
}

} // namespace
