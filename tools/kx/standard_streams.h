#pragma once

/// @file
/// "-" on the command line: standard input in the place of a file that is read, and standard output of one that is
/// written. A file of that name is "./-".

#include <kxbase/buffer.h>

#include <string_view>

namespace kx {

[[nodiscard]] bool is_standard_stream(std::string_view file);

/// All of standard input.
///
/// @throws es::arg naming the limit "document" when there is more, and when it was read before; es::call when it can't be
///         read
[[nodiscard]] kxbase::buffer read_standard_input();

} // namespace kx
