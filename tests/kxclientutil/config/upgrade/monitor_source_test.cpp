#include "kxclientutil/config/upgrade/upgrade_fixture.h"

#include <kxclientutil/config.h>

namespace kxclientutil {

namespace {

using namespace kx_test; // NOLINT(google-build-using-namespace): the words of the test

namespace es = kxbase::es;

constexpr char const* no_rule = "No rule found in monitor source, failed to update";
constexpr char const* remove_choice = "VostrelAssistant-remove-source";
constexpr char const* move_choice = "VostrelAssistant-move-source";

tree_handle actions(property_handle const& deployment) {
    return tree({{"finalize-workflow-success", tree({{"deployment", deployment}})}});
}

tree_handle manager_with(std::vector<property_handle> const& rules) {
    return tree({{"url", text("file:/in")}, {"pickup-present", flag(true)}, {"rules", list(rules)}});
}

tree_handle with_rule(property_handle const& rule) {
    return tree({{"manager-configuration", manager_with({rule})}});
}

class monitor_source : public upgrade_fixture {
protected:
    [[nodiscard]] tree_handle update(tree_handle const& document, unsigned int from, unsigned int to) const {
        return upgrade(update_monitor_source, document, from, to);
    }

    [[nodiscard]] std::string fault(tree_handle const& document) const {
        return message_of<es::arg>([&] { static_cast<void>(update(document, 1, 7)); });
    }

