// A DNS-SD client library whose daemon is the test: it answers what the test says and when, and refuses, hangs and dies.
#pragma once

#include "support/dnssd_symbols.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace kx_test {

/// In the place of the system's library for the length of its life; one at a time. Any thread may call what is here.
///
/// Questions are known by texts: "browse TYPE", "resolve NAME on INTERFACE", "address of HOST on INTERFACE",
/// "txt of NAME on INTERFACE" (the instance's own name), "announce NAME" (and "record RECORD" with it). Announcements also
/// "update RECORD".
class scripted_dnssd {
public:
    struct question;
    using answer = std::function<void(question&)>;

    static constexpr std::int32_t unknown_error = -65537;
    static constexpr std::int32_t bad_parameter = -65540;

    scripted_dnssd();
    ~scripted_dnssd();
    scripted_dnssd(scripted_dnssd const&) = delete;
    scripted_dnssd& operator=(scripted_dnssd const&) = delete;

    // What answers there are.
    [[nodiscard]] static answer instance(std::string name, bool added, unsigned int interface_index = 1,
                                         std::string domain = "local.", bool more_coming = false);
    [[nodiscard]] static answer place(std::string host, unsigned short port, std::string txt);
    [[nodiscard]] static answer record(std::string bytes, std::uint32_t time_to_live = 120, bool more_coming = false);
    [[nodiscard]] static answer name(std::string name);
    [[nodiscard]] static answer error(std::int32_t code);
    /// All of them, in one go.
    [[nodiscard]] static answer all(std::vector<answer> answers);
    /// One after the other, as two answers: the second waits when the first is given.
    [[nodiscard]] static answer in_turn(answer first, answer second);
    /// Given again and again: there is always one more.
    [[nodiscard]] static answer without_end(answer each);

    /// Answers each question of this text that is open.
    /// @return how many there were
    std::size_t give(std::string const& text, answer const& given);
    /// Answers each question of this text as soon as it is asked from now on; null for no answer any more.
    void always_give(std::string const& text, answer given);
    /// Questions whose texts begin with this get an error from now on; 0 for none any more.
    void refuse(std::string const& beginning, std::int32_t error);
    /// Asking raises an exception from now on, or not any more.
    void raise(std::string const& beginning, bool is_raising);
    /// Whoever asks hangs until release(), as with a daemon that is stopped.
    void hold(std::string const& beginning);
    void release();
    /// The daemon's end: all questions fail.
    void die();

    /// How often questions whose texts begin with this were asked, also in vain.
    [[nodiscard]] std::size_t asked(std::string const& beginning) const;
    /// When they were asked.
    [[nodiscard]] std::vector<std::chrono::steady_clock::time_point> times_asked(std::string const& beginning) const;
    /// Waits until they were asked so often; false when they aren't within a while.
    [[nodiscard]] bool wait_for_asked(std::string const& beginning, std::size_t times = 1) const;
    /// How many are open now, and waits until there are so many.
    [[nodiscard]] std::size_t open(std::string const& beginning = {}) const;
    [[nodiscard]] bool wait_for_open(std::string const& beginning, std::size_t count) const;
    /// How many were open at a time at most.
    [[nodiscard]] std::size_t most_open() const;
    /// How often anybody asked for a descriptor to wait on.
    [[nodiscard]] std::size_t waits() const { return waits_; }

    // For the functions of the library.
    std::int32_t ask(question** asked, std::string const& text, std::unique_ptr<question> made);
    std::int32_t note(std::string const& text);
    void close(question* closed);
    std::int32_t process(question* asked);
    void note_wait() { ++waits_; }

private:
    [[nodiscard]] std::size_t asked_so_far(std::string const& beginning) const;
    [[nodiscard]] std::size_t open_now(std::string const& beginning) const;
    static void push(question& asked, answer const& given);
    static void make_readable(question const& asked);

    std::mutex mutable guard_;
    std::condition_variable mutable changed_;
    std::vector<std::unique_ptr<question>> open_;
    std::vector<std::pair<std::string, std::chrono::steady_clock::time_point>> asked_;
    std::atomic<std::size_t> waits_ = 0;
    std::size_t most_open_ = 0;
    std::map<std::string, answer> always_;
    std::map<std::string, std::int32_t> refused_;
    std::map<std::string, bool> raising_;
    std::string held_ = "\n"; // which no question begins with
    other_dnssd_library library_;
};

} // namespace kx_test
