#include <kxworkflow/task_view.h>

#include "kxworkflow/support/workflows.h"

#include <kxworkflow/identifiers.h>

#include <gmock/gmock.h>

namespace {

using kx_test::context;
using kx_test::deferred;
using kx_test::encoder;
using kx_test::exported;
using kx_test::id;
using kx_test::list;
using kx_test::make_builder;
using kx_test::make_builder_from;
using kx_test::make_task;
using kx_test::number;
using kx_test::output_reference;
using kx_test::packager;
using kx_test::property_handle;
using kx_test::property_kind;
using kx_test::text;
using kx_test::text_at;
using kx_test::texts;
using kx_test::tree;
using kx_test::upload;
using kxworkflow::port_new_id;
using kxworkflow::task;
using testing::ElementsAre;
using testing::IsEmpty;

std::string const a = id(encoder, "a");
std::string const b = id(upload, "b");
std::string const p = id(packager, "p");

task::node_list in_nodes(kxworkflow::workflow_builder const& builder, std::string const& wtid) {
    task::node_list nodes;
    builder.get_task(wtid)->get_published_in_nodes(nodes);
    return nodes;
}

std::vector<std::string> in_ids(kxworkflow::workflow_builder const& builder, std::string const& wtid) {
    std::vector<std::string> ids;
    for (auto const& node : in_nodes(builder, wtid))
        ids.push_back(node->get_id());
    return ids;
}

/// The ids of the inputs that wait to be fed.
std::vector<std::string> open_inputs(kxworkflow::workflow_builder const& builder, std::string const& wtid) {
    std::vector<std::string> ids;
    for (auto const& node : in_nodes(builder, wtid))
        if (node->is_open()) ids.push_back(node->get_id());
    return ids;
}

TEST(task_view, shows_what_a_task_is) {
    auto const configuration = tree({{"source-url", text("file:/in")}});
    auto const builder = make_builder({make_task(encoder, "a", configuration)});
    auto const view = builder.get_task(a);
    EXPECT_EQ(view->get_id(), a);
    EXPECT_EQ(view->get_plid(), encoder);
    EXPECT_EQ(view->get_name(), "a");
    EXPECT_EQ(view->get_type(), "ogencoder");
    EXPECT_EQ(view->get_info()->get_id(), encoder);
    EXPECT_EQ(view->get_configuration().get(), configuration.get()) << "shared, not copied";
    EXPECT_EQ(&*view, view.get().get());
}

TEST(task_view, is_a_snapshot) {
    auto builder = make_builder({make_task(encoder, "a"), make_task(upload, "b")});
    auto const before = builder.get_task(b);
    auto const source_before = builder.get_task(a);
    EXPECT_EQ(builder.get_task(b).get(), before.get()) << "one view until something changes";
    builder.set_in_value(b, "dest-dir-url", text("file:/out"));
    ASSERT_TRUE(builder.connect(a, "dest-url", b, "source-url"));
    EXPECT_TRUE(before->get_configuration()->empty());
    task::node_list nodes;
    source_before->get_connected_out_nodes(nodes);
    EXPECT_THAT(nodes, IsEmpty());
    builder.get_task(a)->get_connected_out_nodes(nodes);
    EXPECT_EQ(nodes.size(), 1u);
    EXPECT_EQ(text_at(*builder.get_task(b)->get_configuration(), "dest-dir-url"), "file:/out");
}

TEST(task_view, lists_tasks_by_wtid_and_in_the_order_of_the_document) {
    auto const builder = make_builder({make_task(upload, "b"), make_task(packager, "p"), make_task(encoder, "a")});
    std::map<std::string, kxworkflow::task_proxy> tasks{{"before", {}}};
    builder.get_tasks(tasks);
    std::vector<std::string> wtids;
    for (auto const& [wtid, view] : tasks) {
        wtids.push_back(wtid);
        EXPECT_EQ(view->get_id(), wtid);
    }
    EXPECT_THAT(wtids, ElementsAre(p, a, b));

    auto const info = builder.get_workflow_info();
    EXPECT_EQ(info->get_name(), "News");
    std::vector<std::string> in_order;
    for (auto const& view : info->get_task_infos())
        in_order.push_back(view->get_id());
    EXPECT_THAT(in_order, ElementsAre(b, p, a));
}

TEST(task_view, shows_declared_inputs_by_their_leaves) {
    auto const builder =
        make_builder({make_task(encoder, "a",
                                tree({{"clips", list({tree({{"url", text("u")}, {"in", number(1)}}), texts({"x"})})},
                                      {"other", text("x")}})),
                      make_task(packager, "p", tree({{"source-urls", list({})}, {"package-type", tree({})}}))});
    EXPECT_THAT(in_ids(builder, a),
                ElementsAre("clips[0]{in}", "clips[0]{url}", "clips[1][0]", "intro-url", "source-url"));
    EXPECT_THAT(in_ids(builder, p), ElementsAre("package-type", "source-urls"));
    for (auto const& node : in_nodes(builder, a))
        EXPECT_EQ(node->get_value().get(), builder.get_task_configuration(a)->find_referenced(node->get_id()))
            << node->get_id();
}

TEST(task_view, leaves_out_inputs_that_only_other_tasks_feed) {
    EXPECT_THAT(in_ids(make_builder({make_task(upload, "b")}), b),
                ElementsAre("dest-dir-url", "dest-filename", "source-url"));
    EXPECT_THAT(in_ids(make_builder({make_task(upload, "b", tree({{"extra-source-urls", deferred()}}))}), b),
                ElementsAre("dest-dir-url", "dest-filename", "extra-source-urls", "source-url"))
        << "asked for by the configuration";
}

TEST(task_view, appends_nodes) {
    auto const builder = make_builder({make_task(packager, "p")});
    task::node_list nodes;
    builder.get_task(p)->get_published_in_nodes(nodes);
    builder.get_task(p)->get_published_in_nodes(nodes);
    EXPECT_EQ(nodes.size(), 4u);
}

TEST(task_view, calls_inputs_open_that_nothing_feeds) {
    struct {
        char const* what;
        property_handle value;
        bool open;
    } const cases[] = {
        {"missing", {}, true},
        {"an empty list", list({}), false},
        {"an empty tree", tree({}), false},
        {"a plain deferred", deferred(), true},
        {"a variable reference", output_reference("dest-url"), true},
        {"a literal", text("file:/in"), false},
        {"an empty literal", text(""), false},
        {"a context value", context("workflow.spawn-value"), false},
        {"a credential",
         kxcore::property_special::create_from_parts(kxcore::property_special::e_type::wrapped_encrypted,
                                                     kxcore::property_special::e_sub_type::credential,
                                                     property_kind::string, "x"),
         false},
    };
    for (auto const& each : cases) {
        auto builder =
            make_builder({make_task(encoder, "a"), make_task(upload, "b", tree({{"source-url", each.value}}))});
        auto const is_open = [&] {
            auto const open = open_inputs(builder, b);
            return std::find(open.begin(), open.end(), "source-url") != open.end();
        };
        EXPECT_EQ(is_open(), each.open) << each.what;
        ASSERT_TRUE(builder.connect(a, "dest-url", b, "source-url"));
        EXPECT_FALSE(is_open()) << each.what << ", connected";
    }
}

TEST(task_view, calls_an_input_fed_once_it_has_a_value) {
    auto builder = make_builder({make_task(encoder, "a", tree({{"intro-url", deferred()}}))});
    EXPECT_THAT(open_inputs(builder, a), ElementsAre("clips", "intro-url", "source-url"));
    builder.set_in_value(a, "intro-url", text("file:/intro"));
    EXPECT_THAT(open_inputs(builder, a), ElementsAre("clips", "source-url"));
}

TEST(task_view, tells_the_inputs_of_a_list_apart) {
    auto const reference = output_reference("dest-url");
    auto builder =
        make_builder({make_task(encoder, "a"),
                      make_task(packager, "p", tree({{"source-urls", list({reference, text("x"), reference})}}))});
    EXPECT_THAT(open_inputs(builder, p), ElementsAre("package-type", "source-urls[0]", "source-urls[2]"));
    ASSERT_TRUE(builder.connect(a, "dest-url", p, "source-urls[0]"));
    EXPECT_THAT(open_inputs(builder, p), ElementsAre("package-type", "source-urls[2]"));
}

TEST(task_view, counts_connections_to_the_whole_and_to_parts) {
    auto builder =
        make_builder({make_task(encoder, "a"), make_task(packager, "p", tree({{"source-urls", list({deferred()})}}))});
    ASSERT_TRUE(builder.connect(a, "dest-url", p, "source-urls"));
    ASSERT_TRUE(builder.connect(a, "dest-url", p, "package-type{x}"));
    ASSERT_TRUE(builder.connect(a, "bitrate-kbps", p, "package-type[0]"));
    auto const nodes = in_nodes(builder, p);
    EXPECT_THAT(nodes.back()->get_id(), "source-urls[0]");
    EXPECT_THAT(nodes.back()->get_connection_ids(), ElementsAre(port_new_id(a, "dest-url")));
    EXPECT_THAT(nodes.front()->get_id(), "package-type");
    EXPECT_THAT(nodes.front()->get_connection_ids(),
                ElementsAre(port_new_id(a, "dest-url"), port_new_id(a, "bitrate-kbps")));
    EXPECT_THAT(open_inputs(builder, p), IsEmpty());
}

TEST(task_view, does_not_mistake_an_input_for_another_that_it_begins_with) {
    auto builder =
        make_builder({make_task(encoder, "a"), make_task(upload, "b", tree({{"source-url-2", deferred()}}))});
    ASSERT_TRUE(builder.connect(a, "dest-url", b, "source-url-2"));
    EXPECT_THAT(open_inputs(builder, b), testing::Contains("source-url"));
}

TEST(task_view, shows_connections_of_outputs_in_byte_order) {
    auto builder = make_builder({make_task(encoder, "a"), make_task(upload, "b"), make_task(upload, "c")});
    std::string const c = id(upload, "c");
    ASSERT_TRUE(builder.connect(a, "dest-url", c, "source-url"));
    ASSERT_TRUE(builder.connect(a, "dest-url", b, "source-url"));
    ASSERT_TRUE(builder.connect(a, "dest-url", b, "dest-dir-url"));
    ASSERT_TRUE(builder.connect(a, "bitrate-kbps", b, "dest-filename[0]"));
    ASSERT_TRUE(builder.connect(b, "extra-dest-urls", c, "extra-source-urls"));
    task::node_list nodes;
    builder.get_task(a)->get_connected_out_nodes(nodes);
    ASSERT_EQ(nodes.size(), 2u);
    EXPECT_EQ(nodes.front()->get_id(), "bitrate-kbps");
    EXPECT_EQ(nodes.back()->get_id(), "dest-url");
    EXPECT_THAT(
        nodes.back()->get_connection_ids(),
        ElementsAre(port_new_id(b, "dest-dir-url"), port_new_id(b, "source-url"), port_new_id(c, "source-url")));
    EXPECT_FALSE(nodes.back()->get_value());
    nodes.clear();
    builder.get_task(b)->get_connected_out_nodes(nodes);
    EXPECT_EQ(*nodes.front()->get_value(), *output_reference("extra-source-urls", property_kind::list));
    builder.publish_out(b, "extra-dest-urls", text("own"));
    nodes.clear();
    builder.get_task(b)->get_connected_out_nodes(nodes);
    EXPECT_EQ(*nodes.front()->get_value(), *text("own"));
}

TEST(task_view, shows_sources_of_an_input_in_the_order_of_connection) {
    auto builder = make_builder({make_task(encoder, "z"), make_task(encoder, "a"),
                                 make_task(packager, "p", tree({{"source-urls", list({deferred()})}}))});
    std::string const z = id(encoder, "z");
    ASSERT_TRUE(builder.connect(z, "dest-url", p, "source-urls[0]"));
    ASSERT_TRUE(builder.connect(a, "dest-url", p, "source-urls[0]"));
    EXPECT_THAT(in_nodes(builder, p).back()->get_connection_ids(),
                ElementsAre(port_new_id(z, "dest-url"), port_new_id(a, "dest-url")));
    auto const again = make_builder_from(exported(builder));
    EXPECT_THAT(in_nodes(again, p).back()->get_connection_ids(),
                ElementsAre(port_new_id(z, "dest-url"), port_new_id(a, "dest-url")));
}

} // namespace
