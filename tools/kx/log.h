#pragma once

/// @file
/// The log of the tool: what the library reports, on standard error, below the data that goes to standard output.

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace kxbase {
struct report_line;
}

namespace kx {

/// Takes the library's reports for as long as it lives. Debug and notice lines appear only when the user asked for
/// them. Warnings and errors are held back for a moment: when an exception follows that says the same or belongs to it, the
/// two become one line for the user.
class log {
public:
    log();
    ~log();
    log(log const&) = delete;
    log& operator=(log const&) = delete;

    void set_verbose(bool verbose);

    /// What to do before a line is written, to make room for it; an empty one for nothing.
    void set_before_line(std::function<void()> before_line);

    /// Writes "kx: LINE" to standard error, as it is.
    void write_line(std::string_view line);

    /// Lets go of what is held back: the warning is written, unless it says what the exception says that followed.
    ///
    /// @param exception the message of the exception; empty when none followed
    /// @return the error line that was held back, for the line of the exception; empty when there is none
    std::string settle(std::string_view exception = {});

private:
    void receive(kxbase::report_line const& line);

    struct writer;
    void make_room() const;

    std::unique_ptr<writer> writer_;
    std::function<void()> before_line_;
    std::mutex mutex_;
    std::string held_back_warning_;
    std::string held_back_error_;
    bool verbose_ = false;
};

} // namespace kx
