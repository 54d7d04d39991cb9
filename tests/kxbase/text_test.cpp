#include <kxbase/text.h>

#include <gmock/gmock.h>

#include <climits>
#include <map>
#include <string>
#include <vector>

using kxbase::conv::string_to_uint;
using kxbase::strutil::string_replaced;
using kxbase::strutil::tokenize_string;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> pieces(std::string_view text, char separator, bool keep_empty) {
    std::vector<std::string> out;
    tokenize_string(text, separator, out, keep_empty);
    return out;
}

} // namespace

TEST(string_with_format, prints_like_printf) {
    EXPECT_EQ(kxbase::string_with_format("clips[%u]{url}", 3u), "clips[3]{url}");
    EXPECT_EQ(kxbase::string_with_format("%s has %d of %5.2f%%", "x", -1, 2.5), "x has -1 of  2.50%");
    EXPECT_EQ(kxbase::string_with_format("%s", ""), "");
}

TEST(string_with_format, has_no_longest_result) {
    for (std::size_t const size : {510u, 511u, 512u, 513u, 100'000u}) {
        std::string const text(size, 'a');
        EXPECT_EQ(kxbase::string_with_format("%s!", text.c_str()), text + "!");
    }
}

TEST(string_empty_string, is_empty_and_always_the_same) {
    EXPECT_EQ(kxbase::string_empty_string(), "");
    EXPECT_EQ(&kxbase::string_empty_string(), &kxbase::string_empty_string());
}

TEST(trimmed, strips_every_such_character_at_both_ends) {
    EXPECT_EQ(kxbase::trimmed("$source.name$", '$'), "source.name");
    EXPECT_EQ(kxbase::trimmed("$$a$b$$$", '$'), "a$b");
    EXPECT_EQ(kxbase::trimmed("name", '$'), "name");
    EXPECT_EQ(kxbase::trimmed("$$$", '$'), "");
    EXPECT_EQ(kxbase::trimmed("", '$'), "");
    EXPECT_EQ(kxbase::trimmed(" a ", '$'), " a ");
}

TEST(string_to_uppercase, changes_ascii_letters_alone) {
    EXPECT_EQ(kxbase::string_to_uppercase("sAs 9-z`{"), "SAS 9-Z`{");
    EXPECT_EQ(kxbase::string_to_uppercase("\xc3\xa4"), "\xc3\xa4");
    EXPECT_EQ(kxbase::string_to_uppercase(""), "");
}

TEST(prefixes_and_suffixes, are_named_first) {
    EXPECT_TRUE(kxbase::starts_with("kxrc:/", "kxrc:/a"));
    EXPECT_FALSE(kxbase::starts_with("kxrc:/a", "kxrc:/"));
    EXPECT_TRUE(kxbase::starts_with("", ""));
    EXPECT_FALSE(kxbase::starts_with("FILE", "file"));
    EXPECT_TRUE(kxbase::ends_with(".mov", "a.mov"));
    EXPECT_FALSE(kxbase::ends_with("a.mov", ".mov"));
    EXPECT_TRUE(kxbase::ends_with("", "a"));
}

TEST(contains, asks_for_the_second_in_the_first) {
    EXPECT_TRUE(kxbase::contains("configuration{source-url}", "url}"));
    EXPECT_FALSE(kxbase::contains("url}", "configuration{source-url}"));
    EXPECT_TRUE(kxbase::contains("", ""));
    EXPECT_FALSE(kxbase::contains("", "a"));
}

TEST(tokenize_string, keeps_empty_pieces_on_demand_at_the_ends_too) {
    EXPECT_THAT(pieces("a|b||c", '|', true), ElementsAre("a", "b", "", "c"));
    EXPECT_THAT(pieces("a|", '|', true), ElementsAre("a", ""));
    EXPECT_THAT(pieces("|a", '|', true), ElementsAre("", "a"));
    EXPECT_THAT(pieces("|", '|', true), ElementsAre("", ""));
    EXPECT_THAT(pieces("a", '|', true), ElementsAre("a"));
    EXPECT_THAT(pieces("", '|', true), IsEmpty());
}

TEST(tokenize_string, leaves_empty_pieces_out_otherwise) {
    EXPECT_THAT(pieces("|a||b|", '|', false), ElementsAre("a", "b"));
    EXPECT_THAT(pieces("||", '|', false), IsEmpty());
    EXPECT_THAT(pieces("", '|', false), IsEmpty());
}

TEST(tokenize_string, appends_to_what_is_there) {
    std::vector<std::string> out = {"before"};
    tokenize_string("a$b", '$', out, true);
    EXPECT_THAT(out, ElementsAre("before", "a", "b"));
}

TEST(string_replaced, replaces_every_occurrence_of_every_key) {
    std::map<std::string, std::string> const table = {{"$TMPPATH$", "/tmp"}, {"$PRODLONG$", "Vostrel"}};
    EXPECT_EQ(string_replaced("$TMPPATH$/$PRODLONG$/$TMPPATH$", table), "/tmp/Vostrel//tmp");
    EXPECT_EQ(string_replaced("no placeholder", table), "no placeholder");
    EXPECT_EQ(string_replaced("$UNKNOWN$ $TMPPATH", table), "$UNKNOWN$ $TMPPATH");
    EXPECT_EQ(string_replaced("$source.filename$PRODLONG$", table), "$source.filenameVostrel");
    EXPECT_EQ(string_replaced("", table), "");
    EXPECT_EQ(string_replaced("text", {}), "text");
}

TEST(string_replaced, takes_the_longest_key_at_each_position) {
    std::map<std::string, std::string> const table = {{"a", "1"}, {"ab", "2"}, {"abc", "3"}, {"b", "4"}, {"abd", "5"}};
    EXPECT_EQ(string_replaced("abcabaabdb", table), "32154");
    EXPECT_EQ(string_replaced("abce", table), "3e");
}

TEST(string_replaced, never_looks_at_what_it_put_in) {
    EXPECT_EQ(string_replaced("$A$", {{"$A$", "$B$"}, {"$B$", "$A$"}}), "$B$");
    EXPECT_EQ(string_replaced("aa", {{"a", "aa"}}), "aaaa");
    // Neither alone nor together with what follows.
    EXPECT_EQ(string_replaced("$A$B$", {{"$A$", "$"}, {"$B$", "injected"}}), "$B$");
}

TEST(string_replaced, never_finds_the_empty_key) {
    EXPECT_EQ(string_replaced("ab", {{"", "x"}, {"b", "c"}}), "ac");
}

TEST(string_replaced, finds_keys_of_any_bytes) {
    EXPECT_EQ(string_replaced(std::string("a\0b\xff", 4), {{std::string("\0b", 2), "-"}, {"\xff", "+"}}), "a-+");
}

TEST(string_to_uint, takes_the_leading_digits) {
    EXPECT_EQ(string_to_uint("123abc", 10), 123u);
    EXPECT_EQ(string_to_uint("007"), 7u);
    EXPECT_EQ(string_to_uint("ff", 16), 255u);
    EXPECT_EQ(string_to_uint("FFg", 16), 255u);
    EXPECT_EQ(string_to_uint("777", 8), 511u);
    EXPECT_EQ(string_to_uint("Zz", 36), 35u * 36 + 35);
    EXPECT_EQ(string_to_uint("102", 2), 2u);
}

TEST(string_to_uint, gives_zero_where_there_are_none) {
    for (char const* const text : {"", "x", "-1", "+1", " 1", "."})
        EXPECT_EQ(string_to_uint(text, 10), 0u) << text;
    EXPECT_EQ(string_to_uint("0x10", 16), 0u);
    EXPECT_EQ(string_to_uint("1", 1), 0u);
    EXPECT_EQ(string_to_uint("1", 0), 0u);
    EXPECT_EQ(string_to_uint("1", 37), 0u);
}

TEST(string_to_uint, saturates) {
    EXPECT_EQ(string_to_uint("4294967295", 10), UINT_MAX);
    EXPECT_EQ(string_to_uint("4294967294", 10), UINT_MAX - 1);
    EXPECT_EQ(string_to_uint("4294967296", 10), UINT_MAX);
    EXPECT_EQ(string_to_uint(std::string(1'000, '9') + "x", 10), UINT_MAX);
    EXPECT_EQ(string_to_uint("100000000", 16), UINT_MAX);
}
