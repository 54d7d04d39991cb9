#include "submission/finalization_notes.h"

#include "kxclientutil/support/sample_fixture.h"
#include "kxclientutil/support/wired_fixture.h"

#include <kxcore/tree_difference.h>
#include <kxworkflow/workflow_builder.h>

#include <filesystem>

namespace kxclientutil {

namespace {

using kx_test::encoder_plid;
using kx_test::list;
using kx_test::task_of;
using kx_test::text;
using kx_test::tree;
using kx_test::upload_plid;
using kxcore::properties;

class finalization_notes_taken : public kx_test::wired_fixture {
protected:
    [[nodiscard]] kxworkflow::workflow_builder two_tasks() {
        use_wired({task_of(encoder_plid, "encoder", tree({{"intro-url", text("file:/a")}})),
                   task_of(upload_plid, "upload", tree({}))},
                  {});
        return {*submission.get_properties_value("workflow"), plugins, constraints};
    }

    finalization_account account;
    finalization_notes notes{&account};
};

TEST_F(finalization_notes_taken, are_none_when_nobody_listens_though_the_work_is_done) {
    auto builder = two_tasks();
    finalization_notes const silent;
    EXPECT_FALSE(silent.is_listening());
    EXPECT_TRUE(silent.connect(builder, encoder, "dest-url", upload, "source-url", ""));
    EXPECT_FALSE(silent.connect(builder, encoder, "dest-url", upload, "no-such", ""));
    silent.begin(e_finalization_step::variables);
    silent.set(encoder, "x", {}, text("a"), "");
    silent.added(builder, "wtid:none", "");
    silent.each_task(builder, "");
    silent.resource("x");
    silent.complete();
    EXPECT_EQ(silent.get_count(), 0U);
}

TEST_F(finalization_notes_taken, say_why_an_output_cannot_feed_an_input) {
    auto builder = two_tasks();
    ASSERT_TRUE(notes.connect(builder, encoder, "dest-url", upload, "source-url", "drawn so"));
    struct {
        std::string from;
        char const* output;
        std::string to;
        char const* input;
        char const* why;
    } const rows[] = {
        {"wtid:x#1", "dest-url", upload, "source-url", "there is no task to give it"},
        {encoder, "dest-url", "wtid:x#1", "source-url", "there is no task to take it"},
        {encoder, "dest-url", encoder, "source-url", "no task feeds itself"},
        {encoder, "sound", upload, "source-url", "the other has no such output"},
        {encoder, "dest-url", upload, "sound", "it has no such input"},
        {upload, "dest-url", encoder, "source-url", "the tasks would wait for each other in a circle"},
    };
    for (auto const& [from, output, to, input, why] : rows) {
        EXPECT_FALSE(notes.connect(builder, from, output, to, input, "drawn so")) << why;
        finalization_event const& event = account.events.back();
        EXPECT_EQ(event.change, e_finalization_change::not_connected);
        EXPECT_EQ(event.why, why);
        EXPECT_EQ(event.task, to);
        EXPECT_EQ(event.others, std::vector<std::string>{from});
    }
    finalization_event const& first = account.events.front();
    EXPECT_EQ(first.change, e_finalization_change::connected);
    EXPECT_EQ(first.why, "drawn so");
    EXPECT_EQ(first.path, "source-url");
    EXPECT_EQ(first.output, "dest-url");
    EXPECT_EQ(notes.get_count(), 7U);
}

TEST_F(finalization_notes_taken, know_the_tasks_of_the_workflow_and_those_that_come_later) {
    auto builder = two_tasks();
    notes.opened(builder);
    ASSERT_EQ(account.tasks.size(), 2U);
    EXPECT_EQ(account.tasks[upload].name, "upload");
    EXPECT_EQ(account.tasks[upload].kind, "upload");
    std::string const added = builder.add_task(encoder_plid, {}, 0, "", "Later");
    notes.begin(e_finalization_step::media_files);
    notes.added(builder, added, "does it", text("x"));
    EXPECT_EQ(account.tasks[added].name, "Later");
    EXPECT_EQ(account.events.back().step, e_finalization_step::media_files);
    EXPECT_EQ(account.events.back().why, "does it");
}

TEST_F(finalization_notes_taken, tell_every_value_in_which_a_configuration_changed) {
    notes.configured(encoder, *tree({{"a", text("1")}, {"l", list({text("x"), text("y")})}}),
                     *tree({{"b", text("2")}, {"l", list({text("x"), text("z")})}}), "why");
    std::string told;
    for (finalization_event const& event : account.events)
        told += event.path + (event.before ? "-" : "") + (event.after ? "+ " : " ");
    EXPECT_EQ(told, "a- b+ l[1]-+ ");
}

TEST_F(finalization_notes_taken, leave_a_task_out_of_those_that_it_stops) {
    notes.stops(encoder, {encoder}, "failure");
    EXPECT_EQ(notes.get_count(), 0U);
    notes.stops(encoder, {encoder, upload}, "failure");
    EXPECT_EQ(account.events.back().others, std::vector<std::string>{upload});
}

/// The example submissions of the sample installation.
class example_finalized : public kx_test::sample_fixture {
protected:
    static std::vector<std::string> examples() {
        std::vector<std::string> names;
        for (auto const& entry :
             std::filesystem::directory_iterator(kx_test::source_path("share/installation/examples")))
            if (entry.path().filename().string().starts_with("submission")) names.push_back(entry.path().string());
        return names;
    }

