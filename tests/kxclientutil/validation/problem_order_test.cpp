#include "validation/problem_order.h"

#include <gmock/gmock.h>

namespace {

using kxclientutil::document_problem;
using kxclientutil::e_problem_severity;
using kxclientutil::is_path_before;

TEST(problem_order, is_by_place_then_by_path_then_by_severity) {
    std::vector<document_problem> problems{
        {.path = "b"},
        {.path = "tasks[10]", .line = 7, .column = 1},
        {.path = "a"},
        {.path = "tasks[9]", .line = 7, .column = 1},
        {.severity = e_problem_severity::warning, .path = "x", .line = 3, .column = 5},
        {.path = "x", .line = 3, .column = 5},
        {.path = "z", .line = 3, .column = 1},
    };
    kxclientutil::sort_problems(problems);
    std::vector<std::string> paths;
    for (auto const& each : problems)
        paths.push_back(each.path);
    EXPECT_THAT(paths, testing::ElementsAre("z", "x", "x", "tasks[9]", "tasks[10]", "a", "b"));
    EXPECT_EQ(problems[1].severity, e_problem_severity::error);
}

TEST(problem_order, counts_what_stands_in_brackets) {
    struct {
        char const* first;
        char const* second;
    } const pairs[] = {
        {"", "a"},         {"a", "b"},        {"a", "a{b}"}, {"t[2]", "t[10]"}, {"t[2]{z}", "t[10]{a}"},
        {"t[9]", "t[9]{"}, {"a1b2", "a1b10"}, {"a", "a1"},
    };
    for (auto const& [first, second] : pairs) {
        EXPECT_TRUE(is_path_before(first, second)) << first << ' ' << second;
        EXPECT_FALSE(is_path_before(second, first)) << first << ' ' << second;
        EXPECT_FALSE(is_path_before(first, first)) << first;
    }
}

} // namespace
