#include "kxclientutil/support/submission_fixture.h"

#include <kxworkflow/paths.h>

namespace kxclientutil {

namespace {

using kx_test::encoder_plid;
using kx_test::list;
using kx_test::localize_plid;
using kx_test::main_localizer;
using kx_test::task_of;
using kx_test::text;
using kx_test::texts_at;
using kx_test::tree;
using kx_test::wtid;
using kxworkflow::wpath_create;

class wiring : public kx_test::submission_fixture {
protected:
    void finalize_remote() {
        submission_add_files({"http://host/a.mov"}, "Files", submission);
        finalize();
    }

    [[nodiscard]] std::vector<std::string> targets() const {
        return texts_at(submission, "file-source{files}[0]{targets}");
    }
};

TEST_F(wiring, leaves_a_main_localizer_that_is_there_already) {
    auto const present = tree({{"source-url", text("ftp://host/fixed.mov")}, {"retries", kx_test::number(9)}});
    use_tasks({task_of(localize_plid, "localizer", present), task_of(encoder_plid, "encoder", tree({}))});
    finalize_remote();
    EXPECT_EQ(workflow().get_list_value("tasks")->size(), 2U);
    EXPECT_EQ(*configuration(main_localizer).find("retries"), *kx_test::number(9));
    EXPECT_EQ(targets(), (std::vector<std::string>{wpath_create(wtid(encoder_plid, "encoder"), "source-url"),
                                                   wpath_create(main_localizer, "ftp-ssl-mode"),
                                                   wpath_create(main_localizer, "source-url")}));
}

TEST_F(wiring, adds_the_main_localizer_beside_other_localizers) {
    use_tasks({task_of(localize_plid, "other", tree({{"source-url", text("ftp://host/intro.mov")}}))});
    finalize_remote();
    EXPECT_EQ(workflow().get_list_value("tasks")->size(), 2U);
    EXPECT_FALSE(kx_test::task_in(workflow(), main_localizer).empty());
}

TEST_F(wiring, finds_inputs_by_a_part_of_their_name) {
    kx_test::add_plugin(plugins, {"task/regular/special/1.0",
                                  "special",
                                  {"my-source-url", "source-url-2", "source-urls", "sourceurl", "dest-url"},
                                  {}});
    use_tasks(
        {task_of("task/regular/special/1.0", "s",
                 tree({{"source-urls", list({kx_test::deferred(), text("file:/fixed.mov"), kx_test::deferred()})}}))});
    finalize_remote();
    std::string const special = wtid("task/regular/special/1.0", "s");
    EXPECT_EQ(targets(),
              (std::vector<std::string>{
                  wpath_create(special, "my-source-url"), wpath_create(special, "source-url-2"),
                  wpath_create(special, "source-urls[0]"), wpath_create(special, "source-urls[2]"),
                  wpath_create(main_localizer, "ftp-ssl-mode"), wpath_create(main_localizer, "source-url")}));
}

// Plugin ids are compared whole.
TEST_F(wiring, takes_no_plugin_for_another_that_it_begins_with) {
    std::string const more = std::string(kx_test::upload_plid) + ".1";
    std::string const encoder_more = std::string(encoder_plid) + "/x";
    kx_test::add_plugin(plugins, {more.c_str(), "more", {}, {}});
    kx_test::add_plugin(plugins, {encoder_more.c_str(), "more", {}, {}});
    kx_test::add_plugin(plugins, {"task/regular/delete/1.0", "delete", {"source-url"}, {}});
    submission["workflow"] =
        tree({{"tasks", list({task_of(more, "u", tree({})), task_of(encoder_more, "e", tree({}))})},
              {"workflow-meta", tree({{"finalize-workflow-failure",
                                       tree({{"deployment", tree({{"remove-source", kx_test::flag(true)},
                                                                  {"stop-encoders", kx_test::flag(true)}})}})}})}});
    kx_test::captured_report const log;
    finalize();
    EXPECT_EQ(log.messages(), std::vector<std::string>{
                                  "Task 'Delete Source' will never run since there is no task for it to wait for"});
    EXPECT_FALSE(kx_test::task_in(workflow(), wtid(more, "u")).find("kill-triggers"));
}

} // namespace

} // namespace kxclientutil
