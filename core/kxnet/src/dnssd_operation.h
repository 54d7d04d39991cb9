// What the DNS-SD client library is asked: each question stays open, and has answers again and again, until it is dropped.
// Of one thread: it asks, waits on the descriptor and takes the answers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace kxnet {

/// An instance of a service came or went on an interface. On some systems this comes twice for one that is reachable by
/// both versions of the Internet Protocol.
struct browse_answer {
    bool added = false;
    bool more_coming = false;
    unsigned int interface_index = 0;
    std::string name;
    std::string type;
    std::string domain;
};

struct resolve_answer {
    std::string full_name;   ///< escaped, as a question for its TXT record wants it
    std::string host;        ///< the host's target name, with the dot at its end
    unsigned short port = 0; ///< in network byte order
    std::string txt;         ///< the TXT record's bytes

    friend bool operator==(resolve_answer const&, resolve_answer const&) = default;
};

/// A record is there (again); that one went away is not told.
struct record_answer {
    bool more_coming = false;
    unsigned int time_to_live = 0;
    std::string data;
};

enum class e_record_type : unsigned short { address = 1, txt = 16 };

/// Why nothing came of a question.
enum class e_refusal {
    none,
    question, ///< it will never do as it is: a name or an interface that the daemon does not take
    service   ///< nobody answers now: no library, no daemon, or no room for one more with either
};

/// A question or an announcement under way. Moved, never copied; dropping it ends it.
class dnssd_operation {
public:
    /// What calls the one who asked. All of them within process(); what they raise fails the operation.
    struct state;

    dnssd_operation() noexcept;
    explicit dnssd_operation(e_refusal refusal) noexcept;
    dnssd_operation(dnssd_operation&&) noexcept;
    dnssd_operation& operator=(dnssd_operation&&) noexcept;
    dnssd_operation(dnssd_operation const&) = delete;
    dnssd_operation& operator=(dnssd_operation const&) = delete;
    ~dnssd_operation();

    /// All instances of a service, on all interfaces. As the others here, gives one that is not under way when the library,
    /// the function or the daemon is missing.
    [[nodiscard]] static dnssd_operation browse(std::string const& type,
                                                std::function<void(browse_answer const&)> on_answer);

    /// Host, port and TXT record of an instance that was found by browsing.
    [[nodiscard]] static dnssd_operation resolve(browse_answer const& instance,
                                                 std::function<void(resolve_answer const&)> on_answer);

    /// A record of the name given.
    [[nodiscard]] static dnssd_operation query(unsigned int interface_index, std::string const& name,
                                               e_record_type type, std::function<void(record_answer const&)> on_answer);

    /// Announces an instance on all interfaces. The answer is the name that it has got: another one when the one asked for
    /// was taken.
    /// @param port in network byte order
    [[nodiscard]] static dnssd_operation announce(std::string const& name, std::string const& type, unsigned short port,
                                                  std::string const& txt,
                                                  std::function<void(std::string const&)> on_answer);

    /// Whether it is under way.
    explicit operator bool() const noexcept { return state_ != nullptr; }

    /// Of one that could not be started: why.
    [[nodiscard]] e_refusal refusal() const noexcept { return refusal_; }

    /// How many are under way in this process. Any thread may ask.
    [[nodiscard]] static std::size_t count() noexcept;
    /// How many of these are for TXT records, which last.
    [[nodiscard]] static std::size_t count_of_watches() noexcept;

    /// What to wait on for reading before process(); -1 when it is not under way.
    [[nodiscard]] int descriptor() const;

    /// Whether process() has something to take at once.
    [[nodiscard]] bool is_ready() const;

    /// Takes what has come. It waits when nothing has.
    /// @return false when the operation has failed: there was no answer, or the daemon is gone. It is to be dropped then.
    [[nodiscard]] bool process();

    /// Gives an announcement another TXT record.
    [[nodiscard]] bool update_txt(std::string const& txt);

private:
    [[nodiscard]] static dnssd_operation started(std::unique_ptr<state> asked, std::int32_t error);

    std::unique_ptr<state> state_;
    e_refusal refusal_ = e_refusal::none;
};

} // namespace kxnet
