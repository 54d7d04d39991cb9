#include "kxclientutil/config/upgrade/upgrade_fixture.h"

#include <kxclientutil/config.h>

#include <kxbase/limits.h>

namespace kxclientutil {

namespace {

using namespace kx_test; // NOLINT(google-build-using-namespace): the words of the test

namespace es = kxbase::es;

/// A task of version 1.
tree_handle old_task(char const* plid, char const* instance, property_handle const& configuration = tree({})) {
    return tree({{"id", text(wtid(plid, instance))}, {"configuration", configuration}});
}

/// The same with deliveries.
tree_handle old_encoder(char const* instance, std::vector<property_handle> const& actions) {
    return tree(
        {{"id", text(wtid(encoder_plid, instance))}, {"configuration", tree({})}, {"post-actions", list(actions)}});
}

property_handle action(char const* node, std::vector<std::string> const& destinations) {
    return tree({{"node-id", text(node)}, {"destinations", texts(destinations)}});
}

std::string to(char const* plid, char const* instance, char const* input) {
    return "workflow:" + wtid(plid, instance) + ">" + input;
}

/// A task of version 2.
tree_handle new_task(char const* plid, char const* instance, property_handle const& configuration = tree({})) {
    return tree({{"id", text(wtid(plid, instance))}, {"plugin-id", text(plid)}, {"configuration", configuration}});
}

property_handle connection(std::string const& from, std::string const& to) {
    return tree({{"from-wtid", text(from)}, {"to-wtid", text(to)}});
}

tree_handle old_workflow(std::vector<property_handle> const& tasks) {
    return tree({{"tasks", list(tasks)}});
}

tree_handle new_workflow(std::vector<property_handle> const& tasks, std::vector<property_handle> const& connections) {
    return tree({{"tasks", list(tasks)}, {"workflow-meta", tree({{"connections", list(connections)}})}});
}

class workflow : public upgrade_fixture {
protected:
    [[nodiscard]] tree_handle update(tree_handle const& document, unsigned int from, unsigned int to) const {
        return upgrade(update_workflow, document, from, to);
    }

