#include "schema_text.h"

#include <kxcore/constraint_string.h>
#include <kxcore/property_values.h>

#include <gtest/gtest.h>

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
    kxcore::constraint_string const others{std::string_view(pattern_of_others(known))};
    auto const is_other = [&others](std::string_view text) {
        return others.is_valid(kxbase::make_refcount<kxcore::property_string>(text).get(), kxcore::validity::none);
    };
    for (std::string_view const text : known)
        EXPECT_FALSE(is_other(text)) << text;
    for (std::string_view const text : {"", "n", "nam", "namely", "namess", "x", "ur", "urls", "aXb", "a.", "[x", "x]",
                                        "\xC3\xA8", "\xC3\xA8t", "\xC3\xA9\xC3\xA9", "na\nme", "\n"})
        EXPECT_TRUE(is_other(text)) << text;
}

TEST(schema_text, without_texts_everything_is_another) {
    EXPECT_EQ(pattern_of_others({}), R"(([\s\S][\s\S]*)?)");
}

} // namespace
