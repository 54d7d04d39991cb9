#include "submission/job_size.h"

#include "kxclientutil/support/encoded_size.h"
#include "kxclientutil/support/wired_fixture.h"

#include <kxclientutil/explanation.h>

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxcore/network_encoding.h>

#include <optional>

namespace kxclientutil {

namespace {

using kx_test::encoded_size;
using kx_test::encoder_plid;
using kx_test::flag;
using kx_test::list;
using kx_test::message_of;
using kx_test::task_of;
using kx_test::text;
using kx_test::tree;
using kx_test::upload_plid;
using kx_test::wtid;
using kxcore::properties;
using kxcore::property_handle;

namespace es = kxbase::es;

/// A workflow of many tasks, and what has to be done for each with each.
class job_size : public kx_test::wired_fixture {
protected:
    void use_many(std::size_t encoders, std::size_t uploads, kx_test::tree_handle const& meta_data) {
        std::vector<property_handle> tasks;
        for (std::size_t index = 0; index < encoders; ++index)
            tasks.push_back(task_of(encoder_plid, std::to_string(index), tree({})));
        for (std::size_t index = 0; index < uploads; ++index)
            tasks.push_back(task_of(upload_plid, std::to_string(index), tree({})));
        use_wired(tasks, {}, meta_data);
    }

    [[nodiscard]] static kx_test::tree_handle on_failure(char const* key, char const* action) {
        return tree({{"finalize-workflow-failure", tree({{key, tree({{action, flag(true)}})}})}});
    }

    [[nodiscard]] static kxbase::limits with_document(std::size_t size) {
        kxbase::limits limits = kxbase::current_limits();
        limits.document = size;
        return limits;
    }

