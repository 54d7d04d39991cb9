#pragma once

/// @file
/// The log of the tool: what the library reports, on standard error, below the data that goes to standard output.

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace kxbase {
struct report_line;
}

namespace kx {

/// Takes the library's reports for as long as it lives. Debug and notice lines appear only when the user asked for
/// them. An error line is held back for a moment: when an exception follows, the two become one line for the user.
class log {
public:
    log();
    ~log();
    log(log const&) = delete;
    log& operator=(log const&) = delete;

    void set_verbose(bool verbose);

    /// Writes "kx: LINE" to standard error. Line ends within it are kept, other control characters are escaped.
    void write_line(std::string_view line);

    /// Forgets the error line that is held back: nothing came of it.
    void drop_held_back();

    /// Gives the error line away, for the line of the exception that followed; empty when there is none.
    [[nodiscard]] std::string take_held_back();

private:
    void receive(kxbase::report_line const& line);

    struct writer;
    std::unique_ptr<writer> writer_;
    std::mutex mutex_;
    std::string held_back_;
    bool verbose_ = false;
};

} // namespace kx
