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
using kx_test::number;
using kx_test::task_of;
using kx_test::text;
using kx_test::text_at;
using kx_test::texts;
using kx_test::tree;
using kx_test::wtid;
using kxcore::properties;
using kxcore::property_handle;
using kxworkflow::wpath_create;

namespace es = kxbase::es;

class finalized_iseq_source : public kx_test::submission_fixture {
protected:
    finalized_iseq_source() {
        settings = finalize_sub_conf("");
        use_tasks({task_of(encoder_plid, "encoder", tree({}))});
    }

    void use_sequences(std::vector<property_handle> const& sequences) {
        submission.erase("file-source");
        submission["iseq-source"] = tree({{"name", text("Titles")}, {"sequences", list(sequences)}});
    }

    /// The URL that a sequence becomes.
    [[nodiscard]] std::string url_of(property_handle const& sequence) {
        use_sequences({sequence});
        finalize();
        return text_at(submission, "file-source{files}[0]{url}");
    }

    std::string const encoder = wtid(encoder_plid, "encoder");
};

TEST_F(finalized_iseq_source, becomes_a_file_source_with_a_file_for_each_sequence) {
    settings = finalize_sub_conf("origin");
    settings.resource_uri_option = true;
    use_sequences({tree({{"start-file-url", text("file:/b/b_001.dpx")},
                         {"framerate", text("25")},
                         {"num-safety-files", number(2)}}),
                   tree({{"start-file-url", text("file:/a/a_001.dpx")}, {"other", text("dropped")}})});
    properties const before = submission;
    finalize();
    auto const targets = texts({wpath_create(encoder, "source-url")});
    EXPECT_EQ(
        *submission.get_properties_value("file-source"),
        *tree({{"name", text("Titles")},
               {"files", list({tree({{"url", text("kxrc+iseq:/b/b_001.dpx?fr=25&sf=2#origin")}, {"targets", targets}}),
                               tree({{"url", text("kxrc+iseq:/a/a_001.dpx#origin")}, {"targets", targets}})})}}));
    EXPECT_FALSE(submission.is_present("iseq-source"));
    EXPECT_EQ(*submission_get_unfinalized_submission(submission), before);
    EXPECT_EQ(collected(), (std::vector<std::string>{"kxrc+iseq:/a/#origin", "kxrc+iseq:/b/?fr=25&sf=2#origin"}));
    EXPECT_EQ(text_at(workflow(), "workflow-meta{source-name}"), "Titles");
    EXPECT_EQ(text_at(workflow(), "workflow-meta{source-type}"), "iseq");
}

TEST_F(finalized_iseq_source, is_called_iseq_source_without_a_name) {
    use_sequences({});
    submission.set_referenced_property("iseq-source{name}", {});
    finalize();
    EXPECT_EQ(*submission.get_properties_value("file-source"),
              *tree({{"name", text("ISeq Source")}, {"files", list({})}}));
    EXPECT_EQ(text_at(workflow(), "workflow-meta{source-name}"), "ISeq Source");
}

TEST_F(finalized_iseq_source, keeps_the_object_that_is_its_name) {
    for (property_handle const& name : {text(""), text("Mine"), property_handle(number(5))}) {
        use_sequences({});
        submission.set_referenced_property("iseq-source{name}", name);
        finalize();
        EXPECT_EQ(submission.get_properties_value("file-source")->get_property("name"), name);
    }
}

TEST_F(finalized_iseq_source, marks_the_scheme_unless_it_is_marked) {
    struct {
        char const* start;
        char const* url;
    } const cases[] = {
        {"file:/a_1.dpx", "file+iseq:/a_1.dpx"},
        {"file+iseq:/a_1.dpx", "file+iseq:/a_1.dpx"},
        {"file+iseq+x:/a_1.dpx", "file+iseq+x:/a_1.dpx"},
        {"file+iseqs:/a_1.dpx", "file+iseqs:/a_1.dpx"}, // what merely begins with it is marked, too
        {"file+x:/a_1.dpx", "file+x+iseq:/a_1.dpx"},
        {"iseq:/a_1.dpx", "iseq+iseq:/a_1.dpx"},
        {"kxfs://node/a_1.dpx", "kxfs+iseq://node/a_1.dpx"},
        {"+iseq:/a_1.dpx", "+iseq:/a_1.dpx"},
        {"/media/a_1.dpx", "+iseq:/media/a_1.dpx"}, // no scheme to be marked
        {"a 1.dpx", "+iseq:a%201.dpx"},
        {"", "+iseq:"},
    };
    for (auto const& [start, url] : cases)
        EXPECT_EQ(url_of(tree({{"start-file-url", text(start)}})), url) << start;
}

TEST_F(finalized_iseq_source, bears_each_parameter_in_its_query) {
    struct {
        char const* key;
        char const* query_key;
    } const cases[] = {
        {"max-sequence-number-increase", "msni"},
        {"num-safety-files", "sf"},
        {"encode-while-ingest", "ewi"},
        {"encode-while-ingest-wait", "ewi-sleep"},
        {"encode-while-ingest-num-waits", "ewi-count"},
        {"framerate", "fr"},
    };
    for (auto const& [key, query_key] : cases)
        EXPECT_EQ(url_of(tree({{"start-file-url", text("file:/a_1.dpx")}, {key, number(7)}})),
                  std::string("file+iseq:/a_1.dpx?") + query_key + "=7");
}

