#include <kxbase/buffer.h>

#include <gmock/gmock.h>

#include <limits>
#include <new>
#include <string>
#include <utility>

using kxbase::buffer;

namespace {

std::byte const a_byte{0x61};

} // namespace

TEST(buffer, is_born_empty_and_without_memory) {
    buffer const empty;
    EXPECT_TRUE(empty.empty());
    EXPECT_EQ(empty.size(), 0u);
    EXPECT_EQ(empty.capacity(), 0u);
    EXPECT_EQ(empty.text(), "");
    EXPECT_TRUE(empty.bytes().empty());
    EXPECT_FALSE(empty.is_aggressive());
}

TEST(buffer, holds_what_is_appended_in_order) {
    buffer filled;
    filled.append("abc");
    filled.push_back(std::byte{0});
    filled.append(std::as_bytes(std::span("de", 2)));
    filled.append(nullptr, 0);
    EXPECT_EQ(filled.text(), std::string_view("abc\0de", 6));
    EXPECT_EQ(filled.bytes()[3], std::byte{0});
    EXPECT_EQ(filled.data()[0], a_byte);
    EXPECT_EQ(std::as_const(filled).data(), filled.data());
}

TEST(buffer, is_made_from_text_and_bytes) {
    EXPECT_EQ(buffer("text").text(), "text");
    EXPECT_EQ(buffer(std::as_bytes(std::span("abc", 3))).text(), "abc");
    EXPECT_TRUE(buffer("").empty());
}

TEST(buffer, copies_bytes_and_moves_blocks) {
    buffer source("content");
    source.set_aggressive(true);
    buffer copy = source;
    EXPECT_EQ(copy, source);
    EXPECT_TRUE(copy.is_aggressive());
    EXPECT_NE(copy.data(), source.data());

    std::byte const* const block = source.data();
    buffer moved = std::move(source);
    EXPECT_EQ(moved.data(), block);
    EXPECT_TRUE(source.empty()); // NOLINT(bugprone-use-after-move): what is tested
    EXPECT_EQ(source.capacity(), 0u);

    copy.append("!");
    moved = copy;
    EXPECT_EQ(moved.text(), "content!");
    auto const& itself = moved;
    moved = itself;
    EXPECT_EQ(moved.text(), "content!");
    moved = buffer("new");
    EXPECT_EQ(moved.text(), "new");
    moved = buffer();
    EXPECT_TRUE(moved.empty());
    EXPECT_TRUE(buffer(moved).empty());
}

TEST(buffer, grows_by_half_or_generously) {
    buffer modest;
    modest.append("x");
    EXPECT_EQ(modest.capacity(), 64u);
    modest.resize(65);
    EXPECT_EQ(modest.capacity(), 96u);

    buffer generous;
    generous.set_aggressive(true);
    generous.append("x");
    EXPECT_EQ(generous.capacity(), 65536u);
    generous.resize(65537);
    EXPECT_EQ(generous.capacity(), 131072u);

    generous.append(std::string(1'000'000, 'y'));
    EXPECT_EQ(generous.size(), 1'065'537u);
    EXPECT_EQ(generous.text().substr(65'537), std::string(1'000'000, 'y'));
}

TEST(buffer, keeps_every_byte_while_it_grows) {
    buffer grown;
    std::string expected;
    for (int i = 0; i < 10'000; ++i) {
        auto const c = static_cast<char>('a' + i % 26);
        expected += c;
        if (i % 3 == 0)
            grown.append(std::string_view(&c, 1));
        else if (i % 3 == 1)
            grown.push_back(static_cast<std::byte>(c));
        else
            *grown.append_unset(1) = static_cast<std::byte>(c);
    }
    EXPECT_EQ(grown.text(), expected);
}

TEST(buffer, appends_a_part_of_itself) {
    buffer doubled("0123456789");
    doubled.shrink_to_fit();
    for (int i = 0; i < 6; ++i)
        doubled.append(doubled.text().substr(2));
    std::string expected = "0123456789";
    for (int i = 0; i < 6; ++i)
        expected += expected.substr(2);
    EXPECT_EQ(doubled.text(), expected);
}

TEST(buffer, resizes_clears_reserves_and_shrinks) {
    buffer changed("0123456789");
    changed.resize(4);
    EXPECT_EQ(changed.text(), "0123");
    changed.reserve(1000);
    EXPECT_EQ(changed.capacity(), 1000u);
    changed.reserve(10);
    EXPECT_EQ(changed.capacity(), 1000u);
    EXPECT_EQ(changed.text(), "0123");
    changed.resize(6);
    EXPECT_EQ(changed.size(), 6u);
    EXPECT_EQ(changed.text().substr(0, 4), "0123");
    changed.shrink_to_fit();
    EXPECT_EQ(changed.capacity(), 6u);
    changed.shrink_to_fit();
    EXPECT_EQ(changed.capacity(), 6u);
    changed.clear();
    EXPECT_TRUE(changed.empty());
    EXPECT_EQ(changed.capacity(), 6u);
    changed.shrink_to_fit();
    EXPECT_EQ(changed.capacity(), 0u);
    EXPECT_EQ(changed.data(), nullptr);
}

TEST(buffer, compares_bytes_and_nothing_else) {
    buffer roomy("same");
    roomy.reserve(500);
    roomy.set_aggressive(true);
    EXPECT_EQ(roomy, buffer("same"));
    EXPECT_NE(roomy, buffer("samf"));
    EXPECT_NE(roomy, buffer("sam"));
    EXPECT_EQ(buffer(), buffer(""));
}

TEST(buffer, swaps) {
    buffer a("a");
    buffer b("bb");
    b.set_aggressive(true);
    swap(a, b);
    EXPECT_EQ(a.text(), "bb");
    EXPECT_TRUE(a.is_aggressive());
    EXPECT_EQ(b.text(), "a");
    a.bytes()[0] = a_byte;
    EXPECT_EQ(a.text(), "ab");
}

TEST(buffer, stays_as_it_was_when_memory_runs_out) {
    constexpr std::size_t too_much = std::numeric_limits<std::size_t>::max();
    buffer full("content");
    EXPECT_THROW(full.reserve(too_much), std::bad_alloc);
    EXPECT_THROW(full.resize(too_much), std::bad_alloc);
    EXPECT_THROW(static_cast<void>(full.append_unset(too_much)), std::bad_alloc);
    EXPECT_EQ(full.text(), "content");
}
