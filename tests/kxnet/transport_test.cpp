#include <kxnet/transport.h>

#include <gtest/gtest.h>

#include <poll.h>

namespace {

using std::chrono::milliseconds;

bool is_readable(int descriptor) {
    pollfd waited = {descriptor, POLLIN, 0};
    return ::poll(&waited, 1, 0) == 1;
}

TEST(transport, deadlines_are_milliseconds_from_now_and_thirty_seconds_by_default) {
    auto const now = std::chrono::steady_clock::now();
    auto const left = [now](unsigned int timeout_ms) { return kxnet::deadline_after(timeout_ms) - now; };
    EXPECT_GE(left(250), milliseconds(250));
    EXPECT_LT(left(250), std::chrono::seconds(20));
    EXPECT_GE(left(0), milliseconds(30'000));
    EXPECT_LT(left(0), std::chrono::seconds(60));
}

TEST(transport, a_stop_signal_stays_stopped) {
    kxnet::stop_signal stop;
    EXPECT_FALSE(stop.is_stopped());
    EXPECT_FALSE(is_readable(stop.descriptor()));
    stop.stop();
    stop.stop();
    EXPECT_TRUE(stop.is_stopped());
    EXPECT_TRUE(is_readable(stop.descriptor()));
}

TEST(transport, errors_are_failed_calls) {
    EXPECT_THROW(throw kxnet::timed_out("f", 1, "x"), kxbase::es::call);
    EXPECT_THROW(throw kxnet::version_mismatch("f", 1, "x"), kxbase::es::call);
    EXPECT_THROW(throw kxnet::connection_lost("f", 1, "x"), kxbase::es::call);
    EXPECT_THROW(throw kxnet::not_secure("f", 1, "x"), kxbase::es::call);
}

} // namespace