    [[nodiscard]] std::string fault(tree_handle const& document, unsigned int from = 1) const {
        return message_of<es::arg>([&] { static_cast<void>(update(document, from, from + 1)); });
    }
};

TEST_F(workflow, of_version_1_comes_to_version_7_in_one_call) {
    auto const old = tree(
        {{"name", text("News")},
         {"ext-meta", tree({{"color", text("red")}})},
         {"workflow-meta", tree({{"type", text("x")}})},
         {"tasks",
          list({tree({{"id", text(wtid(upload_plid, "server"))},
                      {"name", text("lost")},
                      {"configuration", tree({{"source-url", deferred()},
                                              {"dest-dir-url", text("kxvar:/#x")},
                                              {"dest-filename", text("$source-filename$")}})}}),
                old_task("task/regular/mail/1.0", "desk"),
                tree({{"id", text(wtid(encoder_plid, "hd"))},
                      {"ext-meta", tree({{"name", text("720p")}})},
                      {"configuration", tree({{"source-url", deferred()}})},
                      {"post-actions", list({action("dest-url", {to(upload_plid, "server", "source-url"),
                                                                 to("task/regular/mail/1.0", "desk", "x")}),
                                             action("encoder.name", {to(upload_plid, "server", "label{text}")})})}}),
                old_task(youtube_plid, "channel", tree({{"name", text("Channel")}}))})}});

    auto const now = tree(
        {{"ext-meta", tree({{"color", text("red")}})},
         {"tasks", list({tree({{"id", text(wtid(encoder_plid, "hd"))},
                               {"plugin-id", text(encoder_plid)},
                               {"name", text("720p")},
                               {"configuration", tree({{"source-url", output_reference("dest-url")}})}}),
                         tree({{"id", text(wtid(upload_plid, "server"))},
                               {"plugin-id", text(upload_plid)},
                               {"name", text("Untitled")},
                               {"configuration",
                                tree({{"source-url", output_reference("dest-url")},
                                      {"dest-dir-url", text("kxvar:/?url.parent_directory_url#workflow.spawn-value")},
                                      {"dest-filename", text("$source.filename$")},
                                      {"label", tree({{"text", text("$encoder.name$")}})}})}}),
                         tree({{"id", text(wtid(youtube_plid, "channel"))},
                               {"plugin-id", text(youtube_plid)},
                               {"name", text("Channel")},
                               {"configuration", tree({})}})})},
         {"workflow-meta",
          tree({{"connections", list({connection(wtid(encoder_plid, "hd"), wtid(upload_plid, "server")),
                                      connection(wtid(encoder_plid, "hd"), wtid(mail_plid, "desk"))})}})}});

    EXPECT_EQ(*update(old, 1, 7), *now);
    EXPECT_EQ(*update(old, 0, 7), *now);

    auto by_step = old;
    for (unsigned int version = 1; version < 7; ++version)
        by_step = update(by_step, version, version + 1);
    EXPECT_EQ(*by_step, *now);
}

TEST_F(workflow, is_a_copy_when_there_is_nothing_to_do) {
    auto const document = tree({{"name", text("x")}});
    for (auto const& [from, to] : {std::pair(1U, 1U), {7U, 7U}, {7U, 1U}, {0U, 1U}}) {
        EXPECT_EQ(*update(document, from, to), *document);
        EXPECT_NE(update(document, from, to), document);
    }
}

// 1 to 2

TEST_F(workflow, keeps_its_extra_meta_data_and_nothing_else_beside_its_tasks) {
    auto const meta = tree({{"a", text("b")}});
    auto const document = tree({{"name", text("News")},
                                {"ext-meta", meta},
                                {"workflow-meta", tree({{"connections", list({text("x")})}, {"type", text("x")}})},
                                {"int-meta", number(1)},
                                {"tasks", list({})}});
    auto const result = update(document, 1, 2);
    EXPECT_EQ(*result,
              *tree({{"ext-meta", meta}, {"tasks", list({})}, {"workflow-meta", tree({{"connections", list({})}})}}));
    EXPECT_EQ(result->get_property("ext-meta"), meta) << "the very same object";
}

TEST_F(workflow, has_encoders_first_and_then_the_others_each_in_their_order) {
    auto const document =
        old_workflow({old_task(upload_plid, "1"), old_task(encoder_plid, "2"), old_task(youtube_plid, "3"),
                      old_task(upload_plid, "4"), old_task(encoder_plid, "5")});
    EXPECT_EQ(*update(document, 1, 2),
              *new_workflow({new_task(encoder_plid, "2"), new_task(encoder_plid, "5"), new_task(upload_plid, "1"),
                             new_task(youtube_plid, "3"), new_task(upload_plid, "4")},
                            {}));
}

TEST_F(workflow, loses_tasks_of_other_plugins_but_not_the_connections_to_them) {
    auto const document = old_workflow(
        {old_task(mail_plid, "desk"), old_task("task/regular/upload/1.1", "a"),
         old_task("task/regular/Upload/1.0", "b"), old_task("", "c"), old_task("task/regular/ogencoder/1.01", "d"),
         old_task("task/regular/upload/1.01", "f"), old_task("task/regular/youtube/1.01", "g"),
         old_encoder("e", {action("dest-url", {to(mail_plid, "desk", "message")})})});
    EXPECT_EQ(*update(document, 1, 2), *new_workflow({new_task(encoder_plid, "e")},
                                                     {connection(wtid(encoder_plid, "e"), wtid(mail_plid, "desk"))}));
}

TEST_F(workflow, goes_by_the_ids_of_its_tasks_and_not_by_what_they_say_of_their_plugin) {
    auto const mail =
        tree({{"id", text(wtid(mail_plid, "a"))}, {"plugin-id", text(upload_plid)}, {"configuration", tree({})}});
    auto const upload =
        tree({{"id", text(wtid(upload_plid, "b"))}, {"plugin-id", text(mail_plid)}, {"configuration", tree({})}});
    EXPECT_EQ(*update(old_workflow({mail, upload}), 1, 2), *new_workflow({new_task(upload_plid, "b")}, {}));
}

TEST_F(workflow, rebuilds_its_tasks_of_id_configuration_and_extra_meta_data) {
    for (char const* plid : {encoder_plid, upload_plid, youtube_plid}) {
        auto const id = text(wtid(plid, "a"));
        auto const configuration = tree({{"a", text("b")}});
        auto const meta = tree({{"c", text("d")}});
        auto const task = tree({{"id", id},
                                {"plugin-id", text("x")},
                                {"name", text("lost")},
                                {"requirements", text("lost")},
                                {"configuration", configuration},
                                {"ext-meta", meta}});
        auto const result = update(old_workflow({task}), 1, 2);
        EXPECT_EQ(
            *result,
            *new_workflow(
                {tree({{"id", id}, {"plugin-id", text(plid)}, {"configuration", configuration}, {"ext-meta", meta}})},
                {}));
        EXPECT_EQ(result->get_referenced_property("tasks[0]{id}"), id) << "the very same objects";
        EXPECT_EQ(result->get_referenced_property("tasks[0]{configuration}"), configuration);
        EXPECT_EQ(result->get_referenced_property("tasks[0]{ext-meta}"), meta);
    }
}

TEST_F(workflow, makes_no_member_of_one_that_a_task_lacks) {
    for (char const* plid : {encoder_plid, upload_plid, youtube_plid}) {
        auto const task = tree({{"id", text(wtid(plid, "a"))}});
        EXPECT_EQ(*update(old_workflow({task}), 1, 2),
                  *new_workflow({tree({{"id", text(wtid(plid, "a"))}, {"plugin-id", text(plid)}})}, {}));
    }
}

TEST_F(workflow, upgrades_the_tasks_that_it_rebuilds) {
    captured_report const log;
    auto const configuration = tree({{"source-url", deferred()}, {"dest-dir-url", text("kxvar:/#x")}});
    auto const result =
        update(old_workflow({old_task(upload_plid, "a", configuration), old_task(encoder_plid, "b", configuration),
                             old_task(youtube_plid, "c", configuration)}),
               1, 2);
    auto const source = output_reference("dest-url");
    auto const left = tree({{"source-url", source}, {"dest-dir-url", text("kxvar:/#x")}});
    EXPECT_EQ(*result,
              *new_workflow({new_task(encoder_plid, "b", left),
                             new_task(upload_plid, "a",
                                      tree({{"source-url", source}, {"dest-dir-url", text("kxvar:/#same-as-source")}})),
                             new_task(youtube_plid, "c", left)},
                            {}));
    EXPECT_TRUE(log.messages().empty());
    static_cast<void>(update(old_workflow({old_task(encoder_plid, "b", tree({{"source-url", context("x")}}))}), 1, 2));
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{"configuration variable 'source-url' is not what is expected in version 1"}));
}

