#include "constraint_nearest.h"

#include "support/constraint_values.h"

#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_string.h>

namespace kxcore::constraint_tests {
namespace {

TEST(nearest_valid_value, makes_strings_fit) {
    constraint_string const by(1, 3);
    EXPECT_EQ(nearest_valid_value(by, str("abcd").get())->to_string(), "abc");
    EXPECT_EQ(nearest_valid_value(by, str("äöüß").get())->to_string(), "äöü");
    EXPECT_EQ(nearest_valid_value(by, num(12345).get())->to_string(), "123");
    EXPECT_EQ(nearest_valid_value(by, flag(true).get())->to_string(), "tru");
    EXPECT_FALSE(nearest_valid_value(by, str("").get()));
    EXPECT_FALSE(nearest_valid_value(by, list().get()));
    EXPECT_FALSE(nearest_valid_value(by, nullptr));
    EXPECT_FALSE(nearest_valid_value(constraint_string("a+"), str("b").get()));
}

} // namespace
} // namespace kxcore::constraint_tests
