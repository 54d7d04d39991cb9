// Which inputs and outputs a task has, asked without a builder.
#include <kxworkflow/ports.h>

#include "kxworkflow/support/workflows.h"

#include <gtest/gtest.h>

namespace {

using kx_test::encoder;
using kx_test::text;
using kx_test::tree;
using kx_test::upload;

kxcore::plugin_info const& plugin(char const* id) {
    static auto const plugins = kx_test::make_plugins();
    return *plugins.describe_plugin(id);
}

TEST(ports, are_inputs_when_declared_or_configured) {
    auto const configuration = tree({{"env", tree({{"A", text("x")}})}});
    for (auto const* const input : {"source-url", "clips[0]{url}", "env", "env{B}"})
        EXPECT_TRUE(kxworkflow::is_possible_input(plugin(encoder), *configuration, input)) << input;
    for (auto const* const input : {"dest-url", "other", "", "[0]", "env{", "env}"})
        EXPECT_FALSE(kxworkflow::is_possible_input(plugin(encoder), *configuration, input)) << input;
}

TEST(ports, are_outputs_when_the_plugin_or_the_task_has_them) {
    auto const task = tree({{"published-outputs", tree({{"own", text("x")}})}});
    for (auto const* const output : {"dest-url", "extra-dest-urls", "own"})
        EXPECT_TRUE(kxworkflow::is_output(plugin(upload), *task, output)) << output;
    for (auto const* const output : {"source-url", "dest-ulr", "", "published-outputs{own}"})
        EXPECT_FALSE(kxworkflow::is_output(plugin(upload), *task, output)) << output;
    EXPECT_FALSE(kxworkflow::is_output(plugin(upload), *tree({}), "own"));
}

} // namespace
