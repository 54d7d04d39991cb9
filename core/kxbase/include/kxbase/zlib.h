#pragma once

/// @file
/// Compression in the zlib format.

#include <kxbase/export.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

namespace kxbase {

class buffer;

/// Replaces the content of `out` by `in`, compressed at a level from 0 (none) to 9 (best), or -1 (zlib's own choice).
/// `in` and `out` may be the same buffer. An error leaves `out` as it was.
/// @throws es::arg for another level
KXBASE_EXPORT void compress_z(buffer const& in, buffer& out, int level);

/// Replaces the content of `out` by what `in` expands to. `in` and `out` may be the same buffer. Memory is taken in
/// bounded steps, never on the word of the data. An error leaves `out` as it was.
/// @throws es::arg for data that is damaged, cut off or followed by more, and for data that expands beyond the limit
/// "expansion" of limits.h
KXBASE_EXPORT void uncompress_z(buffer const& in, buffer& out);
/// The same with a limit of the caller's, in bytes.
KXBASE_EXPORT void uncompress_z(buffer const& in, buffer& out, std::size_t limit);

/// Compresses piece by piece, for who makes the data as it goes and never needs it as a whole. The result expands to
/// all pieces together. Used by one thread at a time.
class KXBASE_EXPORT compressor_z {
public:
    /// Appends to `out`, which must outlive this. Levels as in `compress_z`.
    /// @throws es::arg for another level
    compressor_z(buffer& out, int level);
    compressor_z(compressor_z const&) = delete;
    compressor_z& operator=(compressor_z const&) = delete;
    ~compressor_z();

    /// Compresses more; some of it may be held back.
    /// @throws es::arg after `finish`
    void append(std::span<std::byte const> bytes);
    void append(std::string_view text);
    /// Writes what is still held back. Without it the data is cut off; a second call does nothing.
    void finish();

private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace kxbase
