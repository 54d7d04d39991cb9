#include "txt_record.h"

#include <kxbase/errors.h>

#include <gmock/gmock.h>

namespace {

using entries = std::vector<std::pair<std::string, std::string>>;

std::string error_of(entries const& given) {
    try {
        return "no error, " + std::to_string(kxnet::encode_txt_record(given).size()) + " bytes";
    } catch (kxbase::es::arg const& error) {
        return error.message();
    }
}

} // namespace

TEST(txt_record, is_made_of_entries_with_their_lengths) {
    EXPECT_EQ(kxnet::encode_txt_record({{"id", "n1"}, {"x", ""}, {"b", std::string("\0=", 2)}}),
              std::string("\5id=n1\2x=\4b=\0=", 14));
    EXPECT_EQ(kxnet::encode_txt_record({}), std::string(1, '\0'));
}

TEST(txt_record, names_what_it_cannot_hold) {
    EXPECT_EQ(error_of({{"k", std::string(253, 'v')}}), "no error, 256 bytes");
    EXPECT_EQ(error_of({{"k", std::string(254, 'v')}}), "the entry \"k\" of a TXT record has 256 bytes, at most 255");
    for (auto const& [key, shown] : {std::pair("", ""), std::pair("a=b", "a=b"), std::pair("a\nb", "a\\nb"),
                                     std::pair("\xc3\xa4", "\xc3\xa4"), std::pair("\xff", "\\xFF")})
        EXPECT_EQ(error_of({{key, "v"}}),
                  std::string("the key \"") + shown + "\" of a TXT record is not made of printable ASCII without '='");
    EXPECT_EQ(error_of(entries(255, {"k", std::string(253, 'v')})), "no error, 65280 bytes");
    EXPECT_EQ(error_of(entries(256, {"k", std::string(253, 'v')})), "a TXT record of 65536 bytes, at most 65535");
}

TEST(txt_record, is_the_same_in_any_order) {
    std::string const first("\5id=n1\4uc=7", 11);
    EXPECT_TRUE(kxnet::have_same_entries(first, first));
    EXPECT_TRUE(kxnet::have_same_entries(first, std::string("\4uc=7\5id=n1", 11)));
    EXPECT_TRUE(kxnet::have_same_entries("", ""));
    EXPECT_TRUE(kxnet::have_same_entries(std::string("\2a=\0", 4), std::string("\0\2a=", 4)));
    EXPECT_FALSE(kxnet::have_same_entries(first, std::string("\5id=n1\4uc=8", 11)));
    EXPECT_FALSE(kxnet::have_same_entries(first, std::string("\5id=n1", 6)));
    EXPECT_FALSE(kxnet::have_same_entries(std::string("\1a\1a\1b", 6), std::string("\1a\1b\1b", 6)));
    EXPECT_FALSE(kxnet::have_same_entries("\xff"
                                          "a",
                                          "\xff"
                                          "b"))
        << "cut off";
}
