#include "resolving.h"

#include "support/scripted_node.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace {

using kx_test::error_of;
using testing::Contains;
using testing::HasSubstr;

std::vector<std::string> found(std::string const& host, std::string const& port) {
    std::vector<std::string> texts;
    for (kxnet::endpoint const& each : kxnet::resolve(host, port, kxnet::deadline_after(60'000), nullptr))
        texts.push_back(kxnet::endpoint_text(each));
    return texts;
}

TEST(resolving, takes_addresses_of_both_kinds_as_they_are) {
    EXPECT_EQ(found("192.0.2.1", "4711"), std::vector<std::string>{"192.0.2.1:4711"});
    EXPECT_EQ(found("::1", "4711"), std::vector<std::string>{"[::1]:4711"});
}

TEST(resolving, finds_names_of_hosts_and_services) {
    EXPECT_THAT(found("localhost", "4711"), Contains("127.0.0.1:4711"));
    EXPECT_THAT(found("127.0.0.1", "https"), Contains("127.0.0.1:443"));
}

TEST(resolving, refuses_what_names_no_host_or_port) {
    using namespace std::string_literals;
    struct refusal {
        std::string host;
        std::string port;
        char const* reason;
    };
    refusal const refusals[] = {
        {"", "1", "there is no host name"},
        {"h", "", "there is no port"},
        {std::string(256, 'h'), "1", "the host name is too long"},
        {"127.0.0.1\0.example"s, "1", "the name of a host or port holds a NUL"},
        {"h", "1\0"s + "1", "the name of a host or port holds a NUL"},
        {"127.0.0.1", "0", "ports are numbers from 1 to 65535"},
        {"127.0.0.1", "65536", "ports are numbers from 1 to 65535"},
        {"127.0.0.1", "99999999999999999999", "ports are numbers from 1 to 65535"},
        {"127.0.0.1", " 80", "the port is neither a number nor the name of a service"},
        {"127.0.0.1", "-1", "the port is neither a number nor the name of a service"},
        {"127.0.0.1", "80x", "the port is neither a number nor the name of a service"},
        {"127.0.0.1", "no-such-service", "'127.0.0.1' port 'no-such-service': "},
        {"%s%n", "1", "'%s%n' port '1': "},
    };
    for (refusal const& each : refusals)
        EXPECT_THAT(error_of<kxnet::connection_lost>([&] { found(each.host, each.port); }), HasSubstr(each.reason));
}

TEST(resolving, ends_when_it_is_stopped) {
    kxnet::stop_signal stop;
    stop.stop();
    EXPECT_THAT(error_of<kxnet::connection_lost>(
                    [&] { static_cast<void>(kxnet::resolve("localhost", "1", kxnet::no_deadline, &stop)); }),
                HasSubstr("closed by this side"));
}

} // namespace
