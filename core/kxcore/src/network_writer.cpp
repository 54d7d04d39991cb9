#include "network_writer.h"

#include <kxbase/errors.h>

#include <algorithm>

namespace kxcore {

namespace {

constexpr std::size_t piece = std::size_t{64} * 1024;
/// Enough for most packets, and little enough for the allocator to have it at hand.
constexpr std::size_t first_piece = 1000;
constexpr std::size_t smallest_room = 256;

} // namespace

network_writer::network_writer(kxbase::buffer& out, std::size_t position) : buffer_(&out), begin_(position) {
    if (position > out.size()) {
        kxbase::es::arg::raise("position " + std::to_string(position) + " is beyond a buffer of " +
                               std::to_string(out.size()) + " bytes");
    }
    out.resize(position);
    at_ = end_ = out.data() + position;
}

network_writer::network_writer(encoder_sink& out) : sink_(&out), buffer_(&own_) {
    own_.resize(first_piece);
    at_ = own_.data();        // NOLINT(cppcoreguidelines-prefer-member-initializer): there is no memory before
    end_ = at_ + first_piece; // NOLINT(cppcoreguidelines-prefer-member-initializer)
}

std::uint64_t network_writer::size() const noexcept {
    return handed_over_ + static_cast<std::uint64_t>(at_ - buffer_->data()) - begin_;
}

void network_writer::settle() {
    if (sink_ != nullptr) return;
    buffer_->resize(static_cast<std::size_t>(at_ - buffer_->data()));
    end_ = at_;
}

void network_writer::flush() {
    if (sink_ == nullptr) return settle();
    auto const count = static_cast<std::size_t>(at_ - own_.data());
    if (count == 0) return;
    at_ = own_.data();
    handed_over_ += count;
    sink_->write({own_.data(), count});
}

bool network_writer::cut(std::uint64_t size) noexcept {
    if (size < handed_over_) return false;
    at_ = buffer_->data() + begin_ + (size - handed_over_);
    if (sink_ == nullptr) {
        buffer_->resize(static_cast<std::size_t>(at_ - buffer_->data()));
        end_ = at_;
    }
    return true;
}

void network_writer::make_room(std::size_t count) {
    if (sink_ != nullptr) return own_.size() < piece ? enlarge() : flush();
    auto const used = static_cast<std::size_t>(at_ - buffer_->data());
    buffer_->resize(used);
    // All of the memory that is there is room; more is taken by the buffer's own rule.
    std::size_t const spare = buffer_->capacity() - used;
    at_ = buffer_->append_unset(spare >= count ? spare : std::max(count, smallest_room));
    end_ = buffer_->data() + buffer_->size();
}

void network_writer::enlarge() {
    auto const used = static_cast<std::size_t>(at_ - own_.data());
    own_.resize(piece);
    at_ = own_.data() + used;
    end_ = own_.data() + piece;
}

void network_writer::put_many(std::string_view bytes) {
    if (sink_ == nullptr) {
        make_room(bytes.size());
        return put_bytes(bytes);
    }
    if (own_.size() < piece) {
        enlarge();
        return put_bytes(bytes);
    }
    flush();
    if (bytes.size() < piece) return put_bytes(bytes);
    handed_over_ += bytes.size();
    sink_->write(std::as_bytes(std::span(bytes)));
}

} // namespace kxcore
