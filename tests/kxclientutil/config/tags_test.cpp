#include "config/tags.h"

#include "kxclientutil/support/config_fixture.h"
#include "kxclientutil/support/trees.h"

#include <kxclientutil/config.h>

#include <kxbase/errors.h>
#include <kxcore/constraint_db.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_property.h>

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace kxclientutil {

namespace {

using kx_test::message_of;
using kx_test::text;
using kx_test::tree;
using kxbase::make_refcount;
using kxcore::constraint_db;
using kxcore::properties;
using kxcore::property_constraint;
using kxcore::property_handle;

namespace es = kxbase::es;

using database_handle = kxbase::ptr_refcount<constraint_db const>;

constexpr char const* not_a_db = "\"requirements\" is not a constraint db";

database_handle requirements_of(properties const& document) {
    return kxbase::dynamic_refcount_cast<constraint_db const>(document.get_constraint_value("requirements"));
}

/// Tag to whether it is required; the flag of the entry must say the same as its value.
std::map<std::string, bool> tags_of(properties const& document) {
    std::map<std::string, bool> tags;
    auto const requirements = requirements_of(document);
    if (!requirements) return tags;
    auto const* const member = requirements->find("tags");
    EXPECT_TRUE(member == nullptr || member->required);
    if (member == nullptr || !member->value) return tags;
    for (constraint_db::member const& tag : dynamic_cast<constraint_db const&>(*member->value).members()) {
        auto const& fixed = dynamic_cast<kxcore::constraint_property const&>(*tag.value);
        auto const* const value = kxcore::property_cast<kxcore::property_bool>(fixed.value().get());
        EXPECT_TRUE(value != nullptr && value->value() == tag.required) << tag.name;
        tags.emplace(tag.name, tag.required);
    }
    return tags;
}

property_handle carried(kxbase::ptr_refcount<kxcore::constraint const> const& constraint) {
    return make_refcount<property_constraint>(constraint);
}

/// A requirement that is none of tags.
kxbase::ptr_refcount<constraint_db> with_plugins(bool closed = false) {
    auto requirements = make_refcount<constraint_db>(closed);
    requirements->add_constraint("plugins", tag_constraint(true), true);
    return requirements;
}

using tags = std::map<std::string, bool>;

TEST(tags, of_a_document_without_requirements_are_the_only_requirement) {
    properties document = *tree({{"name", text("Task")}});
    add_task_or_workflow_tag(document, "gpu", true);
    EXPECT_EQ(tags_of(document), (tags{{"gpu", true}}));
    EXPECT_EQ(requirements_of(document)->size(), 1U);
    EXPECT_EQ(document.size(), 2U);
}

TEST(tags, are_required_or_excluded) {
    properties document(false);
    add_task_or_workflow_tag(document, "gpu", true);
    add_task_or_workflow_tag(document, "slow", false);
    EXPECT_EQ(tags_of(document), (tags{{"gpu", true}, {"slow", false}}));
}

TEST(tags, are_replaced_when_they_are_added_again) {
    properties document(false);
    add_task_or_workflow_tag(document, "gpu", true);
    add_task_or_workflow_tag(document, "gpu", false);
    EXPECT_EQ(tags_of(document), (tags{{"gpu", false}}));
    add_task_or_workflow_tag(document, "gpu", true);
    EXPECT_EQ(tags_of(document), (tags{{"gpu", true}}));
}

TEST(tags, are_any_text) {
    properties document(false);
    for (char const* tag : {"", " ", "a{b}[0]", "\xC3\xA4"})
        add_task_or_workflow_tag(document, tag, true);
    EXPECT_EQ(tags_of(document), (tags{{"", true}, {" ", true}, {"a{b}[0]", true}, {"\xC3\xA4", true}}));
}

TEST(tags, join_other_requirements) {
    properties document = *tree({{"requirements", carried(with_plugins())}});
    add_task_or_workflow_tag(document, "gpu", true);
    EXPECT_EQ(requirements_of(document)->size(), 2U);
    EXPECT_TRUE(requirements_of(document)->is_present("plugins"));
    EXPECT_EQ(tags_of(document), (tags{{"gpu", true}}));
}

TEST(tags, leave_a_closed_database_closed) {
    properties document = *tree({{"requirements", carried(with_plugins(true))}});
    add_task_or_workflow_tag(document, "gpu", true);
    EXPECT_TRUE(requirements_of(document)->is_closed());
}

TEST(tags, take_the_place_of_a_name_without_a_constraint) {
    auto const requirements = make_refcount<constraint_db>(false);
    requirements->add_constraint("tags", {}, false);
    properties document = *tree({{"requirements", carried(requirements)}});
    add_task_or_workflow_tag(document, "gpu", true);
    EXPECT_EQ(tags_of(document), (tags{{"gpu", true}}));
}

TEST(tags, never_change_a_constraint_that_somebody_else_holds) {
    properties document(false);
    add_task_or_workflow_tag(document, "gpu", true);
    properties const shared = document;
    auto const requirements = requirements_of(document);
    auto const held = requirements->get_constraint("tags");
    std::string const before = kxcore::constraint_text(*requirements);

    add_task_or_workflow_tag(document, "slow", false);
    EXPECT_NE(requirements_of(document), requirements);
    EXPECT_NE(requirements_of(document)->get_constraint("tags"), held);
    EXPECT_EQ(tags_of(shared), (tags{{"gpu", true}}));

    remove_task_or_workflow_tag(document, "gpu");
    EXPECT_EQ(tags_of(document), (tags{{"slow", false}}));
    EXPECT_EQ(tags_of(shared), (tags{{"gpu", true}}));
    EXPECT_EQ(kxcore::constraint_text(*requirements), before);
}

TEST(tags, go_one_by_one_and_the_last_takes_the_requirements_with_it) {
    properties document = *tree({{"name", text("Task")}});
    properties const without = document;
    add_task_or_workflow_tag(document, "gpu", true);
    add_task_or_workflow_tag(document, "slow", false);
    remove_task_or_workflow_tag(document, "slow");
    EXPECT_EQ(tags_of(document), (tags{{"gpu", true}}));
    remove_task_or_workflow_tag(document, "gpu");
    EXPECT_EQ(document, without);
}

TEST(tags, leave_other_requirements_when_the_last_goes) {
    properties document = *tree({{"requirements", carried(with_plugins())}});
    properties const without = document;
    add_task_or_workflow_tag(document, "gpu", true);
    remove_task_or_workflow_tag(document, "gpu");
    EXPECT_EQ(document, without);
    EXPECT_FALSE(requirements_of(document)->is_present("tags"));
}

TEST(tags, that_are_not_there_are_removed_without_a_trace) {
    properties document(false);
    remove_task_or_workflow_tag(document, "gpu");
    EXPECT_TRUE(document.empty());

    add_task_or_workflow_tag(document, "gpu", true);
    properties const before = document;
    remove_task_or_workflow_tag(document, "GPU");
    EXPECT_EQ(document, before);
}

TEST(tags, removed_from_requirements_without_tags_change_nothing) {
    for (auto const& requirements : {make_refcount<constraint_db>(false), with_plugins()}) {
        properties document = *tree({{"requirements", carried(requirements)}});
        auto const value = document.get_property("requirements");
        remove_task_or_workflow_tag(document, "gpu");
        EXPECT_EQ(document.get_property("requirements"), value) << "the very same object";
    }
}

TEST(tags, that_are_empty_already_are_cleared_away) {
    auto const requirements = make_refcount<constraint_db>(false);
    requirements->add_constraint("tags", make_refcount<constraint_db>(false), true);
    properties document = *tree({{"requirements", carried(requirements)}});
    remove_task_or_workflow_tag(document, "gpu");
    EXPECT_FALSE(document.is_present("requirements"));
}

TEST(tags, refuse_requirements_that_are_no_database) {
    property_handle const others[] = {carried(make_refcount<kxcore::constraint_enum>("a|b")),
                                      carried(tag_constraint(true)), text("x"), tree({}), kx_test::list({})};
    for (property_handle const& other : others) {
        properties document = *tree({{"requirements", other}});
        properties const before = document;
        EXPECT_EQ(message_of<es::arg>([&] { add_task_or_workflow_tag(document, "gpu", true); }), not_a_db);
        EXPECT_EQ(message_of<es::arg>([&] { remove_task_or_workflow_tag(document, "gpu"); }), not_a_db);
        EXPECT_EQ(document, before);
    }
}

TEST(tags, refuse_tags_that_are_no_database) {
    auto const requirements = make_refcount<constraint_db>(false);
    requirements->add_constraint("tags", tag_constraint(true), true);
    properties document = *tree({{"requirements", carried(requirements)}});
    properties const before = document;
    char const* const message = "\"tags\" is not a constraint db";
    EXPECT_EQ(message_of<es::arg>([&] { add_task_or_workflow_tag(document, "gpu", true); }), message);
    EXPECT_EQ(message_of<es::arg>([&] { remove_task_or_workflow_tag(document, "gpu"); }), message);
    EXPECT_EQ(document, before);
}

TEST(tags, errors_name_the_source_path_of_the_module) {
    properties document = *tree({{"requirements", text("x")}});
    try {
        add_task_or_workflow_tag(document, "gpu", true);
        FAIL();
    } catch (es::arg const& error) {
        EXPECT_EQ(std::string(error.file()), kx_test::config_path);
    }
}

} // namespace

} // namespace kxclientutil
