#include "wake_pipe.h"

#include <kxbase/errors.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <system_error>

namespace kxnet {

wake_pipe::wake_pipe() {
    if (::pipe2(ends_, O_CLOEXEC | O_NONBLOCK) != 0)
        kxbase::es::call::raise("cannot make a pipe: " + std::generic_category().message(errno));
}

wake_pipe::~wake_pipe() {
    ::close(ends_[0]);
    ::close(ends_[1]);
}

void wake_pipe::wake() const noexcept {
    char const token = 0;
    // A full pipe is readable already.
    [[maybe_unused]] auto const written = ::write(ends_[1], &token, 1);
}

void wake_pipe::drain() const noexcept {
    std::array<char, 64> tokens; // NOLINT(cppcoreguidelines-pro-type-member-init): filled by the next line
    while (::read(ends_[0], tokens.data(), tokens.size()) > 0) {
    }
}

} // namespace kxnet
