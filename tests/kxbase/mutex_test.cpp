#include <kxbase/mutex.h>

#include <gmock/gmock.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace {

class either_mutex : public testing::TestWithParam<bool> {};

INSTANTIATE_TEST_SUITE_P(plain_and_recursive, either_mutex, testing::Bool());

} // namespace

TEST_P(either_mutex, orders_threads) {
    kxbase::mutex const guard(GetParam());
    int count = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 5'000; ++i) {
                kxbase::scoped_lock const held(guard);
                ++count;
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(count, 20'000);
}

TEST_P(either_mutex, is_held_until_the_scope_ends) {
    kxbase::mutex const guard(GetParam());
    std::atomic<bool> entered = false;
    std::thread other;
    {
        kxbase::scoped_lock const held(guard);
        other = std::thread([&] {
            std::lock_guard<kxbase::mutex const> const inner(guard); // it serves the standard's scopes, too
            entered = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_FALSE(entered);
    }
    other.join();
    EXPECT_TRUE(entered);
}

TEST(mutex, may_be_taken_again_by_its_holder_when_recursive) {
    kxbase::mutex const guard(true);
    kxbase::scoped_lock const outer(guard);
    kxbase::scoped_lock const inner(guard);
    guard.lock();
    guard.unlock();
}
