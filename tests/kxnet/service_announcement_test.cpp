#include <kxnet/service_announcement.h>

#include "support/dnssd_symbols.h"

#include <kxbase/errors.h>

#include <gmock/gmock.h>

namespace {

constexpr auto type = "_vostrel-node._tcp";

std::string error_of(std::string const& name, kxnet::service_announcement::txt_entries const& entries) {
    try {
        kxnet::service_announcement const announced(type, name, 1, entries);
        return "";
    } catch (kxbase::es::arg const& error) {
        return error.message();
    }
}

} // namespace

TEST(service_announcement, names_what_cannot_be_announced) {
    kx_test::other_dnssd_library const nothing({});
    EXPECT_EQ(error_of(std::string(63, 'n'), {{"id", "1"}}), "");
    for (std::string const& name : {std::string(), std::string(64, 'n'), std::string("\xff")})
        EXPECT_EQ(error_of(name, {}), "the name \"" + name + "\" of a service is not 1 to 63 bytes of UTF-8");
    EXPECT_THAT(error_of("node", {{"", "1"}}), testing::HasSubstr("is not made of printable ASCII"));
}

TEST(service_announcement, does_nothing_without_a_library) {
    kx_test::other_dnssd_library const nothing({});
    kxnet::service_announcement announced(type, "node", 9000, {{"id", "1"}});
    announced.update_txt({{"id", "2"}});
    EXPECT_THROW(announced.update_txt({{"=", ""}}), kxbase::es::arg);
    EXPECT_FALSE(announced.wait_until_announced(std::chrono::milliseconds(20)));
    EXPECT_EQ(announced.get_name(), "");
}
