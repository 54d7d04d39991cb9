#include <kxbase/limits.h>

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

using kxbase::current_limits;
using kxbase::limits;

TEST(limits, begin_as_documented) {
    limits const now = current_limits();
    EXPECT_EQ(now, limits());
    EXPECT_EQ(now.document, 268'435'456u);
    EXPECT_EQ(now.frame, 67'108'864u);
    EXPECT_EQ(now.expansion, 1'073'741'824u);
    EXPECT_EQ(now.nesting, 128u);
    EXPECT_EQ(now.string, 16'777'216u);
    EXPECT_EQ(now.key, 65'536u);
    EXPECT_EQ(now.members, 10'000'000u);
    EXPECT_EQ(now.path, 4'096u);
    EXPECT_EQ(kxbase::limit_recognition, 4'096u);
    EXPECT_EQ(kxbase::default_timeout_ms, 30'000u);
    EXPECT_EQ(kxbase::least_frame_rate, 1'000u);
}

TEST(limits, let_a_list_with_all_the_members_that_there_may_be_into_a_frame) {
    EXPECT_EQ(kxbase::bytes_per_value, 6u);
    EXPECT_EQ(kxbase::most_values(kxbase::limit_frame), 11'184'810u);
    EXPECT_GT(kxbase::most_values(kxbase::limit_frame), kxbase::limit_members);
}

TEST(limits, let_some_values_into_however_few_bytes) {
    EXPECT_EQ(kxbase::most_values(0), 10'922u);
    EXPECT_EQ(kxbase::most_values(65'537), 10'922u);
    EXPECT_EQ(kxbase::most_values(65'538), 10'923u);
}

TEST(limits, count_six_bytes_for_a_value_that_takes_less) {
    EXPECT_EQ(kxbase::encoded_weight(0, 0), 0u);
    EXPECT_EQ(kxbase::encoded_weight(18, 3), 18u);
    EXPECT_EQ(kxbase::encoded_weight(17, 3), 18u);
    EXPECT_EQ(kxbase::encoded_weight(19, 3), 19u);
}

TEST(limits, can_be_changed_and_give_those_before) {
    limits const all_different{1, 2, 3, 4, 5, 6, 7, 8};
    limits const before = kxbase::set_limits(all_different);
    EXPECT_EQ(before, limits());
    EXPECT_EQ(current_limits(), all_different);
    EXPECT_EQ(current_limits().path, 8u);
    EXPECT_EQ(kxbase::set_limits(before), all_different);
    EXPECT_EQ(current_limits(), limits());
}

TEST(limits, hold_for_a_scope) {
    limits tiny;
    tiny.nesting = 2;
    {
        kxbase::scoped_limits const scope(tiny);
        EXPECT_EQ(current_limits().nesting, 2u);
        {
            kxbase::scoped_limits const inner(limits{});
            EXPECT_EQ(current_limits().nesting, 128u);
        }
        EXPECT_EQ(current_limits().nesting, 2u);
    }
    EXPECT_EQ(current_limits().nesting, 128u);
}

TEST(limits, are_read_as_one_consistent_set_while_they_change) {
    std::atomic<bool> stop = false;
    kxbase::scoped_limits const scope(limits{0, 0, 0, 0, 0, 0, 0, 0});
    std::thread writing([&stop] {
        for (std::size_t n = 1; !stop; ++n)
            kxbase::set_limits({n, n, n, n, n, n, n, n});
    });
    for (int i = 0; i < 50'000; ++i) {
        limits const seen = current_limits();
        std::size_t const n = seen.document;
        ASSERT_EQ(seen, (limits{n, n, n, n, n, n, n, n}));
    }
    stop = true;
    writing.join();
}
