// The examples of every version: what each must have become at version 7, written down by hand beside this test
// (upgrade/expected/), and what holds for all of them.
#include "kxclientutil/support/sample_fixture.h"
#include "support/captured_report.h"

#include <kxcore/property_list.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace kxclientutil {

namespace {

using kx_test::sample_installation;
using kx_test::stored_document;
using kxcore::configuration;
using kxcore::properties;
using testing::Contains;
using testing::ElementsAreArray;
using testing::IsEmpty;

class reading_examples : public kx_test::sample_fixture {};

/// What reading makes of an example: another document, which lies in upgrade/expected/, or the one that is stored.
enum e_outcome { upgraded, as_stored };

struct example {
    char const* name;
    e_config_type type;
    unsigned int version;
    e_outcome outcome;
    /// What the log says meanwhile; null when nothing.
    char const* told = nullptr;
};

constexpr example examples[] = {
    {"task-encoder/v1", config_task, 1, upgraded},
    {"task-encoder/v2", config_task, 2, upgraded},
    {"task-encoder/v3", config_task, 3, upgraded},
    {"task-encoder/v4", config_task, 4, as_stored},
    {"task-encoder/v5", config_task, 5, as_stored},
    {"task-encoder/v6", config_task, 6, as_stored},
    {"task-encoder/v7", config_task, 7, as_stored},
    {"task-upload/v1", config_task, 1, upgraded},
    {"task-upload/v1-bare-destination", config_task, 1, upgraded},
    {"task-upload/v2", config_task, 2, upgraded},
    {"task-upload/v3", config_task, 3, upgraded},
    {"task-upload/v4", config_task, 4, as_stored},
    {"task-upload/v5", config_task, 5, upgraded},
    {"task-upload/v6", config_task, 6, as_stored},
    {"task-upload/v7", config_task, 7, as_stored},
    {"task-youtube/v1", config_task, 1, upgraded},
    {"task-youtube/v2", config_task, 2, upgraded},
    {"task-youtube/v3", config_task, 3, upgraded},
    {"task-youtube/v4", config_task, 4, as_stored},
    {"task-youtube/v5", config_task, 5, as_stored},
    {"task-youtube/v6", config_task, 6, as_stored},
    {"task-youtube/v7", config_task, 7, as_stored},
    {"task-execute/v1", config_task, 1, upgraded,
     "configuration variable 'source-url' is not what is expected in version 1"},
    {"task-execute/v2", config_task, 2, upgraded},
    {"workflow/v1", config_workflow, 1, upgraded},
    {"workflow/v1-nothing-left", config_workflow, 1, upgraded},
    {"workflow/v2", config_workflow, 2, upgraded},
    {"workflow/v3", config_workflow, 3, upgraded},
    {"workflow/v4", config_workflow, 4, upgraded},
    {"workflow/v5", config_workflow, 5, upgraded},
    {"workflow/v6", config_workflow, 6, as_stored},
    {"workflow/v7", config_workflow, 7, as_stored},
    {"submission/v1", config_submission, 1, upgraded},
    {"submission/v2", config_submission, 2, upgraded},
    {"submission/v3", config_submission, 3, upgraded},
    {"submission/v4", config_submission, 4, upgraded},
    {"submission/v5", config_submission, 5, upgraded},
    {"submission/v6", config_submission, 6, as_stored},
    {"submission/v7", config_submission, 7, as_stored},
    {"file-source/v1", config_file_source, 1, upgraded},
    {"file-source/v1-without-name", config_file_source, 1, upgraded},
    {"file-source/v2", config_file_source, 2, upgraded},
    {"file-source/v3", config_file_source, 3, as_stored},
    {"file-source/v4", config_file_source, 4, as_stored},
    {"file-source/v5", config_file_source, 5, as_stored},
    {"file-source/v6", config_file_source, 6, as_stored},
    {"file-source/v7", config_file_source, 7, as_stored},
    {"monitor-source/v1", config_monitor_source, 1, upgraded},
    {"monitor-source/v2", config_monitor_source, 2, upgraded},
    {"monitor-source/v3", config_monitor_source, 3, upgraded},
    {"monitor-source/v4", config_monitor_source, 4, upgraded},
    {"monitor-source/v5", config_monitor_source, 5, upgraded},
    {"monitor-source/v6", config_monitor_source, 6, upgraded},
    {"monitor-source/v7", config_monitor_source, 7, as_stored},
    {"submission-monitor/v1", config_submission, 1, upgraded},
    {"submission-monitor/v1-moved", config_submission, 1, upgraded},
    {"submission-monitor/v2", config_submission, 2, upgraded},
    {"submission-monitor/v3", config_submission, 3, upgraded},
    {"submission-monitor/v4", config_submission, 4, upgraded},
    {"submission-monitor/v5", config_submission, 5, upgraded},
    {"submission-monitor/v6", config_submission, 6, upgraded},
    {"submission-monitor/v7", config_submission, 7, as_stored},
    {"edl-source/v1", config_edl_source, 1, upgraded},
    {"edl-source/v2", config_edl_source, 2, upgraded},
    {"edl-source/v3", config_edl_source, 3, as_stored},
    {"edl-source/v4", config_edl_source, 4, as_stored},
    {"edl-source/v5", config_edl_source, 5, as_stored},
    {"edl-source/v6", config_edl_source, 6, as_stored},
    {"edl-source/v7", config_edl_source, 7, as_stored},
    {"iseq-source/v1", config_iseq_source, 1, upgraded},
    {"iseq-source/v2", config_iseq_source, 2, upgraded},
    {"iseq-source/v3", config_iseq_source, 3, as_stored},
    {"iseq-source/v4", config_iseq_source, 4, as_stored},
    {"iseq-source/v5", config_iseq_source, 5, as_stored},
    {"iseq-source/v6", config_iseq_source, 6, as_stored},
    {"iseq-source/v7", config_iseq_source, 7, as_stored},
};

std::string expected_file(example const& row) {
    std::string name = row.name;
    std::replace(name.begin(), name.end(), '/', '-');
    return kx_test::source_path("tests/kxclientutil/config/upgrade/expected/" + name + ".xml");
}

properties expected_of(example const& row) {
    if (row.outcome == as_stored) return kx_test::parse_document_file(kx_test::version_example(row.name)).content;
    stored_document const expected = kx_test::parse_document_file(expected_file(row));
    EXPECT_EQ(expected.identifier, type_c_str(row.type)) << row.name;
    EXPECT_EQ(expected.version, 7U) << row.name;
    return expected.content;
}

TEST_F(reading_examples, become_at_version_7_what_is_written_down) {
    for (example const& row : examples) {
        SCOPED_TRACE(row.name);
        kx_test::captured_report const log;
        out.clear();
        EXPECT_EQ(read_file(kx_test::version_example(row.name)), row.type);
        EXPECT_EQ(out, expected_of(row));
        EXPECT_EQ(format, configuration::format_xml);
        if (row.told)
            EXPECT_THAT(log.messages(), testing::ElementsAre(row.told));
        else
            EXPECT_THAT(log.messages(), IsEmpty());
    }
}

TEST_F(reading_examples, become_the_same_when_they_are_stored_in_binary) {
    kx_test::captured_report const log;
    for (example const& row : examples) {
        SCOPED_TRACE(row.name);
        stored_document const stored = kx_test::parse_document_file(kx_test::version_example(row.name));
        configuration writer(kxcore::constraint_db(), {stored.identifier, stored.version});
        writer.set_config(stored.content);
        kxbase::buffer bytes;
        writer.write_config(bytes, configuration::format_binary);
        EXPECT_EQ(read(bytes), row.type);
        properties expected = expected_of(row);
        if (expected.get_bool_value("name-absent", false)) {
            // What lies in no file has no name to borrow.
            expected.erase("name");
            expected.erase("name-absent");
        }
        EXPECT_EQ(out, expected);
    }
}

TEST_F(reading_examples, are_written_and_read_back_equal) {
    kx_test::captured_report const log;
    for (example const& row : examples) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(read_file(kx_test::version_example(row.name)), row.type);
        expect_written_and_read_back(row.type, properties(out));
    }
}

