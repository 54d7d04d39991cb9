#include "standard_streams.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace kx {
namespace {

/// Whoever names standard input twice would get the empty text the second time.
void refuse_second_reading() {
    static bool was_read = false;
    if (std::exchange(was_read, true)) kxbase::es::arg::raise("standard input can be read only once");
}

} // namespace

bool is_standard_stream(std::string_view file) {
    return file == "-";
}

kxbase::buffer read_standard_input() {
    refuse_second_reading();
    auto const most = kxbase::current_limits().document;
    kxbase::buffer content;
    std::array<char, 65536> piece{};
    for (;;) {
        auto const size = ::read(STDIN_FILENO, piece.data(), piece.size());
        if (size == 0) return content;
        if (size < 0 && errno == EINTR) continue;
        if (size < 0) kxbase::es::call::raise(std::string("cannot read standard input: ") + std::strerror(errno));
        content.append(std::string_view(piece.data(), static_cast<std::size_t>(size)));
        if (content.size() > most)
            kxbase::es::arg::raise("standard input has more than " + std::to_string(most) + " bytes (limit document)");
    }
}

} // namespace kx
