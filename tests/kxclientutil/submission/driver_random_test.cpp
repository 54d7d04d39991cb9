// What holds for any job, tried on submissions by chance. How many for each promise: the environment variable KX_ROUNDS,
// else 200; before a release 5,000. They begin with the seed KX_SEED, else with one that is different each time. A failed
// test prints the seed of the submission that failed: KX_SEED=THAT KX_ROUNDS=1 makes it again.
#include "kxclientutil/support/finalized.h"
#include "kxclientutil/support/job_model.h"
#include "kxclientutil/support/random_submission.h"
#include "kxclientutil/support/sample_fixture.h"
#include "kxworkflow/support/sound_workflow.h"

#include <kxclientutil/resolve.h>
#include <kxclientutil/wf_connection.h>

#include <kxbase/urls.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>
#include <kxcore/property_walk.h>
#include <kxworkflow/paths.h>
#include <kxworkflow/workflow_builder.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <iostream>

namespace kxclientutil {

namespace {

using kx_test::finalize_copy;
using kx_test::finalized;
using kx_test::job_model;
using kx_test::random_submission;
using kx_test::sample_installation;
using kx_test::text;
using kx_test::text_at;
using kx_test::texts_at;
using kx_test::tree;
using kx_test::wanted_wait;
using kx_test::wanted_wire;
using kxcore::properties;
using kxcore::property_handle;
using kxcore::property_kind;
using kxcore::property_list;

constexpr std::string_view main_localizer = "wtid:task/regular/localize/1.0#localizer";
constexpr std::string_view localize_plid = "task/regular/localize/1.0";

std::uint64_t number_from(char const* variable, std::uint64_t otherwise) {
    char const* const value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): nobody changes it
    return value && *value ? std::strtoull(value, nullptr, 10) : otherwise;
}

/// Calls the check for many submissions, until one of them fails.
template <class Check>
void for_random_submissions(Check const& check) {
    std::uint64_t const seed = number_from("KX_SEED", std::random_device{}());
    std::uint64_t const count = number_from("KX_ROUNDS", 200);
    std::cout << count << " submissions, KX_SEED=" << seed << std::endl;
    for (std::uint64_t index = 0; index < count; ++index) {
        SCOPED_TRACE("KX_SEED=" + std::to_string(seed + index) + " KX_ROUNDS=1");
        check(random_submission(seed + index));
        if (testing::Test::HasFailure()) return;
    }
}

/// A job, and what it is to be.
struct random_job {
    explicit random_job(random_submission const& random)
        : model(random.submission, random.settings, sample_installation().get_plugins()),
          result(finalize_copy(random.submission, random.settings, sample_installation())) {
        EXPECT_EQ(result.error, "");
        if (!result.error.empty()) return;
        auto const stored = result.submission.get_properties_value("workflow")->get_list_value("tasks");
        for (property_handle const& each : *stored) {
            auto const& task = static_cast<properties const&>(*each);
            order.push_back(text_at(task, "id"));
            tasks[order.back()] = task;
            read_wires(task, order.back());
        }
    }

    void read_wires(properties const& task, std::string const& wtid) {
        if (!task.is_present("input-connections")) return;
        for (property_handle const& each : *task.get_list_value("input-connections")) {
            auto const& entry = static_cast<properties const&>(*each);
            EXPECT_TRUE(
                wires
                    .insert({text_at(entry, "from-wtid"), text_at(entry, "from-node"), wtid, text_at(entry, "to-node")})
                    .second)
                << "a connection twice";
        }
    }

    [[nodiscard]] properties configuration(std::string const& wtid) const {
        return *tasks.at(wtid).get_properties_value("configuration");
    }

    [[nodiscard]] bool is_added(std::string const& wtid) const { return !model.tasks.contains(wtid); }

    /// The localizers that fetch a URL.
    [[nodiscard]] std::set<std::string> localizers_of(std::string const& url) const {
        std::set<std::string> found;
        for (auto const& [wtid, task] : tasks)
            if (text_at(task, "plugin-id") == localize_plid && text_at(configuration(wtid), "source-url") == url)
                found.insert(wtid);
        return found;
    }