    /// Finalizes with every setting.
    static void finalize(properties& submission, finalization_account* account) {
        finalize_sub_conf settings("desk");
        settings.node_id = "node-7";
        settings.resource_uri_option = true;
        settings.submission_name = "Night run";
        settings.in_values = {{"threads", kx_test::number(4)}};
        kxcore::property_list resources;
        auto const& here = kx_test::sample_installation();
        if (!account)
            return submission_finalize(submission, resources, settings, here.get_plugins(), here.get_constraints());
        submission_finalize(submission, resources, settings, here.get_plugins(), here.get_constraints(), *account);
    }
};

/// Whether an event names the value: at its path, or above it for what was set as a whole.
bool is_told(finalization_account const& account, std::string_view task, std::string_view path) {
    return std::ranges::any_of(account.events, [&](finalization_event const& event) {
        return event.task == task && !event.path.empty() && path.starts_with(event.path);
    });
}

properties task_of_id(properties const& workflow, std::string const& id) {
    return kx_test::task_in(workflow, id);
}

TEST_F(example_finalized, changes_no_setting_of_a_task_that_it_does_not_tell_of) {
    std::size_t changes = 0;
    for (std::string const& file : examples()) {
        read_file(file);
        properties job = out;
        finalization_account account;
        finalize(job, &account);
        EXPECT_TRUE(account.is_complete) << file;
        auto const before = out.get_properties_value("workflow");
        auto const after = job.get_properties_value("workflow");
        for (std::string const& id : kx_test::ids_of(*after)) {
            EXPECT_TRUE(account.tasks.contains(id)) << file << ' ' << id;
            properties const old_task = task_of_id(*before, id);
            if (old_task.empty()) {
                EXPECT_TRUE(std::ranges::any_of(account.events,
                                                [&](finalization_event const& event) {
                                                    return event.change == e_finalization_change::task_added &&
                                                           event.task == id;
                                                }))
                    << file << ' ' << id;
                continue;
            }
            kxcore::visit_differences(*old_task.get_properties_value("configuration"),
                                      *task_of_id(*after, id).get_properties_value("configuration"),
                                      [&](std::string_view path, auto const&, auto const&) {
                                          ++changes;
                                          EXPECT_TRUE(is_told(account, id, path)) << file << ' ' << id << ' ' << path;
                                      });
        }
    }
    EXPECT_GT(changes, 20U);
}

} // namespace

} // namespace kxclientutil
