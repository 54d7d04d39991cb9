#include "constraint_found.h"

#include "support/constraint_values.h"

#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_values.h>

namespace kxcore::constraint_tests {
namespace {

TEST(suggestion_text, is_empty_without_a_good_guess) {
    EXPECT_EQ(suggestion_text(constraint_enum("alpha|beta"), *str("betta")), "\"beta\"");
    EXPECT_EQ(suggestion_text(constraint_enum("alpha|beta"), *str("gamma")), "");
    EXPECT_EQ(suggestion_text(constraint_enum("alpha|beta"), *num(1)), "");
    EXPECT_EQ(suggestion_text(constraint_int(0, 5), *num(9)), "5");
    EXPECT_EQ(suggestion_text(constraint_int(0, 5), *str("x")), "");
    EXPECT_EQ(suggestion_text(constraint_bool(), *str("Yes")), "true");
}

} // namespace
} // namespace kxcore::constraint_tests
