// Connections for which the memory does not suffice. The operators for it are replaced in the whole program.
#include <kxclientutil/connection.h>

#include "support/captured_report.h"
#include "support/certificates.h"
#include "support/held_resources.h"
#include "support/scripted_node.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <thread>

namespace {

/// How many times this thread may still ask for memory; negative for as often as it likes.
thread_local long t_left = -1;
thread_local bool t_stays_short = false;
thread_local bool t_was_short = false;

void* taken(std::size_t size) {
    if (t_left == 0) {
        t_was_short = true;
        if (!t_stays_short) t_left = -1;
        throw std::bad_alloc();
    }
    if (t_left > 0) --t_left;
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory; // NOLINT(*-no-malloc, *-owning-memory)
    throw std::bad_alloc();
}

void* taken_or_null(std::size_t size) noexcept {
    try {
        return taken(size);
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

void give_back(void* memory) noexcept {
    std::free(memory); // NOLINT(*-no-malloc, *-owning-memory)
}

} // namespace

void* operator new(std::size_t size) {
    return taken(size);
}
void* operator new[](std::size_t size) {
    return taken(size);
}
void* operator new(std::size_t size, std::nothrow_t const& /*tag*/) noexcept {
    return taken_or_null(size);
}
void* operator new[](std::size_t size, std::nothrow_t const& /*tag*/) noexcept {
    return taken_or_null(size);
}
void operator delete(void* memory) noexcept {
    give_back(memory);
}
void operator delete[](void* memory) noexcept {
    give_back(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    give_back(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    give_back(memory);
}
void operator delete(void* memory, std::nothrow_t const& /*tag*/) noexcept {
    give_back(memory);
}
void operator delete[](void* memory, std::nothrow_t const& /*tag*/) noexcept {
    give_back(memory);
}

namespace {

using kx_test::certificates;
using kx_test::test_node;

/// Lets this thread ask for memory so many times, and then no more: once, or for as long as this lives.
class shortage {
public:
    shortage(long times, bool stays) {
        t_was_short = false;
        t_stays_short = stays;
        t_left = times;
    }
    ~shortage() { t_left = -1; }
    shortage(shortage const&) = delete;
    shortage& operator=(shortage const&) = delete;

    [[nodiscard]] static bool has_come() { return t_was_short; }
};

/// Logs in with memory that ends after so many pieces of it.
/// @return whether it has ended before the login had
bool is_short_after(long times, bool stays, std::string const& port, kxnet::transport_options const& options) {
    std::string const host = "127.0.0.1";
    std::string const user = "ann";
    bool has_come = false;
    try {
        shortage const now(times, stays);
        auto const made =
            kxclientutil::get_client_connection_to_node(host, port, user, user, user, user, nullptr, 20'000, options);
        has_come = shortage::has_come();
    } catch (std::bad_alloc const&) {
        return true;
    } catch (kxbase::es::base const& error) {
        ADD_FAILURE() << "after " << times << (stays ? " and no more: " : ": ") << error.what();
        return true;
    }
    return has_come;
}

void run_out_of_memory_everywhere(bool is_tls) {
    kx_test::captured_report const log;
    kxnet::transport_options options;
    kxnet::server_options serving;
    if (is_tls) {
        options = {true, certificates::get().ca()};
        serving = {certificates::get().good(), certificates::get().key()};
    }
    kx_test::held_resources const before;
    {
        test_node const node(kx_test::echo, serving);
        for (bool const stays : {false, true}) {
            long times = 0;
            while (is_short_after(times, stays, node.port(), options) && !testing::Test::HasFailure())
                ++times;
            EXPECT_GT(times, 20) << "a login takes memory more often than that";
        }
    }
    EXPECT_TRUE(before.are_all_soon()) << before;
}

TEST(connection_shortage, of_memory_passes_as_it_is_wherever_a_login_is_and_leaves_nothing) {
    run_out_of_memory_everywhere(false);
}

TEST(connection_shortage, of_memory_passes_as_it_is_wherever_an_encrypted_login_is_and_leaves_nothing) {
    run_out_of_memory_everywhere(true);
}

TEST(connection_shortage, of_memory_leaves_a_connection_that_can_be_made_and_used_afterwards) {
    kx_test::captured_report const log;
    test_node const node(kx_test::echo);
    kxp::packet request(kxp::e_packet_type::request, "x");
    request.set_property("text", std::string(100, 't'));
    for (bool const stays : {false, true}) {
        bool is_short = true;
        for (long times = 0; is_short; ++times) {
            kxcapi::connection made(nullptr);
            std::string const host = "127.0.0.1";
            std::string const port = node.port();
            try {
                shortage const now(times, stays);
                EXPECT_EQ(made.connect(host, port, 20'000), kxcapi::result_code::success) << times;
                static_cast<void>(made.request(request, 20'000));
                is_short = shortage::has_come();
            } catch (std::bad_alloc const&) { // NOLINT(bugprone-empty-catch): what is wanted
            }
            if (!made.is_connected()) {
                ASSERT_EQ(made.connect(host, port, 20'000), kxcapi::result_code::success) << times << made.failure();
            }
            auto const reply = made.request(request, 20'000);
            EXPECT_EQ(reply->get_properties().get_string_value("text"), std::string(100, 't')) << times;
        }
    }
}

} // namespace
