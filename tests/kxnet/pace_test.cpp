#include "pace.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

kxnet::time_point const begin_of_time{1h};

TEST(pace, wants_the_next_bytes_within_the_time_out) {
    kxnet::pace going;
    going.begin(begin_of_time);
    EXPECT_EQ(going.deadline(500), begin_of_time + 500ms);
    going.advance(1'000'000, begin_of_time + 2s);
    EXPECT_EQ(going.deadline(500), begin_of_time + 2500ms);
}

TEST(pace, wants_a_thousand_bytes_a_second_beside_it) {
    kxnet::pace going;
    going.begin(begin_of_time);
    going.advance(1, begin_of_time + 499ms);
    EXPECT_EQ(going.deadline(500), begin_of_time + 501ms);
    going.advance(999, begin_of_time + 1400ms);
    EXPECT_EQ(going.deadline(500), begin_of_time + 1500ms);
}

TEST(pace, does_not_count_the_time_in_which_nobody_looks) {
    kxnet::pace going;
    going.begin(begin_of_time);
    going.advance(100, begin_of_time + 400ms);
    going.pause(begin_of_time + 450ms);
    going.resume(begin_of_time + 1h);
    EXPECT_EQ(going.deadline(500), begin_of_time + 1h + 150ms);
    going.advance(0, begin_of_time + 1h + 150ms);
    EXPECT_EQ(going.deadline(10'000), begin_of_time + 1h + 9650ms);
}

TEST(pace, counts_no_time_as_one_in_which_nobody_looks_from_before_somebody_did) {
    kxnet::pace going;
    going.begin(begin_of_time);
    going.pause(begin_of_time - 1h);
    going.resume(begin_of_time + 1s);
    EXPECT_EQ(going.deadline(500), begin_of_time + 1500ms);
    going.pause(begin_of_time);
    going.resume(begin_of_time + 2s);
    EXPECT_EQ(going.deadline(500), begin_of_time + 2500ms);
}

TEST(pace, takes_the_default_for_no_time_out) {
    kxnet::pace going;
    going.begin(begin_of_time);
    EXPECT_EQ(going.deadline(0), begin_of_time + 30s);
}

} // namespace
