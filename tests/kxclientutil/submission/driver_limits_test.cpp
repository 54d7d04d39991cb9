// What finalization makes of a submission that would become a job beyond the limits: an error, at once, and nothing else.
#include "kxclientutil/support/encoded_size.h"
#include "kxclientutil/support/wired_fixture.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxcore/network_encoding.h>

namespace kxclientutil {

namespace {

using kx_test::encoded_size;
using kx_test::encoder_plid;
using kx_test::list;
using kx_test::mbr_plid;
using kx_test::message_of;
using kx_test::task_of;
using kx_test::text;
using kx_test::texts;
using kx_test::tree;
using kx_test::wtid;
using kxcore::properties;

namespace es = kxbase::es;

constexpr std::size_t small_document = 100'000;

[[nodiscard]] kxbase::limits with_document(std::size_t size) {
    kxbase::limits limits = kxbase::current_limits();
    limits.document = size;
    return limits;
}

class driver_limits : public kx_test::wired_fixture {
protected:
    std::string const package = wtid(mbr_plid, "package");

    /// A packager whose settings each refer to the one before, once or more, in byte order: "m000", "m001", ...
    void use_settings_of_settings(std::size_t count, std::size_t references) {
        auto const name = [](std::size_t index) {
            std::string const digits = std::to_string(index);
            return "m" + std::string(3 - digits.size(), '0') + digits;
        };
        auto const settings_of_package = tree({{"m000", texts({"leaf"})}});
        for (std::size_t index = 1; index < count; ++index)
            settings_of_package->set_property(
                name(index), texts(std::vector<std::string>(references, "kxvar:/#mbr." + name(index - 1))));
        use_wired({task_of(mbr_plid, "package", settings_of_package)}, {{package, "dest-url", mail, "subject"}});
    }

