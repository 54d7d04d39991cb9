#include "constraint_pattern.h"

#include <gtest/gtest.h>

namespace kxcore {
namespace {

TEST(xsd_pattern, translates_what_xml_schema_can_express) {
    struct row {
        std::string_view pattern;
        std::string_view facet;
    };
    row const rows[] = {
        {"abc", "abc"},
        {"^abc$", "abc"},
        {"a|b", "a|b"},
        {"(?:a|b)+c?", "(a|b)+c?"},
        {"(a)*", "(a)*"},
        {"a*?b+?c??", "a*b+c?"},
        {"a{2}b{2,}c{2,3}d{2}?", "a{2}b{2,}c{2,3}d{2}"},
        {"a{,3}", "a\\{,3\\}"},
        {"a{x}", "a\\{x\\}"},
        {"a{", "a\\{"},
        {"a{}", "a\\{\\}"},
        {"a{1,2,3}", "a\\{1,2,3\\}"},
        {"a]", "a\\]"},
        {".", "[^\\n]"},
        {"(?s).*", "[\\s\\S]*"},
        {"\\d\\w\\s", "[0-9][0-9A-Za-z_][\\t\\n\\r ]"},
        {"\\D\\W\\S", "[^0-9][^0-9A-Za-z_][^\\t\\n\\r ]"},
        {"[\\d.]", "[0-9.]"},
        {"\\.\\\\\\-\\[\\^\\n", "\\.\\\\\\-\\[\\^\\n"},
        {"\\/\\$\\@", "/$@"},
        {"[a-z0-9+.-]*:.*", "[a-z0-9+.\\-]*:[^\\n]*"},
        {"[^/]+", "[^/]+"},
        {"[]a]", "[\\]a]"},
        {"[-a^[]", "[\\-a\\^\\[]"},
        {"[\\]]", "[\\]]"},
        {"é+", "é+"},
    };
    for (row const& each : rows)
        EXPECT_EQ(xsd_pattern(each.pattern), std::string(each.facet)) << each.pattern;
}

TEST(xsd_pattern, gives_up_on_everything_else) {
    for (std::string_view const pattern :
         {"(?i)a", "(?P<n>a)", "a^b", "a$b", "\\bword", "\\pL", "\\p{Greek}", "\\Aa", "\\z", "\\x41", "\\Qa\\E",
          "[[:alpha:]]", "[\\D]", "[a", "a\\", "\\\xC3\xA9"})
        EXPECT_EQ(xsd_pattern(pattern), std::nullopt) << pattern;
}

} // namespace
} // namespace kxcore
