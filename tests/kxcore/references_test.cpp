#include <kxcore/references.h>

#include <gtest/gtest.h>

namespace kxcore {
namespace {

std::string shown(std::string_view path) {
    std::vector<reference_step> steps{reference_step()};
    if (!split_reference(path, steps)) {
        EXPECT_TRUE(steps.empty());
        return "malformed";
    }
    std::string text;
    for (reference_step const& step : steps) {
        text += step.is_index ? '#' + std::to_string(step.index) : '<' + std::string(step.key) + '>';
    }
    return text;
}

TEST(references, are_split_into_steps) {
    struct row {
        char const* path;
        char const* expected;
    };
    constexpr row rows[] = {
        {"a", "<a>"},
        {"", "<>"},
        {"source-url", "<source-url>"},
        {"tasks[0]{configuration}{source-urls}[1]", "<tasks>#0<configuration><source-urls>#1"},
        {"clips[12]{url}", "<clips>#12<url>"},
        {"workflow-meta{connections}", "<workflow-meta><connections>"},
        {"a[1][2]", "<a>#1#2"},
        {"a{}", "<a><>"},
        {"{x}", "<><x>"},
        {"[0]", "#0"},
        {"[3]{x}", "#3<x>"},
        {"a b{c.d}", "<a b><c.d>"},
        {"a{18446744073709551616}", "<a><18446744073709551616>"},
        {"a[18446744073709551615]", "<a>#18446744073709551615"},
        {"a[18446744073709551616]", "malformed"},
        {"a{", "malformed"},
        {"a}", "malformed"},
        {"a{b", "malformed"},
        {"a{b}c", "malformed"},
        {"a{b}}", "malformed"},
        {"a{b{c}}", "malformed"},
        {"a{b[0]}", "malformed"},
        {"a[", "malformed"},
        {"a[]", "malformed"},
        {"a[0", "malformed"},
        {"a[x]", "malformed"},
        {"a[-1]", "malformed"},
        {"a[+1]", "malformed"},
        {"a[ 1]", "malformed"},
        {"a[1 ]", "malformed"},
        {"a[01]", "malformed"},
        {"a[0]b", "malformed"},
        {"a]", "malformed"},
        {"]", "malformed"},
        {"[", "malformed"},
    };
    for (row const& row : rows) {
        EXPECT_EQ(shown(row.path), row.expected) << row.path;
    }
}

TEST(references, are_put_together_again) {
    std::string path;
    append_reference_key(path, "tasks");
    append_reference_index(path, 0);
    append_reference_key(path, "url");
    EXPECT_EQ(path, "tasks[0]{url}");
    std::string element;
    append_reference_index(element, SIZE_MAX);
    EXPECT_EQ(element, "[18446744073709551615]");
}

} // namespace
} // namespace kxcore
