#include "kxclientutil/support/submission_fixture.h"

#include <kxbase/env.h>
#include <kxbase/errors.h>
#include <kxworkflow/paths.h>

namespace kxclientutil {

namespace {

using kx_test::encoder_plid;
using kx_test::list;
using kx_test::main_localizer;
using kx_test::message_of;
using kx_test::task_of;
using kx_test::text;
using kx_test::text_at;
using kx_test::texts;
using kx_test::tree;
using kx_test::upload_plid;
using kx_test::wtid;
using kxcore::properties;
using kxworkflow::wpath_create;

namespace es = kxbase::es;

class finalized_monitor_source : public kx_test::submission_fixture {
protected:
    finalized_monitor_source() {
        settings.resource_uri_option = true;
        use_tasks({task_of(encoder_plid, "encoder", tree({}))});
    }

    void watch(kxcore::property_handle const& url) {
        submission["monitor-source"] =
            tree({{"name", text("in")}, {"manager-configuration", tree({{"url", url}, {"pairing", text("global")}})}});
    }

    void watch(char const* url) { watch(text(url)); }

    /// Makes a new submission of the same workflow.
    void start_again() {
        submission.erase("ext-meta");
        resources = kxcore::property_list();
        use_tasks({task_of(encoder_plid, "encoder", tree({}))});
    }

    [[nodiscard]] properties source() const { return *submission.get_properties_value("monitor-source"); }

    [[nodiscard]] std::string url() const { return text_at(source(), "manager-configuration{url}"); }

    [[nodiscard]] std::vector<std::string> targets() const {
        return kx_test::texts_at(source(), "manager-configuration{targets}");
    }

    [[nodiscard]] bool has_main_localizer() const { return !kx_test::task_in(workflow(), main_localizer).empty(); }

