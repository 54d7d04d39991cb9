#include "constraint_found.h"

#include "support/constraint_values.h"

#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_values.h>

namespace kxcore::constraint_tests {
namespace {

TEST(is_secret_name, knows_the_usual_words_in_any_case) {
    for (std::string_view const secret :
         {"password", "smtp-password", "PASSWORD", "passwd", "passphrase", "secret", "client-secret", "Token",
          "api-key", "access-key", "credentials", "private-key", "passcode"})
        EXPECT_TRUE(is_secret_name(secret)) << secret;
    for (std::string_view const plain : {"", "name", "source-url", "pass", "key", "author", "passive"})
        EXPECT_FALSE(is_secret_name(plain)) << plain;
}

TEST(found_text, shows_only_the_kind_of_a_secret) {
    struct row {
        value given;
        std::string_view shown;
    };
    row const rows[] = {
        {str("x"), "a string (not shown)"},     {num(1), "an int (not shown)"},
        {flag(true), "a bool (not shown)"},     {bytes("x"), "a binary value (not shown)"},
        {tree(), "a tree (not shown)"},         {list(), "a list (not shown)"},
        {wrapped("x"), "a wrapped credential"}, {carried(make<constraint_bool>()), "a constraint (not shown)"}};
    for (row const& each : rows)
        EXPECT_EQ(found_text(*each.given, true), each.shown);
}

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
