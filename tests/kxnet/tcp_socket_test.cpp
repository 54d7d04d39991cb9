// What the sockets of connections are set to, as the system sees it.
#include "support/scripted_node.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <netinet/tcp.h>

#include <filesystem>
#include <optional>
#include <vector>

namespace {

using testing::Each;
using testing::Eq;
using testing::SizeIs;

/// Empty when the descriptor has no such option.
std::optional<int> option_of(int descriptor, int level, int name) {
    int value = 0;
    socklen_t size = sizeof value;
    if (::getsockopt(descriptor, level, name, &value, &size) != 0) return {};
    return value;
}

/// The TCP sockets of this process: those that listen, and the others.
struct tcp_sockets {
    std::vector<int> listening;
    std::vector<int> connected;

    tcp_sockets() {
        for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            int const descriptor = std::stoi(entry.path().filename().string());
            if (option_of(descriptor, SOL_SOCKET, SO_PROTOCOL) != IPPROTO_TCP) continue;
            bool const listens = option_of(descriptor, SOL_SOCKET, SO_ACCEPTCONN) == 1;
            (listens ? listening : connected).push_back(descriptor);
        }
    }
};

std::vector<std::optional<int>> options_of(std::vector<int> const& sockets, int level, int name) {
    std::vector<std::optional<int>> values;
    for (int const socket : sockets)
        values.push_back(option_of(socket, level, name));
    return values;
}

TEST(tcp_sockets, find_peers_that_have_died_send_at_once_and_are_closed_in_programs_that_are_started) {
    kx_test::test_node const node(kx_test::echo);
    auto const client = kxnet::packet_stream::connect("127.0.0.1", node.port(), {}, 20'000);
    tcp_sockets const all;
    ASSERT_THAT(all.connected, SizeIs(2)) << "both ends are in this process";
    ASSERT_THAT(all.listening, testing::Not(testing::IsEmpty()));
    struct setting {
        char const* name;
        int level;
        int option;
        int value;
    };
    setting const settings[] = {
        {"keep-alive", SOL_SOCKET, SO_KEEPALIVE, 1},
        {"seconds of silence before a peer is asked", IPPROTO_TCP, TCP_KEEPIDLE, 60},
        {"seconds between questions", IPPROTO_TCP, TCP_KEEPINTVL, 15},
        {"questions", IPPROTO_TCP, TCP_KEEPCNT, 4},
        {"no delay", IPPROTO_TCP, TCP_NODELAY, 1},
    };
    for (setting const& each : settings)
        EXPECT_THAT(options_of(all.connected, each.level, each.option), Each(Eq(each.value))) << each.name;
    for (auto const* sockets : {&all.connected, &all.listening})
        for (int const socket : *sockets)
            EXPECT_EQ(::fcntl(socket, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

} // namespace
