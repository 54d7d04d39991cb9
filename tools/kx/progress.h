#pragma once

/// @file
/// How far a long piece of work has come, as a bar on the terminal.

#include <chrono>
#include <cstddef>
#include <string>

namespace kx {

class log;

/// A bar on standard error, in one line that is rewritten, while the work goes on: "reading [####----] 12/24". There is
/// none where standard error is no terminal, or one that can't rewrite a line (TERM is "dumb" or missing), and it has no
/// colour where NO_COLOR is set. What the log writes meanwhile stands above it.
class progress {
public:
    /// @param label what is being done, one word of ASCII
    /// @param total how many steps there are
    progress(kx::log& log, std::string label, std::size_t total);

    /// Takes the bar away.
    ~progress();

    progress(progress const&) = delete;
    progress& operator=(progress const&) = delete;

    /// One step or several are done.
    void advance(std::size_t steps = 1);

private:
    void draw();
    void clear();
    [[nodiscard]] std::string line() const;

    using clock = std::chrono::steady_clock;

    kx::log& log_;
    std::string label_;
    std::size_t total_;
    std::size_t done_ = 0;
    bool is_shown_;
    bool has_colour_;
    // How many characters of the line stand on the terminal.
    std::size_t drawn_ = 0;
    clock::time_point last_drawn_;
};

} // namespace kx