    /// Finalization says this much, and leaves the submission and the resources as they were.
    void expect_refused(std::string_view part) {
        properties const before = submission;
        resources.push_back(text("before"));
        std::string const message = message_of<es::arg>([&] { finalize(); });
        EXPECT_NE(message.find(part), std::string::npos) << message;
        EXPECT_EQ(submission, before);
        EXPECT_FALSE(submission_is_finalized(submission));
        EXPECT_EQ(collected(), std::vector<std::string>{"before"});
    }
};

// 40 settings in 2 KB of workflow are a billion leaves, and a hundred more than there are atoms.
TEST_F(driver_limits, stop_settings_that_double) {
    kxbase::scoped_limits const scope(with_document(small_document));
    for (std::size_t const count : {40U, 140U}) {
        use_settings_of_settings(count, 2);
        resources.clear();
        expect_refused("(limit document)");
    }
}

TEST_F(driver_limits, name_the_variable_that_goes_too_far) {
    kxbase::scoped_limits const scope(with_document(small_document));
    use_settings_of_settings(40, 2);
    EXPECT_EQ(message_of<es::arg>([&] { finalize(); }),
              "'kxvar:/#mbr.m012' in " + package + ": a tree of more than 100000 encoded bytes (limit document)");
}

TEST_F(driver_limits, stop_a_setting_that_many_tasks_take_over) {
    kxbase::scoped_limits const scope(with_document(small_document));
    std::vector<kxcore::property_handle> tasks{
        task_of(mbr_plid, "package", tree({{"parts", texts({std::string(6000, 'x'), std::string(6000, 'y')})}}))};
    std::vector<wf_connection> connections;
    for (int index = 0; index < 20; ++index) {
        std::string const name = "upload " + std::to_string(index);
        tasks.push_back(task_of(kx_test::upload_plid, name, tree({{"notes", text("kxvar:/#mbr.parts")}})));
        connections.emplace_back(package, "dest-url", wtid(kx_test::upload_plid, name), "notes");
    }
    use_wired(tasks, connections);
    expect_refused("(limit document)");
}

// The settings of a task are on the sixth level of a job.
TEST_F(driver_limits, allow_nesting_up_to_the_limit) {
    std::size_t const deepest = kxbase::limit_nesting - 5;
    use_settings_of_settings(deepest, 1);
    finalize();
    EXPECT_TRUE(submission_is_finalized(submission));
    properties const job = submission;
    kxbase::buffer bytes;
    kxcore::encoder_network(bytes).write(job);
    EXPECT_EQ(*kxcore::decoder_network(bytes).read_properties(), job);

    submission = *tree({{"name", text("Submission")}});
    use_settings_of_settings(deepest + 1, 1);
    expect_refused("The job would be too large: cannot be encoded: nesting of more than 128 levels (limit nesting)");
}

TEST_F(driver_limits, count_every_byte_of_a_job) {
    submission_add_files({"http://host/a.mov", "file:/b.mov"}, "Files", submission);
    use_tasks({task_of(encoder_plid, "encoder", tree({})), task_of(kx_test::upload_plid, "upload", tree({}))});
    properties const given = submission;
    finalize();
    std::size_t const size = encoded_size(submission);
    {
        kxbase::scoped_limits const scope(with_document(size));
        submission = given;
        finalize();
        EXPECT_TRUE(submission_is_finalized(submission));
    }
    kxbase::scoped_limits const scope(with_document(size - 1));
    submission = given;
    resources.clear();
    expect_refused("The job would be too large: a tree of more than " + std::to_string(size - 1) +
                   " encoded bytes (limit document)");
}

// Each encoder has all clips, and each file all targets.
TEST_F(driver_limits, count_what_is_shared_as_often_as_it_stands_in_the_job) {
    std::vector<kxcore::property_handle> encoders;
    std::vector<kxcore::property_handle> clips;
    std::list<std::string> files;
    for (int index = 0; index < 60; ++index) {
        encoders.push_back(task_of(encoder_plid, std::to_string(index), tree({})));
        for (int part = 0; part < 4; ++part) {
            files.push_back("file:/media/" + std::to_string(index) + "-" + std::to_string(part) + ".mov");
            clips.push_back(tree({{"url", text(files.back())}}));
        }
    }
    kxbase::scoped_limits const scope(with_document(small_document));
    for (char const* source : {"edl-source", "file-source"}) {
        SCOPED_TRACE(source);
        submission = *tree({{"name", text("Submission")}});
        use_tasks(encoders);
        submission_add_files(files, "Files", submission);
        if (source == std::string("edl-source")) {
            submission.erase("file-source");
            submission[source] = tree({{"clips", list(clips)}});
        }
        ASSERT_LT(encoded_size(submission), small_document / 4);
        resources.clear();
        expect_refused("The job would be too large: a tree of more than 100000 encoded bytes (limit document)");
    }
}

TEST_F(driver_limits, keep_the_new_name_as_after_any_error) {
    kxbase::scoped_limits const scope(with_document(small_document));
    use_settings_of_settings(40, 2);
    settings.submission_name = "Override";
    properties expected = submission;
    expected["name"] = text("Override");
    EXPECT_THROW(finalize(), es::arg);
    EXPECT_EQ(submission, expected);
}

// A step before the end stops at what it finds too much, and what was stored until then stays; at the end all is taken back.
TEST_F(driver_limits, leave_the_files_of_image_sequences_unless_the_whole_job_was_refused) {
    std::vector<kxcore::property_handle> encoders;
    for (int index = 0; index < 80; ++index)
        encoders.push_back(task_of(encoder_plid, std::to_string(index), tree({})));
    auto const stop = tree({{"encode", tree({{"stop-others", kx_test::flag(true)}})}});
    struct {
        kx_test::tree_handle actions;
        std::size_t limit;
        bool is_taken_back;
    } const cases[] = {
        {tree({{"finalize-workflow-failure", stop}}), 100'000, false}, // 80 encoders that each stop 79 others
        {tree({}), 12'000, true},
    };
    for (auto const& [actions, limit, is_taken_back] : cases) {
        kxbase::scoped_limits const scope(with_document(limit));
        submission = *tree({{"name", text("Submission")}});
        use_wired(encoders, {}, actions);
        submission["iseq-source"] = tree({{"sequences", list({tree({{"start-file-url", text("file:/a_1.dpx")}})})}});
        settings.submission_name = "Override";
        properties expected = submission;
        expected["name"] = text("Override");
        if (!is_taken_back) {
            expected.erase("iseq-source");
            submission_add_files({"file+iseq:/a_1.dpx"}, "ISeq Source", expected);
            expected.set_referenced_property("file-source{files}[0]", tree({{"url", text("file+iseq:/a_1.dpx")}}));
        }
        resources.clear();
        EXPECT_EQ(message_of<es::arg>([&] { finalize(); }), "The job would be too large: a tree of more than " +
                                                                std::to_string(limit) +
                                                                " encoded bytes (limit document)");
        EXPECT_EQ(submission, expected);
        EXPECT_TRUE(resources.empty());
    }
}

TEST_F(driver_limits, leave_a_job_as_it_was_that_is_finalized_again) {
    use_tasks({task_of(encoder_plid, "encoder", tree({}))});
    finalize();
    kxbase::scoped_limits const scope(with_document(encoded_size(submission)));
    properties const once = submission;
    EXPECT_THROW(finalize(), es::arg);
    EXPECT_EQ(submission, once);
}

TEST_F(driver_limits, hold_for_the_submission_itself) {
    use_tasks({});
    kxcore::property_handle doubled = text("leaf");
    for (int level = 0; level < 100; ++level)
        doubled = list({doubled, doubled});
    submission["notes"] = doubled;
    auto const before = submission.get_property("notes");
    kxbase::limits limits = with_document(small_document);
    for (char const* limit : {"document", "expansion"}) {
        kxbase::scoped_limits const scope(limits);
        EXPECT_EQ(message_of<es::arg>([&] { finalize(); }),
                  "a submission of more than 100000 encoded bytes (limit " + std::string(limit) + ")");
        EXPECT_FALSE(submission_is_finalized(submission));
        EXPECT_EQ(submission.get_property("notes"), before);
        limits.document = kxbase::limit_document;
        limits.expansion = small_document;
    }
}

} // namespace

} // namespace kxclientutil
