#include "model_samples.h"

#include <kxbase/errors.h>

#include <gtest/gtest.h>

#include <list>

namespace kxcore {
namespace {

using namespace samples;

TEST(property_list, is_made_in_each_of_its_ways) {
    EXPECT_TRUE(property_list().empty());
    EXPECT_EQ(property_list().begin(), property_list().end());
    property_handle const a = text("a");
    property_handle const b = text("b");
    property_list const handles(std::vector<property_handle>{a, b});
    EXPECT_EQ(handles.size(), 2U);
    EXPECT_EQ(handles[0].get(), a.get());
    EXPECT_EQ(handles[1].get(), b.get());
    property_list const texts(std::vector<std::string>{"a", "b", "a"});
    EXPECT_EQ(texts.to_string(), "%5B0%5D=a&%5B1%5D=b&%5B2%5D=a");
    EXPECT_NE(texts[0].get(), texts[2].get());
    EXPECT_TRUE(property_list(std::list<std::string>{"a", "b", "a"}) == texts);
    property_list const repeated(a, 3);
    EXPECT_EQ(repeated.size(), 3U);
    EXPECT_EQ(repeated[0].get(), repeated[2].get());
    EXPECT_TRUE(property_list(a, 0).empty());
    EXPECT_TRUE(property_list(property_handle(), 0).empty());
    property_list const three(a, b, a);
    EXPECT_EQ(three.size(), 3U);
    EXPECT_EQ(three[2].get(), a.get());
    EXPECT_EQ(three.kind(), property_list::class_kind());
    EXPECT_EQ(kxbase::make_refcount<property_list>(a, b, a)->size(), 3U);
}

TEST(property_list, refuses_an_empty_handle) {
    property_handle const none;
    property_handle const a = text("a");
    property_list list;
    EXPECT_THROW(list.push_back(none), kxbase::es::arg);
    EXPECT_THROW(property_list(none, 1), kxbase::es::arg);
    EXPECT_THROW(property_list(a, none, a), kxbase::es::arg);
    EXPECT_THROW(property_list(std::vector<property_handle>{a, none}), kxbase::es::arg);
    EXPECT_TRUE(list.empty());
}

TEST(property_list, sets_appends_and_removes_elements) {
    property_list list;
    list.set_element(0, text("a"));
    list.set_element(1, text("c"));
    list.set_element(0, text("b"));
    EXPECT_EQ(list.to_string(), "%5B0%5D=b&%5B1%5D=c");
    EXPECT_THROW(list.set_element(3, text("x")), kxbase::es::arg);
    list.set_element(2, property_handle());
    EXPECT_EQ(list.size(), 2U);
    list.set_element(0, property_handle());
    EXPECT_EQ(list.to_string(), "%5B0%5D=c");
    EXPECT_EQ(list.erase(1), 0U);
    EXPECT_EQ(list.erase(0), 1U);
    EXPECT_FALSE(list.get_element(0));
    list.push_back(text("z"));
    EXPECT_EQ(list.get_element(0)->to_string(), "z");
    list.clear();
    EXPECT_TRUE(list.empty());
    list.reserve(10);
    EXPECT_TRUE(list.empty());
}

TEST(property_list, appends_another_and_itself) {
    property_list list(std::vector<std::string>{"a", "b"});
    list.append(property_list(std::vector<std::string>{"c"}));
    list.append(list);
    list.append(property_list());
    EXPECT_EQ(list.size(), 6U);
    EXPECT_EQ(list[0].get(), list[3].get());
}

TEST(property_list, put_into_itself_is_put_as_it_was) {
    auto const list = kxbase::make_refcount<property_list>(std::vector<std::string>{"a"});
    list->push_back(list);
    list->set_element(0, list);
    EXPECT_EQ(list->to_string(), "%5B0%5D%5B0%5D=a&%5B0%5D%5B1%5D%5B0%5D=a&%5B1%5D%5B0%5D=a");
}

TEST(property_list, copies_share_until_one_side_changes) {
    property_list first(std::vector<std::string>{"a", "b"});
    property_list second(first);
    EXPECT_EQ(first.begin(), second.begin());
    second.push_back(text("c"));
    EXPECT_EQ(first.size(), 2U);
    EXPECT_EQ(second.size(), 3U);
    property_list third;
    third = first;
    third.erase(0);
    EXPECT_EQ(first.size(), 2U);
    property_list moved(std::move(third));
    EXPECT_EQ(moved.size(), 1U);
    moved = std::move(second);
    EXPECT_EQ(moved.size(), 3U);
}

} // namespace
} // namespace kxcore
