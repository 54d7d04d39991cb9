#include "url_credentials.h"

#include <gmock/gmock.h>

namespace {

TEST(user_information, is_taken_out_and_put_back) {
    struct {
        std::string url;
        std::string readable;
        std::string user_info;
    } const cases[] = {
        {"ftp://u:p@h:21/d?q#f", "ftp://h:21/d?q#f", "u:p@"},
        {"ftp://u:p@q@h/", "ftp://h/", "u:p@q@"},
        {"ftp://@h", "ftp://h", "@"},
        {"//u@h/x", "//h/x", "u@"},
        {"ftp://h/a@b", "ftp://h/a@b", ""},
        {"ftp://h?a@b", "ftp://h?a@b", ""},
        {"ftp:/u@h", "ftp:/u@h", ""},
        {"u@h", "u@h", ""},
        {"", "", ""},
    };
    for (auto const& [url, readable, user_info] : cases) {
        auto const parts = kxcore::without_user_info(url);
        EXPECT_EQ(parts.readable, readable);
        EXPECT_EQ(parts.user_info, user_info);
        EXPECT_EQ(kxcore::with_user_info(readable, user_info), url);
    }
}

TEST(urls_for_messages, show_no_secret_even_of_careless_passwords) {
    struct {
        std::string url;
        std::string shown;
    } const cases[] = {
        {"ftp://u:p@h:21/d/f?token=1#f", "ftp://h:21/d/f"},
        {"ftp://u:p/w@h/d", "ftp://h/d"},
        {"ftp://u:p?w@h/d", "ftp://h/d"},
        {"ftp://u:p#w@h/d", "ftp://h/d"},
        {"ftp://u@h/d", "ftp://h/d"},
        {"http://h/a@b", "http://h/a@b"},
        {"file:/a/b", "file:/a/b"},
        {"", ""},
    };
    for (auto const& [url, shown] : cases)
        EXPECT_EQ(kxcore::url_for_messages(url), shown) << url;
}

} // namespace
