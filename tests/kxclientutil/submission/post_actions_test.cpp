#include "kxclientutil/support/wired_fixture.h"

#include <kxbase/errors.h>

namespace kxclientutil {

namespace {

using kx_test::captured_report;
using kx_test::context;
using kx_test::delete_plid;
using kx_test::encoder_plid;
using kx_test::flag;
using kx_test::list;
using kx_test::mail_plid;
using kx_test::message_of;
using kx_test::move_plid;
using kx_test::on_end_of;
using kx_test::task_of;
using kx_test::text;
using kx_test::tree;
using kx_test::upload_plid;
using kx_test::wtid;
using kx_test::youtube_plid;
using kxcore::properties;
using kxworkflow::failure_end_states;
using kxworkflow::success_end_state;

namespace es = kxbase::es;

class post_actions : public kx_test::wired_fixture {
protected:
    std::string const encoder_1 = wtid(encoder_plid, "1");
    std::string const encoder_2 = wtid(encoder_plid, "2");
    std::string const prepare = wtid(kx_test::prepare_plid, "p");
    std::string const channel = wtid(youtube_plid, "channel");

    /// Three tasks that encode, two that deliver, one that does neither.
    void use_actions(kx_test::tree_handle const& meta_data) {
        submission = *tree({{"name", text("Submission")}});
        use_wired({task_of(upload_plid, "upload", tree({})), task_of(youtube_plid, "channel", tree({})),
                   task_of(encoder_plid, "1", tree({})), task_of(encoder_plid, "2", tree({})),
                   task_of(kx_test::prepare_plid, "p", tree({})), task_of(mail_plid, "mail", tree({}))},
                  {}, meta_data);
    }

    void finalize_failure(char const* key, kx_test::tree_handle const& actions) {
        use_actions(tree({{"finalize-workflow-failure", tree({{key, actions}})}}));
        finalize();
    }

    void finalize_success(kx_test::tree_handle const& actions) {
        use_actions(tree({{"finalize-workflow-success", tree({{"deployment", actions}})}}));
        finalize();
    }

    /// The one task that was added, with its wtid and its requirements left out.
    [[nodiscard]] properties added_task() const {
        auto const added = added_tasks();
        EXPECT_EQ(added.size(), 1U);
        if (added.empty()) return properties(false);
        properties found = task(added.front());
        found.erase("id");
        found.erase("requirements");
        return found;
    }

    static properties delete_task(kxcore::property_handle const& dependencies) {
        return *tree({{"plugin-id", text(delete_plid)},
                      {"name", text("Delete Source")},
                      {"configuration",
                       tree({{"source-url", context("workflow.spawn-value")},
                             {"extra-source-urls", context("workflow.extra-inputs", kx_test::property_kind::list)}})},
                      {"run-dependencies", dependencies}});
    }

    static properties move_task(char const* name, char const* folder, kxcore::property_handle const& dependencies) {
        return *tree({{"plugin-id", text(move_plid)},
                      {"name", text(name)},
                      {"configuration",
                       tree({{"source-url", context("workflow.spawn-value")},
                             {"dest-dir-url", text(folder)},
                             {"extra-source-urls", context("workflow.extra-inputs", kx_test::property_kind::list)}})},
                      {"run-dependencies", dependencies}});
    }

    /// On the failure of any one that encodes.
    [[nodiscard]] kxcore::property_handle any_encoder_failed() const {
        return list({on_end_of({encoder_1, encoder_2, prepare}, failure_end_states())});
    }

