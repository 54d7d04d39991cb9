#include "validation/judged_document.h"

#include <kxcore/constraint_db.h>
#include <kxcore/plugin_db.h>
#include <kxcore/property_values.h>

#include <gmock/gmock.h>

namespace {

using kxbase::make_refcount;
using kxclientutil::element_of;
using kxclientutil::judged_document;
using kxcore::properties;

kxcore::property_handle text(std::string_view value) {
    return make_refcount<kxcore::property_string>(value);
}

TEST(judged_document, knows_the_tasks_of_a_submission_by_path_and_by_id) {
    auto const tasks = make_refcount<kxcore::property_list>();
    tasks->push_back(make_refcount<properties>("id", text("wtid:p#a"), "name", text("First")));
    tasks->push_back(text("none"));
    tasks->push_back(make_refcount<properties>("id", text("wtid:p#b"), "plugin-id", text("q")));
    properties const submission("workflow", make_refcount<properties>("tasks", tasks));
    kxcore::plugin_db const plugins;
    kxcore::constraint_db const constraints;
    judged_document const document(*kxclientutil::find_document_type(kxclientutil::config_submission), submission,
                                   plugins, constraints);
    ASSERT_EQ(document.tasks.size(), 2U);
    EXPECT_EQ(document.tasks[0].name, "First");
    EXPECT_EQ(document.tasks[0].plugin_id, "p");
    EXPECT_EQ(document.tasks[1].path, "workflow{tasks}[2]");
    EXPECT_EQ(document.tasks[1].name, "wtid:p#b");
    EXPECT_EQ(document.tasks[1].plugin_id, "q");
    EXPECT_EQ(document.find_task("wtid:p#b"), &document.tasks[1]);
    EXPECT_EQ(document.find_task("wtid:p#c"), nullptr);
    EXPECT_EQ(document.find_task_at("workflow{tasks}[2]{configuration}{url}"), &document.tasks[1]);
    for (auto const* const path : {"workflow{tasks}[1]", "workflow{tasks}", "workflow{name}", "tasks[0]", ""})
        EXPECT_EQ(document.find_task_at(path), nullptr) << path;
}

TEST(judged_document, is_one_task_as_a_whole_when_it_is_a_task) {
    properties const task("name", text("Mail"));
    kxcore::plugin_db const plugins;
    kxcore::constraint_db const constraints;
    judged_document const document(*kxclientutil::find_document_type(kxclientutil::config_task), task, plugins,
                                   constraints);
    EXPECT_EQ(document.find_task_at(""), document.tasks.data());
    EXPECT_EQ(document.find_task_at("configuration{url}"), document.tasks.data());
    EXPECT_EQ(document.workflow, nullptr);
}

TEST(judged_document, paths_are_told_apart_by_their_list) {
    EXPECT_EQ(element_of("tasks[3]{name}", "tasks"), "tasks[3]");
    EXPECT_EQ(element_of("tasks[3]", "tasks"), "tasks[3]");
    for (auto const* const path : {"tasks", "tasks2[3]", "tasks{a}", "tasks[3", ""})
        EXPECT_EQ(element_of(path, "tasks"), "") << path;
    EXPECT_EQ(element_of("[3]", ""), "");
}

TEST(judged_document, texts_are_listed_and_compared) {
    using kxclientutil::nearest_of;
    using kxclientutil::one_of;
    EXPECT_EQ(one_of({}), "");
    EXPECT_EQ(one_of({"a"}), "\"a\"");
    EXPECT_EQ(one_of({"a", "b"}), "one of \"a\", \"b\"");
    EXPECT_EQ(one_of({"a", "b", "c", "d"}, 2), "one of \"a\", \"b\" and 2 more");
    EXPECT_EQ(nearest_of("souce-url", {"dest-url", "source-url"}), "\"source-url\"");
    EXPECT_EQ(nearest_of("wildly-different", {"dest-url", "source-url"}), "");
    EXPECT_EQ(nearest_of("x", {}), "");
}

} // namespace