    job_model model;
    finalized result;
    std::vector<std::string> order;
    std::map<std::string, properties> tasks;
    std::set<wanted_wire> wires;
};

property_handle status(std::string const& values) {
    return kxbase::make_refcount<kxcore::property_constraint>(kxbase::make_refcount<kxcore::constraint_enum>(values));
}

/// The entries under "run-dependencies" or "kill-triggers" of a task.
std::set<wanted_wait> waits_at(properties const& task, char const* key) {
    std::set<wanted_wait> found;
    if (!task.is_present(key)) return found;
    for (property_handle const& each : *task.get_list_value(key)) {
        auto const& entry = static_cast<properties const&>(*each);
        std::vector<std::string> const others = texts_at(entry, "tasks");
        std::string named = "another";
        for (char const* const values : {"failed|pre_start_fail|cancelled|invalid_pre_reqs", "succeeded",
                                         "succeeded|failed|pre_start_fail|cancelled|invalid_pre_reqs"})
            if (*entry.get_property("status") == *status(values)) named = values;
        found.insert({{others.begin(), others.end()}, named});
    }
    return found;
}

TEST(random_jobs, give_the_submission_back) {
    for_random_submissions([](random_submission const& random) {
        finalized const result = finalize_copy(random.submission, random.settings, sample_installation());
        ASSERT_EQ(result.error, "");
        ASSERT_TRUE(submission_is_finalized(result.submission));
        EXPECT_EQ(*submission_get_unfinalized_submission(result.submission), random.submission);
    });
}

TEST(random_jobs, are_the_same_but_for_fresh_identifiers) {
    for_random_submissions([](random_submission const& random) {
        finalized const once = finalize_copy(random.submission, random.settings, sample_installation());
        finalized const again = finalize_copy(random.submission, random.settings, sample_installation());
        EXPECT_EQ(described(once, random.submission), described(again, random.submission));
    });
}

TEST(random_jobs, are_not_called_too_large_where_they_fit) {
    for_random_submissions([](random_submission const& random) {
        finalized const result = finalize_copy(random.submission, random.settings, sample_installation());
        ASSERT_EQ(result.error, "");
        kx_test::expect_room_for(result, random.submission, random.settings, sample_installation());
    });
}

TEST(random_jobs, can_be_finalized_again) {
    for_random_submissions([](random_submission const& random) {
        finalized const once = finalize_copy(random.submission, random.settings, sample_installation());
        // By name no longer: a name may be one of a task that was added, which has other inputs.
        finalize_sub_conf settings = random.settings;
        settings.task_name_in_values.clear();
        finalized const twice = finalize_copy(once.submission, settings, sample_installation());
        ASSERT_EQ(twice.error, "");
        auto const original = submission_get_unfinalized_submission(twice.submission);
        EXPECT_EQ(*original, once.submission);
        EXPECT_EQ(*submission_get_unfinalized_submission(*original), random.submission);
        kx_test::expect_sound(*twice.submission.get_properties_value("workflow"));
    });
}

/// What finalization adds to a task beside its configuration.
void expect_task_kept(properties const& before, properties const& after) {
    properties kept = after;
    for (char const* const key :
         {"requirements", "published-outputs", "input-connections", "run-dependencies", "kill-triggers"})
        kept.erase(key);
    kept.set_property("configuration", before.get_property("configuration"));
    properties expected = before;
    expected.set_create_referenced_property("ext-meta{KVD-8292}", before.get_property("name"));
    EXPECT_EQ(kept, expected);
}

/// The workflow but for its tasks.
properties expected_frame(random_submission const& random, job_model const& model, properties const& found) {
    properties frame = *random.submission.get_properties_value("workflow");
    auto const set = [&](char const* path, property_handle const& value) {
        frame.set_create_referenced_property(path, value);
    };
    frame.erase("tasks");
    if (!frame.is_present("name"))
        set("name", text(random.settings.submission_name.empty() ? "Submission" : random.settings.submission_name));
    set("type", kx_test::number(model.source_type == "edl" ? 2 : 0));
    set("configuration{guess-shared-storage}", kx_test::flag(random.settings.guess_shared_storage));
    if (random.settings.has_priority()) set("configuration{priority}", kx_test::number(random.settings.get_priority()));
    if (!random.settings.node_id.empty()) set("capabilities{node-id}", text(random.settings.node_id));
    if (model.source_type.empty()) return frame;
    set("workflow-meta{source-type}", text(model.source_type));
    std::map<std::string, char const*> const names{
        {"file", "Files"}, {"monitor", "Watched"}, {"edl", "Cut"}, {"iseq", "ISeq Source"}};
    set("workflow-meta{source-name}", text(names.at(model.source_type)));
    for (char const* const key : {"finalize-workflow-failure", "finalize-workflow-success"})
        if (auto const* const attached = random.submission.find_referenced(
                std::string("monitor-source{attached-workflow-actions}{") + key + '}'))
            set((std::string("workflow-meta{") + key + '}').c_str(), property_handle(attached));
    if (model.source_type != "edl") return frame;
    set("workflow-meta{spawn-value}", text(model.spawn_value));
    std::string const parent = text_at(found, "workflow-meta{parent-id}");
    EXPECT_EQ(kx_test::with_numbered_identifiers(parent, ""), "WOFL-UUID-1");
    set("workflow-meta{parent-id}", text(parent));
    return frame;
}

TEST(random_jobs, keep_what_no_step_names) {
    for_random_submissions([](random_submission const& random) {
        random_job const job(random);
        if (testing::Test::HasFailure()) return;
        properties const workflow = *random.submission.get_properties_value("workflow");
        std::size_t index = 0;
        for (property_handle const& each : *workflow.get_list_value("tasks")) {
            auto const& before = static_cast<properties const&>(*each);
            EXPECT_EQ(job.order[index++], text_at(before, "id")) << "the order of the tasks";
            expect_task_kept(before, job.tasks.at(text_at(before, "id")));
        }
        properties frame = *job.result.submission.get_properties_value("workflow");
        frame.erase("tasks");
        EXPECT_EQ(frame, expected_frame(random, job.model, frame));

        properties expected = random.submission;
        properties found = job.result.submission;
        EXPECT_FALSE(found.is_present("edl-source") || found.is_present("iseq-source")) << "what it became is there";
        for (char const* const key : {"workflow", "file-source", "monitor-source", "edl-source", "iseq-source"}) {
            expected.erase(key);
            found.erase(key);
        }
        if (!random.settings.submission_name.empty())
            expected.set_property("name", text(random.settings.submission_name));
        expected.set_create_referenced_property(
            "ext-meta{compressed-original}",
            found.get_properties_value("ext-meta")->get_property("compressed-original"));
        EXPECT_EQ(found, expected);
    });
}

/// Fresh identifiers as the model has them.
properties without_identifiers(properties configuration) {
    kxcore::replace_values(configuration, property_kind::string, [](property_handle const& value) -> property_handle {
        std::string const masked =
            kx_test::with_numbered_identifiers(static_cast<kxcore::property_string const&>(*value).value(), "");
        if (masked == "uuid-1") return text("<uuid>");
        return masked == "UUID-1" ? text("<UUID>") : property_handle();
    });
    return configuration;
}

TEST(random_jobs, have_the_configurations_that_the_steps_make) {
    for_random_submissions([](random_submission const& random) {
        random_job const job(random);
        if (testing::Test::HasFailure()) return;
        for (auto const& [wtid, task] : job.model.tasks)
            EXPECT_EQ(without_identifiers(job.configuration(wtid)), task.configuration) << wtid;
    });
}

/// Why a connection that is wanted can't be made: somebody or something is not there, or it would close a circle.
bool is_impossible(random_job const& job, wanted_wire const& wire) {
    if (!job.tasks.contains(wire.from) || !job.tasks.contains(wire.to) || wire.from == wire.to) return true;
    auto const plugin_of = [&](std::string const& wtid) {
        return sample_installation().get_plugins().describe_plugin(text_at(job.tasks.at(wtid), "plugin-id"));
    };
    auto const* const published = kxcore::property_cast<properties>(job.tasks.at(wire.from).find("published-outputs"));
    if (!plugin_of(wire.from)->find_output(wire.output) && !(published && published->is_present(wire.output)))
        return true;
    std::string const member = wire.input.substr(0, wire.input.find_first_of("{["));
    if (!plugin_of(wire.to)->find_input(member) && !job.configuration(wire.to).is_present(member)) return true;
    auto const waits = kx_test::waits_in(*job.result.submission.get_properties_value("workflow"));
    std::set<std::string> before{wire.from};
    std::vector<std::string> open{wire.from};
    while (!open.empty()) {
        std::string const next = open.back();
        open.pop_back();
        for (std::string const& other : waits.at(next))
            if (before.insert(other).second) open.push_back(other);
    }
    return before.contains(wire.to);
}

/// What localizers feed to the tasks of the submission.
void expect_localizer(random_job const& job, std::string const& url,
                      std::set<std::pair<std::string, std::string>> const& fed, std::set<wanted_wire>& wires) {
    std::set<std::string> const localizers = job.localizers_of(url);
    ASSERT_EQ(localizers.size(), 1U) << url;
    for (auto const& [wtid, input] : fed) {
        wanted_wire const wire{*localizers.begin(), "dest-url", wtid, input};
        EXPECT_TRUE(job.wires.contains(wire)) << url << " to " << wtid << ' ' << input;
        wires.insert(wire);
    }
}

/// A value in parts: the leaves of a tree or list with their paths; the value itself when there are none.
std::vector<std::pair<std::string, property_handle>> leaves_or_self(std::string const& name,
                                                                    property_handle const& value) {
    std::vector<std::pair<std::string, property_handle>> parts;
    if (value)
        kxcore::visit_leaves(properties(name, value), [&](std::string_view path, property_handle const& leaf) {
            parts.emplace_back(path, leaf);
        });
    if (parts.empty()) parts.emplace_back(name, value);
    return parts;
}

bool waits(property_handle const& value) {
    auto const* const special = kxcore::property_cast<kxcore::property_special>(value.get());
    return !value || (special && special->sub_type() != kxcore::property_special::e_sub_type::context);
}

/// Whether something else than the source feeds an input, a part of it, or what it is a part of.
bool is_fed(random_job const& job, std::string const& wtid, std::string const& input) {
    auto const is_in = [](std::string const& part, std::string const& whole) {
        return part == whole || part.starts_with(whole + '{') || part.starts_with(whole + '[');
    };
    return std::any_of(job.wires.begin(), job.wires.end(), [&](wanted_wire const& wire) {
        bool const is_of_source = wire.from == main_localizer && !job.model.wires.contains(wire);
        return wire.to == wtid && !is_of_source && (is_in(wire.input, input) || is_in(input, wire.input));
    });
}

/// The inputs that wait for the source, task by task.
std::vector<std::pair<std::string, std::string>> open_source_inputs(random_job const& job) {
    std::vector<std::pair<std::string, std::string>> found;
    for (std::string const& wtid : job.order) {
        if (wtid == main_localizer && job.is_added(wtid)) continue;
        properties const configuration = job.configuration(wtid);
        auto const plugin =
            sample_installation().get_plugins().describe_plugin(text_at(job.tasks.at(wtid), "plugin-id"));
        for (kxcore::plugin_port const& port : plugin->get_inputs()) {
            property_handle const value = configuration.get_property(port.name);
            // What is published for it and is not there yet is no business of the source.
            if (port.publishable && !value) continue;
            for (auto const& [input, leaf] : leaves_or_self(port.name, value))
                if (input.find("source-url") != std::string::npos && waits(leaf) && !is_fed(job, wtid, input))
                    found.emplace_back(wtid, input);
        }
    }
    return found;
}

TEST(random_jobs, have_the_connections_that_the_steps_make) {
    for_random_submissions([](random_submission const& random) {
        random_job const job(random);
        if (testing::Test::HasFailure()) return;
        std::set<wanted_wire> wanted = job.model.wires;
        auto const inputs = open_source_inputs(job);
        if (job.model.is_remote)
            for (auto const& [wtid, input] : inputs)
                wanted.insert({std::string(main_localizer), "dest-url", wtid, input});
        std::set<wanted_wire> by_localizers;
        for (auto const& [url, fed] : job.model.fetched_clips)
            expect_localizer(job, url, fed, by_localizers);
        for (auto const& [url, fed] : job.model.fetched_files) {
            bool const is_physical = is_url_to_physical_resource(text(url));
            std::string const nodes = random.settings.node_id.empty() || random.settings.origin_node_id.empty()
                                          ? random.settings.node_id + random.settings.origin_node_id
                                          : random.settings.node_id + ',' + random.settings.origin_node_id;
            expect_localizer(job, is_physical ? create_resource_uri(url, nodes, true) : url, fed, by_localizers);
        }
        for (wanted_wire const& wire : wanted)
            EXPECT_TRUE(job.wires.contains(wire) || is_impossible(job, wire))
                << wire.from << ' ' << wire.output << " is missing at " << wire.to << ' ' << wire.input;
        for (wanted_wire const& wire : job.wires)
            EXPECT_TRUE(wanted.contains(wire) || by_localizers.contains(wire))
                << wire.from << ' ' << wire.output << " is too much at " << wire.to << ' ' << wire.input;
    });
}

TEST(random_jobs, have_the_tasks_that_the_steps_add_and_no_other) {
    for_random_submissions([](random_submission const& random) {
        random_job const job(random);
        if (testing::Test::HasFailure()) return;
        std::multimap<std::string, std::set<wanted_wait>> post_tasks;
        std::size_t localizers = 0;
        for (std::string const& wtid : job.order) {
            std::string const plid = text_at(job.tasks.at(wtid), "plugin-id");
            std::set<wanted_wait> const waits = waits_at(job.tasks.at(wtid), "run-dependencies");
            if (!job.is_added(wtid)) {
                auto const wanted = job.model.waits.find(wtid);
                EXPECT_EQ(waits, wanted != job.model.waits.end() ? wanted->second : std::set<wanted_wait>()) << wtid;
            } else if (plid == localize_plid) {
                EXPECT_TRUE(waits.empty());
                ++localizers;
            } else {
                post_tasks.emplace(plid, waits);
            }
        }
        EXPECT_THAT(std::vector(post_tasks.begin(), post_tasks.end()),
                    testing::UnorderedElementsAreArray(job.model.post_tasks));
        std::size_t wanted = job.model.fetched_clips.size() + job.model.fetched_files.size();
        for (auto const& [url, fed] : job.model.fetched_files)
            for (auto const& [wtid, task] : job.model.tasks)
                if (task.plid == localize_plid &&
                    kxbase::url_new_fragment(text_at(task.configuration, "source-url"), "", true) == url)
                    --wanted;
        if (job.model.is_remote && !job.model.tasks.contains(std::string(main_localizer))) ++wanted;
        EXPECT_EQ(localizers, wanted);
    });
}

TEST(random_jobs, stop_the_tasks_that_the_actions_name) {
    for_random_submissions([](random_submission const& random) {
        random_job const job(random);
        if (testing::Test::HasFailure()) return;
        std::map<std::string, std::set<std::string>> stops;
        for (auto const& [wtid, task] : job.tasks)
            for (wanted_wait const& trigger : waits_at(task, "kill-triggers")) {
                EXPECT_EQ(trigger.status, "failed|pre_start_fail|cancelled|invalid_pre_reqs");
                stops[wtid].insert(trigger.others.begin(), trigger.others.end());
            }
        EXPECT_EQ(stops, job.model.stops);
    });
}

TEST(random_jobs, name_the_inputs_that_the_source_feeds) {
    for_random_submissions([](random_submission const& random) {
        random_job const job(random);
        if (testing::Test::HasFailure() || job.model.source_type.empty() || job.model.source_type == "edl") return;
        std::vector<std::string> targets;
        for (auto const& [wtid, input] : open_source_inputs(job))
            targets.push_back(kxworkflow::wpath_create(wtid, input));
        if (job.model.is_remote && job.model.source_type != "monitor")
            targets.push_back(kxworkflow::wpath_create(main_localizer, "ftp-ssl-mode"));
        if (job.model.is_remote) targets.push_back(kxworkflow::wpath_create(main_localizer, "source-url"));
        if (job.model.source_type == "monitor") {
            properties rewritten = *random.submission.get_properties_value("monitor-source");
            rewritten.set_referenced_property("manager-configuration{url}", text(job.model.source_uris.front()));
            rewritten.set_referenced_property("manager-configuration{targets}", kx_test::texts(targets));
            EXPECT_EQ(*job.result.submission.get_properties_value("monitor-source"), rewritten);
            return;
        }
        std::vector<property_handle> files;
        for (std::string const& uri : job.model.source_uris) {
            auto const* const given =
                random.submission.find_referenced("file-source{files}[" + std::to_string(files.size()) + ']');
            properties file = given ? static_cast<properties const&>(*given) : properties(false);
            file.erase("target");
            file.set_property("url", text(uri));
            file.set_property("targets", kx_test::texts(targets));
            files.push_back(kxbase::make_refcount<properties>(file));
        }
        properties const expected("name", text(job.model.source_type == "iseq" ? "ISeq Source" : "Files"), "files",
                                  kx_test::list(files));
        EXPECT_EQ(*job.result.submission.get_properties_value("file-source"), expected);
        EXPECT_FALSE(job.result.submission.is_present("iseq-source"));
    });
}

TEST(random_jobs, have_every_resource_served) {
    for_random_submissions([](random_submission const& random) {
        random_job const job(random);
        if (testing::Test::HasFailure()) return;
        EXPECT_THAT(job.result.resources, testing::ElementsAreArray(job.model.resources)) << "sorted, each once";
        std::set<std::string> given;
        kxcore::visit_leaves(random.submission, [&](std::string_view, property_handle const& value) {
            if (value->kind() == property_kind::string) given.insert(value->to_string());
        });
        for (auto const& [input, value] : random.settings.in_values)
            given.insert(value->to_string());
        for (auto const& [name, values] : random.settings.task_name_in_values)
            given.insert(values.at("label")->to_string());
        for (std::string const& wtid : job.order)
            kxcore::visit_leaves(job.configuration(wtid), [&](std::string_view path, property_handle const& value) {
                std::string const uri = value->kind() == property_kind::string ? value->to_string() : std::string();
                if (!uri.starts_with("kxrc") || uri.starts_with("kxrc:/#!")) return;
                bool const is_served = job.model.resources.contains(uri) ||
                                       job.model.resources.contains(kxbase::url_path_set_file(uri, ""));
                // What bears another scheme and was so given is no file that a step announces.
                bool const was_there = !uri.starts_with("kxrc:/") && given.contains(uri);
                EXPECT_TRUE(is_served || was_there) << wtid << ' ' << path << ' ' << uri;
            });
    });
}

TEST(random_jobs, are_sound_and_build_again) {
    for_random_submissions([](random_submission const& random) {
        finalized const result = finalize_copy(random.submission, random.settings, sample_installation());
        ASSERT_EQ(result.error, "");
        properties const workflow = *result.submission.get_properties_value("workflow");
        kx_test::expect_sound(workflow);
        auto const& with = sample_installation();
        kxworkflow::workflow_builder const builder(workflow, with.get_plugins(), with.get_constraints());
        properties exported(false);
        builder.export_workflow(exported);
        EXPECT_EQ(exported, workflow);
        kxworkflow::workflow_builder const again(exported, with.get_plugins(), with.get_constraints());
        EXPECT_TRUE(again == builder);
    });
}

/// Something that finalization refuses, put into a submission that it would take.
struct fault {
    char const* name;
    char const* source; ///< the source that it needs; empty for any
    void (*put)(properties&, finalize_sub_conf&);
    char const* message; ///< a part of the error's
};

std::string const victim = "wtid:task/regular/mail/1.0#victim";

property_handle task_of(std::string const& plid, std::string const& instance,
                        kx_test::tree_handle const& configuration) {
    return tree({{"id", text("wtid:" + plid + '#' + instance)},
                 {"plugin-id", text(plid)},
                 {"name", text("Victim")},
                 {"configuration", configuration}});
}

void add_task(properties& submission, property_handle const& task) {
    auto tasks = *submission.get_properties_value("workflow")->get_list_value("tasks");
    tasks.push_back(task);
    submission.set_referenced_property("workflow{tasks}", kxbase::make_refcount<property_list>(tasks));
}

void add_victim(properties& submission) {
    add_task(submission, task_of("task/regular/mail/1.0", "victim", tree({})));
}

void draw(properties& submission, wf_connection const& connection) {
    properties workflow = *submission.get_properties_value("workflow");
    connect_task(connection, workflow);
    submission.set_property("workflow", kxbase::make_refcount<properties>(workflow));
}

void break_entry(properties& submission, std::string const& path) {
    submission.set_referenced_property(path, kx_test::number(7));
}

fault const faults[] = {
    {"an input by name that is impossible", "",
     [](properties& submission, finalize_sub_conf& settings) {
         add_victim(submission);
         settings.task_name_in_values["Victim"]["no-such-input"] = text("x");
     },
     "'no-such-input' isn't a possible input for task named 'Victim' (mail)"},
    {"an input by type that is impossible", "",
     [](properties& submission, finalize_sub_conf& settings) {
         add_victim(submission);
         settings.task_type_in_values["mail"]["no-such-input"] = text("x");
     },
     "'no-such-input' isn't a possible input for task type 'mail'"},
    {"two localizers of one file", "",
     [](properties& submission, finalize_sub_conf&) {
         auto const fetching = tree({{"source-url", text("http://server/twice.mov")}});
         add_task(submission, task_of("task/regular/localize/1.0", "one", fetching));
         add_task(submission, task_of("task/regular/localize/1.0", "two", fetching));
         add_task(submission, task_of("task/regular/ogencoder/1.0", "victim",
                                      tree({{"intro-url", text("http://server/twice.mov")}})));
     },
     "Found more than 1 localizer (2) localizing dependency file 'http://server/twice.mov'"},
    {"a result of a task that is not there", "",
     [](properties& submission, finalize_sub_conf&) {
         add_victim(submission);
         draw(submission, {victim + "-gone", victim, "success"});
     },
     "victim-gone"},
    {"values of a task that is not there", "",
     [](properties& submission, finalize_sub_conf&) {
         add_victim(submission);
         draw(submission, {victim + "-gone", victim});
     },
     "victim-gone"},
    {"a circle", "",
     [](properties& submission, finalize_sub_conf&) {
         add_victim(submission);
         draw(submission, {victim, victim, "failure"});
     },
     "wait for itself"},
    {"a connection that is none", "",
     [](properties& submission, finalize_sub_conf&) {
         submission.set_create_referenced_property("workflow{workflow-meta}{connections}", kx_test::list({text("x")}));
     },
     "workflow-meta{connections}[0]"},
    {"a plugin that is unknown", "",
     [](properties& submission, finalize_sub_conf&) {
         add_task(submission, task_of("task/regular/nobody/1.0", "victim", tree({})));
     },
     "task/regular/nobody/1.0"},
    {"tasks that are no list", "",
     [](properties& submission, finalize_sub_conf&) { break_entry(submission, "workflow{tasks}"); }, "tasks"},
    {"actions that are no tree", "file-source",
     [](properties& submission, finalize_sub_conf&) {
         break_entry(submission, "workflow{workflow-meta}{finalize-workflow-failure}");
     },
     "workflow-meta{finalize-workflow-failure}"},
    {"files without URL", "file-source",
     [](properties& submission, finalize_sub_conf&) {
         submission.set_referenced_property("file-source{files}", kx_test::list({tree({})}));
     },
     "file-source{files}[0]{url}"},
    {"a file source without files", "file-source",
     [](properties& submission, finalize_sub_conf&) { break_entry(submission, "file-source{files}"); },
     "file-source{files}"},
    {"a watched folder without URL", "monitor-source",
     [](properties& submission, finalize_sub_conf&) {
         break_entry(submission, "monitor-source{manager-configuration}{url}");
     },
     "monitor-source{manager-configuration}{url}"},
    {"no clip", "edl-source",
     [](properties& submission, finalize_sub_conf&) { submission.set_property("edl-source", tree({})); },
     "No clips in clip-list"},
    {"a clip without URL", "edl-source",
     [](properties& submission, finalize_sub_conf&) { break_entry(submission, "edl-source{audio-clips}[0]{url}"); },
     "edl-source{audio-clips}[0]{url}"},
    {"a sequence without start", "iseq-source",
     [](properties& submission, finalize_sub_conf&) {
         break_entry(submission, "iseq-source{sequences}[1]{start-file-url}");
     },
     "iseq-source{sequences}[1]{start-file-url}"},
};

/// The submission after an error: as it was, but for its names, and for sequences that have become files.
void expect_left_as_promised(properties const& before, std::string const& new_name, job_model const& model,
                             properties const& after) {
    properties expected = before;
    if (!new_name.empty()) expected.set_property("name", text(new_name));
    if (!before.get_properties_value("workflow")->is_present("name"))
        expected.set_referenced_property("workflow{name}", expected.get_property("name"));
    if (before.is_present("iseq-source") && !after.is_present("iseq-source")) {
        auto const source = after.get_properties_value("file-source");
        std::vector<std::string> const uris = [&] {
            std::vector<std::string> urls;
            for (property_handle const& each : *source->get_list_value("files"))
                urls.push_back(text_at(static_cast<properties const&>(*each), "url"));
            return urls;
        }();
        EXPECT_EQ(uris.size(), model.source_uris.size());
        EXPECT_EQ(text_at(*source, "name"), "ISeq Source");
        expected.erase("iseq-source");
        expected.set_property("file-source", source);
    }
    EXPECT_EQ(after, expected);
}

TEST(random_jobs, that_fail_leave_the_submission_as_promised) {
    for (fault const& one : faults) {
        SCOPED_TRACE(one.name);
        for_random_submissions([&](random_submission const& random) {
            if (*one.source && !random.submission.is_present(one.source)) return;
            job_model const model(random.submission, random.settings, sample_installation().get_plugins());
            properties submission = random.submission;
            finalize_sub_conf settings = random.settings;
            one.put(submission, settings);

            finalized const failed = finalize_copy(submission, settings, sample_installation(), {"kxrc:/before"});

            EXPECT_THAT(failed.error, testing::HasSubstr(one.message));
            EXPECT_THAT(failed.resources, testing::ElementsAre("kxrc:/before"));
            EXPECT_FALSE(submission_is_finalized(failed.submission));
            expect_left_as_promised(submission, settings.submission_name, model, failed.submission);
        });
    }
}

TEST(random_jobs, that_fail_again_keep_the_original_of_the_first_time) {
    for_random_submissions([](random_submission const& random) {
        finalized const once = finalize_copy(random.submission, random.settings, sample_installation());
        properties job = once.submission;
        add_victim(job);
        draw(job, {victim + "-gone", victim, "success"});
        finalized const failed = finalize_copy(job, finalize_sub_conf("desk-1"), sample_installation());
        EXPECT_NE(failed.error, "");
        EXPECT_EQ(failed.submission, job);
        EXPECT_EQ(*submission_get_unfinalized_submission(failed.submission), random.submission);
    });
}

} // namespace

} // namespace kxclientutil
