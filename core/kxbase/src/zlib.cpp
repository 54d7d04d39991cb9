#include <kxbase/zlib.h>

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxbase/text.h>

#include <algorithm>
#include <limits>
#include <new>

#include <zlib.h>

namespace kxbase {

namespace {

constexpr std::size_t least_step = std::size_t{64} << 10;
/// zlib counts what it is given in an `unsigned int`.
constexpr std::size_t largest_piece = std::size_t{1} << 30;

/// Lets zlib take the next piece of the bytes and takes it off them.
void feed(z_stream& stream, std::span<std::byte const>& bytes) {
    auto const piece = bytes.first(std::min(bytes.size(), largest_piece));
    stream.next_in = const_cast<Bytef*>(reinterpret_cast<Bytef const*>(piece.data())); // zlib only reads it
    stream.avail_in = static_cast<uInt>(piece.size());
    bytes = bytes.subspan(piece.size());
}

class inflating {
public:
    inflating(std::span<std::byte const> in, std::size_t limit);
    inflating(inflating const&) = delete;
    inflating& operator=(inflating const&) = delete;
    ~inflating() { inflateEnd(&stream_); }

    [[nodiscard]] buffer run();

private:
    /// Expands into `room` and returns how many bytes came.
    std::size_t step(std::span<std::byte> room);
    [[noreturn]] void raise_damaged() const;
    [[noreturn]] void raise_beyond_limit() const;

    std::span<std::byte const> in_;
    std::size_t size_;
    std::size_t limit_;
    bool at_end_ = false;
    z_stream stream_{};
};

} // namespace

void compress_z(buffer const& in, buffer& out, int level) {
    buffer packed;
    packed.set_aggressive(out.is_aggressive());
    compressor_z compressor(packed, level);
    compressor.append(in.bytes());
    compressor.finish();
    out = std::move(packed);
}

void uncompress_z(buffer const& in, buffer& out) {
    uncompress_z(in, out, current_limits().expansion);
}

void uncompress_z(buffer const& in, buffer& out, std::size_t limit) {
    buffer expanded = inflating(in.bytes(), limit).run();
    expanded.set_aggressive(out.is_aggressive());
    out = std::move(expanded);
}

struct compressor_z::state {
    buffer& out;
    z_stream stream{};
    bool finished = false;

    void deflate_all(std::span<std::byte const> bytes, int flush);
};

compressor_z::compressor_z(buffer& out, int level) : state_(new state{out}) {
    if (level < -1 || level > 9)
        es::arg::raise(string_with_format("%d is no compression level, the levels are -1 to 9", level));
    if (deflateInit(&state_->stream, level) != Z_OK) throw std::bad_alloc();
}

compressor_z::~compressor_z() {
    deflateEnd(&state_->stream);
}

void compressor_z::append(std::span<std::byte const> bytes) {
    if (state_->finished) es::arg::raise("nothing can be appended to finished compressed data");
    state_->deflate_all(bytes, Z_NO_FLUSH);
}

void compressor_z::append(std::string_view text) {
    append(std::as_bytes(std::span(text.data(), text.size())));
}

void compressor_z::finish() {
    if (state_->finished) return;
    state_->deflate_all({}, Z_FINISH);
    state_->finished = true;
}

void compressor_z::state::deflate_all(std::span<std::byte const> bytes, int flush) {
    do {
        feed(stream, bytes);
        do {
            std::size_t const before = out.size();
            std::size_t const room = std::clamp(out.capacity() - before, least_step, largest_piece);
            stream.next_out = reinterpret_cast<Bytef*>(out.append_unset(room));
            stream.avail_out = static_cast<uInt>(room);
            deflate(&stream, flush); // can't fail: the stream is sound, and a lack of room is what the loop is for
            out.resize(before + room - stream.avail_out);
        } while (stream.avail_out == 0);
    } while (!bytes.empty());
}

namespace {

inflating::inflating(std::span<std::byte const> in, std::size_t limit) : in_(in), size_(in.size()), limit_(limit) {
    if (inflateInit(&stream_) != Z_OK) throw std::bad_alloc();
}

buffer inflating::run() {
    buffer out;
    std::size_t guess = std::max(least_step, size_ * 4);
    while (!at_end_) {
        // No memory is taken beyond the limit; whether there is more shows on a byte of its own.
        if (out.size() == limit_) {
            std::byte beyond{};
            if (step({&beyond, 1}) != 0) raise_beyond_limit();
            continue;
        }
        std::size_t const before = out.size();
        std::size_t const room = std::min({guess, limit_ - before, largest_piece});
        out.reserve(before + room);
        std::size_t const came = step({out.append_unset(room), room});
        out.resize(before + came);
        guess = std::max(guess, out.size());
    }
    std::size_t const left = in_.size() + stream_.avail_in;
    if (left != 0) es::arg::raise(string_with_format("compressed data is followed by %zu more bytes", left));
    return out;
}

std::size_t inflating::step(std::span<std::byte> room) {
    stream_.next_out = reinterpret_cast<Bytef*>(room.data());
    stream_.avail_out = static_cast<uInt>(room.size());
    while (stream_.avail_out != 0 && !at_end_) {
        if (stream_.avail_in == 0) feed(stream_, in_);
        bool const last = in_.empty();
        int const result = inflate(&stream_, Z_NO_FLUSH);
        if (result == Z_MEM_ERROR) throw std::bad_alloc();
        if (result == Z_STREAM_END)
            at_end_ = true;
        else if (result != Z_OK && result != Z_BUF_ERROR)
            raise_damaged();
        else if (last && stream_.avail_in == 0 && stream_.avail_out != 0)
            es::arg::raise(string_with_format("compressed data is cut off after %zu bytes", size_));
    }
    return room.size() - stream_.avail_out;
}

void inflating::raise_damaged() const {
    std::size_t const place = size_ - in_.size() - stream_.avail_in;
    char const* const reason = stream_.msg != nullptr ? stream_.msg : "it asks for a dictionary";
    es::arg::raise(string_with_format("compressed data is damaged near byte %zu: %s", place, reason));
}

void inflating::raise_beyond_limit() const {
    es::arg::raise(string_with_format("compressed data expands beyond %zu bytes (limit expansion)", limit_));
}

} // namespace

} // namespace kxbase
