#include "config/upgrade/steps.h"

#include "kxclientutil/config/upgrade/upgrade_fixture.h"

#include <kxcore/property_values.h>

namespace kxclientutil {

namespace {

using namespace kx_test; // NOLINT(google-build-using-namespace): the words of the test

namespace es = kxbase::es;

/// Writes down that it ran: "VERSION/RUNNING ".
void note(properties& result, upgrade_context const& context) {
    result.set_property("ran", text(result.get_string_value("ran", {}) + std::to_string(context.version) + '/' +
                                    std::to_string(context.running_version) + ' '));
    EXPECT_FALSE(context.document.is_present("ran"));
}

class steps : public upgrade_fixture {
protected:
    [[nodiscard]] std::string ran(std::span<upgrade_step const> table, unsigned int from, unsigned int to) const {
        properties const document(false);
        return run_steps(table, document, from, to, plugins, constraints)->get_string_value("ran", {});
    }
};

TEST_F(steps, run_in_order_between_the_two_versions) {
    upgrade_step const table[] = {note, note, note, note, note, note};
    EXPECT_EQ(ran(table, 1, 7), "1/1 2/2 3/3 4/4 5/5 6/6 ");
    EXPECT_EQ(ran(table, 4, 7), "4/4 5/5 6/6 ");
    EXPECT_EQ(ran(table, 1, 3), "1/1 2/2 ");
    EXPECT_EQ(ran(table, 3, 4), "3/3 ");
    EXPECT_EQ(ran(table, 1, 99), "1/1 2/2 3/3 4/4 5/5 6/6 ") << "no more than there are";
    for (auto const& [from, to] : {std::pair(1U, 1U), {7U, 7U}, {7U, 1U}, {3U, 2U}, {0U, 1U}, {0U, 0U}, {8U, 9U}})
        EXPECT_EQ(ran(table, from, to), "") << from << " to " << to;
}

TEST_F(steps, take_a_document_before_version_1_along) {
    upgrade_step const table[] = {note, note, note};
    EXPECT_EQ(ran(table, 0, 7), "1/0 2/1 3/2 ");
}

TEST_F(steps, that_change_nothing_count_nevertheless) {
    upgrade_step const table[] = {note, nothing_changed, note};
    EXPECT_EQ(ran(table, 1, 7), "1/1 3/3 ");
    EXPECT_EQ(ran({}, 1, 7), "");
}

TEST_F(steps, copy_members_that_are_there) {
    auto const from = tree({{"a", text("b")}});
    properties to = *tree({{"a", number(1)}, {"c", number(2)}});
    copy_member(*from, "a", to);
    copy_member(*from, "c", to);
    copy_member(*from, "d", to);
    EXPECT_EQ(to, *tree({{"a", text("b")}, {"c", number(2)}}));
    EXPECT_EQ(to.get_property("a"), from->get_property("a"));
}

TEST_F(steps, name_the_element_that_an_error_is_about) {
    kxcore::property_list const trees(std::vector<property_handle>{tree({{"id", text("a")}}), tree({})});
    std::vector<std::string> seen;
    EXPECT_EQ(message_of<es::arg>([&] {
                  for_each_tree(trees, "tasks",
                                [&](properties const& each) { seen.push_back(each.get_string_value("id")); });
              }),
              "tasks[1]: member 'id' is missing; expected kind string");
    EXPECT_EQ(seen, (std::vector<std::string>{"a"}));
    kxcore::property_list const mixed(std::vector<property_handle>{text("x")});
    EXPECT_EQ(message_of<es::arg>([&] { for_each_tree(mixed, "files", [](properties const&) {}); }),
              "files[0]: the element is of kind string; expected kind properties");
}

} // namespace

} // namespace kxclientutil
