#include "kxclientutil/config/upgrade/upgrade_fixture.h"

#include <kxclientutil/config.h>

namespace kxclientutil {

namespace {

using namespace kx_test; // NOLINT(google-build-using-namespace): the words of the test

namespace es = kxbase::es;

tree_handle empty_workflow() {
    return tree({{"tasks", list({})}, {"workflow-meta", tree({{"connections", list({})}})}});
}

/// A monitor source of version 1 with both choices of the assistant.
tree_handle old_monitor_source() {
    return tree({{"name", text("Watch")},
                 {"manager-configuration", tree({{"url", text("file:/in")},
                                                 {"pickup-present", flag(true)},
                                                 {"rules", list({tree({{"include", text("a")}})})}})},
                 {"plugin-configuration", tree({{"VostrelAssistant-remove-source", flag(true)},
                                                {"VostrelAssistant-move-source", text("file:/done")},
                                                {"poll", number(5)}})}});
}

tree_handle new_manager_configuration() {
    return tree({{"url", text("file:/in")},
                 {"pickup-present", flag(true)},
                 {"filter", tree({{"include-regexp", text("a")}})},
                 {"pairing", text("global")},
                 {"dep-files", tree({{"audio", flag(false)}, {"cc", flag(false)}})}});
}

tree_handle old_file_source() {
    return tree({{"name", text("Files")}, {"files", list({tree({{"url", text("file:/a")}, {"size", number(1)}})})}});
}

tree_handle new_file_source() {
    return tree({{"name", text("Files")}, {"files", list({tree({{"url", text("file:/a")}})})}});
}

class submission : public upgrade_fixture {
protected:
    [[nodiscard]] tree_handle update(tree_handle const& document, unsigned int from, unsigned int to) const {
        return upgrade(update_submission, document, from, to);
    }

