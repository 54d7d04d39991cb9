#include <kxclientutil/schema.h>

#include "config/schema_plugins.h"

#include <kxbase/errors.h>
#include <kxcore/constraint_db.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/constraint_string.h>
#include <kxcore/constraint_values.h>
#include <kxcore/installation.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>

#include "support/scratch_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::constraint_db;
using testing::HasSubstr;
using testing::Not;

/// An installation of one task plugin and one monitor, each with one setting.
class schema_types_fixture : public testing::Test {
protected:
    schema_types_fixture() {
        add_plugin("task/cut/1.0", "Cutter", "frames");
        add_plugin("io/monitor/disk/1.0", "Disk", "interval");
        auto const task = make_refcount<constraint_db>(true);
        task->add_constraint("configuration", make_refcount<constraint_db>(), false);
        task->add_constraint("id", make_refcount<kxcore::constraint_string>(), false);
        task->add_constraint("plugin-id", make_refcount<kxcore::constraint_string>(), true);
        constraints.add_constraint("node.user-task", task, true);
        auto const workflow = make_refcount<constraint_db>(true);
        workflow->add_constraint("tasks", make_refcount<kxcore::constraint_list>(task), true);
        constraints.add_constraint("node.workflow", workflow, true);
        auto const manager = make_refcount<constraint_db>(true);
        manager->add_constraint("plugin-id", make_refcount<kxcore::constraint_string>(), false);
        auto const monitor = make_refcount<constraint_db>(true);
        monitor->add_constraint("manager-configuration", manager, true);
        monitor->add_constraint("plugin-configuration", make_refcount<constraint_db>(), false);
        constraints.add_constraint("node.monitor-source", monitor, true);
    }

    void add_plugin(std::string const& id, std::string const& title, std::string const& setting) {
        auto const info = make_refcount<kxcore::properties>();
        info->set_property("name", make_refcount<kxcore::property_string>("plugin"));
        info->set_property("title", make_refcount<kxcore::property_string>(title));
        auto const document = make_refcount<kxcore::properties>();
        document->set_property("info", info);
        document->set_property("plugin-id", make_refcount<kxcore::property_string>(id));
        plugins.add_plugin(make_refcount<kxcore::plugin_info>(document));
        auto const configuration = make_refcount<constraint_db>(true);
        configuration->add_constraint(setting, make_refcount<kxcore::constraint_int>(), false);
        constraints.add_constraint(kxcore::plugin_constraint_name(id), configuration, false);
    }

    [[nodiscard]] std::string written(std::string_view name, e_schema_form form) const {
        std::string out;
        write_schema(name, form, constraints, plugins, out);
        return out;
    }

    [[nodiscard]] bool fits_one(e_config_type type, kxcore::properties const& tree) const {
        document_type const& row = *find_document_type(type);
        auto const plain = find_database(constraints, row.constraint);
        for (auto const& each : with_configurations(row, *plain, constraints, plugins))
            if (each->is_valid(tree, kxcore::validity::all) && each->constraints_satisfied(tree, kxcore::validity::all))
                return true;
        return false;
    }

    constraint_db constraints;
    kxcore::plugin_db plugins;
};

kxcore::properties task_of(std::string const& plugin_id, std::string const& setting) {
    auto const configuration = make_refcount<kxcore::properties>();
    configuration->set_property(setting, make_refcount<kxcore::property_int>(5));
    kxcore::properties task;
    task.set_property("configuration", configuration);
    task.set_property("plugin-id", make_refcount<kxcore::property_string>(plugin_id));
    return task;
}

TEST_F(schema_types_fixture, lists_all_types_with_their_constraints) {
    auto const all = schema_types();
    ASSERT_EQ(all.size(), 11U);
    EXPECT_EQ(all[5].type, config_workflow);
    EXPECT_EQ(all[5].identifier, "workflow");
    EXPECT_EQ(all[5].constraint, "node.workflow");
}

TEST_F(schema_types_fixture, appends_a_whole_document_in_each_form) {
    std::string out = "before ";
    write_schema(config_workflow, e_schema_form::rng, constraints, plugins, out);
    EXPECT_EQ(out, "before " + written("workflow", e_schema_form::rng));
    EXPECT_EQ(written("workflow", e_schema_form::rng), written("node.workflow", e_schema_form::rng));
    EXPECT_THAT(out, HasSubstr("before <?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<grammar "));
    EXPECT_THAT(written("workflow", e_schema_form::xsd), HasSubstr("<xs:schema "));
    EXPECT_THAT(written("workflow", e_schema_form::html), HasSubstr("<!DOCTYPE html>\n<html "));
}