TEST_F(finalized_iseq_source, orders_the_query_by_its_keys) {
    EXPECT_EQ(url_of(tree({{"start-file-url", text("file:/a_1.dpx")},
                           {"max-sequence-number-increase", number(1)},
                           {"num-safety-files", number(2)},
                           {"encode-while-ingest", kx_test::flag(true)},
                           {"encode-while-ingest-wait", number(5)},
                           {"encode-while-ingest-num-waits", number(60)},
                           {"framerate", text("30000/1001")}})),
              "file+iseq:/a_1.dpx?ewi=true&ewi-count=60&ewi-sleep=5&fr=30000/1001&msni=1&sf=2");
}

TEST_F(finalized_iseq_source, carries_values_of_any_kind) {
    EXPECT_EQ(url_of(tree({{"start-file-url", text("file:/a_1.dpx")}, {"framerate", text("a b&c=d?#%")}})),
              "file+iseq:/a_1.dpx?fr=a%20b%26c%3Dd?%23%25");
    EXPECT_EQ(url_of(tree({{"start-file-url", text("file:/a_1.dpx")}, {"framerate", tree({{"num", number(25)}})}})),
              "file+iseq:/a_1.dpx?fr%7Bnum%7D=25");
    EXPECT_EQ(url_of(tree({{"start-file-url", text("file:/a_1.dpx")}, {"framerate", text("")}})),
              "file+iseq:/a_1.dpx?fr=");
}

TEST_F(finalized_iseq_source, replaces_a_query_by_parameters_only) {
    EXPECT_EQ(url_of(tree({{"start-file-url", text("file:/a_1.dpx?own=1#old")}})), "file+iseq:/a_1.dpx?own=1");
    EXPECT_EQ(url_of(tree({{"start-file-url", text("file:/a_1.dpx?own=1#old")}, {"framerate", number(25)}})),
              "file+iseq:/a_1.dpx?fr=25");
}

TEST_F(finalized_iseq_source, is_fetched_through_the_main_localizer_as_files_are) {
    use_sequences({tree({{"start-file-url", text("ftp://host/a_1.dpx")}})});
    finalize();
    EXPECT_EQ(text_at(submission, "file-source{files}[0]{url}"), "ftp+iseq://host/a_1.dpx");
    EXPECT_EQ(
        kx_test::texts_at(submission, "file-source{files}[0]{targets}"),
        (std::vector<std::string>{wpath_create(encoder, "source-url"), wpath_create(main_localizer, "ftp-ssl-mode"),
                                  wpath_create(main_localizer, "source-url")}));
}

TEST_F(finalized_iseq_source, names_the_sequence_that_has_no_start_and_stays_as_it_is) {
    for (auto const& bad : {property_handle(tree({})), property_handle(tree({{"start-file-url", kx_test::deferred()}})),
                            text("file:/a_1.dpx"), property_handle(tree({{"url", text("file:/a_1.dpx")}}))}) {
        use_sequences({tree({{"start-file-url", text("file:/a_1.dpx")}}), bad});
        properties const before = submission;
        EXPECT_EQ(message_of<es::arg>([&] { finalize(); }),
                  "iseq-source{sequences}[1]{start-file-url}: a string was expected");
        EXPECT_EQ(submission, before);
    }
}

TEST_F(finalized_iseq_source, raises_without_a_list_of_sequences) {
    for (auto const& bad : {property_handle(tree({})), property_handle(tree({{"sequences", text("x")}}))}) {
        submission["iseq-source"] = bad;
        properties const before = submission;
        EXPECT_EQ(message_of<es::arg>([&] { finalize(); }), "iseq-source{sequences}: a list was expected");
        EXPECT_EQ(submission, before);
    }
    submission["iseq-source"] = text("x");
    EXPECT_THROW(finalize(), es::arg);
}

// The file source has taken the place of the sequences before anything else could fail.
TEST_F(finalized_iseq_source, is_a_file_source_after_an_error_of_the_workflow) {
    use_sequences({tree({{"start-file-url", text("file:/a_1.dpx")}, {"framerate", number(25)}})});
    settings.task_name_in_values["encoder"]["no-such-input"] = text("x");
    properties expected = submission;
    expected.erase("iseq-source");
    expected["file-source"] =
        tree({{"name", text("Titles")}, {"files", list({tree({{"url", text("file+iseq:/a_1.dpx?fr=25")}})})}});
    kx_test::captured_report const log;
    EXPECT_THROW(finalize(), es::arg);
    EXPECT_EQ(submission, expected);
    EXPECT_FALSE(submission_is_finalized(submission));
}

TEST_F(finalized_iseq_source, is_finalized_as_files_the_second_time) {
    use_sequences({tree({{"start-file-url", text("file:/a_1.dpx")}})});
    finalize();
    properties const once = submission;
    finalize();
    EXPECT_EQ(*submission_get_unfinalized_submission(submission), once);
    EXPECT_EQ(*submission.get_properties_value("file-source"), *once.get_properties_value("file-source"));
    EXPECT_EQ(text_at(workflow(), "workflow-meta{source-type}"), "file");
}

} // namespace

} // namespace kxclientutil
