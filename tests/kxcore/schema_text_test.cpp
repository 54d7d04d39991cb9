#include "schema_text.h"

#include <gtest/gtest.h>

#include <re2/re2.h>

namespace {

using kxcore::fits_xml;
using kxcore::pattern_of_others;

TEST(schema_text, tells_what_a_document_holds_as_it_is) {
    for (std::string_view const text : {"", "a", "a b\t\n\r", "\xC3\xA9", "<&>\""})
        EXPECT_TRUE(fits_xml(text)) << text;
    for (std::string_view const text : {"\x01", "a\x1f", "\xFF", "\xEF\xBF\xBE", "a\xEF\xBF\xBF"})
        EXPECT_FALSE(fits_xml(text)) << text;
    EXPECT_FALSE(fits_xml(std::string_view("\0", 1)));
}

TEST(schema_text, a_pattern_of_others_matches_all_texts_but_the_given_ones) {
    std::set<std::string_view> const known = {"name", "names", "na",       "url",
                                              "a.b",  "[x]",   "\xC3\xA9", "\xC3\xA8t\xC3\xA9"};
    RE2 const pattern(pattern_of_others(known));
    ASSERT_TRUE(pattern.ok()) << pattern.error();
    for (std::string_view const text : known)
        EXPECT_FALSE(RE2::FullMatch(re2::StringPiece(text.data(), text.size()), pattern)) << text;
    for (std::string const text : {"", "n", "nam", "namely", "namess", "x", "ur", "urls", "aXb", "a.", "[x", "x]",
                                   "\xC3\xA8", "\xC3\xA8t", "\xC3\xA9\xC3\xA9", "na\nme", "\n"})
        EXPECT_TRUE(RE2::FullMatch(text, pattern)) << text;
}

TEST(schema_text, without_texts_everything_is_another) {
    EXPECT_EQ(pattern_of_others({}), R"(([\s\S][\s\S]*)?)");
}

} // namespace