TEST_F(schema_types_fixture, a_configuration_is_what_the_plugin_beside_it_takes) {
    EXPECT_TRUE(fits_one(config_task, task_of("task/cut/1.0", "frames")));
    EXPECT_FALSE(fits_one(config_task, task_of("task/cut/1.0", "interval")));
    EXPECT_FALSE(fits_one(config_task, task_of("task/unknown/1.0", "frames")));
    EXPECT_THAT(written("task", e_schema_form::rng), HasSubstr("task/cut/1.0"));
    EXPECT_THAT(written("task", e_schema_form::xsd), Not(HasSubstr("task/cut/1.0")));
}

TEST_F(schema_types_fixture, a_monitor_has_the_configuration_of_its_plugin_or_any_without_one) {
    auto const monitor = [](bool has_plugin, std::string const& setting) {
        auto const manager = make_refcount<kxcore::properties>();
        if (has_plugin)
            manager->set_property("plugin-id", make_refcount<kxcore::property_string>("io/monitor/disk/1.0"));
        auto const configuration = make_refcount<kxcore::properties>();
        configuration->set_property(setting, make_refcount<kxcore::property_int>(5));
        kxcore::properties source;
        source.set_property("manager-configuration", manager);
        source.set_property("plugin-configuration", configuration);
        return source;
    };
    EXPECT_TRUE(fits_one(config_monitor_source, monitor(true, "interval")));
    EXPECT_FALSE(fits_one(config_monitor_source, monitor(true, "frames")));
    EXPECT_TRUE(fits_one(config_monitor_source, monitor(false, "frames")));
}

TEST_F(schema_types_fixture, the_page_shows_the_plugins_that_the_type_may_name) {
    auto const task = written("task", e_schema_form::html);
    EXPECT_THAT(task, HasSubstr("<h3>Cutter (task/cut/1.0)</h3>"));
    EXPECT_THAT(task, HasSubstr("<code>frames</code>"));
    EXPECT_THAT(task, Not(HasSubstr("Disk")));
    EXPECT_THAT(written("monitor-source", e_schema_form::html), HasSubstr("<h3>Disk (io/monitor/disk/1.0)</h3>"));
}

// Names come from an installation's files and may look like anything.
TEST_F(schema_types_fixture, the_page_stays_whole_whatever_names_hold) {
    auto const odd = make_refcount<constraint_db>(true);
    for (auto const* name : {"!S!", "!SE!", "a!SE!b!S!c", "<b>", "&amp;"})
        odd->add_constraint(name, make_refcount<kxcore::constraint_bool>(), false);
    constraints.add_constraint("node.edl-source", odd, true);
    auto const page = written("edl-source", e_schema_form::html);
    EXPECT_THAT(page, HasSubstr("<code>!S!</code>"));
    EXPECT_THAT(page, HasSubstr("<code>!SE!</code>"));
    EXPECT_THAT(page, HasSubstr("<code>a!SE!b!S!c</code>"));
    EXPECT_THAT(page, HasSubstr("<code>&lt;b&gt;</code>"));
    EXPECT_THAT(page, HasSubstr("<code>&amp;amp;</code>"));
}

TEST_F(schema_types_fixture, refuses_what_it_does_not_know_and_leaves_out_as_it_was) {
    struct row {
        std::string name;
        std::string message;
    };
    row const rows[] = {
        {"workflw", "there is no document type \"workflw\" (did you mean \"workflow\"?)"},
        {"playlist", "there is no document type \"playlist\""},
        {"", "there is no document type \"\""},
        {"filter", "the installation has no constraint \"media.component-description\""},
    };
    for (row const& each : rows) {
        std::string out = "as it was";
        try {
            write_schema(each.name, e_schema_form::xsd, constraints, plugins, out);
            FAIL() << each.name;
        } catch (kxbase::es::arg const& error) {
            EXPECT_STREQ(error.message(), each.message.c_str());
        }
        EXPECT_EQ(out, "as it was");
    }
    std::string out;
    EXPECT_THROW(write_schema(config_unknown, e_schema_form::rng, constraints, plugins, out), kxbase::es::arg);
}

} // namespace

} // namespace kxclientutil
