// The sample installation in share/installation: complete, consistent, and written as the library writes.
#include <kxcore/installation.h>

#include <kxbase/buffer.h>
#include <kxcore/configuration.h>
#include <kxcore/constraint_db.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/taskutil.h>

#include "support/scratch_folder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

namespace {

namespace fs = std::filesystem;

using kxcore::configuration;
using kxcore::constraint_db;
using kxcore::installation;
using kxcore::properties;
using kxcore::property_cast;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;

struct document_type {
    char const* identifier;
    char const* constraint;
};

constexpr document_type document_types[] = {
    {"filter", "media.component-description"},
    {"encoder", "media.component-description"},
    {"packetizer", "media.component-description"},
    {"exporter", "media.exporter-description"},
    {"task", "node.user-task"},
    {"workflow", "node.workflow"},
    {"submission", "node.submission"},
    {"file-source", "node.user-file-source"},
    {"monitor-source", "node.monitor-source"},
    {"edl-source", "node.edl-source"},
    {"iseq-source", "node.iseq-source"},
};

installation const& sample() {
    static installation const loaded = installation::load(kx_test::source_path("share/installation"));
    return loaded;
}

std::vector<fs::path> files_in(std::string_view folder) {
    std::vector<fs::path> files;
    for (auto const& entry : fs::directory_iterator(kx_test::source_path("share/installation/" + std::string(folder))))
        if (entry.path().extension() == ".xml") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

struct read_document {
    configuration document;
    configuration::read_error code = configuration::read_unknown;
};

read_document read(std::string const& text) {
    std::map<std::string, unsigned int> versions{{"plugin", 7}, {"constraint-db", 7}};
    for (auto const& type : document_types)
        versions.emplace(type.identifier, 7);
    kxbase::buffer bytes;
    bytes.append(text);
    read_document result;
    result.code = result.document.read_config(constraint_db(), versions, bytes, nullptr);
    return result;
}

constraint_db const& constraint_of(std::string_view identifier) {
    auto const* const type = std::find_if(std::begin(document_types), std::end(document_types),
                                          [&](document_type const& known) { return known.identifier == identifier; });
    auto const constraint = sample().get_constraints().get_constraint(type->constraint);
    return dynamic_cast<constraint_db const&>(*constraint);
}

std::vector<std::string> findings_of(configuration const& document) {
    std::vector<std::string> told;
    for (auto const& found : constraint_of(document.get_identifier()).findings(document.get_config(), 30))
        told.push_back(found.to_string());
    return told;
}

std::vector<std::string> names(auto const& ports) {
    std::vector<std::string> result;
    for (auto const& port : ports)
        result.push_back(port.name);
    return result;
}

kxcore::plugin_info const& plugin(std::string_view id) {
    auto const found = sample().get_plugins().describe_plugin(id);
    if (!found) throw std::runtime_error("no plugin " + std::string(id));
    return *found;
}

TEST(installation_sample, has_every_plugin_that_factories_and_finalization_ask_for) {
    EXPECT_THAT(sample().get_plugins().get_ids(),
                ElementsAre("io/monitor/file/1.0", "io/monitor/ftp/1.0", "io/monitor/http/1.0", "io/monitor/smb/1.0",
                            "task/regular/delete/1.0", "task/regular/execute/1.0", "task/regular/localize/1.0",
                            "task/regular/mail/1.0", "task/regular/mbr/1.0", "task/regular/move/1.0",
                            "task/regular/ogencoder/1.0", "task/regular/pre-execute/1.0", "task/regular/preparembr/1.0",
                            "task/regular/upload/1.0", "task/regular/youtube/1.0"));
}

TEST(installation_sample, has_one_monitor_plugin_per_scheme) {
    for (auto const* scheme : {"file", "ftp", "smb", "http"})
        EXPECT_THAT(sample().get_plugins().find_plugins("io/monitor/" + std::string(scheme) + "/.+"),
                    ElementsAre("io/monitor/" + std::string(scheme) + "/1.0"));
    EXPECT_THAT(sample().get_plugins().find_plugins("io/monitor/rtsp/.+"), IsEmpty());
}

TEST(installation_sample, tells_of_every_plugin_what_people_want_to_know) {
    std::set<std::string> type_names;
    for (auto const& id : sample().get_plugins().get_ids()) {
        for (auto const* key : {"info.name", "info.title", "info.description", "info.version", "info.category"}) {
            auto const value = plugin(id).get(key);
            ASSERT_TRUE(value) << id << " " << key;
            EXPECT_FALSE(value->to_string().empty()) << id << " " << key;
        }
        EXPECT_TRUE(id.ends_with("/" + plugin(id).get("info.version")->to_string())) << id;
        for (auto const& port : plugin(id).get_inputs())
            EXPECT_FALSE(port.description.empty()) << id << " " << port.name;
        for (auto const& port : plugin(id).get_outputs())
            EXPECT_FALSE(port.description.empty()) << id << " " << port.name;
        EXPECT_TRUE(type_names.insert(plugin(id).get_name()).second)
            << "two plugins are named " << plugin(id).get_name();
    }
}

TEST(installation_sample, describes_the_configurations_of_every_plugin_and_no_others) {
    std::set<std::string> described;
    for (auto const& member : sample().get_constraints().members())
        if (member.name.starts_with("plugin.")) described.insert(member.name.substr(7));
    auto const ids = sample().get_plugins().get_ids();
    EXPECT_EQ(described, std::set<std::string>(ids.begin(), ids.end()));
}

TEST(installation_sample, describes_every_document_type_by_a_database) {
    for (auto const& type : document_types) {
        auto const constraint = sample().get_constraints().get_constraint(type.constraint);
        ASSERT_TRUE(constraint) << type.constraint;
        ASSERT_EQ(constraint->kind(), kxcore::constraint_kind::database) << type.constraint;
        EXPECT_TRUE(static_cast<constraint_db const&>(*constraint).is_closed()) << type.constraint;
    }
}

TEST(installation_sample, knows_every_input_of_a_plugin_as_a_key_of_its_configuration) {
    for (auto const& id : sample().get_plugins().get_ids()) {
        auto const constraint = sample().get_constraints().get_constraint(kxcore::plugin_constraint_name(id));
        auto const& database = static_cast<constraint_db const&>(*constraint);
        EXPECT_TRUE(database.is_closed()) << id;
        for (auto const& port : plugin(id).get_inputs())
            EXPECT_TRUE(database.is_present(port.name)) << id << " " << port.name;
    }
}

TEST(installation_sample, has_default_configurations_that_fit_their_own_constraints) {
    for (auto const& id : sample().get_plugins().get_ids()) {
        std::vector<std::string> told;
        for (auto const& found : kxcore::configuration_findings(sample().get_constraints(), id,
                                                                *plugin(id).get_default_configuration(), 30))
            told.push_back(found.to_string());
        EXPECT_THAT(told, IsEmpty()) << id;
    }
}

TEST(installation_sample, publishes_only_what_is_declared_as_an_output) {
    for (auto const& id : sample().get_plugins().get_ids())
        for (auto const& published : plugin(id).get_published())
            EXPECT_NE(plugin(id).find_output(published.name), nullptr) << id << " " << published.name;
}

TEST(installation_sample, has_an_encoder_with_the_inputs_and_outputs_that_finalization_wires) {
    auto const& encoder = plugin("task/regular/ogencoder/1.0");
    EXPECT_THAT(names(encoder.get_inputs()),
                IsSupersetOf({"source-url", "intro-url", "outro-url", "audio-url", "watermark-url", "caption-url",
                              "clips", "audio-clips", "video-clips", "dest-dir-url", "dest-filename"}));
    EXPECT_THAT(names(encoder.get_outputs()),
                IsSupersetOf({"dest-url", "media-info-xml-url", "output-media-info", "input-media-info",
                              "input-duration-s", "input-duration-hms", "input-pixel-dimensions", "input-framerate",
                              "input-samplerate", "bitrate-kbps", "bitrate-mbps", "duration-s", "duration-hms",
                              "pixel-dimensions", "framerate", "samplerate"}));
    EXPECT_EQ(encoder.find_output("extra-dest-urls"), nullptr)
        << "published by finalization, for tasks that write such files";
    for (auto const* key : {"container{type}", "video{codec}", "video{bitrate-kbps}", "video{width}", "video{height}",
                            "video{framerate}", "video{rate-control}", "video{gop}{keyframe-interval}", "audio{codec}",
                            "audio{bitrate-kbps}", "audio{samplerate}", "audio{channels}"})
        EXPECT_TRUE(encoder.get_default_configuration()->get_referenced_property(key)) << key;
}

TEST(installation_sample, has_the_ports_that_deployment_and_localizers_need) {
    EXPECT_THAT(names(plugin("task/regular/upload/1.0").get_outputs()),
                ElementsAre("dest-url", "extra-dest-urls", "outfile-extension", "outfile-file", "outfile-name",
                            "outfile-path"));
    for (auto const* id : {"task/regular/upload/1.0", "task/regular/move/1.0", "task/regular/delete/1.0",
                           "task/regular/localize/1.0", "task/regular/mbr/1.0"}) {
        auto const* const input = plugin(id).find_input("extra-source-urls");
        ASSERT_NE(input, nullptr) << id;
        EXPECT_TRUE(input->publishable) << id;
        EXPECT_EQ(input->kind, kxcore::property_kind::list) << id;
    }
    auto const& localizer = plugin("task/regular/localize/1.0");
    EXPECT_THAT(names(localizer.get_inputs()), IsSupersetOf({"source-url", "dest-dir-url", "ftp-ssl-mode"}));
    EXPECT_THAT(names(localizer.get_outputs()), Contains("dest-url"));
    EXPECT_FALSE(plugin("task/regular/mbr/1.0").get_default_configuration()->is_present("package-name"))
        << "a package without a name is named after its type";
    EXPECT_EQ(plugin("task/regular/mail/1.0").find_input("source-url"), nullptr) << "a mail takes no source";
}

TEST(installation_sample, is_written_as_the_library_writes_documents) {
    for (auto const* folder : {"plugins", "constraints", "examples"})
        for (auto const& file : files_in(folder)) {
            std::string const text = kx_test::read_file(file);
            read_document const found = read(text);
            ASSERT_EQ(found.code, configuration::read_ok)
                << file << ": " << found.document.get_diagnostic().to_string();
            kxbase::buffer written;
            found.document.write_config(written, configuration::format_xml);
            EXPECT_EQ(text, written.text()) << file;
        }
}

TEST(installation_sample, has_an_example_of_every_document_type_and_each_fits) {
    std::set<std::string> seen;
    for (auto const& file : files_in("examples")) {
        read_document const found = read(kx_test::read_file(file));
        ASSERT_EQ(found.code, configuration::read_ok) << file;
        seen.insert(found.document.get_identifier());
        EXPECT_THAT(findings_of(found.document), IsEmpty()) << file;
    }
    std::set<std::string> known;
    for (auto const& type : document_types)
        known.insert(type.identifier);
    EXPECT_EQ(seen, known);
}

TEST(installation_sample, has_examples_whose_tasks_are_configured_as_their_plugins_say) {
    std::size_t judged = 0;
    auto const judge = [&](properties const& task, fs::path const& file) {
        std::vector<std::string> told;
        for (auto const& found :
             kxcore::configuration_findings(sample().get_constraints(), task.get_string_value("plugin-id"),
                                            *task.get_properties_value("configuration"), 30))
            told.push_back(found.to_string());
        EXPECT_THAT(told, IsEmpty()) << file << " " << task.get_string_value("name");
        ++judged;
    };
    for (auto const& file : files_in("examples")) {
        read_document const found = read(kx_test::read_file(file));
        properties const& tree = found.document.get_config();
        if (found.document.get_identifier() == "task") judge(tree, file);
        for (auto const* path : {"tasks", "workflow{tasks}"})
            if (auto const* tasks = property_cast<kxcore::property_list>(tree.find_referenced(path)))
                for (auto const& task : *tasks)
                    judge(*property_cast<properties>(task), file);
    }
    EXPECT_EQ(judged, 30U);
}

TEST(installation_sample, has_a_legacy_preset_that_makes_a_fitting_configuration) {
    std::string const text = kx_test::read_file(kx_test::source_path("share/installation/examples/web-720p.setting"));
    auto const configuration = kxcore::taskutil::create_configuration_from_setting("web-720p", text, true);
    EXPECT_EQ(configuration->get_string_value("name"), "Web 720p");
    EXPECT_TRUE(configuration->is_present("setting")) << "one line of it is known to nobody, and kept";
    std::vector<std::string> told;
    for (auto const& found :
         kxcore::configuration_findings(sample().get_constraints(), "task/regular/ogencoder/1.0", *configuration, 30))
        told.push_back(found.to_string());
    EXPECT_THAT(told, IsEmpty());
}

TEST(installation_sample, has_no_finished_resource_uris_which_reading_would_turn_into_file_urls) {
    for (auto const* folder : {"plugins", "examples"})
        for (auto const& file : files_in(folder))
            EXPECT_EQ(kx_test::read_file(file).find("kxrc:"), std::string::npos) << file;
}

/// The rows `| file | text |` of a table in Markdown.
std::map<std::string, std::string> table_of(std::string const& text) {
    std::map<std::string, std::string> rows;
    std::size_t begin = 0;
    while (begin < text.size()) {
        std::size_t const end = std::min(text.find('\n', begin), text.size());
        std::string const line = text.substr(begin, end - begin);
        begin = end + 1;
        std::size_t const middle = line.find(" | ");
        if (!line.starts_with("| `") || middle == std::string::npos || !line.ends_with("` |")) continue;
        rows.emplace(line.substr(3, middle - 4), line.substr(middle + 4, line.size() - middle - 7));
    }
    return rows;
}

std::string what_is_wrong_with(fs::path const& file) {
    read_document const found = read(kx_test::read_file(file));
    switch (found.code) {
    case configuration::read_unexpected: return "unexpected identifier " + found.document.get_identifier();
    case configuration::read_unknown: return "not a document";
    case configuration::read_invalid: return found.document.get_diagnostic().to_string();
    default: break;
    }
    std::string told;
    for (auto const& line : findings_of(found.document))
        told += (told.empty() ? "" : "; ") + line;
    if (!told.empty()) return told;
    properties const& tree = found.document.get_config();
    for (auto const& line :
         kxcore::configuration_findings(sample().get_constraints(), tree.get_string_value("plugin-id"),
                                        *tree.get_properties_value("configuration"), 30))
        told += (told.empty() ? "" : "; ") + line.to_string();
    return told;
}

TEST(installation_sample, has_invalid_examples_that_are_wrong_in_the_way_their_table_says) {
    auto const table =
        table_of(kx_test::read_file(kx_test::source_path("share/installation/examples/invalid/README.md")));
    for (auto const& file : files_in("examples/invalid")) {
        auto const row = table.find(file.filename().string());
        ASSERT_NE(row, table.end()) << file << " has no row";
        EXPECT_EQ(what_is_wrong_with(file), row->second) << file;
    }
    EXPECT_EQ(files_in("examples/invalid").size(), table.size());
}

} // namespace
