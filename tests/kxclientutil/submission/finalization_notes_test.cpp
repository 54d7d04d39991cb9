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

/// Whether a later event changes the value, or one above it or in it.
bool is_changed_later(finalization_account const& account, std::size_t index) {
    finalization_event const& event = account.events[index];
    for (++index; index < account.events.size(); ++index) {
        finalization_event const& later = account.events[index];
        bool const is_change =
            later.change == e_finalization_change::value_set || later.change == e_finalization_change::connected;
        if (is_change && later.task == event.task &&
            (later.path.starts_with(event.path) || event.path.starts_with(later.path)))
            return true;
    }
    return false;
}

/// What an event says that the job holds, unless a later one changes it.
void expect_true(finalization_account const& account, std::size_t index, properties const& job) {
    finalization_event const& event = account.events[index];
    bool const is_kept = event.change == e_finalization_change::value_kept;
    if ((event.change != e_finalization_change::value_set && !is_kept) || is_changed_later(account, index)) return;
    auto const held = event.task.empty() ? job.get_referenced_property(event.path)
                                         : task_of_id(*job.get_properties_value("workflow"), event.task)
                                               .get_properties_value("configuration")
                                               ->get_referenced_property(event.path);
    auto const& told = is_kept ? event.before : event.after;
    ASSERT_EQ(bool(held), bool(told)) << event.task << ' ' << event.path;
    if (held) {
        EXPECT_EQ(*held, *told) << event.task << ' ' << event.path;
    }
}

TEST_F(example_finalized, holds_what_the_account_says) {
    for (std::string const& file : examples()) {
        SCOPED_TRACE(file);
        read_file(file);
        properties job = out;
        finalization_account account;
        finalize(job, &account);
        for (std::size_t index = 0; index < account.events.size(); ++index)
            expect_true(account, index, job);
    }
}

class sources_told : public finalization_notes_taken {
protected:
    std::string told() {
        submission_finalize(submission, resources, settings, plugins, constraints, account);
        return explain_finalization(account);
    }
};

TEST_F(sources_told, name_the_input_that_a_remote_clip_is_fed_to) {
    use_wired({task_of(encoder_plid, "encoder", tree({}))}, {});
    auto const clip = tree({{"url", text("ftp://host/a.mov")}});
    submission["edl-source"] = tree({{"name", text("e")}, {"clips", list({clip})}, {"audio-clips", list({clip})}});
    std::string const words = told();
    EXPECT_NE(words.find("a localizer fetches it and feeds clips[0]{url} of the encoders\n"), std::string::npos)
        << words;
    EXPECT_NE(words.find("of the encoders; that is meant, though it is one of the audio-clips\n"), std::string::npos)
        << words;
    EXPECT_EQ(words.find("edl-source{clips}[0]{url} stays"), std::string::npos) << words;
    EXPECT_NE(words.find("workflow{type} is now 2"), std::string::npos) << words;
}

TEST_F(sources_told, name_old_settings_a_second_source_and_an_erased_target) {
    static_cast<void>(two_tasks());
    submission.set_create_referenced_property("workflow{configuration}{priority}", kx_test::number(2));
    submission.set_create_referenced_property("workflow{capabilities}{node-id}", text("OLDNODE"));
    submission["file-source"] =
        tree({{"name", text("f")}, {"files", list({tree({{"url", text("file:/a.mov")}, {"target", text("t")}})})}});
    submission["edl-source"] = tree({{"name", text("e")}});
    settings.node_id = "N2";
    settings.set_priority(7);
    std::string const words = told();
    for (char const* const sentence :
         {R"(workflow{capabilities}{node-id}, which was "OLDNODE", is now "N2")",
          "workflow{configuration}{priority}, which was 2, is now 7",
          "a job has one source, and file-source comes first",
          R"(file-source{files}[0]{target}, which was "t", is gone)", R"("#N2,origin" names the nodes that reach it)"})
        EXPECT_NE(words.find(sentence), std::string::npos) << sentence << '\n' << words;
}

TEST_F(sources_told, end_at_the_workflow_where_a_plugin_is_unknown) {
    for (bool const has_source : {false, true}) {
        use_wired({task_of("task/regular/unheard-of/1.0", "x", tree({}))}, {});
        if (has_source) submission_add_files({"file:/a.mov"}, "f", submission);
        EXPECT_ANY_THROW(told());
        EXPECT_EQ(account.last_step, e_finalization_step::workflow) << explain_finalization(account);
    }
}

} // namespace

} // namespace kxclientutil
