#include "kxclientutil/support/wired_fixture.h"

#include <kxbase/errors.h>
#include <kxcore/constraint_enum.h>

namespace kxclientutil {

namespace {

using kx_test::collect_plid;
using kx_test::encoder_plid;
using kx_test::fed;
using kx_test::list;
using kx_test::localize_plid;
using kx_test::mail_plid;
using kx_test::message_of;
using kx_test::on_end_of;
using kx_test::output_reference;
using kx_test::task_of;
using kx_test::text;
using kx_test::tree;
using kx_test::upload_plid;
using kx_test::wtid;

namespace es = kxbase::es;

class workflow_connections : public kx_test::wired_fixture {
protected:
    /// An encoder, an upload that asks for a file, and a mail.
    void use_connected(std::vector<wf_connection> const& connections) {
        submission = *tree({{"name", text("Submission")}});
        use_wired({task_of(encoder_plid, "encoder", tree({})),
                   task_of(upload_plid, "upload", tree({{"source-url", output_reference("dest-url")}})),
                   task_of(mail_plid, "mail", tree({{"subject", text("Done")}}))},
                  connections);
    }
};

TEST_F(workflow_connections, between_ports_are_wired_exactly) {
    use_connected({{encoder, "dest-url", upload, "source-url"},
                   {encoder, "dest-url", mail, "message"},
                   {encoder, "dest-url", upload, "dest-dir-url"}});
    finalize();
    EXPECT_EQ(wiring(upload), *tree({{"input-connections", list({fed(encoder, "dest-url", "source-url"),
                                                                 fed(encoder, "dest-url", "dest-dir-url")})}}));
    EXPECT_EQ(wiring(mail), *tree({{"input-connections", list({fed(encoder, "dest-url", "message")})}}));
    EXPECT_EQ(wiring(encoder), *tree({}));
}

TEST_F(workflow_connections, between_ports_count_as_such_whatever_result_they_name) {
    wf_connection both(encoder, "dest-url", upload, "source-url");
    both.result = "success";
    use_connected({both});
    finalize();
    EXPECT_EQ(wiring(upload), *tree({{"input-connections", list({fed(encoder, "dest-url", "source-url")})}}));
}

TEST_F(workflow_connections, between_ports_that_are_not_there_leave_everything_in_silence) {
    kx_test::captured_report const log;
    use_connected({{encoder, "no-such-output", upload, "source-url"},
                   {encoder, "dest-url", upload, "no-such-input"},
                   {wtid(encoder_plid, "gone"), "dest-url", upload, "source-url"},
                   {encoder, "dest-url", wtid(upload_plid, "gone"), "source-url"},
                   {upload, "dest-url", upload, "source-url"}});
    finalize();
    EXPECT_EQ(wiring(upload), *tree({}));
    EXPECT_EQ(configuration(upload), *tree({{"source-url", output_reference("dest-url")}}));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(workflow_connections, that_close_a_circle_of_values_leave_everything_in_silence) {
    kx_test::captured_report const log;
    use_connected({{encoder, "dest-url", upload, "source-url"}, {upload, "dest-url", encoder, "source-url"}});
    finalize();
    EXPECT_EQ(wiring(encoder), *tree({}));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(workflow_connections, of_results_are_dependencies) {
    struct {
        char const* result;
        kxworkflow::task_status const& status;
    } const cases[] = {
        {"success", kxworkflow::success_end_state()}, {"failure", kxworkflow::failure_end_states()},
        {"end", kxworkflow::any_end_state()},         {"Success", kxworkflow::any_end_state()},
        {" ", kxworkflow::any_end_state()},
    };
    for (auto const& [result, status] : cases) {
        use_connected({{upload, mail, result}});
        finalize();
        EXPECT_EQ(wiring(mail), *tree({{"run-dependencies", list({on_end_of({upload}, status)})}})) << result;
        EXPECT_EQ(wiring(upload), *tree({})) << result;
    }
}

TEST_F(workflow_connections, of_results_wire_no_values) {
    use_connected({{encoder, upload, "success"}});
    finalize();
    EXPECT_EQ(wiring(upload),
              *tree({{"run-dependencies", list({on_end_of({encoder}, kxworkflow::success_end_state())})}}));
}

TEST_F(workflow_connections, of_results_mean_these_states) {
    constexpr std::pair<char const*, char const*> cases[] = {
        {"failure", "failed|pre_start_fail|cancelled|invalid_pre_reqs"},
        {"success", "succeeded"},
        {"end", "succeeded|failed|pre_start_fail|cancelled|invalid_pre_reqs"},
    };
    for (auto const& [result, states] : cases) {
        use_connected({{upload, mail, result}});
        finalize();
        kxcore::property_constraint const status(kxbase::make_refcount<kxcore::constraint_enum>(states));
        auto const* const found = task(mail).find_referenced("run-dependencies[0]{status}");
        ASSERT_TRUE(found);
        EXPECT_EQ(*found, status) << result;
    }
}

// One that says no result makes nobody wait.
TEST_F(workflow_connections, of_two_tasks_wire_values_alone) {
    use_connected({{encoder, upload}, {upload, mail}});
    finalize();
    EXPECT_EQ(wiring(upload), *tree({{"input-connections", list({fed(encoder, "dest-url", "source-url")})}}));
    EXPECT_EQ(configuration(upload), *tree({{"source-url", output_reference("dest-url")}}));
    EXPECT_EQ(wiring(mail), *tree({}));
}

TEST_F(workflow_connections, with_one_port_count_as_those_without) {
    for (wf_connection const& half :
         {wf_connection(encoder, "dest-url", upload, ""), wf_connection(encoder, "", upload, "dest-dir-url")}) {
        use_connected({half});
        finalize();
        EXPECT_EQ(wiring(upload), *tree({{"input-connections", list({fed(encoder, "dest-url", "source-url")})}}));
    }
}

TEST_F(workflow_connections, feed_every_reference_from_the_output_that_it_names) {
    use_outputs(encoder_plid, {"report-url", "log"});
    use_wired({task_of(encoder_plid, "encoder", tree({})),
               task_of(mail_plid, "mail",
                       tree({{"attached", list({output_reference("report-url"), text("dest-url"),
                                                tree({{"deep", output_reference("log", kx_test::property_kind::list)}}),
                                                output_reference("unheard-of")})},
                             {"later", kx_test::context("dest-url")},
                             {"plain", kx_test::deferred()},
                             {"subject", output_reference("dest-url")}}))},
              {{encoder, mail}});
    auto const stored = submission.find_referenced("workflow{tasks}[1]{configuration}")->clone();
    finalize();
    EXPECT_EQ(wiring(mail), *tree({{"input-connections", list({fed(encoder, "report-url", "attached[0]"),
                                                               fed(encoder, "log", "attached[2]{deep}"),
                                                               fed(encoder, "dest-url", "subject")})}}));
    EXPECT_EQ(configuration(mail), *stored);
}

TEST_F(workflow_connections, feed_an_input_from_each_task_that_is_drawn_to_it) {
    use_wired({task_of(encoder_plid, "1", tree({})), task_of(encoder_plid, "2", tree({})),
               task_of(upload_plid, "upload", tree({{"source-url", output_reference("dest-url")}}))},
              {{wtid(encoder_plid, "2"), upload}, {wtid(encoder_plid, "1"), upload}});
    finalize();
    EXPECT_EQ(wiring(upload),
              *tree({{"input-connections", list({fed(wtid(encoder_plid, "2"), "dest-url", "source-url"),
                                                 fed(wtid(encoder_plid, "1"), "dest-url", "source-url")})}}));
}

TEST_F(workflow_connections, feed_published_outputs_to_those_who_take_them) {
    std::string const first = wtid(collect_plid, "first");
    std::string const second = wtid(collect_plid, "second");
    use_wired({task_of(collect_plid, "first", tree({})), task_of(collect_plid, "second", tree({}))}, {{first, second}});
    finalize();
    // Of its other published outputs two refer to nothing, and one to an input that has to be asked for.
    EXPECT_EQ(wiring(second),
              *tree({{"input-connections", list({fed(first, "extra-dest-urls", "extra-source-urls")})}}));
}

TEST_F(workflow_connections, feed_published_outputs_after_references) {
    std::string const first = wtid(collect_plid, "first");
    std::string const second = wtid(collect_plid, "second");
    use_wired({task_of(collect_plid, "first", tree({})),
               task_of(collect_plid, "second", tree({{"source-url", output_reference("dest-url")}}))},
              {{first, second}});
    finalize();
    EXPECT_EQ(wiring(second),
              *tree({{"input-connections", list({fed(first, "dest-url", "source-url"),
                                                 fed(first, "extra-dest-urls", "extra-source-urls")})}}));
}

TEST_F(workflow_connections, leave_an_input_for_published_outputs_that_has_a_value) {
    std::string const first = wtid(collect_plid, "first");
    std::string const second = wtid(collect_plid, "second");
    use_wired({task_of(collect_plid, "first", tree({})),
               task_of(collect_plid, "second", tree({{"extra-source-urls", kx_test::texts({"file:/a"})}}))},
              {{first, second}});
    finalize();
    EXPECT_EQ(wiring(second), *tree({}));
}

// What a localizer feeds looks like any reference to "dest-url", and is the localizer's alone.
TEST_F(workflow_connections, leave_what_a_localizer_feeds) {
    std::string const before = wtid(encoder_plid, "before");
    use_wired({task_of(encoder_plid, "before", tree({})),
               task_of(encoder_plid, "encoder",
                       tree({{"intro-url", text("http://host/i.mov")}, {"source-url", output_reference("dest-url")}}))},
              {{before, encoder}});
    finalize();
    ASSERT_EQ(added_tasks().size(), 1U);
    EXPECT_EQ(wiring(encoder), *tree({{"input-connections", list({fed(added_tasks().front(), "dest-url", "intro-url"),
                                                                  fed(before, "dest-url", "source-url")})}}));
}

// Who draws a localizer wants it wired as any other task.
TEST_F(workflow_connections, wire_a_drawn_localizer) {
    std::string const localizer = wtid(localize_plid, "mine");
    use_wired({task_of(localize_plid, "mine", tree({{"source-url", text("ftp://host/a.mov")}})),
               task_of(encoder_plid, "encoder", tree({{"source-url", output_reference("dest-url")}})),
               task_of(encoder_plid, "other", tree({}))},
              {{localizer, encoder}, {wtid(encoder_plid, "other"), encoder}});
    finalize();
    EXPECT_EQ(wiring(encoder),
              *tree({{"input-connections", list({fed(localizer, "dest-url", "source-url"),
                                                 fed(wtid(encoder_plid, "other"), "dest-url", "source-url")})}}));
}

// What is more, it may be drawn to the encoder whose intro it fetches, which it feeds in any case.
TEST_F(workflow_connections, feed_once_what_a_drawn_localizer_fetches_for_an_encoder) {
    std::string const localizer = wtid(localize_plid, "mine");
    use_wired({task_of(localize_plid, "mine", tree({{"source-url", text("http://host/i.mov")}})),
               task_of(encoder_plid, "encoder", tree({{"intro-url", text("http://host/i.mov")}}))},
              {{localizer, encoder}});
    finalize();
    EXPECT_TRUE(added_tasks().empty());
    EXPECT_EQ(wiring(encoder), *tree({{"input-connections", list({fed(localizer, "dest-url", "intro-url")})}}));
}

// An input for what other tasks publish is the source's only where somebody has left it to be filled.
TEST_F(workflow_connections, leave_to_the_source_what_is_published_by_nobody_and_stands_deferred) {
    auto const later = kx_test::deferred(kx_test::property_kind::list);
    use_tasks({task_of(collect_plid, "missing", tree({})),
               task_of(collect_plid, "present", tree({{"extra-source-urls", later}})),
               task_of(collect_plid, "empty", tree({{"extra-source-urls", list({})}}))});
    submission_add_files({"file:/a.mov"}, "Files", submission);
    finalize();
    auto const path = [](char const* name, char const* input) {
        return "workflow:" + wtid(collect_plid, name) + ">" + input;
    };
    EXPECT_EQ(kx_test::texts_at(submission, "file-source{files}[0]{targets}"),
              (std::vector<std::string>{path("missing", "source-url"), path("present", "extra-source-urls"),
                                        path("present", "source-url"), path("empty", "source-url")}));
}

TEST_F(workflow_connections, make_no_input_open_to_the_source) {
    use_connected({{encoder, upload}});
    submission_add_files({"file:/a.mov"}, "Files", submission);
    finalize();
    EXPECT_EQ(kx_test::texts_at(submission, "file-source{files}[0]{targets}"),
              std::vector<std::string>{"workflow:" + encoder + ">source-url"});
}

TEST_F(workflow_connections, may_stand_in_no_list) {
    for (auto const& none : {kxcore::property_handle(tree({})), text("x"), list({})}) {
        use_connected({});
        submission.set_create_referenced_property("workflow{workflow-meta}{connections}", none);
        finalize();
        EXPECT_EQ(wiring(upload), *tree({}));
    }
}

TEST_F(workflow_connections, are_refused_by_their_place) {
    use_connected({{encoder, upload}, {encoder, wtid(mail_plid, "gone")}});
    EXPECT_EQ(message_of<es::arg>([&] { finalize(); }),
              "workflow-meta{connections}[1]: workflow: there is no task '" + wtid(mail_plid, "gone") + "'");
    use_connected({{wtid(mail_plid, "gone"), encoder}});
    EXPECT_EQ(message_of<es::arg>([&] { finalize(); }),
              "workflow-meta{connections}[0]: workflow: there is no task '" + wtid(mail_plid, "gone") + "'");
    use_connected({{encoder, mail, "success"}, {mail, encoder, "failure"}});
    EXPECT_EQ(message_of<es::arg>([&] { finalize(); }), "workflow-meta{connections}[1]: workflow task '" + encoder +
                                                            "': a run dependency would make it wait for itself");
    for (auto const& broken : {kxcore::property_handle(tree({{"from-wtid", text(encoder)}})),
                               kxcore::property_handle(tree({{"to-wtid", text(encoder)}})), text("x")}) {
        use_connected({{encoder, upload}});
        submission.set_create_referenced_property("workflow{workflow-meta}{connections}[1]", broken);
        std::string const message = message_of<es::arg>([&] { finalize(); });
        EXPECT_TRUE(message.starts_with("workflow-meta{connections}[1]: ")) << message;
        EXPECT_FALSE(submission_is_finalized(submission));
    }
}

TEST_F(workflow_connections, are_refused_with_the_source_path_of_the_family) {
    use_connected({{encoder, wtid(mail_plid, "gone"), "success"}});
    try {
        finalize();
        FAIL() << "nothing raised";
    } catch (es::arg const& error) {
        EXPECT_STREQ(error.file(), kx_test::submission_path);
    }
}

TEST_F(workflow_connections, stay_in_the_meta_data) {
    use_connected({{encoder, upload}, {upload, mail, "success"}});
    auto const drawn = submission.find_referenced("workflow{workflow-meta}{connections}")->clone();
    finalize();
    ASSERT_TRUE(workflow().find_referenced("workflow-meta{connections}"));
    EXPECT_EQ(*workflow().find_referenced("workflow-meta{connections}"), *drawn);
}

TEST_F(workflow_connections, are_wired_once_by_a_second_finalization) {
    use_connected({{encoder, upload}, {encoder, "dest-url", mail, "message"}});
    finalize();
    auto const upload_once = wiring(upload);
    auto const mail_once = wiring(mail);
    finalize();
    EXPECT_EQ(wiring(upload), upload_once);
    EXPECT_EQ(wiring(mail), mail_once);
}

} // namespace

} // namespace kxclientutil
