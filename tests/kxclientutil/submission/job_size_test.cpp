#include "submission/job_size.h"

#include "kxclientutil/support/wired_fixture.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>

namespace kxclientutil {

namespace {

using kx_test::encoder_plid;
using kx_test::flag;
using kx_test::list;
using kx_test::message_of;
using kx_test::task_of;
using kx_test::text;
using kx_test::tree;
using kx_test::upload_plid;
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

    [[nodiscard]] static kxbase::limits small() {
        kxbase::limits limits = kxbase::current_limits();
        limits.document = 300'000;
        return limits;
    }
};

constexpr char const* message = "The job would be too large: a tree of more than 300000 encoded bytes (limit document)";

TEST_F(job_size, has_room_up_to_the_limit) {
    kxbase::scoped_limits const scope(small());
    require_room_for(0, 10);
    require_room_for(30'000, 10);
    EXPECT_EQ(message_of<es::arg>([] { require_room_for(30'001, 10); }), message);
    EXPECT_EQ(message_of<es::arg>([] { require_room_for(static_cast<std::size_t>(-1), 10); }), message);
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

TEST_F(job_size, counts_clips_and_their_connections) {
    kxbase::scoped_limits const scope(small());
    struct {
        std::size_t encoders;
        std::size_t clips;
        char const* url;
        bool fits;
    } const cases[] = {
        {20, 200, "file:/a.mov", true},
        {200, 200, "file:/a.mov", false},
        {20, 50, "http://host/a.mov", true},
        {100, 60, "http://host/a.mov", false},
    };
    for (auto const& [encoders, clips, url, fits] : cases) {
        SCOPED_TRACE(std::to_string(encoders) + " encoders, " + std::to_string(clips) + " clips, " + url);
        submission = *tree({{"name", text("Submission")}});
        use_many(encoders, 0, tree({}));
        submission["edl-source"] =
            tree({{"clips", list(std::vector<property_handle>(clips, tree({{"url", text(url)}})))}});
        EXPECT_EQ(message_of<es::arg>([&] { finalize(); }), fits ? "(nothing raised)" : message);
    }
}

} // namespace

} // namespace kxclientutil