TEST_F(reading_examples, are_read_again_from_their_file_without_a_further_change) {
    kx_test::captured_report const log;
    for (example const& row : examples) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(read_file(kx_test::version_example(row.name)), row.type);
        properties const once = out;
        // Under the same name, since that is what a source without one borrows.
        std::string const path =
            folder.file(std::string(row.name).substr(std::string(row.name).find('/') + 1) + ".xml");
        write_config_file(path, row.type, plugins, constraints, once, configuration::format_xml);
        EXPECT_EQ(read_file(path), row.type);
        EXPECT_EQ(out, once);
        EXPECT_EQ(kx_test::parse_document_file(path).version, 7U);
    }
}

/// What the installation finds wrong with a configuration of a plugin.
std::vector<std::string> findings_of(properties const& holder, std::string_view plugin_path, std::string_view path) {
    std::vector<std::string> told;
    auto const* const plugin = kxcore::property_cast<kxcore::property_string>(holder.find_referenced(plugin_path));
    auto const* const judged = kxcore::property_cast<properties>(holder.find_referenced(path));
    if (plugin && judged)
        for (auto const& found :
             kxcore::configuration_findings(sample_installation().get_constraints(), plugin->value(), *judged, 30))
            told.push_back(found.to_string());
    return told;
}

TEST_F(reading_examples, are_configured_as_their_plugins_say_once_they_are_read) {
    kx_test::captured_report const log;
    std::size_t judged = 0;
    for (example const& row : examples) {
        SCOPED_TRACE(row.name);
        read_file(kx_test::version_example(row.name));
        EXPECT_THAT(findings_of(out, "plugin-id", "configuration"), IsEmpty());
        for (char const* const monitor : {"", "monitor-source"}) {
            std::string const at = monitor;
            std::string const plugin =
                at.empty() ? "manager-configuration{plugin-id}" : at + "{manager-configuration}{plugin-id}";
            std::string const path = at.empty() ? "plugin-configuration" : at + "{plugin-configuration}";
            EXPECT_THAT(findings_of(out, plugin, path), IsEmpty());
        }
        for (char const* const tasks : {"tasks", "workflow{tasks}"})
            if (auto const* const list = kxcore::property_cast<kxcore::property_list>(out.find_referenced(tasks)))
                for (auto const& task : *list) {
                    auto const* const tree = kxcore::property_cast<properties>(task.get());
                    ASSERT_NE(tree, nullptr);
                    EXPECT_THAT(findings_of(*tree, "plugin-id", "configuration"), IsEmpty());
                    ++judged;
                }
    }
    EXPECT_GT(judged, 30U);
}