    [[nodiscard]] kxcore::property_handle anything_failed() const {
        return list({on_end_of({encoder_1, encoder_2, prepare, upload, channel}, failure_end_states())});
    }
};

TEST_F(post_actions, add_nothing_unless_asked) {
    for (auto const& meta_data :
         {tree({}), tree({{"finalize-workflow-failure", tree({})}}), tree({{"finalize-workflow-success", tree({})}}),
          tree({{"finalize-workflow-failure", tree({{"encode", tree({})}})}}),
          tree({{"finalize-workflow-failure", tree({{"deployment", tree({{"remove-source", flag(false)}})}})}}),
          tree({{"finalize-workflow-success", tree({{"deployment", tree({{"remove-source", flag(false)}})}})}}),
          tree({{"finalize-workflow-success", tree({{"encode", tree({{"remove-source", flag(true)}})}})}})}) {
        captured_report const log;
        use_actions(meta_data);
        finalize();
        EXPECT_TRUE(added_tasks().empty());
        EXPECT_EQ(wiring(encoder_1), *tree({}));
        EXPECT_EQ(wiring(upload), *tree({}));
        EXPECT_TRUE(log.lines().empty());
    }
}

TEST_F(post_actions, delete_the_source_when_any_encoder_failed) {
    finalize_failure("encode", tree({{"remove-source", flag(true)}}));
    EXPECT_EQ(added_task(), delete_task(any_encoder_failed()));
}

TEST_F(post_actions, move_the_source_when_any_encoder_failed) {
    finalize_failure("encode", tree({{"move-source", text("file:/failed/films")}}));
    EXPECT_EQ(added_task(), move_task("films", "file:/failed/films#origin", any_encoder_failed()));
}

TEST_F(post_actions, move_rather_than_delete) {
    auto const both = tree({{"move-source", text("file:/failed/films")}, {"remove-source", flag(true)}});
    finalize_failure("encode", both);
    EXPECT_EQ(added_task(), move_task("films", "file:/failed/films#origin", any_encoder_failed()));
    finalize_failure("deployment", both);
    EXPECT_EQ(added_task(), move_task("films", "file:/failed/films#origin", anything_failed()));
    finalize_success(both);
    EXPECT_EQ(added_task().get_string_value("plugin-id"), move_plid);
}

TEST_F(post_actions, move_to_a_folder_without_a_name) {
    finalize_failure("encode", tree({{"move-source", text("")}}));
    EXPECT_EQ(added_task(), move_task("Untitled", "", any_encoder_failed()));
}

TEST_F(post_actions, make_a_resource_of_the_folder) {
    settings.resource_uri_option = true;
    finalize_failure("encode", tree({{"move-source", text("file:/failed/")}}));
    EXPECT_EQ(added_task(), move_task("failed", "kxrc:/failed/#origin", any_encoder_failed()));
    EXPECT_EQ(collected(), std::vector<std::string>{"kxrc:/failed/#origin"});
}

TEST_F(post_actions, act_on_deliveries_and_encoders_alike) {
    finalize_failure("deployment", tree({{"remove-source", flag(true)}}));
    EXPECT_EQ(added_task(), delete_task(anything_failed()));
}

TEST_F(post_actions, act_on_encoders_alone_when_both_are_there) {
    use_actions(tree({{"finalize-workflow-failure",
                       tree({{"encode", tree({})},
                             {"deployment", tree({{"remove-source", flag(true)}, {"stop-encoders", flag(true)}})}})}}));
    finalize();
    EXPECT_TRUE(added_tasks().empty());
    EXPECT_EQ(wiring(upload), *tree({}));
}

TEST_F(post_actions, stop_the_other_encoders) {
    finalize_failure("encode", tree({{"stop-others", flag(true)}}));
    EXPECT_TRUE(added_tasks().empty());
    EXPECT_EQ(wiring(encoder_1),
              *tree({{"kill-triggers", list({on_end_of({encoder_2, prepare}, failure_end_states())})}}));
    EXPECT_EQ(wiring(encoder_2),
              *tree({{"kill-triggers", list({on_end_of({encoder_1, prepare}, failure_end_states())})}}));
    EXPECT_EQ(wiring(prepare),
              *tree({{"kill-triggers", list({on_end_of({encoder_1, encoder_2}, failure_end_states())})}}));
    EXPECT_EQ(wiring(upload), *tree({}));
}

TEST_F(post_actions, stop_nobody_where_one_encoder_is_alone) {
    use_wired({task_of(encoder_plid, "1", tree({})), task_of(upload_plid, "upload", tree({}))}, {},
              tree({{"finalize-workflow-failure", tree({{"encode", tree({{"stop-others", flag(true)}})}})}}));
    finalize();
    EXPECT_EQ(wiring(encoder_1), *tree({}));
    EXPECT_EQ(wiring(upload), *tree({}));
}

TEST_F(post_actions, stop_nobody_unless_asked) {
    for (auto const& actions : {tree({{"stop-others", flag(false)}}), tree({{"stop-others", text("true")}}),
                                tree({{"stop-encoders", flag(true)}})}) {
        finalize_failure("encode", actions);
        EXPECT_EQ(wiring(encoder_1), *tree({}));
        EXPECT_EQ(wiring(upload), *tree({}));
    }
    finalize_failure("deployment", tree({{"stop-others", flag(true)}}));
    EXPECT_EQ(wiring(encoder_1), *tree({}));
}

TEST_F(post_actions, stop_encoders_when_a_delivery_failed) {
    finalize_failure("deployment", tree({{"stop-encoders", flag(true)}, {"remove-source", flag(true)}}));
    EXPECT_EQ(added_task(), delete_task(anything_failed()));
    for (std::string const& delivery : {upload, channel})
        EXPECT_EQ(wiring(delivery),
                  *tree({{"kill-triggers", list({on_end_of({encoder_1, encoder_2, prepare}, failure_end_states())})}}));
    EXPECT_EQ(wiring(encoder_1), *tree({}));
}

TEST_F(post_actions, wait_for_the_success_of_every_delivery) {
    auto const all = list({on_end_of({upload}, success_end_state()), on_end_of({channel}, success_end_state())});
    finalize_success(tree({{"remove-source", flag(true)}}));
    EXPECT_EQ(added_task(), delete_task(all));
    finalize_success(tree({{"move-source", text("ftp://host/done/")}}));
    EXPECT_EQ(added_task(), move_task("done", "ftp://host/done/#origin", all));
}

// In the order of their wtids, whatever the order of the document: the same workflow drawn in another order is the same job.
TEST_F(post_actions, wait_for_deliveries_in_the_order_of_their_wtids) {
    std::string const second = wtid(upload_plid, "2");
    std::string const first = wtid(upload_plid, "1");
    use_wired({task_of(youtube_plid, "channel", tree({})), task_of(upload_plid, "2", tree({})),
               task_of(upload_plid, "1", tree({}))},
              {}, tree({{"finalize-workflow-success", tree({{"deployment", tree({{"remove-source", flag(true)}})}})}}));
    finalize();
    EXPECT_EQ(added_task(),
              delete_task(list({on_end_of({first}, success_end_state()), on_end_of({second}, success_end_state()),
                                on_end_of({channel}, success_end_state())})));
}

TEST_F(post_actions, come_after_a_failure_and_after_success) {
    use_actions(tree({{"finalize-workflow-failure", tree({{"encode", tree({{"move-source", text("ftp://h/bad/")}})}})},
                      {"finalize-workflow-success", tree({{"deployment", tree({{"remove-source", flag(true)}})}})}}));
    finalize();
    ASSERT_EQ(added_tasks().size(), 2U);
    EXPECT_EQ(kx_test::text_at(task(added_tasks()[0]), "name"), "bad");
    EXPECT_EQ(kx_test::text_at(task(added_tasks()[1]), "name"), "Delete Source");
}

// Nothing is deleted or moved by accident.
TEST_F(post_actions, never_run_without_a_task_to_wait_for) {
    auto const delete_it = tree({{"remove-source", flag(true)}});
    struct {
        kx_test::tree_handle meta_data;
        kxworkflow::task_status const& status;
    } const cases[] = {
        {tree({{"finalize-workflow-failure", tree({{"encode", delete_it}})}}), failure_end_states()},
        {tree({{"finalize-workflow-failure", tree({{"deployment", delete_it}})}}), failure_end_states()},
        {tree({{"finalize-workflow-success", tree({{"deployment", delete_it}})}}), success_end_state()},
    };
    for (auto const& [meta_data, status] : cases) {
        submission = *tree({{"name", text("Submission")}});
        use_wired({task_of(mail_plid, "mail", tree({}))}, {}, meta_data);
        captured_report const log;
        finalize();
        EXPECT_EQ(added_task(), delete_task(list({on_end_of({}, status)})));
        ASSERT_EQ(log.messages(), std::vector<std::string>{"Task 'Delete Source' will never run since there is no "
                                                           "task for it to wait for"});
        EXPECT_EQ(log.lines().front().category, "ClientProxy");
        EXPECT_EQ(log.lines().front().kind, 4U);
        EXPECT_EQ(log.lines().front().severity, 4U);
    }
}

TEST_F(post_actions, never_feed_the_task_from_the_source) {
    use_actions(tree({{"finalize-workflow-success", tree({{"deployment", tree({{"remove-source", flag(true)}})}})}}));
    submission_add_files({"http://host/a.mov"}, "Files", submission);
    finalize();
    for (std::string const& target : kx_test::texts_at(submission, "file-source{files}[0]{targets}"))
        EXPECT_EQ(target.find(delete_plid), std::string::npos) << target;
}

TEST_F(post_actions, are_refused_by_their_place) {
    struct {
        kx_test::tree_handle meta_data;
        char const* message;
    } const cases[] = {
        {tree({{"finalize-workflow-failure", text("x")}}),
         "workflow-meta{finalize-workflow-failure}: a tree was expected"},
        {tree({{"finalize-workflow-failure", tree({{"encode", flag(true)}})}}),
         "workflow-meta{finalize-workflow-failure}{encode}: a tree was expected"},
        {tree({{"finalize-workflow-failure", tree({{"deployment", list({})}})}}),
         "workflow-meta{finalize-workflow-failure}{deployment}: a tree was expected"},
        {tree({{"finalize-workflow-failure", tree({{"encode", tree({{"move-source", flag(true)}})}})}}),
         "workflow-meta{finalize-workflow-failure}{encode}{move-source}: a string was expected"},
        {tree({{"finalize-workflow-success", tree({{"deployment", text("x")}})}}),
         "workflow-meta{finalize-workflow-success}{deployment}: a tree was expected"},
    };
    for (auto const& [meta_data, message] : cases) {
        use_actions(meta_data);
        EXPECT_EQ(message_of<es::arg>([&] { finalize(); }), message);
        EXPECT_FALSE(submission_is_finalized(submission));
    }
}

TEST_F(post_actions, need_the_plugin_of_their_task) {
    use_actions(tree({{"finalize-workflow-success", tree({{"deployment", tree({{"remove-source", flag(true)}})}})}}));
    plugins = kxcore::plugin_db();
    for (char const* plid : {upload_plid, youtube_plid, encoder_plid, kx_test::prepare_plid, mail_plid})
        kx_test::add_plugin(plugins, {plid, "any", {}, {}});
    EXPECT_EQ(message_of<es::arg>([&] { finalize(); }), "No plugin info for task/regular/delete/1.0");
}

} // namespace

} // namespace kxclientutil
