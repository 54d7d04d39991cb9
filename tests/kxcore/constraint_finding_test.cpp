#include <kxcore/constraint_finding.h>

#include <gtest/gtest.h>

namespace kxcore {
namespace {

TEST(finding, reads_as_one_line) {
    struct row {
        finding what;
        std::string_view line;
    };
    row const rows[] = {
        {{e_finding::misfit, "a{b}", "the int 12", "an int from 0 to 10", "10"},
         "a{b}: found the int 12, must be an int from 0 to 10 (did you mean 10?)"},
        {{e_finding::misfit, "a", "the int 12", "a bool", ""}, "a: found the int 12, must be a bool"},
        {{e_finding::misfit, "", "the int 12", "a bool", ""}, "found the int 12, must be a bool"},
        {{e_finding::unknown, "a", "an int (not shown)", "one of \"b\"", "\"b\""},
         "a: unknown key, must be one of \"b\" (did you mean \"b\"?)"},
        {{e_finding::unknown, "a", "an int (not shown)", "", ""}, "a: unknown key"},
        {{e_finding::missing, "a[0]{b}", "", "a string", ""}, "a[0]{b}: missing, must be a string"},
        {{e_finding::misfit, "a\n\"\\\x7F\xFF", "x", "y", ""}, "a\\n\\\"\\\\\\x7f\\xff: found x, must be y"},
    };
    for (row const& each : rows)
        EXPECT_EQ(each.what.to_string(), each.line);
}

} // namespace
} // namespace kxcore
