#pragma once

/// @file
/// Where a call stands in the source. The standard's own class is missing with compilers that the lint check and
/// fuzzing rely on; this one works with all.

namespace kxbase {

/// A file and a line. Made by `current()` as a default argument, it is the place of the call.
class source_position {
public:
    /// The place of the call; both arguments are for the compiler to fill in.
    [[nodiscard]] static constexpr source_position current(char const* file = __builtin_FILE(),
                                                           unsigned int line = __builtin_LINE()) noexcept {
        return {file, line};
    }

    /// The file as the compiler was told it; never null, valid for the life of the process.
    [[nodiscard]] constexpr char const* file_name() const noexcept { return file_; }

    /// The line, counted from 1.
    [[nodiscard]] constexpr unsigned int line() const noexcept { return line_; }

private:
    constexpr source_position(char const* file, unsigned int line) noexcept : file_(file), line_(line) {}

    char const* file_;
    unsigned int line_;
};

} // namespace kxbase
