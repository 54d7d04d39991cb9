#include "model_samples.h"

#include <gtest/gtest.h>

namespace kxcore {
namespace {

using namespace samples;

TEST(property_description, is_for_people) {
    using special = property_special;
    EXPECT_EQ(text("a\"\\\n\x7f").get()->describe(), "string \"a\\\"\\\\\\x0a\\x7f\"");
    EXPECT_EQ(text(std::string(200, 'x'))->describe(), "string \"" + std::string(120, 'x') + "\"... (200 bytes)");
    EXPECT_EQ(flag(true)->describe(), "bool true");
    EXPECT_EQ(flag(false)->describe(), "bool false");
    EXPECT_EQ(number(-5)->describe(), "int -5");
    EXPECT_EQ(bytes("abc")->describe(), "binary of 3 bytes");
    EXPECT_EQ(special::create_deferred(property_kind::string)->describe(), "deferred string");
    EXPECT_EQ(special::create_deferred_variable(property_kind::string, "dest-url")->describe(),
              "deferred string from variable \"dest-url\"");
    EXPECT_EQ(tree({})->describe(), "properties of 0");
    EXPECT_EQ(tree({{"a", list({text("x"), number(1)})}, {"b", tree({{"c", flag(true)}})}})->describe(),
              "properties of 2\n"
              "  \"a\": list of 2\n"
              "    [0]: string \"x\"\n"
              "    [1]: int 1\n"
              "  \"b\": properties of 1\n"
              "    \"c\": bool true");
    EXPECT_EQ(choice("a|b")->describe().substr(0, 12), "constraint: ");
    std::string appended = "x ";
    number(1)->describe(appended);
    EXPECT_EQ(appended, "x int 1");
}

TEST(property_description, does_not_show_what_a_credential_wraps) {
    using special = property_special;
    auto const wrapped = special::create_from_parts(special::e_type::wrapped_encrypted, special::e_sub_type::credential,
                                                    property_kind::string, "ciphertext");
    EXPECT_EQ(wrapped->describe(), "wrapped-encrypted string");
}

} // namespace
} // namespace kxcore
