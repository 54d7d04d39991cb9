#include <kxnet/frame.h>

#include "wire_order.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxbase/utf8.h>
#include <kxcore/network_encoding.h>
#include <kxcore/shown_value.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <utility>

namespace kxnet {

namespace {

using kxp::e_packet_type;

constexpr std::size_t longest_name = 255;
/// No name, and a tree without members.
constexpr std::size_t least_payload = packet_head_size + 1;
/// What a reader has room for before anything has come, and keeps.
constexpr std::size_t first_room = std::size_t{16} << 10;

/// Everything before the name.
using head_bytes = std::array<std::byte, frame_head_size + packet_head_size>;

/// Collects an encoding in pieces, behind the head that the first one begins with.
class piece_sink final : public kxcore::encoder_sink {
public:
    piece_sink(std::vector<kxbase::buffer>& pieces, head_bytes const& head, std::string_view name, std::size_t limit)
        : pieces_(pieces), head_(head), name_(name), limit_(limit), size_(head.size() + name.size()) {}

    void write(std::span<std::byte const> bytes) override;
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

private:
    std::vector<kxbase::buffer>& pieces_;
    head_bytes const& head_;
    std::string_view name_;
    std::size_t limit_;
    std::size_t size_;
};

void check_sendable(kxp::packet const& packet, std::uint32_t request_number);
head_bytes frame_head(kxp::packet const& packet, std::uint32_t request_number) noexcept;
std::string shown(kxp::packet const& packet);
[[noreturn]] void refuse_payload(std::string const& why);
void check_number(unsigned int type, std::uint32_t number);

} // namespace

frame::frame(kxp::packet const& packet) : frame(packet, packet.get_request_number()) {}

frame::frame(kxp::packet const& packet, std::uint32_t request_number) {
    check_sendable(packet, request_number);
    head_bytes const head = frame_head(packet, request_number);
    std::size_t const limit = kxbase::current_limits().frame;
    piece_sink sink(pieces_, head, packet.get_name(), limit);
    try {
        kxcore::encoder_network encoder(sink);
        packet.get_properties().encode(encoder);
        encoder.flush();
        if (std::size_t const most = kxbase::most_values(limit); encoder.values() > most)
            kxbase::es::arg::raise("it holds more than " + std::to_string(most) + " values (limit frame)");
    } catch (kxbase::es::arg const& error) {
        kxbase::es::arg::raise(shown(packet) + " cannot be sent: " + error.what());
    }
    size_ = sink.size();
    put_big_endian(pieces_.front().data(), static_cast<std::uint32_t>(size_ - frame_head_size));
}

kxbase::ptr_refcount<kxp::packet> decode_packet(std::span<std::byte const> payload) {
    std::size_t values_left = kxbase::most_values(kxbase::current_limits().frame);
    return decode_packet(payload, values_left);
}

kxbase::ptr_refcount<kxp::packet> decode_packet(std::span<std::byte const> payload, std::size_t& values_left) {
    if (payload.size() < packet_head_size)
        refuse_payload("it has " + std::to_string(payload.size()) + " bytes, at least " +
                       std::to_string(packet_head_size) + " are needed");
    auto const type = static_cast<unsigned int>(payload[0]);
    std::uint32_t const number = from_big_endian(payload.data() + 1);
    check_number(type, number);
    auto const name_size = static_cast<std::size_t>(payload[5]);
    if (payload.size() - packet_head_size < name_size) refuse_payload("its name is cut off");
    std::string_view const name(reinterpret_cast<char const*>(payload.data()) + packet_head_size, name_size);
    if (!kxbase::is_valid_utf8(name)) refuse_payload("its name is not of valid UTF-8");
    try {
        kxcore::decoder_network decoder(payload, packet_head_size + name_size, {values_left, "frame"});
        auto const properties = decoder.read_properties();
        decoder.expect_end();
        auto packet =
            kxbase::make_refcount<kxp::packet>(static_cast<e_packet_type>(type), name, kxcore::properties(properties));
        packet->set_request_number(number);
        values_left -= decoder.values();
        return packet;
    } catch (kxbase::es::arg const& error) {
        refuse_payload(error.what());
    }
}

frame_reader::frame_reader() : limit_(kxbase::current_limits().frame) {}

void frame_reader::set_limit(std::size_t bytes) noexcept {
    std::size_t const most = kxbase::current_limits().frame;
    limit_ = bytes == 0 ? most : std::min(bytes, most);
}

std::span<std::byte> frame_reader::space() {
    if (begin_ == end_) {
        begin_ = end_ = 0;
        if (bytes_.size() > first_room) bytes_ = kxbase::buffer();
    }
    if (bytes_.empty()) bytes_.resize(first_room);
    if (begin_ != 0 && bytes_.size() - begin_ < wanted()) {
        std::memmove(bytes_.data(), bytes_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    // Twice what has come, at most what the frame under way needs.
    if (end_ == bytes_.size()) bytes_.resize(std::min(2 * end_, std::max(begin_ + wanted(), end_ + first_room)));
    return bytes_.bytes().subspan(end_);
}

std::optional<std::span<std::byte const>> frame_reader::next() {
    if (under_way() < frame_head_size) return std::nullopt;
    std::size_t const length = from_big_endian(bytes_.data() + begin_);
    if (length > limit_)
        kxbase::es::arg::raise("a frame of " + std::to_string(length) + " bytes, at most " + std::to_string(limit_) +
                               " are allowed (limit frame)");
    if (length < least_payload)
        kxbase::es::arg::raise("a frame of " + std::to_string(length) + " bytes, which is too short for a packet");
    if (under_way() - frame_head_size < length) return std::nullopt;
    std::span<std::byte const> const payload(bytes_.data() + begin_ + frame_head_size, length);
    begin_ += frame_head_size + length;
    return payload;
}

std::uint32_t frame_reader::reply_under_way() const noexcept {
    constexpr std::size_t through_number = frame_head_size + 5;
    if (under_way() < through_number) return 0;
    std::byte const* const payload = bytes_.data() + begin_ + frame_head_size;
    return payload[0] == static_cast<std::byte>(e_packet_type::reply) ? from_big_endian(payload + 1) : 0;
}

/// The whole size of the frame under way, as far as it is known; a length that is refused has been seen by `next`.
std::size_t frame_reader::wanted() const noexcept {
    if (under_way() < frame_head_size) return first_room;
    return std::max(frame_head_size + from_big_endian(bytes_.data() + begin_), first_room);
}

namespace {

void piece_sink::write(std::span<std::byte const> bytes) {
    if (bytes.size() > limit_ + frame_head_size - size_)
        kxbase::es::arg::raise("it takes more than " + std::to_string(limit_) + " bytes (limit frame)");
    kxbase::buffer& piece = pieces_.emplace_back();
    if (pieces_.size() == 1) {
        piece.reserve(head_.size() + name_.size() + bytes.size());
        piece.append(head_);
        piece.append(name_);
    } else {
        piece.reserve(bytes.size());
    }
    piece.append(bytes);
    size_ += bytes.size();
}

void check_sendable(kxp::packet const& packet, std::uint32_t request_number) {
    char const* fault = nullptr;
    if (packet.get_type() < 1 || packet.get_type() > 3)
        fault = "its type is none of 1 (reply), 2 (request), 3 (event)";
    else if (packet.is(e_packet_type::event) != (request_number == 0))
        fault = "events, and only events, have number 0";
    else if (packet.get_name().size() > longest_name)
        fault = "its name has more than 255 bytes";
    else if (!kxbase::is_valid_utf8(packet.get_name()))
        fault = "its name is not of valid UTF-8";
    if (fault != nullptr) kxbase::es::arg::raise(shown(packet) + " cannot be sent: " + fault);
}

/// The length is not known yet.
head_bytes frame_head(kxp::packet const& packet, std::uint32_t request_number) noexcept {
    head_bytes head{};
    head[4] = static_cast<std::byte>(packet.get_type());
    put_big_endian(head.data() + 5, request_number);
    head[9] = static_cast<std::byte>(packet.get_name().size());
    return head;
}

std::string shown(kxp::packet const& packet) {
    constexpr std::size_t most_shown = 64;
    return "packet " + kxcore::shown_text(packet.get_name(), most_shown);
}

void check_number(unsigned int type, std::uint32_t number) {
    if (type < 1 || type > 3) refuse_payload("its type is " + std::to_string(type));
    bool const is_event = type == static_cast<unsigned int>(e_packet_type::event);
    if (is_event != (number == 0))
        refuse_payload("its type is " + std::to_string(type) + " and its number " + std::to_string(number));
}

void refuse_payload(std::string const& why) {
    kxbase::es::arg::raise("no packet: " + why);
}

} // namespace

} // namespace kxnet