    [[nodiscard]] std::string fault(tree_handle const& document, unsigned int from = 1) const {
        return message_of<es::arg>([&] { static_cast<void>(update(document, from, from + 1)); });
    }
};

TEST_F(submission, comes_from_version_1_to_7_with_its_workflow_and_its_files) {
    auto const task = tree({{"id", text(wtid(encoder_plid, "a"))}, {"configuration", tree({{"name", text("HD")}})}});
    auto const old = tree({{"name", text("Submission")},
                           {"int-meta", tree({{"a", text("b")}})},
                           {"ext-meta", tree({{"int-meta", text("kept")}})},
                           {"workflow", tree({{"name", text("lost")}, {"tasks", list({task})}})},
                           {"file-source", old_file_source()}});
    auto const now = tree({{"name", text("Submission")},
                           {"ext-meta", tree({{"int-meta", text("kept")}})},
                           {"workflow", tree({{"tasks", list({tree({{"id", text(wtid(encoder_plid, "a"))},
                                                                    {"plugin-id", text(encoder_plid)},
                                                                    {"name", text("HD")},
                                                                    {"configuration", tree({})}})})},
                                              {"workflow-meta", tree({{"connections", list({})}})}})},
                           {"file-source", new_file_source()}});
    EXPECT_EQ(*update(old, 1, 7), *now);
    EXPECT_EQ(*update(old, 0, 7), *now);
}

TEST_F(submission, keeps_the_actions_of_a_monitor_source_that_is_upgraded_in_it) {
    auto const old = tree({{"workflow", tree({{"tasks", list({})}})}, {"monitor-source", old_monitor_source()}});
    auto const actions = tree({{"remove-source", flag(true)}, {"move-source", text("file:/done")}});
    auto const now =
        tree({{"workflow", empty_workflow()},
              {"monitor-source", tree({{"name", text("Watch")},
                                       {"manager-configuration", new_manager_configuration()},
                                       {"plugin-configuration", tree({{"poll", number(5)}})},
                                       {"attached-workflow-actions",
                                        tree({{"finalize-workflow-success", tree({{"deployment", actions}})}})}})}});
    EXPECT_EQ(*update(old, 1, 7), *now);

    // One that is upgraded alone in one call does not.
    auto const alone = upgrade(update_monitor_source, old_monitor_source(), 1, 7);
    EXPECT_EQ(*alone, *tree({{"name", text("Watch")},
                             {"manager-configuration", new_manager_configuration()},
                             {"plugin-configuration", old_monitor_source()->get_property("plugin-configuration")}}));
}

TEST_F(submission, upgrades_the_file_source_alone_when_it_has_both_sources) {
    auto const old = tree({{"workflow", tree({{"tasks", list({})}})},
                           {"file-source", old_file_source()},
                           {"monitor-source", old_monitor_source()}});
    auto const result = update(old, 1, 7);
    EXPECT_EQ(*result->get_property("file-source"), *new_file_source());
    EXPECT_EQ(result->get_property("monitor-source"), old->get_property("monitor-source"));
}

TEST_F(submission, without_a_source_upgrades_its_workflow) {
    EXPECT_EQ(*update(tree({{"workflow", tree({{"tasks", list({})}})}}), 1, 7),
              *tree({{"workflow", empty_workflow()}}));
}

TEST_F(submission, leaves_other_sources_alone) {
    auto const edit = tree({{"int-meta", number(1)}});
    auto const old = tree({{"workflow", tree({{"tasks", list({})}})}, {"edl-source", edit}, {"iseq-source", edit}});
    EXPECT_EQ(*update(old, 1, 7), *tree({{"workflow", empty_workflow()}, {"edl-source", edit}, {"iseq-source", edit}}));
}

TEST_F(submission, keeps_its_internal_meta_data_from_version_2_on) {
    auto const document = tree({{"int-meta", number(1)}, {"workflow", tree({{"tasks", list({})}})}});
    EXPECT_EQ(*update(document, 2, 7), *document);
    EXPECT_FALSE(update(document, 1, 2)->is_present("int-meta"));
}

TEST_F(submission, takes_every_step_through_its_parts) {
    for (unsigned int version = 1; version < 7; ++version) {
        auto const task = tree({{"plugin-id", text(upload_plid)},
                                {"id", text(wtid(upload_plid, "a"))},
                                {"text", text("$encoder-id$")},
                                {"configuration", tree({{"dest-dir-url", text("kxvar:/#same-as-source")}})}});
        auto const workflow = tree({{"tasks", list({task})}});
        auto const result =
            update(tree({{"workflow", workflow}, {"monitor-source", old_monitor_source()}}), version, version + 1);
        EXPECT_EQ(*result, *tree({{"workflow", update_workflow(*workflow, version, version + 1, plugins, constraints)},
                                  {"monitor-source", update_monitor_source(*old_monitor_source(), version, version + 1,
                                                                           plugins, constraints)}}));
    }
}

TEST_F(submission, is_a_copy_when_there_is_nothing_to_do) {
    auto const document = tree({{"name", text("x")}, {"int-meta", number(1)}});
    EXPECT_EQ(*update(document, 7, 7), *document);
    EXPECT_EQ(*update(document, 1, 1), *document);
    EXPECT_NE(update(document, 7, 7), document);
}

TEST_F(submission, says_what_it_lacks) {
    auto const workflow = tree({{"tasks", list({})}});
    for (unsigned int version = 1; version < 7; ++version) {
        EXPECT_EQ(fault(tree({}), version), "member 'workflow' is missing; expected kind properties");
        EXPECT_EQ(fault(tree({{"file-source", text("x")}}), version),
                  "member 'workflow' is missing; expected kind properties")
            << "the first that is looked for";
        EXPECT_EQ(fault(tree({{"workflow", list({})}}), version),
                  "member 'workflow' is of kind list; expected kind properties");
        EXPECT_EQ(fault(tree({{"workflow", workflow}, {"file-source", text("x")}}), version),
                  "member 'file-source' is of kind string; expected kind properties");
        EXPECT_EQ(fault(tree({{"workflow", workflow}, {"monitor-source", text("x")}}), version),
                  "member 'monitor-source' is of kind string; expected kind properties");
    }
    EXPECT_EQ(fault(tree({{"workflow", workflow}, {"monitor-source", tree({})}}), 6),
              "member 'manager-configuration' is missing; expected kind properties");
}

} // namespace

} // namespace kxclientutil
