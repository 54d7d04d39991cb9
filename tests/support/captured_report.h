// What the code under test writes to the log, kept for the test instead of printed.
#pragma once

#include <kxbase/report.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kx_test {

/// A line of the log with texts of its own.
struct captured_line {
    std::string file;
    unsigned int line = 0;
    std::string category;
    unsigned int kind = 0;
    unsigned int severity = 0;
    std::string message;
};

/// Takes the place of the log's sink for the length of its life, and puts the one before back. One at a time. Any thread
/// may report meanwhile.
class captured_report {
public:
    captured_report() : previous_(kxbase::set_report_sink([this](kxbase::report_line const& line) { keep(line); })) {}
    ~captured_report() { kxbase::set_report_sink(std::move(previous_)); }

    captured_report(captured_report const&) = delete;
    captured_report& operator=(captured_report const&) = delete;

    /// All lines so far, in order.
    [[nodiscard]] std::vector<captured_line> lines() const {
        std::lock_guard const lock(guard_);
        return lines_;
    }

    /// Their messages alone.
    [[nodiscard]] std::vector<std::string> messages() const {
        std::vector<std::string> result;
        for (captured_line const& line : lines())
            result.push_back(line.message);
        return result;
    }

    /// Whether a message so far holds `part`.
    [[nodiscard]] bool has(std::string_view part) const {
        std::lock_guard const lock(guard_);
        return std::any_of(lines_.begin(), lines_.end(),
                           [part](captured_line const& line) { return line.message.find(part) != std::string::npos; });
    }

    /// Forgets what came so far.
    void clear() {
        std::lock_guard const lock(guard_);
        lines_.clear();
    }

private:
    void keep(kxbase::report_line const& line) {
        std::lock_guard const lock(guard_);
        lines_.push_back({std::string(line.file), line.line, std::string(line.category), line.kind, line.severity,
                          std::string(line.message)});
    }

    std::mutex mutable guard_;
    std::vector<captured_line> lines_;
    kxbase::report_sink previous_; // last: the sink may be called as soon as it is set
};

} // namespace kx_test
