#include "model_samples.h"

#include <kxcore/network_encoding.h>

#include <kxbase/buffer.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace kxcore {
namespace {

using namespace samples;

constexpr int threads = 4;
constexpr int rounds = 300;

template <class F>
void run_in_threads(F const& function) {
    std::vector<std::thread> running;
    for (int thread = 0; thread < threads; ++thread) {
        running.emplace_back([&function, thread] { function(thread); });
    }
    for (std::thread& thread : running) {
        thread.join();
    }
}

TEST(properties_threads, change_their_own_copies_of_one_tree) {
    std::vector<property_handle> tasks;
    for (int index = 0; index < 20; ++index) {
        tasks.push_back(
            tree({{"id", number(index)}, {"flag", flag(true)}, {"configuration", tree({{"n", number(0)}})}}));
    }
    properties const shared("tasks", list(tasks), "name", text("x"));
    auto const before = shared.clone();
    run_in_threads([&](int thread) {
        for (int round = 0; round < rounds; ++round) {
            properties copy(shared);
            std::string const path = "tasks[" + std::to_string((round + thread) % 20) + "]{configuration}{n}";
            copy.set_referenced_property(path, number(thread));
            EXPECT_EQ(copy.find_referenced(path)->to_string(), std::to_string(thread));
            copy.merge_properties(properties("tasks", list({text("m")}), "name", text("y")));
            EXPECT_EQ(copy.get_string_value("name"), "y");
            copy.recursive_erase_ids("id");
        }
    });
    EXPECT_TRUE(shared == *before);
}

TEST(properties_threads, read_one_tree) {
    property_handle const shared = tree({{"a", list({text("1"), number(2)})}, {"b", flag(false)}});
    run_in_threads([&](int) {
        for (int round = 0; round < rounds; ++round) {
            EXPECT_EQ(shared->to_string(), "a%5B0%5D=1&a%5B1%5D=2&b=false");
            EXPECT_TRUE(*shared->clone() == *shared);
            kxbase::buffer bytes;
            encoder_network out(bytes);
            shared->encode(out);
            properties back;
            decoder_network in(bytes);
            back.decode(in);
            EXPECT_TRUE(back == *shared);
        }
    });
}

TEST(properties_threads, make_the_same_keys_at_the_same_time) {
    std::atomic<int> ready = 0;
    std::vector<std::vector<property_key>> made(threads);
    run_in_threads([&](int thread) {
        ++ready;
        while (ready < threads) {
        }
        for (int index = 0; index < 3000; ++index) {
            made[static_cast<std::size_t>(thread)].emplace_back("thread-key-" + std::to_string(index));
        }
    });
    for (std::size_t index = 0; index < 3000; ++index) {
        for (auto const& keys : made) {
            EXPECT_EQ(keys[index].text().data(), made[0][index].text().data());
        }
    }
}

TEST(properties_threads, share_and_drop_keys_beyond_the_table) {
    property_key const shared(std::string(1000, 'k'));
    run_in_threads([&](int) {
        for (int round = 0; round < rounds; ++round) {
            property_key const copy(shared);
            property_key const own(std::string(1000, 'l'));
            EXPECT_EQ(copy.text(), shared.text());
            EXPECT_NE(own.text(), shared.text());
        }
    });
}

TEST(properties_threads, drop_the_last_reference_of_a_tree_in_any_thread) {
    for (int round = 0; round < 50; ++round) {
        property_handle shared = tree({{"a", list({tree({{"b", text("1")}}), tree({{"c", text("2")}})})}});
        std::vector<property_handle> handles(threads, shared);
        shared = property_handle();
        run_in_threads([&](int thread) { handles[static_cast<std::size_t>(thread)] = property_handle(); });
    }
}

} // namespace
} // namespace kxcore
