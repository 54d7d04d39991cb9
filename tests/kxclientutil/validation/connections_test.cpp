// What cannot be shown by a document of the corpus: sizes, and members of any kind.
#include "validation/connections.h"

#include "support/scratch_folder.h"

#include <kxcore/installation.h>
#include <kxcore/property_values.h>

#include <gmock/gmock.h>

#include <chrono>

namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_handle;
using kxcore::property_list;
using kxcore::property_string;
using testing::IsEmpty;
using testing::SizeIs;

kxcore::installation const& installation() {
    static auto const loaded = kxcore::installation::load(kx_test::source_path("share/installation"));
    return loaded;
}

kxclientutil::document_problems problems_of(properties const& workflow) {
    kxclientutil::document_problems found;
    judge_connections({*kxclientutil::find_document_type(kxclientutil::config_workflow), workflow,
                       installation().get_plugins(), installation().get_constraints()},
                      found);
    return found;
}

property_handle text(std::string_view value) {
    return make_refcount<property_string>(value);
}

std::string wtid(std::size_t number) {
    return "wtid:task/regular/move/1.0#" + std::to_string(number);
}

/// So many tasks, each connected to the next one, the last one to `last`.
properties chain(std::size_t size, std::string_view last) {
    auto const tasks = make_refcount<property_list>();
    auto const connections = make_refcount<property_list>();
    for (std::size_t i = 0; i < size; ++i) {
        tasks->push_back(make_refcount<properties>("id", text(wtid(i))));
        connections->push_back(make_refcount<properties>("from-wtid", text(wtid(i)), "to-wtid",
                                                         text(i + 1 < size ? wtid(i + 1) : std::string(last))));
    }
    return {"tasks", tasks, "workflow-meta", make_refcount<properties>("connections", connections)};
}

TEST(validation_connections, of_very_many_tasks_are_judged) {
    auto const circle = problems_of(chain(3000, wtid(0)));
    ASSERT_THAT(circle, SizeIs(1));
    EXPECT_EQ(circle[0].path, "workflow-meta{connections}[2999]");
    EXPECT_THAT(circle[0].found, testing::HasSubstr("then 2992 more, then"));
    EXPECT_THAT(problems_of(chain(3000, "wtid:nobody#x")), SizeIs(1));
}

TEST(validation_connections, may_be_anything_without_harm) {
    property_handle const values[] = {text("x"), make_refcount<kxcore::property_int>(5),
                                      make_refcount<properties>(false), make_refcount<property_list>()};
    for (property_handle const& value : values) {
        auto const list = make_refcount<property_list>();
        list->push_back(value);
        list->push_back(make_refcount<properties>("from-wtid", value, "to-wtid", value, "from-node", value));
        for (property_handle const& connections : {property_handle(value), property_handle(list)}) {
            properties workflow("tasks", connections, "workflow-meta",
                                make_refcount<properties>("connections", connections));
            EXPECT_NO_THROW(static_cast<void>(problems_of(workflow)));
            workflow.set_property("workflow-meta", value);
            EXPECT_THAT(problems_of(workflow), IsEmpty());
        }
        auto const tasks = make_refcount<property_list>();
        for (auto const* const key : {"id", "plugin-id", "configuration", "input-connections", "run-dependencies",
                                      "kill-triggers", "published-outputs"}) {
            auto const task = make_refcount<properties>("id", text(wtid(tasks->size())));
            task->set_property(key, value);
            tasks->push_back(task);
        }
        EXPECT_NO_THROW(static_cast<void>(problems_of({"tasks", tasks})));
    }
}

} // namespace
