#include "key_numbers.h"

#include <gtest/gtest.h>

#include <string>

namespace kxcore {
namespace {

TEST(key_numbers, come_in_the_order_in_which_keys_are_added_and_can_be_taken_back) {
    property_key const keys[] = {property_key("shared"), property_key(), property_key(std::string(300, 'k')),
                                 property_key("other")};
    key_numbers numbers;
    for (int round = 0; round < 2; ++round) {
        for (property_key const& key : keys) {
            EXPECT_EQ(numbers.find(key), 0U);
            numbers.add(key);
            EXPECT_EQ(numbers.find(key), numbers.size());
            property_key const* const found = numbers.key_of(numbers.size());
            ASSERT_NE(found, nullptr);
            EXPECT_EQ(found->text(), key.text());
        }
        EXPECT_EQ(numbers.find(property_key(std::string(300, 'k'))), 3U);
        EXPECT_EQ(numbers.key_of(0), nullptr);
        EXPECT_EQ(numbers.key_of(5), nullptr);
        numbers.cut(1);
        EXPECT_EQ(numbers.find(keys[0]), 1U);
        EXPECT_EQ(numbers.find(keys[2]), 0U);
        numbers.cut(0);
    }
}

} // namespace
} // namespace kxcore
