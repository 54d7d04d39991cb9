#include "kxclientutil/support/many_threads.h"
#include "kxclientutil/support/submission_fixture.h"

#include <kxbase/errors.h>

namespace kxclientutil {

namespace {

using kx_test::encoder_plid;
using kx_test::list;
using kx_test::mail_plid;
using kx_test::message_of;
using kx_test::task_of;
using kx_test::text;
using kx_test::text_at;
using kx_test::tree;
using kxcore::properties;

namespace es = kxbase::es;

class driver : public kx_test::submission_fixture {
protected:
    driver() { use_tasks({task_of(mail_plid, "mail", tree({{"subject", text("Done")}}))}); }
};

TEST_F(driver, finalizes_a_submission_without_source) {
    properties const before = submission;
    finalize();
    EXPECT_TRUE(submission_is_finalized(submission));
    EXPECT_EQ(*submission_get_unfinalized_submission(submission), before);
    EXPECT_NE(workflow(), *before.get_properties_value("workflow"));
    EXPECT_TRUE(workflow().is_present("configuration"));
    EXPECT_FALSE(workflow().find_referenced("workflow-meta{source-type}"));
    EXPECT_EQ(submission.size(), before.size() + 1);
}

TEST_F(driver, keeps_the_original_beside_what_ext_meta_held) {
    submission["ext-meta"] = tree({{"client", text("desktop")}});
    properties const before = submission;
    finalize();
    EXPECT_EQ(text_at(submission, "ext-meta{client}"), "desktop");
    EXPECT_EQ(*submission_get_unfinalized_submission(submission), before);
}

TEST_F(driver, overrides_the_name_and_keeps_the_old_one_in_the_original) {
    settings.submission_name = "Evening run";
    finalize();
    EXPECT_EQ(text_at(submission, "name"), "Evening run");
    EXPECT_EQ(text_at(*submission_get_unfinalized_submission(submission), "name"), "Submission");
}

TEST_F(driver, keeps_the_name_without_an_override) {
    finalize();
    EXPECT_EQ(text_at(submission, "name"), "Submission");
}

TEST_F(driver, keeps_the_own_name_of_the_workflow) {
    for (char const* name : {"Mine", ""}) { // an empty string is a name as well
        submission = *tree({{"name", text("Submission")}});
        submission_add_workflow(*kx_test::workflow_of({}, name), submission);
        settings.submission_name = "Override";
        finalize();
        EXPECT_EQ(text_at(workflow(), "name"), name);
    }
}

TEST_F(driver, names_a_nameless_workflow_after_the_submission) {
    submission_add_workflow(*tree({{"tasks", list({})}}), submission);
    auto const name = submission.get_property("name");
    finalize();
    EXPECT_EQ(text_at(workflow(), "name"), "Submission");
    EXPECT_EQ(workflow().get_property("name"), name); // the same object, not a copy
}

TEST_F(driver, names_a_nameless_workflow_after_the_override) {
    submission_add_workflow(*tree({{"tasks", list({})}}), submission);
    settings.submission_name = "Override";
    finalize();
    EXPECT_EQ(text_at(workflow(), "name"), "Override");
    EXPECT_EQ(workflow().get_property("name"), submission.get_property("name"));
}

TEST_F(driver, leaves_a_workflow_without_name_where_the_submission_has_none) {
    submission.erase("name");
    submission_add_workflow(*tree({{"tasks", list({})}}), submission);
    finalize();
    EXPECT_FALSE(workflow().is_present("name"));
    EXPECT_FALSE(submission.is_present("name"));
}

TEST_F(driver, raises_for_a_submission_without_workflow) {
    for (bool const with_files : {false, true}) {
        submission = *tree({{"name", text("Submission")}});
        if (with_files) submission_add_files({"file:/a.mov"}, "Files", submission);
        std::string const message = message_of<es::arg>([&] { finalize(); });
        EXPECT_NE(message.find("workflow"), std::string::npos) << message;
        EXPECT_FALSE(submission_is_finalized(submission));
        EXPECT_FALSE(submission.is_present("workflow"));
    }
}

TEST_F(driver, raises_for_a_workflow_that_is_none) {
    for (auto const& none : {text("x"), list({}), kx_test::deferred(), kx_test::bytes("x")}) {
        submission["workflow"] = none;
        properties const before = submission;
        EXPECT_THROW(finalize(), es::arg);
        EXPECT_EQ(submission, before);
    }
}

TEST_F(driver, finalizes_in_many_threads_what_they_share) {
    submission_add_files({"http://host/a.mov", "file:/a.mov"}, "Files", submission);
    properties const shared = submission;
    kx_test::run_in_threads([&] {
        properties own = shared;
        kxcore::property_list own_resources;
        submission_finalize(own, own_resources, settings, plugins, constraints);
        EXPECT_EQ(*submission_get_unfinalized_submission(own), shared);
    });
}

TEST_F(driver, takes_the_first_source_only) {
    submission_add_files({"file:/a.mov"}, "Files", submission);
    for (char const* key : {"monitor-source", "edl-source", "iseq-source"})
        submission[key] = tree({{"name", text(key)}});
    finalize();
    EXPECT_EQ(text_at(workflow(), "workflow-meta{source-type}"), "file");
    for (char const* key : {"monitor-source", "edl-source", "iseq-source"})
        EXPECT_EQ(*submission.get_properties_value(key), *tree({{"name", text(key)}}));
}

TEST_F(driver, asks_for_sources_in_a_fixed_order) {
    auto const clip = tree({{"url", text("file:/a.mov")}});
    submission["iseq-source"] = tree({{"name", text("i")}, {"sequences", list({})}});
    submission["edl-source"] = tree({{"name", text("e")}, {"clips", list({clip})}});
    submission["monitor-source"] = tree({{"name", text("m")}, {"manager-configuration", clip}});
    submission["file-source"] = tree({{"name", text("f")}, {"files", list({})}});
    struct {
        char const* key;
        char const* type;
    } const cases[] = {
        {"file-source", "file"}, {"monitor-source", "monitor"}, {"edl-source", "edl"}, {"iseq-source", "iseq"}};
    properties expected = submission;
    for (auto const& [key, type] : cases) {
        submission = expected;
        finalize();
        EXPECT_EQ(text_at(workflow(), "workflow-meta{source-type}"), type);
        expected.erase(key); // and all that come after stay as they are
        for (auto const& later : cases)
            if (expected.is_present(later.key)) {
                EXPECT_EQ(submission.get_property(later.key), expected.get_property(later.key)) << type << later.key;
            }
    }
}

TEST_F(driver, keeps_its_early_changes_and_nothing_else_after_an_error) {
    submission_add_workflow(*tree({{"tasks", list({task_of(mail_plid, "mail", tree({}))})}}), submission);
    submission_add_files({"file:/a.mov"}, "Files", submission);
    settings.submission_name = "Override";
    settings.resource_uri_option = true;
    settings.task_name_in_values["mail"]["no-such-input"] = text("x");
    resources.push_back(text("before"));
    properties expected = submission;
    expected["name"] = text("Override");
    expected.set_referenced_property("workflow{name}", text("Override"));
    kx_test::captured_report const log;

    EXPECT_THROW(finalize(), es::arg);
    EXPECT_EQ(submission, expected);
    EXPECT_FALSE(submission_is_finalized(submission));
    EXPECT_EQ(collected(), (std::vector<std::string>{"before"}));
}

TEST_F(driver, stays_finalized_when_a_second_run_fails) {
    finalize();
    properties const once = submission;
    settings.task_name_in_values["mail"]["no-such-input"] = text("x");
    kx_test::captured_report const log;
    EXPECT_THROW(finalize(), es::arg);
    EXPECT_EQ(submission, once);
}

TEST_F(driver, raises_when_the_original_has_no_place_and_leaves_the_resources) {
    submission["ext-meta"] = text("no tree");
    use_tasks({task_of(encoder_plid, "encoder", tree({{"intro", text("file:/intro.mov")}}))});
    settings.resource_uri_option = true;
    EXPECT_THROW(finalize(), es::arg);
    EXPECT_EQ(text_at(submission, "ext-meta"), "no tree");
    EXPECT_TRUE(resources.empty());
}

TEST_F(driver, finalizes_a_finalized_submission_once_more) {
    properties const before = submission;
    finalize();
    properties const once = submission;
    finalize();
    auto const inner = submission_get_unfinalized_submission(submission);
    EXPECT_EQ(*inner, once);
    EXPECT_EQ(*submission_get_unfinalized_submission(*inner), before);
}

TEST_F(driver, appends_resources_once_and_in_byte_order) {
    use_tasks(
        {task_of(encoder_plid, "a", tree({{"one", text("file:/z.mov")}, {"two", text("file:/B.mov")}})),
         task_of(
             encoder_plid, "b",
             tree({{"one", text("file:/z.mov")}, {"two", text("file:///z.mov")}, {"three", text("file:/a.mov")}}))});
    settings = finalize_sub_conf("n");
    settings.resource_uri_option = true;
    resources.push_back(text("kxrc:/zz"));
    resources.push_back(text("kxrc:/a.mov#n"));
    finalize();
    EXPECT_EQ(collected(), (std::vector<std::string>{"kxrc:/zz", "kxrc:/a.mov#n", "kxrc:/B.mov#n", "kxrc:/a.mov#n",
                                                     "kxrc:/z.mov#n"}));
}

TEST_F(driver, does_not_change_values_that_others_hold) {
    submission_add_files({"file:/a.mov"}, "Files", submission);
    properties const before = submission;
    properties const deep = *kxbase::static_refcount_cast<properties const>(before.clone());
    settings.resource_uri_option = true;
    finalize();
    EXPECT_EQ(before, deep);
}

} // namespace

} // namespace kxclientutil