    [[nodiscard]] static kxbase::limits small() { return with_document(300'000); }

    /// The step at which the submission is refused when a job may have so many bytes; nothing when it becomes a job.
    [[nodiscard]] std::optional<e_finalization_step> refused_at(std::size_t limit) const {
        kxbase::scoped_limits const scope(with_document(limit));
        properties copy = submission;
        kxcore::property_list collected;
        finalization_account account;
        try {
            submission_finalize(copy, collected, settings, plugins, constraints, account);
        } catch (es::arg const& error) {
            EXPECT_STREQ(error.message(), ("The job would be too large: a tree of more than " + std::to_string(limit) +
                                           " encoded bytes (limit document)")
                                              .c_str());
            return account.last_step;
        }
        return std::nullopt;
    }

    /// The bytes that finalization counts before it does the work of that step: the least limit that lets it go on. Has to
    /// be more than the submission takes.
    [[nodiscard]] std::size_t counted_at(e_finalization_step step) const {
        std::size_t refused = encoded_size(submission);
        EXPECT_EQ(refused_at(refused), step) << "counts too little to be seen";
        std::size_t passed = refused + 1'000'000;
        EXPECT_NE(refused_at(passed), step);
        while (passed - refused > 1) {
            std::size_t const middle = refused + (passed - refused) / 2;
            (refused_at(middle) == step ? refused : passed) = middle;
        }
        return passed;
    }

    /// What the values of those names take in the job, in the tasks of a plugin, in their configurations or beside them.
    [[nodiscard]] std::size_t bytes_in_job(std::string const& plid, std::vector<char const*> const& keys) const {
        kxbase::buffer bytes;
        kxcore::encoder_network writer(bytes);
        writer.write(submission);
        std::uint64_t const before = writer.size();
        for (property_handle const& each : *workflow().get_list_value("tasks")) {
            auto const& task = static_cast<properties const&>(*each);
            if (kx_test::text_at(task, "plugin-id") != plid) continue;
            for (char const* key : keys) {
                auto const beside = task.get_property(key);
                auto const within = task.get_properties_value("configuration")->get_property(key);
                if (beside || within) writer.write(beside ? *beside : *within);
            }
        }
        return writer.size() - before;
    }

    void use_clips(std::size_t encoders, std::vector<property_handle> const& clips) {
        submission = *tree({{"name", text("Submission")}});
        use_many(encoders, 0, tree({}));
        submission["edl-source"] = tree({{"clips", list(clips)}, {"video-clips", list({clips.front()})}});
    }
};

constexpr char const* message = "The job would be too large: a tree of more than 300000 encoded bytes (limit document)";

TEST_F(job_size, has_room_up_to_the_limit) {
    kxbase::scoped_limits const scope(small());
    require_room_for(0, 10);
    require_room_for(30'000, 10);
    EXPECT_EQ(message_of<es::arg>([] { require_room_for(30'001, 10); }), message);
    EXPECT_EQ(message_of<es::arg>([] { require_room_for(static_cast<std::size_t>(-1), 10); }), message);
    require_room_for(static_cast<std::size_t>(-1), 0);
}

TEST_F(job_size, is_refused_with_the_source_path_of_the_family) {
    try {
        refuse_job("x");
        FAIL() << "nothing raised";
    } catch (es::arg const& error) {
        EXPECT_STREQ(error.file(), kx_test::submission_path);
        EXPECT_STREQ(error.message(), "The job would be too large: x");
    }
}

TEST_F(job_size, counts_who_stops_whom) {
    kxbase::scoped_limits const scope(small());
    struct {
        std::size_t encoders;
        std::size_t uploads;
        char const* key;
        char const* action;
        bool fits;
    } const cases[] = {
        {60, 0, "encode", "stop-others", true},          {110, 0, "encode", "stop-others", false},
        {40, 40, "deployment", "stop-encoders", true},   {101, 101, "deployment", "stop-encoders", false},
        {110, 0, "deployment", "stop-encoders", true},   {0, 110, "encode", "stop-others", true},
        {101, 101, "deployment", "remove-source", true},
    };
    for (auto const& [encoders, uploads, key, action, fits] : cases) {
        SCOPED_TRACE(std::to_string(encoders) + " encoders, " + std::to_string(uploads) + " uploads, " + action);
        use_many(encoders, uploads, on_failure(key, action));
        EXPECT_EQ(message_of<es::arg>([&] { finalize(); }), fits ? "(nothing raised)" : message);
    }
}

constexpr auto at_clips = e_finalization_step::source;
constexpr auto at_the_end = e_finalization_step::original;

property_handle clip(property_handle const& url, property_handle const& more = {}) {
    return more ? tree({{"url", url}, {"more", more}}) : tree({{"url", url}});
}

TEST_F(job_size, counts_clips_as_they_are_encoded) {
    settings.resource_uri_option = true;
    auto const keys = tree({});
    for (int index = 0; index < 140; ++index)
        keys->set_property("key " + std::to_string(index), kx_test::number(index % 64));
    struct {
        char const* what;
        property_handle clip;
        bool exactly;
    } const cases[] = {
        {"the shortest", clip(text("a")), true},
        {"a resource", clip(text("file:/media/./a b.mov")), true},
        {"a text of 63 bytes", clip(text("a"), text(std::string(63, 'x'))), true},
        {"a text of 64 bytes", clip(text("a"), text(std::string(64, 'x'))), false},
        {"small numbers", clip(text("a"), list({kx_test::number(0), kx_test::number(63), flag(true)})), true},
        {"large numbers", clip(text("a"), list({kx_test::number(-1), kx_test::number(1 << 30)})), false},
        {"a reference", clip(text("a"), kx_test::output_reference("dest-url")), true},
        {"a binary value", clip(text("a"), kx_test::bytes("abc")), true},
        {"a constraint",
         clip(text("a"), kxbase::make_refcount<kxcore::property_constraint>(kxworkflow::success_end_state())), false},
        {"empty ones", clip(text(""), list({tree({}), list({}), text("")})), true},
        {"many members", clip(text("a"), keys), false},
        {"a variable that becomes longer", clip(text("a"), text("$uuid$")), false},
        {"a variable that becomes shorter", clip(text("a"), text("kxvar:/#encoder.name")), false},
        {"a name that is a variable", clip(text("a"), text("encoder.name")), false},
        {"a URL that becomes shorter", clip(text("a"), text("file:////x/../y/.././a.mov#a-long-fragment-that-goes")),
         true},
        {"a URL that becomes longer", clip(text("a"), text("file:/b.mov")), true},
        {"a URL on a server", clip(text("smb://host/share/a.mov"), text("http://host/b.mov")), true},
    };
    constexpr std::size_t encoders = 20;
    kx_test::captured_report const log;
    for (auto const& [what, each, exactly] : cases) {
        SCOPED_TRACE(what);
        use_clips(encoders, std::vector<property_handle>(40, each));
        std::size_t const counted = counted_at(at_clips);
        finalize();
        std::size_t const taken = bytes_in_job(encoder_plid, {"clips", "video-clips", "audio-clips"});
        // Of a list with 32 elements or more the number is not in its tag.
        std::size_t const in_heads = encoders;
        EXPECT_LE(counted, taken);
        if (exactly) {
            EXPECT_EQ(counted, taken - in_heads);
        }
    }
}

// Each of the clips has a connection of its own to each encoder.
TEST_F(job_size, counts_connections_of_remote_clips) {
    for (char const* url : {"http://host/a.mov", "ftp://host/a.mov"}) {
        use_clips(60, std::vector<property_handle>(9, clip(text(url))));
        std::size_t const counted = counted_at(at_clips);
        finalize();
        std::size_t const clips = bytes_in_job(encoder_plid, {"clips", "video-clips", "audio-clips"});
        std::size_t const connections = bytes_in_job(encoder_plid, {"input-connections"});
        EXPECT_EQ(counted, clips + connections - 60); // the head of the list of connections
        EXPECT_EQ(connections, 60 + 60 * 9 * smallest_connection);
    }
}

TEST_F(job_size, counts_stopped_tasks_at_their_least) {
    use_many(100, 0, on_failure("encode", "stop-others"));
    std::size_t const counted = counted_at(e_finalization_step::failure_actions);
    EXPECT_EQ(counted, 100U * 99U * smallest_wtid);
    finalize();
    EXPECT_LE(counted, bytes_in_job(encoder_plid, {"kill-triggers"}));
    EXPECT_LE(smallest_wtid, 1 + wtid(encoder_plid, "").size());
    EXPECT_LE(smallest_wtid, 1 + wtid(kx_test::prepare_plid, "").size());
}

// A value may take the place of many clips.
TEST_F(job_size, does_not_count_clips_that_a_value_may_replace) {
    struct {
        void (*choose)(finalize_sub_conf&);
        bool is_counted;
    } const cases[] = {
        {[](finalize_sub_conf& chosen) { chosen.in_values["clips"] = list({}); }, false},
        {[](finalize_sub_conf& chosen) { chosen.task_name_in_values["7"]["clips[0]"] = text("x"); }, false},
        {[](finalize_sub_conf& chosen) { chosen.task_type_in_values["encoder"]["clips[0]{url}"] = text("x"); }, false},
        {[](finalize_sub_conf& chosen) { chosen.in_values["clips-of-others"] = list({}); }, true},
        {[](finalize_sub_conf& chosen) { chosen.task_type_in_values["encoder"]["video-clips"] = list({}); }, true},
    };
    for (auto const& [choose, is_counted] : cases) {
        settings = finalize_sub_conf("origin");
        choose(settings);
        use_clips(60, std::vector<property_handle>(50, clip(text("a"))));
        std::size_t const limit = 10'000;
        ASSERT_LT(encoded_size(submission), limit);
        EXPECT_EQ(refused_at(limit), is_counted ? at_clips : at_the_end);
    }
    settings = finalize_sub_conf("origin");
    settings.in_values["clips"] = list({});
    use_clips(60, std::vector<property_handle>(500, clip(text("a"))));
    EXPECT_EQ(refused_at(60 * 500), std::nullopt);
}

// Many short clips in many encoders, as large as a job may be; a byte less is not enough.
TEST_F(job_size, is_exact_at_the_limit) {
    std::vector<property_handle> const clips(400, clip(text("a")));
    use_clips(40, clips);
    properties const given = submission;
    finalize();
    std::size_t const size = encoded_size(submission);
    submission = given;
    EXPECT_LT(size / (clips.size() * 40), 8U) << "few bytes for each clip of each encoder";
    EXPECT_EQ(refused_at(size), std::nullopt);
    EXPECT_EQ(refused_at(size - 1), at_the_end);
    std::size_t const counted = counted_at(at_clips);
    EXPECT_EQ(refused_at(counted), at_the_end);
    EXPECT_EQ(refused_at(counted - 1), at_clips);
}

TEST_F(job_size, counts_shared_parts_wherever_they_stand) {
    property_handle const part = list({text("ab"), text("c")});
    EXPECT_EQ(least_encoded_size(part, settings), 1U + 3U + 2U);
    EXPECT_EQ(least_encoded_size(tree({{"a", part}, {"b", part}}), settings), 1U + 2U + 2U * 6U);
}

// As many bytes as the network encoding takes for it, but for the four of a key that comes for the first time.
TEST_F(job_size, counts_a_special_with_its_text) {
    using kxcore::property_kind;
    using kxcore::property_special;
    for (auto const& special :
         {property_special::create_deferred(property_kind::string),
          property_special::create_deferred_context(property_kind::integer, "workflow.spawn-value"),
          property_special::create_deferred_variable(property_kind::string, "dest-url")}) {
        auto const encoded = encoded_size(*tree({{"a", special}})) - encoded_size(*tree({{"a", flag(true)}})) + 1;
        EXPECT_EQ(least_encoded_size(special, settings), encoded) << special->value();
    }
}

} // namespace

} // namespace kxclientutil
