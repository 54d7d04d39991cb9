// Encoded bytes that nobody's encoder wrote: deeper, larger or other than what they say.
#include "model_samples.h"
#include "support/heap_watch.h"
#include "support/small_stack.h"

#include <kxcore/network_encoding.h>

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <gmock/gmock.h>

#include <string>
#include <string_view>

namespace kxcore {
namespace {

using namespace samples;
using namespace std::string_literals;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::size_t million = 1'000'000;

kxbase::ptr_refcount<property> decoded(std::string_view bytes) {
    decoder_network decoder(std::as_bytes(std::span(bytes.data(), bytes.size())));
    kxbase::ptr_refcount<property> value = decoder.read();
    decoder.expect_end();
    return value;
}

std::string refusal_of(std::string_view bytes) {
    try {
        static_cast<void>(decoded(bytes));
        return "no error";
    } catch (kxbase::es::arg const& error) {
        return error.message();
    }
}

/// Lists of one list each.
std::string deep_lists() {
    return std::string(million, '\xE1') + '\xE0';
}

/// Trees of one tree each, under one key.
std::string deep_trees() {
    std::string bytes = "\xC1\x00\x01k"s;
    for (std::size_t level = 1; level < million; ++level) {
        bytes += "\xC1\x01";
    }
    return bytes + '\xC0';
}

TEST(hostile_encodings, of_a_million_levels_are_refused_on_a_small_stack) {
    std::string constraints = "\x09\xC1\x00\x01k"s;
    for (std::size_t level = 1; level < million; ++level) {
        constraints += "\x09\xC1\x01";
    }
    for (std::string const& bytes :
         {deep_lists(), deep_trees(), constraints + '\xC0', std::string(million, '\xE1'), constraints}) {
        kx_test::run_on_small_stack([&] {
            EXPECT_THAT(refusal_of(bytes), HasSubstr("expected at most 128 levels (limit nesting), found one more"));
        });
    }
}

TEST(hostile_encodings, of_a_million_levels_are_read_on_a_small_stack_when_the_host_allows_them) {
    kxbase::limits limits = kxbase::current_limits();
    limits.nesting = 2 * million;
    kxbase::scoped_limits const scope(limits);
    for (std::string const& bytes : {deep_lists(), deep_trees()}) {
        kx_test::run_on_small_stack([&] {
            auto const value = decoded(bytes);
            EXPECT_TRUE(*value->clone() == *value);
            kxbase::buffer out;
            encoder_network encoder(out);
            value->encode(encoder);
            EXPECT_TRUE(out.text() == bytes);
        });
    }
}

TEST(hostile_encodings, that_claim_two_to_the_sixty_elements_in_twenty_bytes_take_next_to_nothing) {
    std::string const claim = std::string(8, '\x80') + '\x10'; // two to the sixty
    std::string const claims[] = {
        "\x02" + claim,                 // a text
        "\x03" + claim,                 // bytes that are no text
        "\x05" + claim,                 // a binary value
        "\x06" + claim,                 // a tree
        "\x07" + claim,                 // a list
        "\x08\x02\x03\x01\x02" + claim, // a special
        "\x09\x06" + claim,             // a constraint
        "\xC1\x00"s + claim,            // a key
        "\xC1"s + claim,                // the number of a key
    };
    for (std::string bytes : claims) {
        bytes.resize(20, '\x01');
        std::size_t taken = 0;
        std::string refusal;
        {
            kx_test::heap_watch const watch;
            refusal = refusal_of(bytes);
            taken = watch.bytes();
        }
        EXPECT_THAT(refusal, StartsWith("network encoding, byte "));
        EXPECT_LT(taken, 16U << 10) << refusal;
        EXPECT_GT(taken, refusal.size()) << "nothing is watched";
    }
}

TEST(hostile_encodings, take_memory_for_what_is_there_and_not_for_what_is_claimed) {
    // As many members as there are bytes left, each a list that claims as much again.
    std::string bytes;
    for (int level = 0; level < 100; ++level) {
        bytes += "\x07\xC8\x01"; // 200 elements
    }
    bytes.resize(600, '\x01');
    kx_test::heap_watch const watch;
    EXPECT_THAT(refusal_of(bytes), StartsWith("network encoding, byte "));
    EXPECT_LT(watch.bytes(), 64U << 10);
}

TEST(hostile_encodings, of_more_values_than_are_allowed_are_refused_before_they_take_memory) {
    // Lists of one list each, 127 levels of them, as often as a megabyte holds them.
    constexpr std::size_t chains = million / 127;
    std::string bytes = "\x07"s;
    for (std::size_t left = chains; left != 0; left >>= 7U)
        bytes += static_cast<char>((left & 0x7FU) | (left >= 0x80U ? 0x80U : 0U));
    for (std::size_t chain = 0; chain != chains; ++chain)
        bytes += std::string(126, '\xE1') + '\xE0';
    std::size_t const most = kxbase::most_values(bytes.size());
    decoder_network decoder(std::as_bytes(std::span(bytes)), 0, {most, "frame"});
    kx_test::heap_watch const watch;
    try {
        static_cast<void>(decoder.read());
        FAIL() << "nothing raised";
    } catch (kxbase::es::arg const& error) {
        EXPECT_THAT(error.message(),
                    HasSubstr("expected at most " + std::to_string(most) + " values in all (limit frame), found more"));
    }
    EXPECT_LT(watch.bytes(), 16 * million);
}

} // namespace
} // namespace kxcore