    /// What one call from version 1 to 2 makes of a plugin's configuration alone.
    [[nodiscard]] tree_handle with_choices(property_handle const& configuration) const {
        return update(tree({{"plugin-configuration", configuration}}), 1, 2);
    }
};

// 1 to 2

TEST_F(monitor_source, turns_the_choice_to_remove_its_sources_into_an_action) {
    auto const choice = flag(true);
    auto const result = with_choices(tree({{remove_choice, choice}, {"poll", number(5)}}));
    EXPECT_EQ(*result, *tree({{"plugin-configuration", tree({{"poll", number(5)}})},
                              {"attached-workflow-actions", actions(tree({{"remove-source", flag(true)}}))}}));
    EXPECT_EQ(result->get_referenced_property(
                  "attached-workflow-actions{finalize-workflow-success}{deployment}{remove-source}"),
              choice);
}

TEST_F(monitor_source, forgets_the_choice_not_to_remove_its_sources) {
    EXPECT_EQ(*with_choices(tree({{remove_choice, flag(false)}})), *tree({{"plugin-configuration", tree({})}}));
}

TEST_F(monitor_source, turns_the_choice_to_move_its_sources_into_an_action) {
    for (char const* folder : {"file:/done", ""}) {
        auto const choice = text(folder);
        auto const result = with_choices(tree({{move_choice, choice}}));
        EXPECT_EQ(*result, *tree({{"plugin-configuration", tree({})},
                                  {"attached-workflow-actions", actions(tree({{"move-source", choice}}))}}));
        EXPECT_EQ(result->get_referenced_property(
                      "attached-workflow-actions{finalize-workflow-success}{deployment}{move-source}"),
                  choice);
    }
}

TEST_F(monitor_source, joins_both_choices_with_the_actions_that_are_there) {
    auto const document =
        tree({{"plugin-configuration", tree({{remove_choice, flag(true)}, {move_choice, text("file:/done")}})},
              {"attached-workflow-actions",
               tree({{"finalize-workflow-failure", tree({})},
                     {"finalize-workflow-success",
                      tree({{"deployment", tree({{"remove-source", flag(false)}, {"log", text("x")}})}})}})}});
    EXPECT_EQ(
        *update(document, 1, 2),
        *tree({{"plugin-configuration", tree({})},
               {"attached-workflow-actions",
                tree({{"finalize-workflow-failure", tree({})},
                      {"finalize-workflow-success", tree({{"deployment", tree({{"remove-source", flag(true)},
                                                                               {"move-source", text("file:/done")},
                                                                               {"log", text("x")}})}})}})}}));
}

TEST_F(monitor_source, leaves_choices_of_another_kind_alone) {
    for (tree_handle const& configuration : {tree({{remove_choice, text("true")}, {move_choice, flag(true)}}),
                                             tree({{remove_choice, number(1)}, {move_choice, deferred()}}),
                                             tree({{"vostrelassistant-remove-source", flag(true)}})})
        EXPECT_EQ(*with_choices(configuration), *tree({{"plugin-configuration", configuration}}));
    EXPECT_EQ(*with_choices(text(remove_choice)), *tree({{"plugin-configuration", text(remove_choice)}}));
}

TEST_F(monitor_source, keeps_everything_else_up_to_version_6) {
    auto const document = tree({{"manager-configuration", text("not looked at")},
                                {"more", number(1)},
                                {"plugin-configuration", tree({{remove_choice, flag(true)}})}});
    for (unsigned int to = 2; to < 7; ++to) {
        auto const result = update(document, 1, to);
        EXPECT_EQ(*result, *tree({{"manager-configuration", text("not looked at")},
                                  {"more", number(1)},
                                  {"plugin-configuration", tree({})},
                                  {"attached-workflow-actions", actions(tree({{"remove-source", flag(true)}}))}}));
        EXPECT_EQ(*update(document, 0, to), *result);
        EXPECT_EQ(*update(document, 2, to), *document) << "the step is over";
    }
    EXPECT_EQ(*update(document, 1, 1), *document);
    EXPECT_EQ(*update(document, 0, 1), *document);
}

TEST_F(monitor_source, cannot_get_actions_where_there_is_no_tree_for_them) {
    auto const document =
        tree({{"plugin-configuration", tree({{remove_choice, flag(true)}})}, {"attached-workflow-actions", text("x")}});
    EXPECT_NE(message_of<es::arg>([&] { static_cast<void>(update(document, 1, 2)); }).find("attached-workflow-actions"),
              std::string::npos);
}

// The rebuild

TEST_F(monitor_source, is_rebuilt_for_version_7_from_whatever_version) {
    auto const old = tree(
        {{"name", text("Watch")},
         {"ext-meta", tree({{"a", text("b")}})},
         {"attached-workflow-actions", actions(tree({{"log", text("x")}}))},
         {"plugin-configuration", tree({{remove_choice, flag(true)}, {move_choice, text("file:/done")}})},
         {"id", text("lost")},
         {"manager-configuration",
          tree({{"plugin-id", text("manager/watch/1.0")},
                {"url", text("file:/in")},
                {"pickup-present", flag(false)},
                {"poll", number(5)},
                {"filter", text("lost")},
                {"rules",
                 list({tree({{"include", text(".*\\.mov")}, {"min-size", number(10)}, {"unheard-of", text("lost")}}),
                       tree({{"ignore", text("lost")}})})}})}});
    auto const now =
        tree({{"name", text("Watch")},
              {"ext-meta", tree({{"a", text("b")}})},
              {"attached-workflow-actions", actions(tree({{"log", text("x")}}))},
              {"plugin-configuration", tree({{remove_choice, flag(true)}, {move_choice, text("file:/done")}})},
              {"manager-configuration",
               tree({{"plugin-id", text("manager/watch/1.0")},
                     {"url", text("file:/in")},
                     {"pickup-present", flag(false)},
                     {"filter", tree({{"include-regexp", text(".*\\.mov")}, {"min-size", number(10)}})},
                     {"pairing", text("global")},
                     {"dep-files", tree({{"audio", flag(false)}, {"cc", flag(false)}})}})}});
    for (unsigned int from = 0; from <= 8; ++from)
        for (unsigned int const to : {7U, 8U})
            EXPECT_EQ(*update(old, from, to), *now) << from << " to " << to;
}

TEST_F(monitor_source, takes_no_member_that_is_not_there) {
    EXPECT_EQ(
        *update(with_rule(tree({})), 1, 7),
        *tree({{"name", text("Untitled")},
               {"manager-configuration", tree({{"url", text("file:/in")},
                                               {"pickup-present", flag(true)},
                                               {"filter", tree({})},
                                               {"pairing", text("global")},
                                               {"dep-files", tree({{"audio", flag(false)}, {"cc", flag(false)}})}})}}));
}

struct key_row {
    char const* rule;
    char const* filter;
};

constexpr key_row all_keys[] = {
    {"include", "include-regexp"},
    {"ignore", "ignore-regexp"},
    {"file-name-contains-include", "file-name-contains-include"},
    {"file-name-contains-ignore", "file-name-contains-ignore"},
    {"file-name-is-include", "file-name-is-include"},
    {"file-name-is-ignore", "file-name-is-ignore"},
    {"file-name-begins-with-include", "file-name-begins-with-include"},
    {"file-name-begins-with-ignore", "file-name-begins-with-ignore"},
    {"file-name-ends-with-include", "file-name-ends-with-include"},
    {"file-name-ends-with-ignore", "file-name-ends-with-ignore"},
    {"file-extension-is-include", "file-extension-is-include"},
    {"file-extension-is-ignore", "file-extension-is-ignore"},
    {"directory-contains-include", "directory-contains-include"},
    {"directory-contains-ignore", "directory-contains-ignore"},
    {"directory-is-include", "directory-is-include"},
    {"directory-is-ignore", "directory-is-ignore"},
    {"max-size", "max-size"},
    {"min-size", "min-size"},
    {"max-mod-date", "max-mod-date"},
    {"min-mod-date", "min-mod-date"},
};

TEST_F(monitor_source, carries_every_key_of_the_rule_over_with_the_very_same_value) {
    auto const whole_rule = tree({});
    auto const whole_filter = tree({});
    int count = 0;
    for (key_row const& row : all_keys) {
        // The values are of any kind: nobody looks at them.
        property_handle const value = ++count % 2 ? text(row.rule) : list({number(1000 + count)});
        auto const result = update(with_rule(tree({{row.rule, value}})), 6, 7);
        auto const filter = result->get_referenced_property("manager-configuration{filter}");
        EXPECT_EQ(*filter, *tree({{row.filter, value}}));
        EXPECT_EQ(static_cast<properties const&>(*filter).get_property(row.filter), value) << row.rule;
        whole_rule->set_property(row.rule, value);
        whole_filter->set_property(row.filter, value);
    }
    EXPECT_EQ(whole_filter->size(), 20U);
    EXPECT_EQ(*update(with_rule(whole_rule), 6, 7)->get_referenced_property("manager-configuration{filter}"),
              *whole_filter);
}

TEST_F(monitor_source, carries_no_other_key_of_the_rule_over) {
    auto const rule = tree({{"include-regexp", text("x")}, {"ignore-regexp", text("x")}, {"Include", text("x")}});
    EXPECT_EQ(*update(with_rule(rule), 6, 7)->get_referenced_property("manager-configuration{filter}"), *tree({}));
}

TEST_F(monitor_source, copies_its_members_whatever_they_are) {
    auto const old = tree({{"name", number(1)},
                           {"ext-meta", text("x")},
                           {"attached-workflow-actions", list({})},
                           {"plugin-configuration", flag(true)},
                           {"manager-configuration", manager_with({tree({})})}});
    auto const result = update(old, 2, 7);
    for (char const* key : {"name", "ext-meta", "attached-workflow-actions", "plugin-configuration"})
        EXPECT_EQ(result->get_property(key), old->get_property(key)) << key;
}

TEST_F(monitor_source, without_a_rule_cannot_be_upgraded) {
    auto const manager = [](property_handle const& rules) {
        auto made = tree({{"url", text("file:/in")}, {"pickup-present", flag(true)}});
        made->set_property("rules", rules);
        return tree({{"manager-configuration", made}});
    };
    for (property_handle const& rules :
         {property_handle(), list({}), list({text("x")}), text("x"), property_handle(tree({{"0", tree({})}}))})
        EXPECT_EQ(fault(manager(rules)), no_rule);
    try {
        static_cast<void>(update(manager(list({})), 6, 7));
        FAIL();
    } catch (es::arg const& error) {
        EXPECT_STREQ(error.file(), config_path);
    }
}

TEST_F(monitor_source, says_what_its_manager_lacks_in_this_order) {
    EXPECT_EQ(fault(tree({})), "member 'manager-configuration' is missing; expected kind properties");
    EXPECT_EQ(fault(tree({{"manager-configuration", text("x")}})),
              "member 'manager-configuration' is of kind string; expected kind properties");
    EXPECT_EQ(fault(tree({{"manager-configuration", tree({})}})), "member 'url' is missing; expected kind string");
    EXPECT_EQ(fault(tree({{"manager-configuration", tree({{"url", text("x")}})}})),
              "member 'pickup-present' is missing; expected kind bool");
    EXPECT_EQ(fault(tree({{"manager-configuration", tree({{"url", text("x")}, {"pickup-present", text("true")}})}})),
              "member 'pickup-present' is of kind string; expected kind bool");
}

} // namespace

} // namespace kxclientutil