constexpr char const* presets[] = {"archive_master", "radio", "web-720p"};

std::string expected_preset_file(std::string const& name) {
    return kx_test::source_path("tests/kxclientutil/config/upgrade/expected/setting-" + name + ".xml");
}

TEST_F(reading_examples, that_are_presets_become_tasks_of_the_encoder) {
    for (std::string const name : presets) {
        SCOPED_TRACE(name);
        EXPECT_EQ(read_file(kx_test::source_path("share/installation/examples/" + name + ".setting")), config_task);
        EXPECT_EQ(out, kx_test::parse_document_file(expected_preset_file(name)).content);
        EXPECT_THAT(findings_of(out, "plugin-id", "configuration"), IsEmpty());
        expect_written_and_read_back(config_task, properties(out));
    }
}

TEST_F(reading_examples, of_the_current_version_come_back_as_they_are_stored_and_as_they_were_read) {
    std::map<std::string, std::size_t> seen;
    for (auto const& entry : std::filesystem::directory_iterator(kx_test::source_path("share/installation/examples"))) {
        if (entry.path().extension() == ".setting") {
            EXPECT_THAT(presets, Contains(entry.path().stem().string()));
        }
        if (entry.path().extension() != ".xml") continue;
        SCOPED_TRACE(entry.path());
        stored_document const stored = kx_test::parse_document_file(entry.path());
        e_config_type const type = read_file(entry.path());
        EXPECT_EQ(stored.identifier, kx_test::stored_types[type - 1].identifier);
        EXPECT_EQ(out, stored.content);
        expect_written_and_read_back(type, stored.content);
        ++seen[stored.identifier];
    }
    for (kx_test::stored_type const& row : kx_test::stored_types)
        EXPECT_GE(seen[row.identifier], 1U) << row.identifier;
}

TEST_F(reading_examples, stand_in_the_table_and_their_outcomes_are_used) {
    std::vector<std::string> names;
    std::set<std::string> used;
    for (example const& row : examples) {
        names.emplace_back(row.name);
        stored_document const stored = kx_test::parse_document_file(kx_test::version_example(row.name));
        EXPECT_EQ(stored.version, row.version) << row.name;
        EXPECT_EQ(stored.identifier, type_c_str(row.type)) << row.name;
        EXPECT_THAT(std::string(row.name), testing::HasSubstr("/v" + std::to_string(row.version))) << row.name;
        if (row.outcome == upgraded) used.insert(expected_file(row));
    }
    for (char const* const preset : presets)
        used.insert(expected_preset_file(preset));
    std::sort(names.begin(), names.end());
    EXPECT_THAT(kx_test::version_examples(), ElementsAreArray(names));
    for (auto const& entry :
         std::filesystem::directory_iterator(kx_test::source_path("tests/kxclientutil/config/upgrade/expected")))
        EXPECT_TRUE(used.count(entry.path().string())) << entry.path() << " is the outcome of no example";
}

TEST_F(reading_examples, are_of_every_type_that_can_be_upgraded_and_of_every_version) {
    std::map<e_config_type, std::set<unsigned int>> seen;
    for (example const& row : examples)
        seen[row.type].insert(row.version);
    for (auto const type : {config_task, config_workflow, config_submission, config_file_source, config_monitor_source,
                            config_edl_source, config_iseq_source})
        EXPECT_THAT(seen[type], testing::ElementsAre(1U, 2U, 3U, 4U, 5U, 6U, 7U)) << type_c_str(type);
}

TEST_F(reading_examples, are_stored_as_the_library_writes_documents) {
    auto const check = [](std::string const& path) {
        stored_document const stored = kx_test::parse_document_file(path);
        configuration writer(kxcore::constraint_db(), {stored.identifier, stored.version});
        writer.set_config(stored.content);
        kxbase::buffer bytes;
        writer.write_config(bytes, configuration::format_xml);
        EXPECT_EQ(kx_test::read_file(path), bytes.text()) << path;
    };
    for (example const& row : examples) {
        check(kx_test::version_example(row.name));
        if (row.outcome == upgraded) check(expected_file(row));
    }
}

} // namespace

} // namespace kxclientutil
