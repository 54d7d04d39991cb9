// What somebody may have got wrong, and what is said of it. Whatever it is, the submission stays as it was, but for what
// a row says, and so do the resources.
#include "kxclientutil/support/wired_fixture.h"

#include <kxbase/errors.h>

#include <functional>

namespace kxclientutil {

namespace {

using kx_test::captured_report;
using kx_test::encoder_plid;
using kx_test::list;
using kx_test::mail_plid;
using kx_test::message_of;
using kx_test::task_of;
using kx_test::text;
using kx_test::texts;
using kx_test::tree;
using kx_test::upload_plid;
using kx_test::wtid;
using kxcore::properties;
using kxcore::property_handle;

constexpr char const* of_unknown_plugin = "workflow tasks[0] 'wtid:task/regular/unheard-of/1.0#x': unknown plugin "
                                          "'task/regular/unheard-of/1.0'";

namespace es = kxbase::es;

enum class e_log { silent, tells };

struct wrong {
    char const* what;
    std::function<void()> arrange;
    std::string message;
    e_log log = e_log::silent;
    std::function<void(properties&)> change = [](properties&) {}; ///< what finalization has done until then
};

class driver_wrong_settings : public kx_test::wired_fixture {
protected:
    driver_wrong_settings() { use_good_workflow(); }

    void use_good_workflow() {
        use_wired({task_of(encoder_plid, "encoder", tree({{"dest-filename", texts({"x"})}})),
                   task_of(upload_plid, "upload", tree({})), task_of(mail_plid, "mail", tree({}))},
                  {});
    }

    void expect_refusals(std::vector<wrong> const& cases) {
        for (wrong const& one : cases) {
            SCOPED_TRACE(one.what);
            submission = *tree({{"name", text("Submission")}});
            settings = finalize_sub_conf("origin");
            resources.clear();
            resources.push_back(text("before"));
            use_good_workflow();
            one.arrange();
            properties expected = submission;
            one.change(expected);

            captured_report const log;
            EXPECT_EQ(message_of<es::arg>([&] { finalize(); }), one.message);
            EXPECT_EQ(submission, expected);
            EXPECT_FALSE(submission_is_finalized(submission));
            EXPECT_EQ(collected(), std::vector<std::string>{"before"});
            std::vector<std::string> lines;
            if (one.log == e_log::tells) lines.push_back(one.message);
            EXPECT_EQ(log.messages(), lines);
        }
    }

    void use_task(property_handle const& task) { use_tasks({task}); }
    void use_source(char const* key, kx_test::tree_handle const& source) { submission[key] = source; }

    /// The task of a document with one more member.
    [[nodiscard]] static property_handle with(property_handle const& task, char const* key,
                                              property_handle const& value) {
        properties changed = *kxcore::property_cast<properties>(task);
        changed[key] = value;
        return kxbase::make_refcount<properties>(changed);
    }

