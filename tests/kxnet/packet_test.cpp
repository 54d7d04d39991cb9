#include <kxnet/packet.h>

#include <kxcore/property_values.h>

#include <gtest/gtest.h>

namespace {

using kxp::e_packet_type;
using kxp::packet;

TEST(packet, is_made_of_a_type_and_a_name) {
    packet const made(2, "admin.login");
    EXPECT_EQ(made.get_type(), 2u);
    EXPECT_TRUE(made.is(e_packet_type::request));
    EXPECT_FALSE(made.is(e_packet_type::reply));
    EXPECT_EQ(made.get_name(), "admin.login");
    EXPECT_EQ(made.get_request_number(), 0u);
    EXPECT_TRUE(made.get_properties().empty());
}

TEST(packet, takes_properties_and_an_empty_handle_removes_one) {
    packet made(2, "x");
    made.set_property("a", "text");
    made.set_property("b", kxcore::property_int::create(3));
    made.set_property("c", kxbase::ptr_refcount<kxcore::property>(kxbase::make_refcount<kxcore::properties>()));
    EXPECT_EQ(made.get_properties().size(), 3u);
    EXPECT_EQ(made.get_properties().get_string_value("a"), "text");
    EXPECT_EQ(made.get_properties().get_int_value("b"), 3);
    made.set_property("a", kxcore::property_handle());
    EXPECT_FALSE(made.get_properties().is_present("a"));
}

TEST(packet, is_answered_under_its_own_name_and_number) {
    packet request(2, "job");
    request.set_request_number(17);
    request.set_property("a", "text");
    packet const reply = request.make_reply();
    EXPECT_TRUE(reply.is(e_packet_type::reply));
    EXPECT_EQ(reply.get_name(), "job");
    EXPECT_EQ(reply.get_request_number(), 17u);
    EXPECT_TRUE(reply.get_properties().empty());

    packet const refusal = request.make_error_reply("not now");
    EXPECT_EQ(refusal.get_request_number(), 17u);
    EXPECT_EQ(refusal.get_properties().get_string_value("error"), "not now");
}

TEST(packet, shares_the_properties_that_it_is_made_with_until_one_side_changes_them) {
    kxcore::properties tree("a", kxcore::property_int::create(1));
    packet made(e_packet_type::event, "e", tree);
    made.set_property("b", "more");
    EXPECT_FALSE(tree.is_present("b"));
    EXPECT_EQ(made.get_properties().size(), 2u);
}

} // namespace
