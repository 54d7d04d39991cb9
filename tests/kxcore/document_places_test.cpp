#include <kxcore/document_places.h>

#include <gtest/gtest.h>

namespace {

using kxcore::document_place;
using kxcore::document_places;

TEST(document_places, finds_a_path_or_what_is_around_it) {
    document_places places;
    EXPECT_TRUE(places.empty());
    EXPECT_FALSE(places.find_nearest("a"));
    places.set("a", {1, 2});
    places.set("a{b}", {3, 4});
    places.set("a{b}", {5, 6});
    EXPECT_EQ(places.size(), 2U);
    EXPECT_EQ(places.find("a{b}"), (document_place{5, 6}));
    EXPECT_FALSE(places.find("a{b}[3]"));
    EXPECT_EQ(places.find_nearest("a{b}[3]{c}"), (document_place{5, 6}));
    EXPECT_EQ(places.find_nearest("a{c}[3]"), (document_place{1, 2}));
    EXPECT_EQ(places.find_nearest("a"), (document_place{1, 2}));
    EXPECT_FALSE(places.find_nearest("b{a}"));
    EXPECT_FALSE(places.find_nearest(""));
    places.set("", {9, 1});
    EXPECT_EQ(places.find_nearest("b{a}"), (document_place{9, 1})) << "the root is around everything";
    EXPECT_EQ(places.find_nearest(""), (document_place{9, 1}));
    places.clear();
    EXPECT_TRUE(places.empty());
}

} // namespace