TEST_F(workflow, makes_a_connection_of_every_destination_of_a_delivered_file) {
    auto const document = old_workflow(
        {old_encoder("a", {action("dest-url", {to(upload_plid, "x", "source-url"), "workflow:elsewhere>in"}),
                           action("dest-url", {to(upload_plid, "x", "source-url")})}),
         old_encoder("b", {action("dest-url", {"no path at all", ""})})});
    EXPECT_EQ(*update(document, 1, 2), *new_workflow({new_task(encoder_plid, "a"), new_task(encoder_plid, "b")},
                                                     {connection(wtid(encoder_plid, "a"), wtid(upload_plid, "x")),
                                                      connection(wtid(encoder_plid, "a"), "elsewhere"),
                                                      connection(wtid(encoder_plid, "a"), wtid(upload_plid, "x")),
                                                      connection(wtid(encoder_plid, "b"), "no path at all"),
                                                      connection(wtid(encoder_plid, "b"), "")}));
}

TEST_F(workflow, writes_connections_of_exactly_two_members) {
    auto const result =
        update(old_workflow({old_encoder("a", {action("dest-url", {to(upload_plid, "x", "source-url")})})}), 1, 2);
    auto const made = result->get_referenced_property("workflow-meta{connections}[0]");
    ASSERT_TRUE(made);
    EXPECT_EQ(static_cast<properties const&>(*made).size(), 2U);
}

TEST_F(workflow, puts_other_deliveries_between_dollar_signs_into_the_uploads) {
    auto const document = old_workflow(
        {old_task(upload_plid, "x", tree({{"dest-filename", text("a")}, {"env", tree({{"A", text("a")}})}})),
         old_task(upload_plid, "y"),
         old_encoder("e", {action("encoder.name", {to(upload_plid, "x", "dest-filename"), to(upload_plid, "y", "b")}),
                           action("hr-samplerate", {to(upload_plid, "x", "env{RATE}{hz}")}),
                           action("Dest-Url", {to(upload_plid, "x", "odd")}),
                           action("the-dest-url", {to(upload_plid, "x", "odder")}),
                           action("dest-urls", {to(upload_plid, "x", "oddest")}),
                           action("", {to(upload_plid, "x", "z")})})});
    auto const x = tree({{"dest-filename", text("$encoder.name$")},
                         {"env", tree({{"A", text("a")}, {"RATE", tree({{"hz", text("$hr-samplerate$")}})}})},
                         {"odd", text("$Dest-Url$")},
                         {"odder", text("$the-dest-url$")},
                         {"oddest", text("$dest-urls$")},
                         {"z", text("$$")}});
    EXPECT_EQ(*update(document, 1, 2),
              *new_workflow({new_task(encoder_plid, "e"), new_task(upload_plid, "x", x),
                             new_task(upload_plid, "y", tree({{"b", text("$encoder.name$")}}))},
                            {}));
}

