#include <kxbase/utf8.h>

#include <gmock/gmock.h>

#include <string>

using kxbase::is_valid_utf8;
using kxbase::valid_utf8_prefix;

namespace {

/// The shortest form of a character, by the definition; surrogates and numbers beyond the last character, too.
std::string encoded(char32_t c) {
    auto const tail = [c](int shift) { return static_cast<char>(0x80 | ((c >> shift) & 0x3f)); };
    if (c < 0x80) return {static_cast<char>(c)};
    if (c < 0x800) return {static_cast<char>(0xc0 | (c >> 6)), tail(0)};
    if (c < 0x10000) return {static_cast<char>(0xe0 | (c >> 12)), tail(6), tail(0)};
    return {static_cast<char>(0xf0 | (c >> 18)), tail(12), tail(6), tail(0)};
}

} // namespace

TEST(utf8, every_character_is_valid_and_no_surrogate_is) {
    for (char32_t c = 0; c <= 0x110fff; ++c) {
        bool const character = c <= 0x10ffff && (c < 0xd800 || c > 0xdfff);
        ASSERT_EQ(is_valid_utf8(encoded(c)), character) << std::hex << static_cast<unsigned int>(c);
    }
}

TEST(utf8, every_pair_of_bytes_is_judged_by_the_definition) {
    for (int first = 0; first < 256; ++first)
        for (int second = 0; second < 256; ++second) {
            std::string const text = {static_cast<char>(first), static_cast<char>(second)};
            bool const two_ascii = first < 0x80 && second < 0x80;
            bool const one_character = first >= 0xc2 && first <= 0xdf && second >= 0x80 && second <= 0xbf;
            ASSERT_EQ(is_valid_utf8(text), two_ascii || one_character) << first << ' ' << second;
        }
}

TEST(utf8, refuses_longer_forms_cut_off_characters_and_foreign_bytes) {
    for (char const* const text : {"\xc0\x80",
                                   "\xc1\xbf",
                                   "\xe0\x80\x80",
                                   "\xe0\x9f\xbf",
                                   "\xf0\x80\x80\x80",
                                   "\xf0\x8f\xbf\xbf", // longer forms
                                   "\xed\xa0\x80",
                                   "\xed\xbf\xbf", // surrogates
                                   "\xf4\x90\x80\x80",
                                   "\xf5\x80\x80\x80",
                                   "\xff",
                                   "\xfe", // too large
                                   "\x80",
                                   "\xbf",
                                   "\xc3",
                                   "\xe2\x82",
                                   "\xf0\x9f\x8e",
                                   "\xe2\x28\xa1",
                                   "\xe2\x82\x28",
                                   "\xf0\x28\x8c\xbc",
                                   "\xf0\x9f\x28\xac",
                                   "\xf0\x9f\x8e\x28"}) {
        EXPECT_FALSE(is_valid_utf8(text)) << testing::PrintToString(text);
        EXPECT_EQ(valid_utf8_prefix(text), 0u);
    }
}

TEST(utf8, holds_for_any_length_and_alignment) {
    EXPECT_TRUE(is_valid_utf8(""));
    EXPECT_TRUE(is_valid_utf8(std::string_view("\0\x01", 2)));
    std::string const piece = "a\xc3\xbc"
                              "b\xe2\x82\xac\xf0\x9f\x8e\xac";
    for (std::size_t before = 0; before < 40; ++before)
        for (std::size_t after = 0; after < 40; ++after) {
            std::string const good = std::string(before, 'x') + piece + std::string(after, 'y');
            ASSERT_TRUE(is_valid_utf8(good)) << before << ' ' << after;
            std::string const bad = std::string(before, 'x') + piece + "\x80" + std::string(after, 'y');
            ASSERT_EQ(valid_utf8_prefix(bad), before + piece.size());
        }
}

TEST(utf8, finds_one_bad_byte_wherever_it_stands) {
    for (std::size_t size = 1; size < 70; ++size)
        for (std::size_t at = 0; at < size; ++at) {
            std::string text(size, 'a');
            text[at] = '\xff';
            ASSERT_EQ(valid_utf8_prefix(text), at);
        }
}
