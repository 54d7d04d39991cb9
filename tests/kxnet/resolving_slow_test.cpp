// The system's look-up of names, made to take its time and to give more than one address.
#include "resolving.h"

#include "support/held_resources.h"
#include "support/scripted_node.h"

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <netdb.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string_view>

namespace {

/// Lets look-ups of "slow.example" wait until it is opened.
class gate {
public:
    void wait() {
        std::unique_lock lock(guard_);
        ++count_;
        changed_.wait(lock, [this] { return is_open_; });
    }
    void set(bool is_open) {
        std::lock_guard const lock(guard_);
        is_open_ = is_open;
        changed_.notify_all();
    }
    /// How many have come to it so far.
    [[nodiscard]] int count() const {
        std::lock_guard const lock(guard_);
        return count_;
    }

private:
    std::mutex mutable guard_;
    std::condition_variable changed_;
    bool is_open_ = false;
    int count_ = 0;
};

gate& name_server() {
    static gate only;
    return only;
}

using look_up_function = int (*)(char const*, char const*, addrinfo const*, addrinfo**);

int look_up_for_real(char const* host, char const* port, addrinfo const* hints, addrinfo** found) {
    static auto const real = reinterpret_cast<look_up_function>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    return real(host, port, hints, found);
}

} // namespace

/// Stands in for the system's, which is asked for everything but the names of this test.
extern "C" int getaddrinfo(char const* host, char const* port, addrinfo const* hints, addrinfo** found) {
    std::string_view const name = host == nullptr ? "" : host;
    bool const is_numeric_only = hints != nullptr && (hints->ai_flags & AI_NUMERICHOST) != 0;
    if (is_numeric_only || !name.ends_with(".example")) return look_up_for_real(host, port, hints, found);
    if (name == "slow.example") {
        name_server().wait();
        return look_up_for_real("127.0.0.1", port, hints, found);
    }
    if (name != "two.example") return EAI_NONAME;
    int const error = look_up_for_real("127.0.0.2", port, hints, found);
    if (error != 0) return error;
    return look_up_for_real("127.0.0.1", port, hints, &(*found)->ai_next);
}

namespace {

using kx_test::count_threads;
using kx_test::error_of;
using kx_test::soon;
using kxnet::connection_lost;
using kxnet::packet_stream;
using kxnet::timed_out;

std::unique_ptr<packet_stream> connected(std::string const& host, std::string const& port, unsigned int timeout_ms,
                                         kxnet::stop_signal const* stop = nullptr) {
    return packet_stream::connect(host, port, {}, timeout_ms, stop);
}

TEST(resolving_slow, ends_with_the_time_out_and_has_one_thread_however_often_it_is_tried) {
    kx_test::test_node const node(kx_test::echo);
    kx_test::held_resources const at_rest;
    name_server().set(false);
    int const before = name_server().count();
    for (int i = 0; i != 5; ++i) {
        long long const took = kx_test::milliseconds_of([&] {
            EXPECT_EQ(error_of<timed_out>([&] { static_cast<void>(connected("slow.example", node.port(), 40)); }),
                      "the look-up of 'slow.example' takes too long");
        });
        EXPECT_GE(took, 40);
        EXPECT_LT(took, 10'000);
    }
    EXPECT_TRUE(soon([&] { return name_server().count() == before + 1; }));
    EXPECT_EQ(count_threads(), at_rest.threads() + 1);
    name_server().set(true);
    EXPECT_TRUE(at_rest.are_all_soon()) << at_rest;
    EXPECT_TRUE(connected("slow.example", node.port(), 20'000)) << "the next one is to work";
    EXPECT_EQ(name_server().count(), before + 2) << "what was found is not kept";
}

TEST(resolving_slow, gives_all_who_wait_what_was_found) {
    kx_test::test_node const node(kx_test::echo);
    name_server().set(false);
    int const before = name_server().count();
    std::atomic<int> waiting = 0;
    std::atomic<int> found = 0;
    std::vector<std::jthread> all;
    for (int i = 0; i != 4; ++i)
        all.emplace_back([&] {
            ++waiting;
            if (connected("slow.example", node.port(), 20'000)) ++found;
        });
    EXPECT_TRUE(soon([&] { return waiting == 4 && name_server().count() > before; }));
    name_server().set(true);
    all.clear();
    EXPECT_EQ(found, 4);
}

TEST(resolving_slow, is_stopped_at_once) {
    name_server().set(false);
    int const before = name_server().count();
    kxnet::stop_signal stop;
    std::jthread const stopper([&] {
        EXPECT_TRUE(soon([&] { return name_server().count() > before; }));
        stop.stop();
    });
    EXPECT_EQ(error_of<connection_lost>([&] { static_cast<void>(connected("slow.example", "1", 0, &stop)); }),
              "closed by this side");
    name_server().set(true);
}

TEST(resolving_slow, tries_the_next_address_where_nobody_takes_a_connection) {
    kx_test::test_node const node(kx_test::echo, {}, "127.0.0.1");
    auto const made = connected("two.example", node.port(), 20'000);
    EXPECT_EQ(made->peer(), "127.0.0.1:" + node.port());
}

TEST(resolving_slow, leaves_time_for_the_next_address_where_one_never_answers) {
    kx_test::test_node const node(kx_test::echo, {}, "127.0.0.1");
    constexpr in_addr_t first_of_two = INADDR_LOOPBACK + 1;
    kx_test::full_port const nobody(first_of_two, static_cast<unsigned int>(std::stoul(node.port())));
    auto const made = connected("two.example", node.port(), 8000);
    EXPECT_EQ(made->peer(), "127.0.0.1:" + node.port());
}

TEST(resolving_slow, tells_of_the_last_address_when_none_takes_a_connection) {
    kx_test::deaf_port const nobody;
    EXPECT_EQ(error_of<connection_lost>([&] { static_cast<void>(connected("two.example", nobody.port(), 20'000)); }),
              "127.0.0.1:" + nobody.port() + ": Connection refused");
}

/// A stranger on the first address is there and is wrong: the second one would hide it.
TEST(resolving_slow, stays_with_the_address_that_takes_a_connection) {
    kxnet::listener good("127.0.0.1", 0);
    kxnet::listener stranger("127.0.0.2", good.port());
    std::jthread const serving([&] {
        auto const client = stranger.accept(kxnet::deadline_after(20'000));
        EXPECT_TRUE(client);
    });
    EXPECT_EQ(error_of<connection_lost>(
                  [&] { static_cast<void>(connected("two.example", std::to_string(good.port()), 20'000)); }),
              "127.0.0.2:" + std::to_string(good.port()) + " has closed the connection before its hello was complete");
    EXPECT_FALSE(good.accept(kxnet::deadline_after(1)));
}

TEST(resolving_slow, refuses_a_name_that_the_system_does_not_know) {
    EXPECT_EQ(error_of<connection_lost>([] { static_cast<void>(connected("no.example", "4711", 20'000)); }),
              "'no.example' port '4711': Name or service not known");
}

} // namespace
