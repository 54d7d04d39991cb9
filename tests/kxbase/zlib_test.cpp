#include <kxbase/zlib.h>

#include "support/heap_watch.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <gmock/gmock.h>

#include <random>
#include <string>

using kxbase::buffer;
using kxbase::compress_z;
using kxbase::uncompress_z;
using testing::HasSubstr;

namespace {

buffer compressed(std::string_view text, int level = 6) {
    buffer out;
    compress_z(buffer(text), out, level);
    return out;
}

std::string expanded(buffer const& in) {
    buffer out;
    uncompress_z(in, out);
    return std::string(out.text());
}

/// What expanding says about bad data; the target stays as it was.
std::string refusal(buffer const& in, std::size_t limit = kxbase::limit_expansion) {
    buffer out("before");
    try {
        uncompress_z(in, out, limit);
    } catch (kxbase::es::arg const& error) {
        EXPECT_EQ(out.text(), "before");
        return error.message();
    }
    return "(expanded)";
}

std::string random_text(std::size_t size, unsigned int seed) {
    std::mt19937 random(seed);
    std::string text(size, '\0');
    for (char& c : text)
        c = static_cast<char>(random());
    return text;
}

} // namespace

TEST(compress_z, comes_back_equal_at_every_level) {
    std::string const text = std::string(100'000, 'a') + random_text(100'000, 5);
    for (int level = -1; level <= 9; ++level)
        EXPECT_EQ(expanded(compressed(text, level)), text) << level;
    EXPECT_EQ(expanded(compressed("")), "");
    EXPECT_EQ(expanded(compressed("x")), "x");
}

TEST(compress_z, makes_zlib_data_of_the_level) {
    buffer const best = compressed(std::string(100'000, 'a'), 9);
    EXPECT_EQ(best.data()[0], std::byte{0x78});
    EXPECT_EQ(best.data()[1], std::byte{0xda});
    EXPECT_EQ(compressed("x", 6).data()[1], std::byte{0x9c});
    EXPECT_LT(best.size(), 1'000u);
    EXPECT_GT(compressed(std::string(100'000, 'a'), 0).size(), 100'000u);
}

TEST(compress_z, refuses_other_levels_and_leaves_the_target) {
    buffer out("before");
    for (int const level : {-2, 10}) {
        try {
            compress_z(buffer("x"), out, level);
            FAIL();
        } catch (kxbase::es::arg const& error) {
            EXPECT_THAT(error.message(), HasSubstr("is no compression level, the levels are -1 to 9"));
        }
    }
    EXPECT_EQ(out.text(), "before");
}

TEST(compress_z, replaces_its_target_which_may_be_its_source) {
    buffer both("some text");
    both.set_aggressive(true);
    compress_z(both, both, 6);
    EXPECT_NE(both.text(), "some text");
    uncompress_z(both, both);
    EXPECT_EQ(both.text(), "some text");
    EXPECT_TRUE(both.is_aggressive());
}

TEST(uncompress_z, names_what_is_wrong_with_the_data) {
    buffer const good = compressed("some text that is long enough to be cut in many places");
    for (std::size_t size = 0; size < good.size(); ++size)
        EXPECT_EQ(refusal(buffer(good.text().substr(0, size))),
                  "compressed data is cut off after " + std::to_string(size) + " bytes");

    buffer longer = good;
    longer.append("abc");
    EXPECT_EQ(refusal(longer), "compressed data is followed by 3 more bytes");
    EXPECT_THAT(refusal(buffer("no zlib data")), HasSubstr("compressed data is damaged near byte 2: "));

    buffer with_dictionary("\x78\xbb\x01\x02\x03\x04 more");
    EXPECT_THAT(refusal(with_dictionary), HasSubstr("it asks for a dictionary"));
}

TEST(uncompress_z, notices_every_flipped_byte) {
    buffer const good = compressed(random_text(200, 1) + std::string(200, 'a'));
    for (std::size_t i = 0; i < good.size(); ++i) {
        buffer bad = good;
        bad.data()[i] ^= std::byte{0x11};
        EXPECT_NE(refusal(bad), "(expanded)") << i;
    }
}

TEST(uncompress_z, holds_to_its_limit_at_the_edge) {
    for (std::size_t const size : {1u, 1'000u, 65'536u, 65'537u, 300'000u}) {
        buffer const packed = compressed(std::string(size, 'a'));
        EXPECT_EQ(refusal(packed, size), "(expanded)");
        EXPECT_EQ(refusal(packed, size - 1),
                  "compressed data expands beyond " + std::to_string(size - 1) + " bytes (limit expansion)");
    }
    EXPECT_EQ(refusal(compressed(""), 0), "(expanded)");
    EXPECT_EQ(refusal(buffer(compressed("abc").text().substr(0, 5)), 3), "compressed data is cut off after 5 bytes");
}

TEST(uncompress_z, takes_the_limit_of_the_host) {
    kxbase::limits tiny;
    tiny.expansion = 9;
    kxbase::scoped_limits const scope(tiny);
    EXPECT_EQ(expanded(compressed("123456789")), "123456789");
    EXPECT_THROW(expanded(compressed("1234567890")), kxbase::es::arg);
}

TEST(uncompress_z, stops_a_bomb_before_it_takes_the_memory) {
    buffer bomb;
    kxbase::compressor_z packing(bomb, 9);
    std::string const zeros(1'000'000, '\0');
    for (int i = 0; i < 100; ++i)
        packing.append(zeros);
    packing.finish();
    EXPECT_LT(bomb.size(), 200'000u);
    {
        kx_test::heap_watch const watch;
        EXPECT_THAT(refusal(bomb, 1'000'000), HasSubstr("limit expansion"));
        EXPECT_LT(watch.bytes(), 3'000'000u);
    }

    buffer out;
    uncompress_z(bomb, out, 100'000'000);
    EXPECT_EQ(out.size(), 100'000'000u);
    EXPECT_LE(out.capacity(), 100'000'000u);
}

TEST(compressor_z, compresses_piece_by_piece) {
    std::string const text = random_text(50'000, 9) + std::string(300'000, 'b');
    buffer out("head");
    kxbase::compressor_z packing(out, 6);
    for (std::size_t at = 0; at < text.size(); at += 777)
        packing.append(std::string_view(text).substr(at, 777));
    packing.append(std::span<std::byte const>());
    packing.finish();
    packing.finish();
    EXPECT_EQ(out.text().substr(0, 4), "head");
    EXPECT_EQ(expanded(buffer(out.text().substr(4))), text);
    EXPECT_THROW(packing.append("more"), kxbase::es::arg);
}

TEST(compressor_z, leaves_nothing_behind_when_it_is_dropped) {
    buffer out;
    { // the leak checker tells
        kxbase::compressor_z packing(out, 6);
        packing.append("never finished");
    }
    EXPECT_THROW(expanded(out), kxbase::es::arg);
    EXPECT_THROW(kxbase::compressor_z(out, 77), kxbase::es::arg);
}
