#pragma once

// Going through the bytes of a file of our own, piece by piece; what is missing or wrong is told with its offset.

#include "byte_order.h"

#include <kxcore/configuration.h>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace kxcore {

class byte_reader {
public:
    explicit byte_reader(std::string_view bytes) : bytes_(bytes) {}

    /// The next bytes; false, with a diagnostic, when there are fewer.
    bool take(std::size_t size, char const* what, std::string_view& out) {
        if (size > left()) return fail(bytes_.size(), std::string("expected ") + what + ", found the end of the file");
        out = bytes_.substr(position_, size);
        position_ += size;
        return true;
    }

    template <class T>
    bool take_number(char const* what, T& out) {
        std::string_view found;
        if (!take(sizeof(T), what, found)) return false;
        out = from_little_endian<T>(found);
        return true;
    }

    /// Keeps what is wrong; false, for the caller to return.
    bool fail(std::size_t offset, std::string message) {
        diagnostic_.message = std::move(message);
        diagnostic_.offset = offset;
        return false;
    }

    /// The rest: the size of a body (8 bytes), the body, and the checksum (4 bytes) of everything before it. Nothing may
    /// follow.
    bool take_checked_body(std::string_view& body);

    [[nodiscard]] std::size_t position() const noexcept { return position_; }
    [[nodiscard]] std::size_t left() const noexcept { return bytes_.size() - position_; }
    [[nodiscard]] document_diagnostic const& diagnostic() const noexcept { return diagnostic_; }

private:
    std::string_view bytes_;
    std::size_t position_ = 0;
    document_diagnostic diagnostic_;
};

/// Appends what take_checked_body() takes; the checksum is that of all bytes from `begin` on.
void append_checked_body(kxbase::buffer& out, std::size_t begin, std::string_view body);

[[nodiscard]] inline std::span<std::byte const> as_bytes(std::string_view text) noexcept {
    return std::as_bytes(std::span(text.data(), text.size()));
}

} // namespace kxcore
