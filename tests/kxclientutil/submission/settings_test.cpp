#include "kxclientutil/support/submission_fixture.h"

#include <type_traits>

namespace kxclientutil {

namespace {

using kx_test::number;
using kx_test::text;

static_assert(std::is_copy_constructible_v<finalize_sub_conf> && std::is_copy_assignable_v<finalize_sub_conf>);
static_assert(!std::is_polymorphic_v<finalize_sub_conf>);
static_assert(!std::is_default_constructible_v<finalize_sub_conf>);

TEST(settings, begin_with_these_values) {
    finalize_sub_conf const settings("node-7");
    EXPECT_FALSE(settings.has_priority());
    EXPECT_EQ(settings.get_priority(), 0);
    EXPECT_EQ(settings.submission_name, "");
    EXPECT_FALSE(settings.resource_uri_option);
    EXPECT_EQ(settings.origin_node_id, "node-7");
    EXPECT_EQ(settings.node_id, "");
    EXPECT_TRUE(settings.guess_shared_storage);
    EXPECT_TRUE(settings.in_values.empty());
    EXPECT_TRUE(settings.task_name_in_values.empty());
    EXPECT_TRUE(settings.task_type_in_values.empty());
}

TEST(settings, know_that_a_priority_was_given) {
    for (std::int64_t const priority : {std::int64_t{0}, std::int64_t{5}, std::int64_t{-3}, INT64_MAX, INT64_MIN}) {
        finalize_sub_conf settings("");
        settings.set_priority(priority);
        EXPECT_TRUE(settings.has_priority());
        EXPECT_EQ(settings.get_priority(), priority);
    }
}

TEST(settings, lose_a_priority_only_to_fresh_settings) {
    finalize_sub_conf settings("");
    settings.set_priority(5);
    settings.set_priority(0);
    EXPECT_TRUE(settings.has_priority());
    settings = finalize_sub_conf("");
    EXPECT_FALSE(settings.has_priority());
}

TEST(settings, copy_maps_and_share_values) {
    finalize_sub_conf original("node");
    original.in_values["a"] = text("x");
    original.task_name_in_values["task"]["b"] = number(1);
    original.task_type_in_values["type"]["c"] = number(2);
    original.node_id = "n";
    original.submission_name = "s";
    original.resource_uri_option = true;
    original.guess_shared_storage = false;
    original.set_priority(9);

    finalize_sub_conf const copied(original);
    finalize_sub_conf assigned("other");
    assigned = original;
    for (finalize_sub_conf const* copy : {&copied, static_cast<finalize_sub_conf const*>(&assigned)}) {
        EXPECT_EQ(copy->in_values.at("a"), original.in_values.at("a"));
        EXPECT_EQ(copy->task_name_in_values.at("task").at("b"), original.task_name_in_values.at("task").at("b"));
        EXPECT_EQ(copy->task_type_in_values.at("type").at("c"), original.task_type_in_values.at("type").at("c"));
        EXPECT_EQ(copy->node_id, "n");
        EXPECT_EQ(copy->origin_node_id, "node");
        EXPECT_EQ(copy->submission_name, "s");
        EXPECT_TRUE(copy->resource_uri_option);
        EXPECT_FALSE(copy->guess_shared_storage);
        EXPECT_EQ(copy->get_priority(), 9);
    }
    original.in_values.clear();
    original.task_name_in_values["task"].clear();
    EXPECT_EQ(copied.in_values.size(), 1U);
    EXPECT_EQ(assigned.task_name_in_values.at("task").size(), 1U);
}

class node_list : public kx_test::submission_fixture {};

// Seen through the fragment of a file's URL.
TEST_F(node_list, joins_the_node_and_the_origin) {
    struct {
        char const* node;
        char const* origin;
        char const* url;
    } const cases[] = {
        {"", "", "file:/a.mov"},       {"A", "", "file:/a.mov#A"},    {"", "B", "file:/a.mov#B"},
        {"A", "B", "file:/a.mov#A,B"}, {"A", "A", "file:/a.mov#A,A"},
    };
    for (auto const& [node, origin, url] : cases) {
        submission = *kx_test::tree({});
        use_tasks({});
        submission_add_files({"file:/a.mov#old"}, "Files", submission);
        settings = finalize_sub_conf(origin);
        settings.node_id = node;
        finalize();
        EXPECT_EQ(kx_test::text_at(submission, "file-source{files}[0]{url}"), url) << node << '/' << origin;
    }
}

} // namespace

} // namespace kxclientutil