TEST_F(workflow, has_the_last_delivery_into_an_input_win) {
    auto const document =
        old_workflow({old_encoder("a", {action("one", {to(upload_plid, "x", "in")})}), old_task(upload_plid, "x"),
                      old_encoder("b", {action("two", {to(upload_plid, "x", "in")})})});
    EXPECT_EQ(text_at(*update(document, 1, 2), "tasks[2]{configuration}{in}"), "$two$");
}

TEST_F(workflow, puts_no_delivery_into_tasks_that_are_no_uploads) {
    auto const document = old_workflow(
        {old_task(youtube_plid, "y"),
         old_encoder("e",
                     {action("a", {to(youtube_plid, "y", "in"), to(encoder_plid, "e", "in"), "workflow:gone>b"})})});
    EXPECT_EQ(*update(document, 1, 2), *new_workflow({new_task(encoder_plid, "e"), new_task(youtube_plid, "y")}, {}));
}

TEST_F(workflow, gives_an_upload_without_configuration_one_of_what_is_delivered) {
    auto const document = old_workflow(
        {tree({{"id", text(wtid(upload_plid, "x"))}}), old_encoder("e", {action("a", {to(upload_plid, "x", "in")})})});
    EXPECT_EQ(
        *update(document, 1, 2),
        *new_workflow({new_task(encoder_plid, "e"), new_task(upload_plid, "x", tree({{"in", text("$a$")}}))}, {}));
}

TEST_F(workflow, reads_an_encoder_without_deliveries_and_deliveries_without_destinations_as_none) {
    auto const document = old_workflow({old_task(encoder_plid, "a"), old_encoder("b", {}),
                                        old_encoder("c", {tree({{"node-id", text("dest-url")}})}),
                                        old_encoder("d", {action("dest-url", {})})});
    EXPECT_EQ(*update(document, 1, 2), *new_workflow({new_task(encoder_plid, "a"), new_task(encoder_plid, "b"),
                                                      new_task(encoder_plid, "c"), new_task(encoder_plid, "d")},
                                                     {}));
}

TEST_F(workflow, takes_a_destination_without_an_input_for_the_input_without_a_name) {
    auto const document = old_workflow(
        {old_encoder("a", {action("x", {"workflow:" + wtid(upload_plid, "u")})}), old_task(upload_plid, "u")});
    EXPECT_EQ(*update(document, 1, 2),
              *new_workflow({new_task(encoder_plid, "a"), new_task(upload_plid, "u", tree({{"", text("$x$")}}))}, {}));
}

TEST_F(workflow, looks_for_deliveries_at_encoders_only) {
    auto const upload = tree({{"id", text(wtid(upload_plid, "x"))},
                              {"configuration", tree({})},
                              {"post-actions", list({action("dest-url", {"workflow:a>b"})})}});
    EXPECT_EQ(*update(old_workflow({upload}), 1, 2), *new_workflow({new_task(upload_plid, "x")}, {}));
}

TEST_F(workflow, of_version_1_says_what_it_lacks_and_where) {
    struct {
        tree_handle document;
        char const* message;
    } const rows[] = {
        {tree({}), "member 'tasks' is missing; expected kind list"},
        {tree({{"tasks", text("x")}}), "member 'tasks' is of kind string; expected kind list"},
        {old_workflow({old_task(encoder_plid, "a"), text("x")}),
         "tasks[1]: the element is of kind string; expected kind properties"},
        {old_workflow({tree({})}), "tasks[0]: member 'id' is missing; expected kind string"},
        {old_workflow({tree({{"id", number(1)}})}), "tasks[0]: member 'id' is of kind int; expected kind string"},
        {old_workflow({tree({{"id", text(wtid(encoder_plid, "a"))}, {"post-actions", text("x")}})}),
         "tasks[0]: member 'post-actions' is of kind string; expected kind list"},
        {old_workflow({old_encoder("a", {number(1)})}),
         "tasks[0]: post-actions[0]: the element is of kind int; expected kind properties"},
        {old_workflow({old_encoder("a", {action("x", {}), tree({})})}),
         "tasks[0]: post-actions[1]: member 'node-id' is missing; expected kind string"},
        {old_workflow({old_encoder("a", {tree({{"node-id", text("x")}, {"destinations", tree({})}})})}),
         "tasks[0]: post-actions[0]: member 'destinations' is of kind properties; expected kind list"},
        {old_workflow({old_encoder("a", {tree({{"node-id", text("x")}, {"destinations", list({flag(true)})}})})}),
         "tasks[0]: post-actions[0]: an element of 'destinations' is of kind bool; expected kind string"},
        {old_workflow({old_encoder("a", {action("x", {to(upload_plid, "u", "in")})}),
                       tree({{"id", text(wtid(upload_plid, "u"))}, {"configuration", text("x")}})}),
         "tasks[1]: member 'configuration' is of kind string; expected kind properties"},
        {old_workflow({old_encoder("a", {action("x", {to(upload_plid, "u", "a{")})}), old_task(upload_plid, "u")}),
         "tasks[1]: path 'a{' is malformed; expected key, {key} and [n]"},
    };
    for (auto const& row : rows)
        EXPECT_EQ(fault(row.document), row.message);
}

