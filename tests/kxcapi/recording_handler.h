// A handler that writes down what it is told.
#pragma once

#include <kxcapi/handler.h>
#include <kxcapi/job.h>

#include <kxnet/packet.h>

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace kx_test {

class recording_handler : public kxcapi::state_handler {
public:
    /// Called for each line, after it is written down.
    std::function<void(std::string const&)> then{};

    void event(kxp::packet const& packet) override { note("event " + packet.get_name()); }
    void closed(std::string const& reason) override { note("closed: " + reason); }
    void job_changed(kxcapi::job const& now) override { note("changed " + now.id + ' ' + now.status); }
    void job_removed(kxcapi::job const& last) override { note("removed " + last.id + ' ' + last.status); }
    void state_complete() override { note("complete"); }

    [[nodiscard]] std::vector<std::string> lines() const {
        std::lock_guard const lock(guard_);
        return lines_;
    }
    [[nodiscard]] std::size_t count() const { return lines().size(); }
    [[nodiscard]] std::thread::id thread() const {
        std::lock_guard const lock(guard_);
        return thread_;
    }

private:
    void note(std::string const& line) {
        {
            std::lock_guard const lock(guard_);
            lines_.push_back(line);
            thread_ = std::this_thread::get_id();
        }
        if (then) then(line);
    }

    std::mutex mutable guard_;
    std::vector<std::string> lines_;
    std::thread::id thread_;
};

} // namespace kx_test
