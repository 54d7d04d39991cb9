// Finding tasks by a value of their configurations.
#include "kxworkflow/support/workflows.h"

#include <gmock/gmock.h>

namespace {

using kx_test::deferred;
using kx_test::id;
using kx_test::localizer;
using kx_test::make_builder;
using kx_test::make_task;
using kx_test::number;
using kx_test::property_handle;
using kx_test::text;
using kx_test::texts;
using kx_test::tree;
using kx_test::upload;
using testing::ElementsAre;
using testing::IsEmpty;

std::list<std::string> find(kxworkflow::workflow_builder const& builder, char const* plid, char const* key,
                            property_handle const& value) {
    std::list<std::string> wtids;
    std::size_t const count = builder.find_task_with_configuration_value(plid, key, *value, wtids);
    EXPECT_EQ(count, wtids.size());
    return wtids;
}

property_handle const url = text("http://host/intro.mov");

TEST(value_index, finds_tasks_in_the_order_of_their_wtids) {
    auto const builder = make_builder({make_task(localizer, "z", tree({{"source-url", url}})),
                                       make_task(localizer, "a", tree({{"source-url", text("http://host/intro.mov")}})),
                                       make_task(localizer, "b", tree({{"source-url", text("http://host/outro.mov")}})),
                                       make_task(upload, "c", tree({{"source-url", url}})), make_task(localizer, "d")});
    EXPECT_THAT(find(builder, localizer, "source-url", url), ElementsAre(id(localizer, "a"), id(localizer, "z")));
    EXPECT_THAT(find(builder, upload, "source-url", url), ElementsAre(id(upload, "c")));
    EXPECT_THAT(find(builder, localizer, "dest-dir-url", url), IsEmpty());
    EXPECT_THAT(find(builder, "task/regular/localize", "source-url", url), IsEmpty());
    EXPECT_THAT(find(builder, "", "", url), IsEmpty());
}

TEST(value_index, appends_and_counts_its_own) {
    auto const builder = make_builder({make_task(localizer, "a", tree({{"source-url", url}}))});
    std::list<std::string> wtids{"before"};
    EXPECT_EQ(builder.find_task_with_configuration_value(localizer, "source-url", *url, wtids), 1u);
    EXPECT_THAT(wtids, ElementsAre("before", id(localizer, "a")));
}

TEST(value_index, compares_values_as_properties_do) {
    auto const builder = make_builder({make_task(localizer, "a", tree({{"source-url", deferred()}})),
                                       make_task(localizer, "b", tree({{"source-url", texts({"x"})}})),
                                       make_task(localizer, "c", tree({{"source-url", number(1)}}))});
    EXPECT_THAT(find(builder, localizer, "source-url", deferred()), ElementsAre(id(localizer, "a")));
    EXPECT_THAT(find(builder, localizer, "source-url", texts({"x"})), ElementsAre(id(localizer, "b")));
    EXPECT_THAT(find(builder, localizer, "source-url", number(1)), ElementsAre(id(localizer, "c")));
    EXPECT_THAT(find(builder, localizer, "source-url", text("1")), IsEmpty());
    EXPECT_THAT(find(builder, localizer, "source-url[0]", text("x")), ElementsAre(id(localizer, "b")));
}

TEST(value_index, takes_a_value_that_lives_on_the_stack) {
    auto const builder = make_builder({make_task(localizer, "a", tree({{"source-url", number(100000)}}))});
    kxcore::property_int const value(100000);
    std::list<std::string> wtids;
    EXPECT_EQ(builder.find_task_with_configuration_value(localizer, "source-url", value, wtids), 1u);
}

TEST(value_index, follows_every_change_of_a_configuration) {
    auto builder = make_builder({make_task(localizer, "a", tree({{"source-url", url}}))});
    ASSERT_THAT(find(builder, localizer, "source-url", url), ElementsAre(id(localizer, "a")));

    builder.set_in_value(id(localizer, "a"), "source-url", text("other"));
    EXPECT_THAT(find(builder, localizer, "source-url", url), IsEmpty());
    EXPECT_THAT(find(builder, localizer, "source-url", text("other")), ElementsAre(id(localizer, "a")));

    builder.configure_task(id(localizer, "a"), *tree({{"source-url", url}}));
    EXPECT_THAT(find(builder, localizer, "source-url", url), ElementsAre(id(localizer, "a")));
    EXPECT_THAT(find(builder, localizer, "source-url", text("other")), IsEmpty());

    static_cast<void>(builder.add_task(localizer, tree({{"source-url", url}}), 0, "b", "B"));
    EXPECT_THAT(find(builder, localizer, "source-url", url), ElementsAre(id(localizer, "a"), id(localizer, "b")));

    builder.remove_task(id(localizer, "a"));
    EXPECT_THAT(find(builder, localizer, "source-url", url), ElementsAre(id(localizer, "b")));

    builder.configure_task(id(localizer, "b"), *tree({}));
    EXPECT_THAT(find(builder, localizer, "source-url", url), IsEmpty());
}

} // namespace
