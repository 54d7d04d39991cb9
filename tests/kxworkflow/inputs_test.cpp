// Inputs and outputs of tasks: which ones there are, and what they hold.
#include "kxworkflow/support/workflows.h"

#include <gmock/gmock.h>

namespace {

using kx_test::arg_message;
using kx_test::context;
using kx_test::deferred;
using kx_test::encoder;
using kx_test::exported_task;
using kx_test::id;
using kx_test::list;
using kx_test::make_builder;
using kx_test::make_task;
using kx_test::output_reference;
using kx_test::properties;
using kx_test::property_handle;
using kx_test::property_kind;
using kx_test::text;
using kx_test::text_at;
using kx_test::texts;
using kx_test::texts_at;
using kx_test::tree;
using kx_test::upload;
using testing::ElementsAre;

std::string const task_id = id(encoder, "a");

kxworkflow::workflow_builder builder_with(property_handle configuration) {
    return make_builder({make_task(encoder, "a", std::move(configuration))});
}

TEST(inputs, are_possible_when_declared_or_configured) {
    auto const builder = builder_with(tree({{"env", tree({{"A", text("x")}})}, {"list", texts({"x", "y"})}}));
    char const* const possible[] = {
        "source-url",    // declared
        "clips[0]{url}", // declared by its first step, nothing of it there yet
        "clips[9]",
        "env", // configured
        "env{A}",
        "env{B}", // below a configured key
        "list[1]",       "list[7]",
    };
    for (auto const* const input : possible)
        EXPECT_TRUE(builder.is_possible_input(task_id, input)) << input;
    char const* const impossible[] = {"dest-url", "other", "other{A}", "",       "[0]",
                                      "env{",     "env}",  "env{A}x",  "clips[", "clips[x]"};
    for (auto const* const input : impossible)
        EXPECT_FALSE(builder.is_possible_input(task_id, input)) << input;
}

TEST(inputs, can_be_set_where_a_value_has_a_place) {
    auto builder = builder_with(tree({{"env", tree({{"A", text("x")}})}, {"list", texts({"x", "y"})}}));
    struct {
        char const* input;
        bool can_be_set;
    } const cases[] = {
        {"source-url", true},     {"source-url{a}", true},                       // nothing there yet: a tree is made
        {"env{A}", true},         {"env{B}{C}", true},     {"env{A}{B}", false}, // a text has no members
        {"list[1]", true},        {"list[2]", true},                             // one more
        {"list[3]", false},       {"list{a}", false},      {"env[0]", false},    {"clips[0]", false},
        {"clips[0]{url}", false}, {"other", false},        {"", false},          {"env{", false},
    };
    for (auto const& one : cases) {
        EXPECT_EQ(builder.can_set_in_value(task_id, one.input), one.can_be_set) << one.input;
        auto trial = builder_with(builder.get_task_configuration(task_id));
        std::string const message = arg_message([&] { trial.set_in_value(task_id, one.input, text("new")); });
        EXPECT_EQ(trial == builder, !one.can_be_set) << one.input << ": " << message;
    }
    EXPECT_THROW(static_cast<void>(builder.can_set_in_value("wtid:x#y", "source-url")), kxbase::es::arg);
}

TEST(inputs, of_no_task_are_an_error) {
    auto const builder = builder_with(tree({}));
    EXPECT_EQ(arg_message([&] { static_cast<void>(builder.is_possible_input("wtid:x#y", "source-url")); }),
              "workflow: there is no task 'wtid:x#y'");
}

TEST(inputs, take_values_into_the_configuration) {
    auto builder = builder_with(tree({{"list", texts({"x", "y"})}}));
    auto const before = builder.get_task_configuration(task_id);
    auto const value = text("file:/in");
    builder.set_in_value(task_id, "source-url", value);
    builder.set_in_value(task_id, "list[1]", text("z"));
    builder.set_in_value(task_id, "list[2]", text("new"));
    builder.set_in_value(task_id, "clips{a}{b}", text("deep"));
    auto const configuration = builder.get_task_configuration(task_id);
    EXPECT_EQ(configuration->get_property("source-url"), value) << "shared, not copied";
    EXPECT_THAT(texts_at(*configuration, "list"), ElementsAre("x", "z", "new"));
    EXPECT_EQ(text_at(*configuration, "clips{a}{b}"), "deep");
    EXPECT_EQ(*before, *tree({{"list", texts({"x", "y"})}})) << "what was handed out before stays";
}

TEST(inputs, refuse_values_that_have_no_place) {
    auto builder = builder_with(tree({{"list", texts({"x"})}}));
    std::string const place = "workflow task '" + task_id + "': the input ";
    EXPECT_EQ(arg_message([&] { builder.set_in_value(task_id, "other", text("x")); }),
              place + "'other' is none of its inputs");
    EXPECT_EQ(arg_message([&] { builder.set_in_value(task_id, "source-url", {}); }),
              place + "'source-url' gets no value");
    EXPECT_THAT(arg_message([&] { builder.set_in_value(task_id, "list[5]", text("x")); }),
                testing::StartsWith(place + "'list[5]' cannot be set: "));
    EXPECT_THAT(arg_message([&] { builder.set_in_value(task_id, "clips[0]", text("x")); }),
                testing::StartsWith(place + "'clips[0]' cannot be set: "));
    EXPECT_EQ(arg_message([&] { builder.set_in_value("wtid:x#y", "source-url", text("x")); }),
              "workflow: there is no task 'wtid:x#y'");
    EXPECT_EQ(*builder.get_task_configuration(task_id), *tree({{"list", texts({"x"})}})) << "nothing was changed";
}

TEST(inputs, keep_what_is_beside_the_configuration_when_that_is_replaced) {
    auto builder = make_builder({make_task(encoder, "a"), make_task(upload, "b")});
    ASSERT_TRUE(builder.connect(task_id, "dest-url", id(upload, "b"), "source-url"));
    builder.publish_out(id(upload, "b"), "extra", text("x"));
    builder.configure_task(id(upload, "b"), *tree({{"dest-dir-url", text("file:/out")}}));
    properties const task = exported_task(builder, id(upload, "b"));
    EXPECT_EQ(*task.find("configuration"), *tree({{"dest-dir-url", text("file:/out")}}));
    EXPECT_EQ(text_at(task, "input-connections[0]{to-node}"), "source-url");
    EXPECT_EQ(text_at(task, "published-outputs{extra}"), "x");
}

TEST(inputs, take_a_configuration_as_a_copy) {
    auto builder = builder_with(tree({}));
    properties mine("source-url", text("a"));
    builder.configure_task(task_id, mine);
    mine.set_property("source-url", text("b"));
    EXPECT_EQ(text_at(*builder.get_task_configuration(task_id), "source-url"), "a");
    EXPECT_EQ(arg_message([&] { builder.configure_task("wtid:x#y", mine); }), "workflow: there is no task 'wtid:x#y'");
    EXPECT_EQ(arg_message([&] { static_cast<void>(builder.get_task_configuration("wtid:x#y")); }),
              "workflow: there is no task 'wtid:x#y'");
}

std::list<std::string> published(kxworkflow::workflow_builder const& builder, std::string const& wtid) {
    std::list<std::string> outputs{"before"};
    builder.get_published_outputs(wtid, outputs);
    return outputs;
}

TEST(outputs, are_published_by_the_plugin_and_by_the_task) {
    auto builder = make_builder({make_task(upload, "b"), make_task(encoder, "a")});
    std::string const uploader = id(upload, "b");
    EXPECT_THAT(published(builder, uploader), ElementsAre("before", "extra-dest-urls"));
    EXPECT_THAT(published(builder, task_id), ElementsAre("before"))
        << "declared outputs without a value are not published";

    builder.publish_out(uploader, "a-first", text("1"));
    builder.publish_out(uploader, "z-last", text("2"));
    EXPECT_THAT(published(builder, uploader), ElementsAre("before", "a-first", "extra-dest-urls", "z-last"));
    EXPECT_EQ(*builder.get_out_value(uploader, "a-first"), *text("1"));
    EXPECT_EQ(*builder.get_out_value(uploader, "extra-dest-urls"),
              *output_reference("extra-source-urls", property_kind::list));
    EXPECT_FALSE(builder.get_out_value(uploader, "dest-url"));
    EXPECT_FALSE(builder.get_out_value(uploader, "other"));
}

TEST(outputs, of_a_task_hide_those_of_its_plugin) {
    auto builder = make_builder({make_task(upload, "b"), make_task(upload, "c")});
    builder.publish_out(id(upload, "b"), "extra-dest-urls", text("own"));
    builder.publish_out(id(upload, "b"), "extra-dest-urls", text("own, again"));
    EXPECT_EQ(*builder.get_out_value(id(upload, "b"), "extra-dest-urls"), *text("own, again"));
    EXPECT_NE(*builder.get_out_value(id(upload, "c"), "extra-dest-urls"), *text("own, again"));
    EXPECT_THAT(published(builder, id(upload, "b")), ElementsAre("before", "extra-dest-urls"));
}

TEST(outputs, need_a_name_and_a_value) {
    auto builder = builder_with(tree({}));
    EXPECT_EQ(arg_message([&] { builder.publish_out(task_id, "x", {}); }),
              "workflow task '" + task_id + "': nothing to publish at the output 'x'");
    EXPECT_EQ(arg_message([&] { builder.publish_out(task_id, "", text("x")); }),
              "workflow task '" + task_id + "': the output '' cannot be a key: is empty");
    EXPECT_THAT(arg_message([&] { builder.publish_out(task_id, "a{b}", text("x")); }),
                testing::StartsWith("workflow task '" + task_id + "': the output 'a{b}' cannot be a key: "));
    EXPECT_FALSE(exported_task(builder, task_id).is_present("published-outputs"));
    EXPECT_EQ(arg_message([&] { builder.publish_out("wtid:x#y", "x", text("x")); }),
              "workflow: there is no task 'wtid:x#y'");
    EXPECT_EQ(arg_message([&] { static_cast<void>(builder.get_out_value("wtid:x#y", "x")); }),
              "workflow: there is no task 'wtid:x#y'");
    EXPECT_EQ(arg_message([&] { static_cast<void>(published(builder, "wtid:x#y")); }),
              "workflow: there is no task 'wtid:x#y'");
}

TEST(inputs, are_publishable_when_declared_so_and_not_fed) {
    struct {
        char const* what;
        property_handle value;
        bool publishable;
    } const cases[] = {
        {"missing", {}, true},
        {"an empty list", list({}), true},
        {"an empty tree", tree({}), true},
        {"a plain deferred", deferred(property_kind::list), true},
        {"a variable reference", output_reference("extra-dest-urls"), true},
        {"a context value", context("workflow.extra-inputs", property_kind::list), false},
        {"a list", texts({"a"}), false},
        {"a literal", text("a"), false},
    };
    for (auto const& each : cases) {
        auto const builder = make_builder({make_task(upload, "b", tree({{"extra-source-urls", each.value}}))});
        EXPECT_EQ(builder.is_publishable_in(id(upload, "b"), "extra-source-urls"), each.publishable) << each.what;
    }
    auto const builder = make_builder({make_task(upload, "b", tree({{"own", deferred()}}))});
    EXPECT_FALSE(builder.is_publishable_in(id(upload, "b"), "source-url")) << "declared, but not so";
    EXPECT_FALSE(builder.is_publishable_in(id(upload, "b"), "own")) << "not declared";
    EXPECT_FALSE(builder.is_publishable_in(id(upload, "b"), "extra-source-urls[0]")) << "a part";
    EXPECT_EQ(arg_message([&] { static_cast<void>(builder.is_publishable_in("wtid:x#y", "x")); }),
              "workflow: there is no task 'wtid:x#y'");
}

} // namespace
