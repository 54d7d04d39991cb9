#include <kxbase/uuid.h>

#include <gmock/gmock.h>

#include <regex>
#include <set>
#include <string>

TEST(string_uuid, has_the_form_of_a_random_uuid_in_the_case_asked_for) {
    std::regex const lower("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    std::regex const upper("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(std::regex_match(kxbase::string_uuid(true), lower));
        EXPECT_TRUE(std::regex_match(kxbase::string_uuid(false), upper));
    }
}

TEST(string_uuid, is_fresh_each_time) {
    std::set<std::string> seen;
    for (int i = 0; i < 10'000; ++i)
        EXPECT_TRUE(seen.insert(kxbase::string_uuid(i % 2 == 0)).second);
}
