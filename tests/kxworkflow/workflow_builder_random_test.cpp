// What holds whatever is done to a workflow, in whatever order.
#include "kxworkflow/support/sound_workflow.h"
#include "kxworkflow/support/workflows.h"
#include "support/chosen_seed.h"

#include <gmock/gmock.h>

#include <map>
#include <random>
#include <set>

namespace {

using kx_test::encoder;
using kx_test::exported;
using kx_test::localizer;
using kx_test::make_builder;
using kx_test::make_builder_from;
using kx_test::make_task;
using kx_test::properties;
using kx_test::property_handle;
using kx_test::status;
using kx_test::text;
using kx_test::tree;
using kx_test::upload;
using builder_type = kxworkflow::workflow_builder;

/// Checks the invariants that the builder promises, by its export alone.
void expect_sound(builder_type const& builder) {
    properties const workflow = exported(builder);
    ASSERT_EQ(workflow.get_list_value("tasks")->size(), builder.get_task_count());
    ASSERT_NO_FATAL_FAILURE(kx_test::expect_sound(workflow));
    ASSERT_FALSE(testing::Test::HasFailure());
    auto const again = make_builder_from(workflow);
    ASSERT_TRUE(again == builder) << "a builder made from the export is equal";
    ASSERT_EQ(exported(again), workflow);
}

/// Does something, whatever comes up, to a builder.
class random_editor {
public:
    explicit random_editor(unsigned int seed) : random_(seed) {}

    void edit(builder_type& builder) {
        collect(builder);
        switch (random_() % 12) {
        case 0:
            static_cast<void>(
                builder.add_task(plid(), tree({}), static_cast<unsigned int>(random_() % 3), name(), "label"));
            break;
        case 1: static_cast<void>(builder.add_task(make_task(plid(), "x"))); break;
        case 2:
            if (wtids_.size() > 3) builder.remove_task(any());
            break;
        case 3: depend(builder, {any()}); break;
        case 4: depend(builder, {any(), any(), any()}); break;
        case 5: builder.add_kill_triggers(any(), {any(), any()}, state()); break;
        case 6: builder.set_in_value(any(), "source-url", text(name())); break;
        case 7: builder.publish_out(any(), "out" + name(), text("x")); break;
        case 8: builder.update_task_requirements(random_() % 2, random_() % 2); break;
        case 9: builder.set_workflow_capability("node-id", random_() % 3 ? text(name()) : property_handle()); break;
        default: static_cast<void>(builder.connect(any(), "dest-url", any(), "source-url")); break;
        }
    }

private:
    void collect(builder_type const& builder) {
        std::map<std::string, kxworkflow::task_proxy> tasks;
        builder.get_tasks(tasks);
        wtids_.clear();
        for (auto const& [wtid, view] : tasks)
            wtids_.push_back(wtid);
    }
    void depend(builder_type& builder, std::set<std::string> const& others) {
        try {
            builder.depend_any_task(any(), others, state());
        } catch (kxbase::es::arg const& error) {
            EXPECT_THAT(error.message(), testing::EndsWith("would make it wait for itself"));
        }
    }
    std::string const& any() { return wtids_[random_() % wtids_.size()]; }
    char const* plid() {
        // All of these have the output and the input that edit() connects.
        char const* const plids[] = {encoder, localizer, upload};
        return plids[random_() % 3];
    }
    std::string name() { return std::to_string(random_() % 6); }
    kxbase::ptr_refcount<kxcore::constraint const> state() {
        return status(random_() % 2 ? "succeeded" : "failed|cancelled");
    }

    std::mt19937 random_;
    std::vector<std::string> wtids_;
};

TEST(workflow_builder, stays_sound_whatever_is_done_to_it) {
    auto const seed = static_cast<unsigned int>(kx_test::chosen_seed());
    SCOPED_TRACE("KX_SEED=" + std::to_string(seed));
    std::cout << "KX_SEED=" << seed << "\n";
    for (unsigned int round = 0; round < 12; ++round) {
        random_editor editor(seed + round);
        auto builder = make_builder({make_task(encoder, "a"), make_task(upload, "b"), make_task(localizer, "c")});
        for (int i = 0; i < 150; ++i) {
            editor.edit(builder);
            if (i % 10 == 0) {
                ASSERT_NO_FATAL_FAILURE(expect_sound(builder)) << "round " << round << ", edit " << i;
            }
        }
        ASSERT_NO_FATAL_FAILURE(expect_sound(builder)) << "round " << round;
    }
}

TEST(workflow_builder, that_a_builder_was_made_from_goes_on_in_the_same_way) {
    auto const seed = static_cast<unsigned int>(kx_test::chosen_seed());
    SCOPED_TRACE("KX_SEED=" + std::to_string(seed));
    random_editor editor(seed);
    auto builder = make_builder({make_task(encoder, "a"), make_task(upload, "b"), make_task(localizer, "c")});
    for (int i = 0; i < 60; ++i)
        editor.edit(builder);
    auto again = make_builder_from(exported(builder));
    std::map<std::string, kxworkflow::task_proxy> tasks;
    builder.get_tasks(tasks);
    for (auto const& [from, from_view] : tasks)
        for (auto const& [to, to_view] : tasks)
            ASSERT_EQ(builder.connect(from, "dest-url", to, "source-url"),
                      again.connect(from, "dest-url", to, "source-url"))
                << from << " to " << to;
    EXPECT_TRUE(builder == again);
}

} // namespace
