#include "model_samples.h"

#include <kxbase/errors.h>

#include <gtest/gtest.h>

namespace kxcore {
namespace {

using namespace samples;

TEST(property_string, holds_any_bytes) {
    auto const value = kxbase::make_refcount<property_string>(all_bytes());
    EXPECT_EQ(value->value(), all_bytes());
    EXPECT_EQ(value->value().data()[256], '\0');
    EXPECT_EQ(kxbase::make_refcount<property_string>()->value(), "");
    EXPECT_EQ(value->kind(), property_string::class_kind());
}

TEST(property_string, is_always_an_object_of_its_own) {
    EXPECT_NE(text("x").get(), text("x").get());
    EXPECT_NE(text("").get(), text("").get());
    property_handle const value = text("x");
    EXPECT_NE(value->clone().get(), value.get());
}

TEST(property_string, takes_one_small_allocation) {
    EXPECT_EQ(sizeof(property_string), 16U);
}

TEST(property_bool, is_shared) {
    EXPECT_EQ(flag(true).get(), flag(true).get());
    EXPECT_NE(flag(true).get(), flag(false).get());
    EXPECT_TRUE(kxbase::make_refcount<property_bool>(true)->value());
    EXPECT_FALSE(property_bool(false).value());
    EXPECT_EQ(flag(true)->kind(), property_bool::class_kind());
}

TEST(property_int, is_shared_when_small) {
    EXPECT_EQ(number(7).get(), number(7).get());
    EXPECT_NE(number(1'000'000).get(), number(1'000'000).get());
    std::vector<std::int64_t> const edges{INT64_MIN, -17, -16, -1, 0, 1, 1023, 1024, INT64_MAX};
    for (std::int64_t const edge : edges) {
        EXPECT_EQ(kxbase::make_refcount<property_int>(edge)->value(), edge);
        EXPECT_TRUE(*number(edge)->clone() == *number(edge));
    }
    EXPECT_EQ(property_int(5).value(), 5);
    EXPECT_EQ(number(7)->kind(), property_int::class_kind());
}

TEST(property_binary, is_filled_by_whoever_makes_it) {
    auto const value = kxbase::make_refcount<property_binary>();
    EXPECT_TRUE(value->value().empty());
    value->value().append(std::string_view("abc"));
    property_binary const& shared = *value;
    EXPECT_EQ(shared.value().text(), "abc");
    auto const copy = value->clone();
    value->value().append(std::string_view("d"));
    EXPECT_EQ(static_cast<property_binary const&>(*copy).value().text(), "abc");
    EXPECT_EQ(value->kind(), property_binary::class_kind());
}

TEST(property_constraint, holds_the_constraint_given_and_never_none) {
    auto const rule = kxbase::make_refcount<constraint_enum>(std::string("a|b"));
    property_constraint const value{kxbase::ptr_refcount<constraint const>(rule)};
    EXPECT_EQ(value.value().get(), rule.get());
    EXPECT_EQ(value.kind(), property_constraint::class_kind());
    EXPECT_NE(static_cast<property_constraint const&>(*value.clone()).value().get(), rule.get());
    EXPECT_THROW(property_constraint(kxbase::ptr_refcount<constraint const>()), kxbase::es::arg);
}

} // namespace
} // namespace kxcore