    /// A task that waits for another, as an exported workflow has it.
    [[nodiscard]] static property_handle waiting(char const* name, std::string const& other) {
        return with(task_of(encoder_plid, name, tree({})), "run-dependencies",
                    list({kx_test::on_end_of({other}, kxworkflow::any_end_state())}));
    }
};

TEST_F(driver_wrong_settings, of_inputs_name_the_input_and_the_task) {
    auto const value = text("x");
    char const* const no_input_by_name = "'bitrate' isn't a possible input for task named 'mail' (mail)";
    char const* const no_place_by_name = "'dest-filename[9]' isn't a possible input for task named 'encoder' (encoder)";
    char const* const no_place_by_type = "'dest-filename{a}' isn't a possible input for task type 'encoder'";
    expect_refusals({
        {"an input that the named task lacks", [&] { settings.task_name_in_values["mail"]["bitrate"] = value; },
         no_input_by_name, e_log::tells},
        {"an input that the type lacks", [&] { settings.task_type_in_values["mail"]["bitrate"] = value; },
         "'bitrate' isn't a possible input for task type 'mail'", e_log::tells},
        {"an element beyond the end of a list, by name",
         [&] { settings.task_name_in_values["encoder"]["dest-filename[9]"] = value; }, no_place_by_name, e_log::tells},
        {"a member of a list, by type", [&] { settings.task_type_in_values["encoder"]["dest-filename{a}"] = value; },
         no_place_by_type, e_log::tells},
        {"a text that is no path", [&] { settings.task_type_in_values["encoder"]["dest-filename["] = value; },
         "'dest-filename[' isn't a possible input for task type 'encoder'", e_log::tells},
    });
}

TEST_F(driver_wrong_settings, of_workflows_name_the_task) {
    std::string const gone = wtid(mail_plid, "gone");
    std::string const x = wtid(mail_plid, "x");
    std::string const a = wtid(encoder_plid, "a");
    std::string const b = wtid(encoder_plid, "b");
    expect_refusals({
        {"no workflow", [&] { submission.erase("workflow"); },
         "member 'workflow' is missing; expected kind properties"},
        {"a plugin that nobody has", [&] { use_task(task_of("task/regular/unheard-of/1.0", "x", tree({}))); },
         of_unknown_plugin},
        {"a task that is none", [&] { use_task(text("x")); },
         "workflow: \"tasks[0]\" is of kind string, not properties"},
        {"a task without plugin and id",
         [&] {
             use_task(tree({{"name", text("x")}}));
         },
         "workflow tasks[0]: neither \"id\" nor \"plugin-id\" says what it is"},
        {"an id twice",
         [&] {
             use_tasks({task_of(mail_plid, "x", tree({})), task_of(mail_plid, "x", tree({}))});
         },
         "workflow tasks[1] '" + x + "': its \"id\" is taken by an earlier task"},
        {"a configuration that is a text",
         [&] { use_task(with(task_of(mail_plid, "x", tree({})), "configuration", text("x"))); },
         "workflow tasks[0] '" + x + "': \"configuration\" is of kind string, not properties"},
        {"a connection from a task that is not there",
         [&] {
             use_task(with(task_of(mail_plid, "x", tree({})), "input-connections",
                           list({kx_test::fed(gone, "dest-url", "subject")})));
         },
         "workflow task '" + x + "', input-connections[0]: there is no task '" + gone + "'"},
        {"tasks that wait for each other",
         [&] {
             use_tasks({waiting("a", wtid(encoder_plid, "b")), waiting("b", wtid(encoder_plid, "a"))});
         },
         "workflow task '" + b + "': its \"run-dependencies\" make it wait for itself, through others"},
        {"a task that waits for one that is not there", [&] { use_task(waiting("a", gone)); },
         "workflow task '" + a + "', run-dependencies[0]: there is no task '" + gone + "'"},
    });
}

TEST_F(driver_wrong_settings, of_drawn_connections_name_the_place_in_the_list) {
    std::string const gone = wtid(mail_plid, "gone");
    auto const draw = [this](property_handle const& entry) {
        submission.set_create_referenced_property("workflow{workflow-meta}{connections}", list({entry}));
    };
    expect_refusals({
        {"an entry that is a text", [&] { draw(text("x")); }, "workflow-meta{connections}[0]: a tree was expected"},
        {"an entry without an end",
         [&] {
             draw(tree({{"from-wtid", text(encoder)}}));
         },
         "workflow-meta{connections}[0]: member 'to-wtid' is missing; expected kind string"},
        {"an entry to a task that is not there",
         [&] {
             draw(tree({{"from-wtid", text(encoder)}, {"to-wtid", text(gone)}, {"result", text("success")}}));
         },
         "workflow-meta{connections}[0]: workflow: there is no task '" + gone + "'"},
        {"an entry from a task to itself",
         [&] {
             draw(tree({{"from-wtid", text(mail)}, {"to-wtid", text(mail)}, {"result", text("success")}}));
         },
         "workflow-meta{connections}[0]: workflow task '" + mail + "': a run dependency would make it wait for itself"},
        {"a circle",
         [&] {
             submission.set_create_referenced_property(
                 "workflow{workflow-meta}{connections}",
                 list({tree({{"from-wtid", text(encoder)}, {"to-wtid", text(mail)}, {"result", text("success")}}),
                       tree({{"from-wtid", text(mail)}, {"to-wtid", text(encoder)}, {"result", text("any")}})}));
         },
         "workflow-meta{connections}[1]: workflow task '" + encoder +
             "': a run dependency would make it wait for itself"},
    });
}

TEST_F(driver_wrong_settings, of_sources_name_the_member) {
    auto const file = tree({{"url", text("file:/a.mov")}});
    // An image sequence is a source of files before anything of the workflow can fail.
    expect_refusals({
        {"files: none",
         [&] {
             use_source("file-source", tree({{"name", text("x")}}));
         },
         "file-source{files}: a list was expected"},
        {"files: a text",
         [&] {
             use_source("file-source", tree({{"files", text("x")}}));
         },
         "file-source{files}: a list was expected"},
        {"files: one without a URL",
         [&] {
             use_source("file-source", tree({{"files", list({file, tree({})})}}));
         },
         "file-source{files}[1]{url}: a string was expected"},
        {"files: a source that is none", [&] { submission["file-source"] = text("x"); },
         "member 'file-source' is of kind string; expected kind properties"},
        {"watched folder: no configuration",
         [&] {
             use_source("monitor-source", tree({{"name", text("x")}}));
         },
         "monitor-source{manager-configuration}{url}: a string was expected"},
        {"watched folder: no URL",
         [&] {
             use_source("monitor-source", tree({{"manager-configuration", tree({})}}));
         },
         "monitor-source{manager-configuration}{url}: a string was expected"},
        {"watched folder: actions that are none",
         [&] {
             use_source("monitor-source",
                        tree({{"manager-configuration", file}, {"attached-workflow-actions", text("x")}}));
         },
         "member 'attached-workflow-actions' is of kind string; expected kind properties"},
        {"clips: no list",
         [&] {
             use_source("edl-source", tree({{"name", text("x")}}));
         },
         "No clips in clip-list", e_log::tells},
        {"clips: empty lists",
         [&] {
             use_source("edl-source",
                        tree({{"clips", list({})}, {"audio-clips", list({})}, {"video-clips", list({})}}));
         },
         "No clips in clip-list", e_log::tells},
        {"clips: one without a URL",
         [&] {
             use_source("edl-source", tree({{"clips", list({file})}, {"video-clips", list({tree({})})}}));
         },
         "edl-source{video-clips}[0]{url}: a string was expected"},
        {"images: no sequences",
         [&] {
             use_source("iseq-source", tree({{"name", text("x")}}));
         },
         "iseq-source{sequences}: a list was expected"},
        {"images: a sequence without a start",
         [&] {
             use_source("iseq-source", tree({{"sequences", list({tree({})})}}));
         },
         "iseq-source{sequences}[0]{start-file-url}: a string was expected"},
        {"images: an error of the workflow",
         [&] {
             use_source("iseq-source", tree({{"sequences", list({})}}));
             settings.task_name_in_values["mail"]["bitrate"] = text("x");
         },
         "'bitrate' isn't a possible input for task named 'mail' (mail)", e_log::tells,
         [](properties& expected) {
             expected.erase("iseq-source");
             expected["file-source"] = tree({{"name", text("ISeq Source")}, {"files", list({})}});
         }},
    });
}

TEST_F(driver_wrong_settings, of_one_clip_in_ten_thousand_name_it) {
    std::vector<property_handle> clips(9'999, tree({{"url", text("file:/a.mov")}}));
    clips.push_back(tree({{"name", text("x")}}));
    expect_refusals({
        {"the last of ten thousand clips",
         [&] {
             use_source("edl-source", tree({{"clips", list(clips)}}));
         },
         "edl-source{clips}[9999]{url}: a string was expected"},
        {"the last of ten thousand files",
         [&] {
             use_source("file-source", tree({{"files", list(clips)}}));
         },
         "file-source{files}[9999]{url}: a string was expected"},
    });
}

// A workflow that cannot be taken apart is told first where it is taken apart first.
TEST_F(driver_wrong_settings, of_both_are_told_in_the_order_of_the_work) {
    auto const break_both = [this](char const* key, kx_test::tree_handle const& source) {
        use_task(task_of("task/regular/unheard-of/1.0", "x", tree({})));
        use_source(key, source);
    };
    expect_refusals({
        {"files: the workflow", [&] { break_both("file-source", tree({})); }, of_unknown_plugin},
        {"watched folder: the source", [&] { break_both("monitor-source", tree({})); },
         "monitor-source{manager-configuration}{url}: a string was expected"},
        {"clips: the source", [&] { break_both("edl-source", tree({})); }, "No clips in clip-list", e_log::tells},
        {"images: the source", [&] { break_both("iseq-source", tree({})); },
         "iseq-source{sequences}: a list was expected"},
        {"images: then the workflow, with files already",
         [&] {
             break_both("iseq-source", tree({{"sequences", list({})}}));
         },
         of_unknown_plugin, e_log::silent,
         [](properties& expected) {
             expected.erase("iseq-source");
             expected["file-source"] = tree({{"name", text("ISeq Source")}, {"files", list({})}});
         }},
    });
}

TEST_F(driver_wrong_settings, of_empty_lists_are_none_but_for_clips) {
    for (char const* key : {"file-source", "iseq-source"}) {
        submission = *tree({{"name", text("Submission")}});
        use_good_workflow();
        use_source(key, tree({{"files", list({})}, {"sequences", list({})}}));
        finalize();
        EXPECT_TRUE(submission_is_finalized(submission)) << key;
        EXPECT_EQ(*submission.find_referenced("file-source{files}"), *list({})) << key;
    }
    use_tasks({});
    finalize();
    EXPECT_TRUE(submission_is_finalized(submission));
}

TEST_F(driver_wrong_settings, of_values_for_all_tasks_are_passed_over) {
    settings.in_values = {{"bitrate", text("x")},
                          {"dest-filename[9]", text("x")},
                          {"dest-filename{a}", text("x")},
                          {"dest-filename[1]", text("second")}};
    captured_report const log;
    finalize();
    EXPECT_EQ(configuration(encoder), *tree({{"dest-filename", texts({"x", "second"})}}));
    EXPECT_EQ(configuration(mail), *tree({}));
    EXPECT_TRUE(log.lines().empty());
}

} // namespace

} // namespace kxclientutil
