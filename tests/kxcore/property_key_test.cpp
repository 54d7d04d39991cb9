#include <kxcore/property_key.h>

#include <kxbase/limits.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kxcore {
namespace {

TEST(property_key, keeps_its_text) {
    std::string const long_text(100'000, 'k');
    for (std::string const& text : {std::string(), std::string("a"), std::string("source-url"), std::string("a\0b", 3),
                                    std::string(256, 'x'), std::string(257, 'x'), long_text}) {
        property_key const key(text);
        property_key copy(key);
        EXPECT_EQ(copy.text(), text);
        property_key moved(std::move(copy));
        EXPECT_EQ(moved.text(), text);
        property_key assigned;
        assigned = moved;
        EXPECT_TRUE(assigned == key);
        assigned = property_key("other");
        EXPECT_EQ(assigned.text(), "other");
        EXPECT_EQ(key.text(), text);
    }
    EXPECT_EQ(property_key().text(), "");
    EXPECT_TRUE(property_key() == property_key(""));
}

TEST(property_key, is_one_pointer_and_shares_its_text) {
    EXPECT_EQ(sizeof(property_key), sizeof(void*));
    EXPECT_TRUE(property_key("source-url").is_shared());
    EXPECT_EQ(property_key("source-url").text().data(), property_key("source-url").text().data());
    EXPECT_FALSE(property_key(std::string(257, 'x')).is_shared());
    EXPECT_FALSE(property_key().is_shared());
}

TEST(property_key, is_ordered_by_bytes) {
    std::vector<std::string> const texts{
        "",  "a",   std::string("a\0", 2), "a\x01", "ab", "abcdefgh", "abcdefgh\x01", "abcdefghi", "abcdefgi",
        "b", "\x80"};
    for (std::size_t left = 0; left < texts.size(); ++left) {
        for (std::size_t right = 0; right < texts.size(); ++right) {
            EXPECT_EQ(property_key(texts[left]) < property_key(texts[right]), left < right) << left << ' ' << right;
            EXPECT_EQ(property_key(texts[left]) == property_key(texts[right]), left == right);
        }
    }
}

TEST(property_key, says_what_makes_a_text_no_key_of_a_document) {
    EXPECT_EQ(property_key_fault(""), "");
    EXPECT_EQ(property_key_fault("source-url"), "");
    EXPECT_EQ(property_key_fault("gr\xC3\xBC\xC3\x9F & = % \n"), "");
    for (char const* bracket : {"a{", "}", "[0]", "]"}) {
        EXPECT_EQ(property_key_fault(bracket), "holds one of { } [ ]");
    }
    EXPECT_EQ(property_key_fault("\xC3"), "is not UTF-8");
    EXPECT_EQ(property_key_fault(std::string(kxbase::limit_key, 'k')), "");
    EXPECT_EQ(property_key_fault(std::string(kxbase::limit_key + 1, 'k')), "is too long (limit key)");
}

TEST(property_key, floods_end_at_the_bound_of_the_table) {
    std::vector<property_key> kept;
    for (int count = 0; count < 100'000; ++count) {
        kept.emplace_back("flood-" + std::to_string(count));
    }
    auto const use = property_key::get_table_use();
    EXPECT_LE(use.keys, use.most_keys);
    EXPECT_LE(use.bytes, use.most_bytes);
    EXPECT_FALSE(kept.back().is_shared());
    for (int count = 0; count < 100'000; count += 997) {
        std::string const text = "flood-" + std::to_string(count);
        EXPECT_EQ(kept[static_cast<std::size_t>(count)].text(), text);
        EXPECT_TRUE(property_key(text) == kept[static_cast<std::size_t>(count)]);
    }
    // What was there before stays shared.
    EXPECT_TRUE(property_key("flood-0").is_shared());
}

} // namespace
} // namespace kxcore
