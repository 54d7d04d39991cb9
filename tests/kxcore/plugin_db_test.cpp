#include <kxcore/plugin_db.h>

#include <kxbase/errors.h>
#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>

#include <gmock/gmock.h>

namespace {

using kxbase::make_refcount;
using kxbase::ptr_refcount;
using kxcore::plugin_db;
using kxcore::plugin_info;
using kxcore::properties;
using kxcore::property_string;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

ptr_refcount<plugin_info const> a_plugin(std::string_view id, std::string_view name = "any") {
    auto const document = make_refcount<properties>();
    document->set_property("plugin-id", make_refcount<property_string>(id));
    document->set_property("info", make_refcount<properties>("name", make_refcount<property_string>(name)));
    return make_refcount<plugin_info>(document);
}

plugin_db a_database() {
    plugin_db plugins;
    for (auto const* id : {"task/regular/upload/1.0", "io/monitor/ftp/2.0", "task/regular/upload/1.0.1",
                           "io/monitor/ftp/10.0", "io/monitor/ftps/1.0", "Task/regular/upload/1.0"})
        plugins.add_plugin(a_plugin(id));
    return plugins;
}

std::string error_of(auto const& action) {
    try {
        action();
    } catch (kxbase::es::arg const& error) {
        return error.message();
    }
    return "no es::arg";
}

TEST(plugin_db, describes_a_plugin_by_its_exact_id_and_no_other) {
    plugin_db const plugins = a_database();
    EXPECT_EQ(plugins.describe_plugin("task/regular/upload/1.0")->get_id(), "task/regular/upload/1.0");
    for (auto const* id : {"", "task/regular/upload", "task/regular/upload/1.0 ", "task/regular/upload/1x0"})
        EXPECT_FALSE(plugins.describe_plugin(id)) << id;
}

TEST(plugin_db, is_empty_at_first_and_finds_nothing) {
    plugin_db const plugins;
    EXPECT_EQ(plugins.size(), 0U);
    EXPECT_THAT(plugins.get_ids(), IsEmpty());
    EXPECT_THAT(plugins.find_plugins(".*"), IsEmpty());
    EXPECT_FALSE(plugins.describe_plugin("task/regular/upload/1.0"));
}

TEST(plugin_db, lists_ids_in_byte_order_whatever_the_order_they_came_in) {
    EXPECT_THAT(a_database().get_ids(),
                ElementsAre("Task/regular/upload/1.0", "io/monitor/ftp/10.0", "io/monitor/ftp/2.0",
                            "io/monitor/ftps/1.0", "task/regular/upload/1.0", "task/regular/upload/1.0.1"));
    EXPECT_EQ(a_database().size(), 6U);
}

TEST(plugin_db, finds_whole_ids_in_byte_order) {
    struct {
        char const* pattern;
        std::vector<std::string> ids;
    } const cases[] = {
        {"io/monitor/ftp/.+", {"io/monitor/ftp/10.0", "io/monitor/ftp/2.0"}},
        {"io/monitor/http/.+", {}},
        {"task/regular/upload/1.0", {"task/regular/upload/1.0"}},
        {"regular", {}},
        {"", {}},
        {"[Tt]ask/.*|io/monitor/ftps/1\\.0",
         {"Task/regular/upload/1.0", "io/monitor/ftps/1.0", "task/regular/upload/1.0", "task/regular/upload/1.0.1"}},
        {"io/monitor/ftp", {}},
    };
    for (auto const& [pattern, ids] : cases)
        EXPECT_EQ(a_database().find_plugins(pattern), ids) << pattern;
}

TEST(plugin_db, refuses_a_pattern_that_is_none_and_names_it) {
    plugin_db const plugins = a_database();
    EXPECT_EQ(error_of([&] { static_cast<void>(plugins.find_plugins("io/(monitor")); }),
              "bad plugin id pattern \"io/(monitor\": missing ): io/(monitor");
    EXPECT_EQ(error_of([&] { static_cast<void>(plugins.find_plugins("a\\1")); }),
              "bad plugin id pattern \"a\\1\": invalid escape sequence: \\1");
    EXPECT_THAT(error_of([&] { static_cast<void>(plugins.find_plugins("\xff")); }), HasSubstr("invalid UTF-8"));
}

TEST(plugin_db, refuses_a_pattern_beyond_the_default_memory_budget) {
    plugin_db const plugins = a_database();
    EXPECT_THAT(error_of([&] { static_cast<void>(plugins.find_plugins("((((a{100}){100}){100}){100}){100}")); }),
                HasSubstr("bad plugin id pattern"));
    EXPECT_THAT(error_of([&] { static_cast<void>(plugins.find_plugins("(\\pL{500}){2}(\\pL{500}){2}")); }),
                HasSubstr("too large"));
}

TEST(plugin_db, matches_a_hard_pattern_in_linear_time) {
    plugin_db plugins;
    plugins.add_plugin(a_plugin(std::string(20000, 'a')));
    EXPECT_THAT(plugins.find_plugins("(a*)*(a*)*(a*)*b"), IsEmpty());
}

TEST(plugin_db, keeps_the_first_plugin_of_an_id) {
    plugin_db plugins;
    plugins.add_plugin(a_plugin("task/x/1.0", "first"));
    EXPECT_EQ(error_of([&] { plugins.add_plugin(a_plugin("task/x/1.0", "second")); }),
              "plugin id \"task/x/1.0\" is in the plugin database already");
    EXPECT_EQ(plugins.describe_plugin("task/x/1.0")->get_name(), "first");
    EXPECT_EQ(plugins.size(), 1U);
}

TEST(plugin_db, takes_no_empty_description) {
    plugin_db plugins;
    EXPECT_EQ(error_of([&] { plugins.add_plugin({}); }), "a plugin database takes no empty plugin description");
    EXPECT_EQ(plugins.size(), 0U);
}

TEST(plugin_db, shares_descriptions_with_its_copies_and_nothing_else) {
    plugin_db const plugins = a_database();
    plugin_db copy = plugins;
    copy.add_plugin(a_plugin("task/new/1.0"));
    EXPECT_EQ(copy.describe_plugin("io/monitor/ftp/2.0"), plugins.describe_plugin("io/monitor/ftp/2.0"));
    EXPECT_FALSE(plugins.describe_plugin("task/new/1.0"));
    plugin_db const moved = std::move(copy);
    EXPECT_EQ(moved.size(), 7U);
    plugin_db assigned;
    assigned = moved;
    EXPECT_EQ(assigned.get_ids(), moved.get_ids());
    plugin_db move_assigned;
    move_assigned = std::move(assigned);
    EXPECT_EQ(move_assigned.get_ids(), moved.get_ids());
}

} // namespace