    std::string const encoder = wtid(encoder_plid, "encoder");
};

TEST_F(finalized_monitor_source, gets_a_new_url_and_targets_and_keeps_all_else) {
    submission["monitor-source"] =
        tree({{"name", text("in")},
              {"ext-meta", tree({{"client", text("desktop")}})},
              {"manager-configuration", tree({{"url", text("file:/watch/in/")},
                                              {"pickup-present", kx_test::flag(false)},
                                              {"rules", list({tree({{"workflow-id", text("WOFL-1")}})})},
                                              {"targets", texts({"replaced"})}})},
              {"plugin-configuration", tree({{"recursive", kx_test::flag(true)}})}});
    finalize();
    EXPECT_EQ(source(),
              *tree({{"name", text("in")},
                     {"ext-meta", tree({{"client", text("desktop")}})},
                     {"manager-configuration", tree({{"url", text("kxrc:/watch/in/#origin")},
                                                     {"pickup-present", kx_test::flag(false)},
                                                     {"rules", list({tree({{"workflow-id", text("WOFL-1")}})})},
                                                     {"targets", texts({wpath_create(encoder, "source-url")})}})},
                     {"plugin-configuration", tree({{"recursive", kx_test::flag(true)}})}}));
    EXPECT_TRUE(submission_is_finalized(submission));
}

// On purpose: the URL as it was, with placeholders resolved, neither the URI that takes its place nor its folder.
TEST_F(finalized_monitor_source, announces_its_old_url_where_the_new_one_is_a_resource) {
    std::string const tmp = kxbase::env::get_default_tmp_path();
    struct {
        std::string watched;
        std::string url;
        std::string announced;
    } const cases[] = {
        {"file:/watch/in/", "kxrc:/watch/in/#origin", "file:/watch/in/"},
        {"file://server/watch/in", "kxrc:/watch/in#origin", "file://server/watch/in"},
        {"file:$TMPPATH$/in//x#old", "kxrc:" + tmp + "/in/x#origin", "file:" + tmp + "/in/x#old"},
        {"file+x:/watch/", "kxrc+x:/watch/#origin", "file+x:/watch/"},
        {"kxrc:/watch/#old", "kxrc:/watch/#origin", "kxrc:/watch/#old"},
        {"kxrc:/#!done", "kxrc:/#!done", "kxrc:/#!done"},
    };
    for (auto const& [watched, rewritten, announced] : cases) {
        start_again();
        watch(watched.c_str());
        finalize();
        EXPECT_EQ(url(), rewritten);
        EXPECT_EQ(collected(), (std::vector<std::string>{announced})) << watched;
        EXPECT_FALSE(has_main_localizer()) << watched;
    }
}

TEST_F(finalized_monitor_source, announces_nothing_and_needs_no_localizer_otherwise) {
    for (std::string const watched : {"https://host/in/", "smb://host/share/in/", "kxfs://node/in/", "ftps://host/in/",
                                      "FTP://host/in/", "/plain/path/", ""}) {
        start_again();
        watch(watched.c_str());
        finalize();
        EXPECT_EQ(url(), watched.starts_with('/') || watched.empty() ? watched : watched + "#origin");
        EXPECT_TRUE(resources.empty()) << watched;
        EXPECT_FALSE(has_main_localizer()) << watched;
        EXPECT_EQ(targets(), (std::vector<std::string>{wpath_create(encoder, "source-url")}));
    }
}

TEST_F(finalized_monitor_source, stays_a_file_without_the_option) {
    settings.resource_uri_option = false;
    watch("file://server/watch//in/#old");
    finalize();
    EXPECT_EQ(url(), "file://server/watch/in/#origin");
    EXPECT_TRUE(resources.empty());
}

// On purpose without "ftp-ssl-mode", which only files feed.
TEST_F(finalized_monitor_source, feeds_the_main_localizer_with_the_url_alone) {
    for (char const* watched : {"ftp://host/in/", "http://host/in/", "ftp+x://host/in/"}) {
        start_again();
        use_tasks({task_of(upload_plid, "upload", tree({})), task_of(encoder_plid, "encoder", tree({}))});
        watch(watched);
        finalize();
        EXPECT_EQ(targets(), (std::vector<std::string>{wpath_create(wtid(upload_plid, "upload"), "source-url"),
                                                       wpath_create(encoder, "source-url"),
                                                       wpath_create(main_localizer, "source-url")}))
            << watched;
        EXPECT_EQ(url(), std::string(watched) + "#origin");
        EXPECT_TRUE(resources.empty());

        properties const localizer = kx_test::task_in(workflow(), main_localizer);
        EXPECT_EQ(text_at(localizer, "name"), "Main Source");
        EXPECT_EQ(*localizer.get_properties_value("configuration"),
                  *tree({{"source-url", kx_test::deferred()}, {"dest-dir-url", text("kxrc:/#!create-dir")}}));
        EXPECT_TRUE(localizer.is_present("requirements"));
        for (std::string const& fed : {encoder, wtid(upload_plid, "upload")})
            EXPECT_EQ(*kx_test::task_in(workflow(), fed).get_property("input-connections"),
                      *list({tree({{"from-wtid", text(main_localizer)},
                                   {"from-node", text("dest-url")},
                                   {"to-node", text("source-url")}})}));
    }
}

TEST_F(finalized_monitor_source, describes_itself_in_the_meta_data) {
    watch("file:/watch/in/");
    finalize();
    EXPECT_EQ(text_at(workflow(), "workflow-meta{source-name}"), "in");
    EXPECT_EQ(text_at(workflow(), "workflow-meta{source-type}"), "monitor");
}

TEST_F(finalized_monitor_source, has_no_source_name_without_a_name) {
    watch("file:/watch/in/");
    submission.set_referenced_property("monitor-source{name}", {});
    finalize();
    EXPECT_FALSE(workflow().find_referenced("workflow-meta{source-name}"));
    EXPECT_EQ(text_at(workflow(), "workflow-meta{source-type}"), "monitor");
}

TEST_F(finalized_monitor_source, hands_its_post_actions_to_the_workflow_and_keeps_them) {
    constexpr char const* failure = "finalize-workflow-failure";
    constexpr char const* success = "finalize-workflow-success";
    auto const own = [](char const* whose) { return tree({{"whose", text(whose)}}); };
    for (std::vector<char const*> const& attached :
         {std::vector<char const*>{}, {failure}, {success}, {failure, success}}) {
        start_again();
        submission.set_create_referenced_property("workflow{workflow-meta}",
                                                  tree({{failure, own("workflow")}, {success, own("workflow")}}));
        watch("file:/watch/in/");
        auto const actions = tree({{"other", own("source")}});
        for (char const* key : attached)
            actions->set_property(key, own("source"));
        submission.set_referenced_property("monitor-source{attached-workflow-actions}", actions);
        finalize();
        properties const meta = *workflow().get_properties_value("workflow-meta");
        for (char const* key : {failure, success}) {
            bool const is_attached = std::ranges::find(attached, key) != attached.end();
            EXPECT_EQ(*meta.get_properties_value(key), *own(is_attached ? "source" : "workflow")) << key;
        }
        EXPECT_FALSE(meta.is_present("other"));
        EXPECT_EQ(*source().get_properties_value("attached-workflow-actions"), *actions);
    }
}

TEST_F(finalized_monitor_source, names_the_url_that_it_has_not) {
    for (auto const& bad :
         {kxcore::property_handle(tree({})), kxcore::property_handle(tree({{"url", kx_test::deferred()}})),
          kxcore::property_handle(tree({{"url", kx_test::number(1)}})), text("x"), kxcore::property_handle()}) {
        submission["monitor-source"] = tree({{"name", text("in")}, {"manager-configuration", bad}});
        properties const before = submission;
        EXPECT_EQ(message_of<es::arg>([&] { finalize(); }),
                  "monitor-source{manager-configuration}{url}: a string was expected");
        EXPECT_EQ(submission, before);
        EXPECT_TRUE(resources.empty());
    }
}

TEST_F(finalized_monitor_source, raises_for_a_source_or_actions_that_are_none) {
    watch("file:/watch/in/");
    submission.set_referenced_property("monitor-source{attached-workflow-actions}", text("x"));
    properties const before = submission;
    std::string const message = message_of<es::arg>([&] { finalize(); });
    EXPECT_NE(message.find("attached-workflow-actions"), std::string::npos) << message;
    EXPECT_EQ(submission, before);

    submission["monitor-source"] = list({});
    EXPECT_THROW(finalize(), es::arg);
}

TEST_F(finalized_monitor_source, keeps_all_but_the_names_after_an_error) {
    watch("file:/watch/in/");
    settings.submission_name = "Override";
    settings.task_name_in_values["encoder"]["no-such-input"] = text("x");
    resources.push_back(text("before"));
    properties expected = submission;
    expected["name"] = text("Override");
    kx_test::captured_report const log;
    EXPECT_THROW(finalize(), es::arg);
    EXPECT_EQ(submission, expected);
    EXPECT_EQ(collected(), (std::vector<std::string>{"before"}));
}

TEST_F(finalized_monitor_source, works_on_copies) {
    watch("file:/watch/in/");
    auto const held = submission.get_properties_value("monitor-source");
    auto const manager = held->get_properties_value("manager-configuration");
    finalize();
    EXPECT_EQ(*manager, *tree({{"url", text("file:/watch/in/")}, {"pairing", text("global")}}));
    EXPECT_EQ(*held, *tree({{"name", text("in")}, {"manager-configuration", manager->clone()}}));
}

TEST_F(finalized_monitor_source, is_finalized_once_more) {
    watch("ftp://host/in/");
    finalize();
    properties const once = submission;
    finalize();
    EXPECT_EQ(*submission_get_unfinalized_submission(submission), once);
    EXPECT_EQ(workflow().get_list_value("tasks")->size(), 2U);
    EXPECT_EQ(url(), "ftp://host/in/#origin");
    // The localizer's own input waits for the node now and is named for that, beside the one that is always added.
    EXPECT_EQ(targets(), (std::vector<std::string>{wpath_create(main_localizer, "source-url"),
                                                   wpath_create(main_localizer, "source-url")}));
}

} // namespace

} // namespace kxclientutil
