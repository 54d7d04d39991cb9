// Any bytes read as the stream of a peer, and as one packet: an error of the library, or packets that are written as the
// very same bytes. In whatever pieces a stream comes, it is cut into the same payloads, and neither cutting nor decoding
// asks for more memory than the bytes call for.
//
// An input is a byte that chooses how large the pieces are, and the stream.
#include "support/environment.h"
#include "support/heap_watch.h"

#include <kxbase/errors.h>
#include <kxnet/frame.h>

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

using bytes = std::span<std::byte const>;

// What a decoder and a reader take before the first byte, the process's first error included, and the most that a byte
// stands for: a member of a list, its handle in a list that has grown and moved a few times included.
constexpr std::size_t memory_at_first = std::size_t{64} << 10;
constexpr std::size_t memory_per_byte = 200;

void check_memory(std::size_t taken, std::size_t size) {
    kx_fuzz::require(taken <= memory_at_first + memory_per_byte * size, "memory keeps to the bytes that came");
}

std::string_view text_of(bytes of) {
    return {reinterpret_cast<char const*>(of.data()), of.size()};
}

/// The payloads of a stream up to the first fault, and whether there is one.
struct cut_stream {
    std::vector<std::string> payloads;
    bool is_faulty = false;

    bool operator==(cut_stream const&) const = default;
};

cut_stream cut(bytes stream, std::size_t piece) {
    std::size_t const whole = stream.size();
    kx_test::heap_watch const watch;
    cut_stream result;
    kxnet::frame_reader reader;
    try {
        while (!stream.empty()) {
            std::span<std::byte> const room = reader.space();
            kx_fuzz::require(!room.empty(), "there is always room");
            std::size_t const size = std::min({piece, room.size(), stream.size()});
            std::ranges::copy(stream.first(size), room.begin());
            reader.commit(size);
            stream = stream.subspan(size);
            while (auto const payload = reader.next())
                result.payloads.emplace_back(text_of(*payload));
        }
    } catch (kxbase::es::base const&) {
        result.is_faulty = true;
    }
    check_memory(watch.bytes(), whole);
    return result;
}

kxbase::ptr_refcount<kxp::packet> decode(bytes payload) {
    kx_test::heap_watch const watch;
    kxbase::ptr_refcount<kxp::packet> packet;
    try {
        packet = kxnet::decode_packet(payload);
    } catch (kxbase::es::base const&) {
        // Whatever breaks a rule is refused.
    }
    check_memory(watch.bytes(), payload.size());
    return packet;
}

std::string encode(kxp::packet const& packet) {
    kxnet::frame const made(packet);
    std::string text;
    for (kxbase::buffer const& piece : made.pieces())
        text += piece.text();
    kx_fuzz::require(text.size() == made.size(), "a frame has the size that it tells");
    return text.substr(kxnet::frame_head_size);
}

void check_packet(bytes payload) {
    auto const packet = decode(payload);
    if (!packet) return;
    kx_fuzz::require(encode(*packet) == text_of(payload), "what is read has one encoding");
    if (!packet->is(kxp::e_packet_type::request)) return;
    std::string const refusal = encode(packet->make_error_reply("no"));
    auto const reply = decode(std::as_bytes(std::span(refusal)));
    kx_fuzz::require(reply && reply->get_request_number() == packet->get_request_number() &&
                         reply->get_name() == packet->get_name(),
                     "every request can be answered");
}

/// What the process has once, the table of its keys, is no packet's memory.
bool prepare() {
    kxp::packet first(kxp::e_packet_type::event, "first");
    first.set_property("key", "value");
    return !encode(first).empty();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static bool const is_prepared = prepare();
    if (size == 0 || !is_prepared) return 0;
    bytes const stream = std::as_bytes(std::span(data, size)).subspan(1);
    cut_stream const whole = cut(stream, stream.size());
    kx_fuzz::require(cut(stream, data[0] + std::size_t{1}) == whole, "pieces of any size give the same payloads");
    for (std::string const& payload : whole.payloads)
        check_packet(std::as_bytes(std::span(payload)));
    check_packet(stream);
    return 0;
}
