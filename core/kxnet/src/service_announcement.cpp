#include <kxnet/service_announcement.h>

#include "dnssd_operation.h"
#include "dnssd_symbols.h"
#include "txt_record.h"
#include "wake_pipe.h"

#include <kxbase/errors.h>
#include <kxbase/one_line.h>
#include <kxbase/report.h>
#include <kxbase/source_position.h>
#include <kxbase/utf8.h>

#include <arpa/inet.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

namespace kxnet {
namespace {

constexpr std::size_t longest_name = 63;
constexpr std::chrono::milliseconds pause_between_attempts{1000};
constexpr std::chrono::milliseconds pause_after_failed_wait{250}; // for want of memory, say
constexpr std::chrono::hours longest_wait{24 * 365};

void report_notice(std::string const& message, kxbase::source_position where = kxbase::source_position::current()) {
    kxbase::report(where.file_name(), where.line(), "Bonjour", 2, 5, message);
}

/// A NUL would end the name early: with nothing before it, the library would announce the host's own.
bool has_control_character(std::string const& text) {
    return std::any_of(text.begin(), text.end(), [](char c) { return (c >= 0 && c < ' ') || c == '\x7f'; });
}

} // namespace

class service_announcement::announcing {
public:
    announcing(std::string type, std::string name, unsigned short port, std::string txt)
        : type_(std::move(type)), wanted_name_(std::move(name)), port_(htons(port)), txt_(std::move(txt)) {
        try {
            thread_ = std::thread([this] { run(); });
        } catch (std::system_error const& error) {
            kxbase::es::call::raise(std::string("cannot start a thread: ") + error.what());
        }
    }
    announcing(announcing const&) = delete;
    announcing& operator=(announcing const&) = delete;
    ~announcing() {
        {
            std::lock_guard const lock(guard_);
            is_stopped_ = true;
        }
        wake_.wake();
        thread_.join();
    }

    void update_txt(std::string txt) {
        {
            std::lock_guard const lock(guard_);
            txt_ = std::move(txt);
            is_changed_ = true;
        }
        wake_.wake();
    }

    [[nodiscard]] std::string get_name() const {
        std::lock_guard const lock(guard_);
        return name_;
    }

    [[nodiscard]] bool wait_until_announced(std::chrono::milliseconds patience) const {
        std::unique_lock lock(guard_);
        return changed_name_.wait_for(lock, std::min<std::chrono::milliseconds>(patience, longest_wait),
                                      [this] { return !name_.empty(); });
    }

private:
    void run() {
        for (dnssd_operation operation; !is_stopped();) {
            try {
                keep_announced(operation);
            } catch (std::exception const& error) {
                begin_anew(operation, error.what());
            } catch (...) {
                begin_anew(operation, "what was raised is no exception");
            }
        }
    }

    void keep_announced(dnssd_operation& operation) {
        if (!operation) operation = announce();
        if (operation) renew_txt(operation);
        if (!wait_and_take(operation))
            begin_anew(operation,
                       has_dnssd_library() ? "no DNS-SD daemon takes it" : "there is no DNS-SD client library");
    }

    /// Most likely for want of memory or of a daemon: after a pause.
    void begin_anew(dnssd_operation& operation, char const* reason) noexcept {
        operation = {};
        set_name({});
        try {
            tell_obstacle(reason);
        } catch (std::exception const&) {
            has_told_obstacle_ = false; // with the next attempt, then
        }
        wait_for_wake(pause_between_attempts);
    }

    /// Some daemons take another record only once they have agreed on the name with the network: then it waits for that.
    void renew_txt(dnssd_operation& operation) {
        if (!has_new_txt() || operation.update_txt(get_txt())) return;
        if (get_name().empty()) {
            std::lock_guard const lock(guard_);
            is_changed_ = true;
        } else {
            operation = {}; // first: the daemon would take it for another one of the same name
            set_name({});
            operation = announce();
        }
    }

    void tell_obstacle(char const* reason) {
        if (is_stopped() || std::exchange(has_told_obstacle_, true)) return;
        report_notice("\"" + wanted_name_ + "\" of " + type_ + " is not announced: " + reason);
    }

    dnssd_operation announce() {
        static_cast<void>(has_new_txt());
        return dnssd_operation::announce(wanted_name_, type_, port_, get_txt(), [this](std::string const& name) {
            set_name(name);
            if (std::exchange(has_told_obstacle_, false))
                report_notice("\"" + name + "\" of " + type_ + " is announced now");
        });
    }

    bool wait_and_take(dnssd_operation& operation) {
        if (!operation) return false;
        std::array<pollfd, 2> waited = {{{wake_.descriptor(), POLLIN, 0}, {operation.descriptor(), POLLIN, 0}}};
        if (int const ready = ::poll(waited.data(), waited.size(), -1); ready <= 0) {
            if (ready < 0 && errno != EINTR) wait_for_wake(pause_after_failed_wait);
            return true;
        }
        if (waited[0].revents != 0) wake_.drain();
        return waited[1].revents == 0 || operation.process();
    }

    void wait_for_wake(std::chrono::milliseconds longest) {
        pollfd waited = {wake_.descriptor(), POLLIN, 0};
        if (is_stopped()) return;
        int const ready = ::poll(&waited, 1, static_cast<int>(longest.count()));
        if (ready > 0) wake_.drain();
        if (ready < 0 && errno != EINTR) std::this_thread::sleep_for(pause_after_failed_wait);
    }

    bool is_stopped() const {
        std::lock_guard const lock(guard_);
        return is_stopped_;
    }

    bool has_new_txt() {
        std::lock_guard const lock(guard_);
        return std::exchange(is_changed_, false);
    }

    std::string get_txt() const {
        std::lock_guard const lock(guard_);
        return txt_;
    }

    void set_name(std::string const& name) {
        {
            std::lock_guard const lock(guard_);
            name_ = name;
        }
        changed_name_.notify_all();
    }

    std::string const type_;
    std::string const wanted_name_;
    unsigned short const port_; // in network byte order
    std::mutex mutable guard_;
    std::condition_variable mutable changed_name_;
    std::string txt_;
    std::string name_;
    bool is_changed_ = false;
    bool is_stopped_ = false;
    bool has_told_obstacle_ = false; // of the thread alone
    wake_pipe wake_;
    std::thread thread_; // last: it uses all of the above
};

service_announcement::service_announcement(std::string const& service_type, std::string const& instance_name,
                                           unsigned short port, txt_entries const& entries) {
    if (instance_name.empty() || instance_name.size() > longest_name || !kxbase::is_valid_utf8(instance_name) ||
        has_control_character(instance_name))
        kxbase::es::arg::raise("the name \"" + kxbase::string_on_one_line(instance_name) +
                               "\" of a service is not 1 to " + std::to_string(longest_name) +
                               " bytes of UTF-8 without control characters");
    if (service_type.empty() || has_control_character(service_type))
        kxbase::es::arg::raise("the type \"" + kxbase::string_on_one_line(service_type) +
                               "\" of a service is empty or has control characters");
    announcing_ = std::make_unique<announcing>(service_type, instance_name, port, encode_txt_record(entries));
}

service_announcement::~service_announcement() = default;

void service_announcement::update_txt(txt_entries const& entries) {
    announcing_->update_txt(encode_txt_record(entries));
}

std::string service_announcement::get_name() const {
    return announcing_->get_name();
}

bool service_announcement::wait_until_announced(std::chrono::milliseconds patience) const {
    return announcing_->wait_until_announced(patience);
}

} // namespace kxnet
