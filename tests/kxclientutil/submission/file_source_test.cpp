#include "kxclientutil/support/submission_fixture.h"

#include <kxbase/env.h>
#include <kxbase/errors.h>
#include <kxworkflow/paths.h>

namespace kxclientutil {

namespace {

using kx_test::encoder_plid;
using kx_test::list;
using kx_test::mail_plid;
using kx_test::main_localizer;
using kx_test::message_of;
using kx_test::task_of;
using kx_test::text;
using kx_test::text_at;
using kx_test::texts;
using kx_test::texts_at;
using kx_test::tree;
using kx_test::upload_plid;
using kx_test::wtid;
using kxcore::properties;
using kxworkflow::wpath_create;

namespace es = kxbase::es;

class file_source : public kx_test::submission_fixture {
protected:
    file_source() { settings.resource_uri_option = true; }

    void use_files(std::list<std::string> const& urls) { submission_add_files(urls, "My files", submission); }

    [[nodiscard]] std::string url(std::size_t index) const {
        return text_at(submission, "file-source{files}[" + std::to_string(index) + "]{url}");
    }

    [[nodiscard]] std::vector<std::string> targets(std::size_t index) const {
        return texts_at(submission, "file-source{files}[" + std::to_string(index) + "]{targets}");
    }

    [[nodiscard]] bool has_main_localizer() const { return !kx_test::task_in(workflow(), main_localizer).empty(); }