TEST_F(workflow, makes_nothing_of_a_delivery_that_no_document_could_hold) {
    auto const deliver_to = [&](std::string const& node) {
        auto const encoder =
            tree({{"id", text(wtid(encoder_plid, "a"))},
                  {"post-actions",
                   list({tree({{"node-id", text("x")},
                               {"destinations", list({text("workflow:" + wtid(upload_plid, "u") + ">" + node)})}})})}});
        return old_workflow({encoder, old_task(upload_plid, "u")});
    };
    std::string path = "a";
    for (std::size_t step = 1; step < kxbase::limit_nesting - 4; ++step)
        path += "{b}";
    EXPECT_EQ(fault(deliver_to(path)), "(nothing raised)");
    EXPECT_EQ(fault(deliver_to(path + "{b}")),
              "tasks[1]: a delivery's path is nested deeper than 128 levels (limit nesting)");
    EXPECT_NE(fault(deliver_to("\xFF")).find("tasks[1]: a delivery's path cannot be set: its key"), std::string::npos);
}

TEST_F(workflow, deepest_delivery_in_a_submission_can_be_stored) {
    std::string path = "a";
    for (std::size_t step = 1; step < kxbase::limit_nesting - 4; ++step)
        path += "{b}";
    auto const made = update(
        old_workflow({old_encoder("a", {tree({{"node-id", text("x")},
                                              {"destinations",
                                               list({text("workflow:" + wtid(upload_plid, "u") + ">" + path)})}})}),
                      old_task(upload_plid, "u")}),
        1, 7);
    kxcore::configuration writer(constraints, {"submission", 7});
    writer.set_config(*tree({{"workflow", made}}));
    kxbase::buffer bytes;
    EXPECT_NO_THROW(writer.write_config(bytes, kxcore::configuration::format_binary));
}

// Later steps

TEST_F(workflow, upgrades_its_tasks_in_every_later_step_in_their_order) {
    auto const document =
        tree({{"name", text("News")},
              {"more", number(1)},
              {"tasks", list({tree({{"plugin-id", text("any")}, {"a", text("$encoder-id$")}}),
                              tree({{"ext-meta", tree({{"name", text("B")}})},
                                    {"plugin-id", text(upload_plid)},
                                    {"configuration", tree({{"dest-dir-url", text("kxvar:/#same-as-source")}})}})})}});
    EXPECT_EQ(
        *update(document, 2, 7),
        *tree({{"name", text("News")},
               {"more", number(1)},
               {"tasks",
                list({tree({{"name", text("Untitled")}, {"plugin-id", text("any")}, {"a", text("$encoder.name$")}}),
                      tree({{"name", text("B")},
                            {"plugin-id", text(upload_plid)},
                            {"configuration",
                             tree({{"dest-dir-url",
                                    text("kxvar:/?url.parent_directory_url#workflow.spawn-value")}})}})})}}));
}

TEST_F(workflow, takes_one_step_of_its_tasks_at_a_time) {
    for (unsigned int version = 2; version < 7; ++version) {
        auto const task = tree({{"plugin-id", text(upload_plid)},
                                {"a", text("$encoder-id$")},
                                {"configuration", tree({{"dest-dir-url", text("kxvar:/#same-as-source")}})}});
        EXPECT_EQ(*update(old_workflow({task}), version, version + 1),
                  *old_workflow({update_task(*task, version, version + 1, plugins, constraints)}));
    }
}

TEST_F(workflow, of_a_later_version_says_what_it_lacks_and_where) {
    for (unsigned int version = 2; version < 7; ++version) {
        EXPECT_EQ(fault(tree({}), version), "member 'tasks' is missing; expected kind list");
        EXPECT_EQ(fault(old_workflow({list({})}), version),
                  "tasks[0]: the element is of kind list; expected kind properties");
    }
}

} // namespace

} // namespace kxclientutil
