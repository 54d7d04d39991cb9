#include "model_samples.h"

#include <kxbase/errors.h>

#include <gtest/gtest.h>

namespace kxcore {
namespace {

using e_type = property_special::e_type;
using e_sub_type = property_special::e_sub_type;

TEST(property_special, has_the_numbers_that_documents_hold) {
    EXPECT_EQ(static_cast<int>(e_type::deferred), 2);
    EXPECT_EQ(static_cast<int>(e_sub_type::plain), 0);
    EXPECT_EQ(static_cast<int>(e_sub_type::context), 2);
    EXPECT_EQ(static_cast<int>(e_sub_type::variable), 3);
    EXPECT_EQ(static_cast<int>(e_sub_type::credential), 9);
}

TEST(property_special, is_made_by_its_creators) {
    auto const plain = property_special::create_deferred(property_kind::string);
    EXPECT_EQ(plain->type(), e_type::deferred);
    EXPECT_EQ(plain->sub_type(), e_sub_type::plain);
    EXPECT_EQ(plain->value_kind(), property_kind::string);
    EXPECT_EQ(plain->value(), "");
    EXPECT_EQ(plain->kind(), property_kind::special);
    auto const variable = property_special::create_deferred_variable(property_kind::list, "dest-url");
    EXPECT_EQ(variable->type(), e_type::deferred);
    EXPECT_EQ(variable->sub_type(), e_sub_type::variable);
    EXPECT_EQ(variable->value_kind(), property_kind::list);
    EXPECT_EQ(variable->value(), "dest-url");
    auto const context = property_special::create_deferred_context(property_kind::string, "unix-timestring");
    EXPECT_EQ(context->sub_type(), e_sub_type::context);
    EXPECT_EQ(context->value(), "unix-timestring");
    EXPECT_NE(property_special::create_deferred(property_kind::string).get(), plain.get());
    EXPECT_NE(plain->clone().get(), plain.get());
}

TEST(property_special, is_made_of_its_parts_when_they_belong_together) {
    for (int type = 0; type < 6; ++type) {
        for (int sub_type = 0; sub_type < 11; ++sub_type) {
            bool const is_deferred = type == 2 && (sub_type == 0 || sub_type == 2 || sub_type == 3);
            bool const is_credential = (type == 3 || type == 4) && sub_type == 9;
            auto const make = [&] {
                return property_special::create_from_parts(static_cast<e_type>(type), static_cast<e_sub_type>(sub_type),
                                                           property_kind::string, "t");
            };
            if (is_deferred || is_credential) {
                auto const made = make();
                EXPECT_EQ(static_cast<int>(made->type()), type);
                EXPECT_EQ(static_cast<int>(made->sub_type()), sub_type);
                EXPECT_EQ(made->value(), "t");
            } else {
                EXPECT_THROW((void)make(), kxbase::es::arg) << type << ' ' << sub_type;
            }
        }
    }
}

TEST(property_special, stands_for_a_known_kind_that_is_not_special_itself) {
    for (unsigned int kind = 0; kind < 12; ++kind) {
        auto const make = [&] { return property_special::create_deferred(static_cast<property_kind>(kind)); };
        if (kind != 0 && is_property_kind(kind)) {
            EXPECT_EQ(static_cast<unsigned int>(make()->value_kind()), kind);
        } else {
            EXPECT_THROW((void)make(), kxbase::es::arg) << kind;
        }
    }
}

TEST(property_special, has_names_that_lead_back) {
    for (e_type const type : {e_type::deferred, e_type::wrapped_urlupp, e_type::wrapped_encrypted}) {
        e_type found{};
        ASSERT_TRUE(special_type_from_name(special_type_name(type), found));
        EXPECT_EQ(found, type);
    }
    for (e_sub_type const type :
         {e_sub_type::plain, e_sub_type::context, e_sub_type::variable, e_sub_type::credential}) {
        e_sub_type found{};
        ASSERT_TRUE(special_sub_type_from_name(special_sub_type_name(type), found));
        EXPECT_EQ(found, type);
    }
    e_type type = e_type::deferred;
    e_sub_type sub_type = e_sub_type::context;
    EXPECT_FALSE(special_type_from_name("wrapped", type));
    EXPECT_FALSE(special_sub_type_from_name("", sub_type));
    EXPECT_EQ(type, e_type::deferred);
    EXPECT_EQ(sub_type, e_sub_type::context);
    EXPECT_EQ(special_type_name(static_cast<e_type>(7)), "");
    EXPECT_EQ(special_sub_type_name(static_cast<e_sub_type>(7)), "");
}

} // namespace
} // namespace kxcore
