#include "network_reader.h"
#include "network_writer.h"

#include <gtest/gtest.h>

namespace kxcore {
namespace {

TEST(network_writer, writes_what_the_reader_reads) {
    kxbase::buffer out;
    network_writer writer(out, 0);
    std::vector<std::uint64_t> numbers;
    for (unsigned int shift = 0; shift < 64; ++shift) {
        numbers.push_back(std::uint64_t{1} << shift);
        numbers.push_back((std::uint64_t{1} << shift) - 1);
    }
    numbers.push_back(UINT64_MAX);
    std::string const text(100'000, 't');
    for (std::uint64_t const number : numbers) {
        writer.put_varint(number);
    }
    writer.put_bytes(text);
    writer.put_bytes({});
    writer.put(7);
    writer.settle();
    EXPECT_EQ(writer.size(), out.size());
    network_reader reader(out.bytes(), 0);
    for (std::uint64_t const number : numbers) {
        EXPECT_EQ(reader.get_varint("x"), number);
    }
    EXPECT_EQ(reader.get_bytes(0, text.size(), "x"), text);
    EXPECT_EQ(reader.get("x"), 7U);
    EXPECT_EQ(reader.left(), 0U);
}

TEST(network_writer, takes_bytes_back_from_a_buffer_but_not_from_a_sink) {
    kxbase::buffer out(std::string_view("ab"));
    network_writer writer(out, 2);
    writer.put('c');
    writer.settle();
    writer.put('d');
    EXPECT_TRUE(writer.cut(1));
    EXPECT_EQ(out.text(), "abc");
    struct : encoder_sink {
        void write(std::span<std::byte const> bytes) override { count += bytes.size(); }
        std::size_t count = 0;
    } sink;
    network_writer streamed(sink);
    streamed.put('a');
    streamed.put('b');
    EXPECT_TRUE(streamed.cut(1));
    streamed.flush();
    EXPECT_EQ(sink.count, 1U);
    EXPECT_FALSE(streamed.cut(0));
    EXPECT_TRUE(streamed.cut(1));
}

} // namespace
} // namespace kxcore
