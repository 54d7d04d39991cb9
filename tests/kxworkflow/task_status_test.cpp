#include <kxworkflow/task_status.h>

#include "support/heap_watch.h"

#include <kxcore/property_values.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kxworkflow {

namespace {

std::vector<std::string> values_of(task_status const& status) {
    std::vector<std::string> values;
    for (kxcore::property_handle const& value : status->allowed())
        values.push_back(value->to_string());
    return values;
}

TEST(task_status, names_the_end_states_in_their_order) {
    EXPECT_EQ(values_of(any_end_state()),
              (std::vector<std::string>{"succeeded", "failed", "pre_start_fail", "cancelled", "invalid_pre_reqs"}));
    EXPECT_EQ(values_of(failure_end_states()),
              (std::vector<std::string>{"failed", "pre_start_fail", "cancelled", "invalid_pre_reqs"}));
    EXPECT_EQ(values_of(success_end_state()), (std::vector<std::string>{"succeeded"}));
}

TEST(task_status, is_made_when_the_library_is_loaded) {
    kx_test::heap_watch const watch;
    task_status const any = any_end_state();
    task_status const failure = failure_end_states();
    task_status const success = success_end_state();
    EXPECT_EQ(watch.bytes(), 0U);
    EXPECT_TRUE(any && failure && success);
}

TEST(task_status, is_one_object_for_everybody) {
    EXPECT_EQ(any_end_state(), any_end_state());
    EXPECT_EQ(failure_end_states(), failure_end_states());
    EXPECT_EQ(success_end_state(), success_end_state());

    auto const before = success_end_state()->reference_count();
    task_status const held = success_end_state();
    EXPECT_EQ(held->reference_count(), before + 1);
}

TEST(task_status, is_equal_to_clones_alone) {
    kxcore::constraint const& any = *any_end_state();
    EXPECT_TRUE(any == *any.clone());
    kxcore::constraint_enum const by_text(kxcore::constraint_text(any));
    EXPECT_FALSE(any == static_cast<kxcore::constraint const&>(by_text));
    EXPECT_FALSE(any == static_cast<kxcore::constraint const&>(*failure_end_states()));
}

TEST(task_status, suggests_the_first_state) {
    EXPECT_EQ(any_end_state()->suggest_value()->to_string(), "succeeded");
    EXPECT_EQ(failure_end_states()->suggest_value()->to_string(), "failed");
    EXPECT_EQ(success_end_state()->suggest_value()->to_string(), "succeeded");
}

TEST(task_status, tells_success_from_failure) {
    struct {
        char const* state;
        bool any, failure, success;
    } const rows[] = {
        {"succeeded", true, false, true},        {"failed", true, true, false},
        {"pre_start_fail", true, true, false},   {"cancelled", true, true, false},
        {"invalid_pre_reqs", true, true, false}, {"running", false, false, false},
        {"Succeeded", false, false, false},      {"", false, false, false},
    };
    for (auto const& row : rows) {
        auto const state = kxbase::make_refcount<kxcore::property_string>(row.state);
        EXPECT_EQ(any_end_state()->is_valid(state.get(), 0), row.any) << row.state;
        EXPECT_EQ(failure_end_states()->is_valid(state.get(), 0), row.failure) << row.state;
        EXPECT_EQ(success_end_state()->is_valid(state.get(), 0), row.success) << row.state;
    }
    auto const succeeded = kxbase::make_refcount<kxcore::property_string>("succeeded");
    EXPECT_TRUE(success_end_state()->exact_match(succeeded.get()));
    EXPECT_FALSE(any_end_state()->exact_match(succeeded.get()));
}

} // namespace

} // namespace kxworkflow