    std::string const encoder = wtid(encoder_plid, "encoder");
};

TEST_F(file_source, rewrites_urls_into_resource_uris) {
    use_tasks({});
    use_files({"file:/clips/a.mov", "file:$TMPPATH$/b.mov", "kxrc:/#!x", "kxfs://node/c.mov#old"});
    finalize();
    EXPECT_EQ(url(0), "kxrc:/clips/a.mov#origin");
    EXPECT_EQ(url(1), "kxrc:" + kxbase::env::get_default_tmp_path() + "/b.mov#origin");
    EXPECT_EQ(url(2), "kxrc:/#!x");
    EXPECT_EQ(url(3), "kxfs://node/c.mov#origin");
}

TEST_F(file_source, leaves_files_files_without_the_option) {
    settings.resource_uri_option = false;
    use_tasks({});
    use_files({"file://server/clips//a.mov#old"});
    finalize();
    EXPECT_EQ(url(0), "file://server/clips/a.mov#origin");
    EXPECT_TRUE(resources.empty());
}

TEST_F(file_source, announces_the_folder_of_a_resource) {
    use_tasks({});
    use_files({"file:/clips/a.mov", "file:/clips/b.mov", "file:/Z/c.mov", "file:/d.mov", "file:/q/e.mov?query#old",
               "kxrc:/r/f.mov"});
    finalize();
    EXPECT_EQ(collected(), (std::vector<std::string>{"kxrc:/#origin", "kxrc:/Z/#origin", "kxrc:/clips/#origin",
                                                     "kxrc:/q/?query#origin", "kxrc:/r/#origin"}));
}

TEST_F(file_source, announces_the_folder_of_a_compound_resource) {
    use_tasks({});
    use_files({"file+iseq:/frames/a.png"});
    finalize();
    EXPECT_EQ(url(0), "kxrc+iseq:/frames/a.png#origin");
    EXPECT_EQ(collected(), (std::vector<std::string>{"kxrc+iseq:/frames/#origin"}));
}

TEST_F(file_source, announces_nothing_for_other_schemes) {
    use_tasks({});
    use_files({"ftp://host/a.mov", "http://host/b.mov", "https://host/c.mov", "smb://host/share/d.mov",
               "kxfs://n/e.mov", "/plain/path.mov", ""});
    finalize();
    EXPECT_TRUE(resources.empty());
    EXPECT_EQ(url(0), "ftp://host/a.mov#origin");
    EXPECT_EQ(url(5), "/plain/path.mov");
    EXPECT_EQ(url(6), "");
}

TEST_F(file_source, describes_itself_in_the_meta_data) {
    use_tasks({});
    use_files({"file:/a.mov"});
    finalize();
    EXPECT_EQ(text_at(workflow(), "workflow-meta{source-name}"), "My files");
    EXPECT_EQ(text_at(workflow(), "workflow-meta{source-type}"), "file");
}

TEST_F(file_source, has_no_source_name_without_a_name) {
    use_tasks({});
    submission["file-source"] = tree({{"files", list({})}});
    finalize();
    EXPECT_FALSE(workflow().find_referenced("workflow-meta{source-name}"));
    EXPECT_EQ(text_at(workflow(), "workflow-meta{source-type}"), "file");
    EXPECT_EQ(*submission.get_properties_value("file-source"), *tree({{"files", list({})}}));
}

TEST_F(file_source, keeps_what_else_a_file_and_the_source_hold) {
    use_tasks({});
    submission["file-source"] = tree({{"name", text("Mine")},
                                      {"ext-meta", tree({{"client", text("desktop")}})},
                                      {"files", list({tree({{"url", text("file:/a.mov")},
                                                            {"target", text("erased")},
                                                            {"targets", texts({"replaced"})},
                                                            {"in-point", kx_test::number(25)}})})}});
    finalize();
    EXPECT_EQ(*submission.get_properties_value("file-source"),
              *tree({{"name", text("Mine")},
                     {"ext-meta", tree({{"client", text("desktop")}})},
                     {"files", list({tree({{"url", text("kxrc:/a.mov#origin")},
                                           {"targets", list({})},
                                           {"in-point", kx_test::number(25)}})})}}));
}

TEST_F(file_source, targets_every_unfed_source_input_for_all_files) {
    use_tasks({task_of(upload_plid, "z", tree({})), task_of(encoder_plid, "encoder", tree({})),
               task_of(mail_plid, "mail", tree({})),
               task_of(encoder_plid, "fed", tree({{"source-url", text("file:/fixed.mov")}})),
               task_of(encoder_plid, "waiting", tree({{"source-url", kx_test::deferred()}})),
               task_of(upload_plid, "later", tree({{"source-url", kx_test::output_reference("dest-url")}})),
               task_of(upload_plid, "context", tree({{"source-url", kx_test::context("workflow.spawn-value")}}))});
    use_files({"file:/a.mov", "smb://host/share/b.mov", "https://host/c.mov"});
    finalize();
    std::vector<std::string> const expected{wpath_create(wtid(upload_plid, "z"), "source-url"),
                                            wpath_create(encoder, "source-url"),
                                            wpath_create(wtid(encoder_plid, "waiting"), "source-url"),
                                            wpath_create(wtid(upload_plid, "later"), "source-url")};
    EXPECT_EQ(expected.front(), "workflow:wtid:task/regular/upload/1.0#z>source-url");
    for (std::size_t index = 0; index < 3; ++index)
        EXPECT_EQ(targets(index), expected) << index;
    EXPECT_FALSE(has_main_localizer());
}

TEST_F(file_source, targets_what_a_caller_s_value_feeds_no_more) {
    use_tasks({task_of(encoder_plid, "encoder", tree({})), task_of(upload_plid, "upload", tree({}))});
    use_files({"file:/a.mov"});
    settings.task_name_in_values["encoder"]["source-url"] = text("file:/other.mov");
    finalize();
    EXPECT_EQ(targets(0), (std::vector<std::string>{wpath_create(wtid(upload_plid, "upload"), "source-url")}));
}

TEST_F(file_source, feeds_remote_files_through_the_main_localizer) {
    for (char const* remote : {"ftp://host/a.mov", "http://host/a.mov"}) {
        submission = *tree({{"name", text("Submission")}});
        use_tasks({task_of(encoder_plid, "encoder", tree({})), task_of(upload_plid, "upload", tree({}))});
        use_files({"file:/local.mov", remote});
        finalize();
        std::vector<std::string> const expected{
            wpath_create(encoder, "source-url"), wpath_create(wtid(upload_plid, "upload"), "source-url"),
            wpath_create(main_localizer, "ftp-ssl-mode"), wpath_create(main_localizer, "source-url")};
        EXPECT_EQ(targets(0), expected) << remote; // local files get the same targets
        EXPECT_EQ(targets(1), expected) << remote;

        properties const localizer = kx_test::task_in(workflow(), main_localizer);
        EXPECT_EQ(text_at(localizer, "name"), "Main Source");
        EXPECT_EQ(*localizer.get_properties_value("configuration"),
                  *tree({{"source-url", kx_test::deferred()}, {"dest-dir-url", text("kxrc:/#!create-dir")}}));
        EXPECT_TRUE(localizer.is_present("requirements")); // derived for the added task as well
        for (std::string const& fed : {encoder, wtid(upload_plid, "upload")})
            EXPECT_EQ(*kx_test::task_in(workflow(), fed).get_list_value("input-connections"),
                      static_cast<kxcore::property_list const&>(*list({tree({{"from-wtid", text(main_localizer)},
                                                                             {"from-node", text("dest-url")},
                                                                             {"to-node", text("source-url")}})})));
    }
}

TEST_F(file_source, adds_the_main_localizer_also_when_nothing_waits_for_it) {
    use_tasks({});
    use_files({"ftp://host/a.mov"});
    finalize();
    EXPECT_TRUE(has_main_localizer());
    EXPECT_EQ(targets(0), (std::vector<std::string>{wpath_create(main_localizer, "ftp-ssl-mode"),
                                                    wpath_create(main_localizer, "source-url")}));
}

TEST_F(file_source, needs_no_localizer_for_other_schemes) {
    use_tasks({task_of(encoder_plid, "encoder", tree({}))});
    use_files({"file:/a.mov", "https://host/a.mov", "smb://host/share/a.mov", "kxfs://node/a.mov", "ftps://host/a.mov",
               "FTP://host/a.mov", "rtsp://host/live"});
    finalize();
    EXPECT_FALSE(has_main_localizer());
    EXPECT_EQ(targets(0), (std::vector<std::string>{wpath_create(encoder, "source-url")}));
}

TEST_F(file_source, cuts_a_compound_scheme_before_it_judges) {
    use_tasks({});
    use_files({"ftp+iseq://host/a.png"});
    finalize();
    EXPECT_TRUE(has_main_localizer());
}

TEST_F(file_source, does_not_connect_what_the_workflow_feeds_already) {
    auto const upload = tree({{"id", text(wtid(upload_plid, "upload"))},
                              {"configuration", tree({{"source-url", kx_test::output_reference("dest-url")}})},
                              {"input-connections", list({tree({{"from-wtid", text(encoder)},
                                                                {"from-node", text("dest-url")},
                                                                {"to-node", text("source-url")}})})}});
    use_tasks({task_of(encoder_plid, "encoder", tree({})), upload});
    use_files({"http://host/a.mov"});
    finalize();
    EXPECT_EQ(targets(0), (std::vector<std::string>{wpath_create(encoder, "source-url"),
                                                    wpath_create(main_localizer, "ftp-ssl-mode"),
                                                    wpath_create(main_localizer, "source-url")}));
    EXPECT_EQ(kx_test::task_in(workflow(), wtid(upload_plid, "upload")).get_list_value("input-connections")->size(),
              1U);
}

TEST_F(file_source, finalizes_once_more_with_one_main_localizer) {
    use_tasks({task_of(encoder_plid, "encoder", tree({}))});
    use_files({"ftp://host/a.mov"});
    finalize();
    properties const once = submission;
    finalize();
    EXPECT_EQ(*submission_get_unfinalized_submission(submission), once);
    EXPECT_EQ(workflow().get_list_value("tasks")->size(), 2U);
    // The localizer's own input waits for the node now and is named for that, beside the two that are always added.
    EXPECT_EQ(targets(0), (std::vector<std::string>{wpath_create(main_localizer, "source-url"),
                                                    wpath_create(main_localizer, "ftp-ssl-mode"),
                                                    wpath_create(main_localizer, "source-url")}));
}

TEST_F(file_source, names_the_file_that_has_no_url) {
    use_tasks({});
    auto const good = kxcore::property_handle(tree({{"url", text("file:/a.mov")}}));
    for (auto const& bad :
         {kxcore::property_handle(tree({})), kxcore::property_handle(tree({{"url", kx_test::flag(true)}})),
          text("file:/b.mov"), kx_test::deferred()}) {
        submission["file-source"] = tree({{"name", text("Mine")}, {"files", list({good, bad})}});
        properties const before = submission;
        std::string const message = message_of<es::arg>([&] { finalize(); });
        EXPECT_NE(message.find("file-source{files}[1]{url}"), std::string::npos) << message;
        EXPECT_EQ(submission, before);
        EXPECT_TRUE(resources.empty());
    }
}

TEST_F(file_source, raises_for_a_source_that_is_none) {
    use_tasks({});
    for (auto const& bad : {text("x"), kxcore::property_handle(tree({})),
                            kxcore::property_handle(tree({{"files", text("file:/a.mov")}}))}) {
        submission["file-source"] = bad;
        EXPECT_THROW(finalize(), es::arg);
        EXPECT_EQ(submission.get_property("file-source"), bad);
    }
}

TEST_F(file_source, works_on_copies) {
    use_tasks({});
    use_files({"file:/a.mov"});
    auto const source = submission.get_properties_value("file-source");
    properties const before = *source;
    auto const file = source->get_list_value("files")->get_element(0);
    finalize();
    EXPECT_EQ(*source, before);
    EXPECT_EQ(*file, *tree({{"url", text("file:/a.mov")}, {"targets", list({})}}));
}

} // namespace

} // namespace kxclientutil
