#include "kxnet/support/scripted_dnssd.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <dns_sd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <new>
#include <stdexcept>
#include <utility>

// What the library's handle points to: it is whatever the library makes of it.
struct _DNSServiceRef_t { // NOLINT(bugprone-reserved-identifier): as published
    kx_test::scripted_dnssd::question* asked = nullptr;
};

namespace kx_test {

struct scripted_dnssd::question {
    question() = default;
    question(question const&) = delete;
    question& operator=(question const&) = delete;
    ~question() {
        for (int const end : ends)
            if (end >= 0) ::close(end);
    }

    _DNSServiceRef_t handle = {};
    std::array<int, 2> ends = {-1, -1}; // whoever asks waits on the first
    std::string text = {};
    std::deque<answer> answers = {}; // a byte waits while there are any
    bool is_dead = false;

    std::string name = {};
    std::string type = {};
    unsigned int interface_index = 0;
    std::uint16_t record_type = 0;
    void* context = nullptr;
    DNSServiceBrowseReply on_browse = nullptr;
    DNSServiceResolveReply on_resolve = nullptr;
    DNSServiceQueryRecordReply on_record = nullptr;
    DNSServiceRegisterReply on_announce = nullptr;
};

namespace {

using question = scripted_dnssd::question;

constexpr std::chrono::seconds patience{20};

scripted_dnssd* current =
    nullptr; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): C functions find it here

bool begins_with(std::string const& text, std::string const& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

DNSServiceErrorType start(DNSServiceRef* ref, std::string const& text, std::unique_ptr<question> made) {
    question* asked = nullptr;
    auto const error = current->ask(&asked, text, std::move(made));
    *ref = asked == nullptr ? nullptr : &asked->handle;
    return error;
}

DNSServiceErrorType browse(DNSServiceRef* ref, DNSServiceFlags, std::uint32_t, char const* type, char const*,
                           DNSServiceBrowseReply callback, void* context) {
    auto made = std::make_unique<question>();
    made->type = type;
    made->on_browse = callback;
    made->context = context;
    return start(ref, std::string("browse ") + type, std::move(made));
}

DNSServiceErrorType resolve(DNSServiceRef* ref, DNSServiceFlags, std::uint32_t interface_index, char const* name,
                            char const* type, char const*, DNSServiceResolveReply callback, void* context) {
    auto made = std::make_unique<question>();
    made->name = name;
    made->type = type;
    made->interface_index = interface_index;
    made->on_resolve = callback;
    made->context = context;
    return start(ref, std::string("resolve ") + name + " on " + std::to_string(interface_index), std::move(made));
}

DNSServiceErrorType query(DNSServiceRef* ref, DNSServiceFlags, std::uint32_t interface_index, char const* name,
                          std::uint16_t type, std::uint16_t, DNSServiceQueryRecordReply callback, void* context) {
    auto made = std::make_unique<question>();
    made->name = name;
    made->interface_index = interface_index;
    made->record_type = type;
    made->on_record = callback;
    made->context = context;
    bool const is_address = type == kDNSServiceType_A;
    std::string const asked = name;
    return start(ref,
                 (is_address ? "address of " + asked : "txt of " + asked.substr(0, asked.find("._"))) + " on " +
                     std::to_string(interface_index),
                 std::move(made));
}

DNSServiceErrorType announce(DNSServiceRef* ref, DNSServiceFlags, std::uint32_t, char const* name, char const* type,
                             char const*, char const*, std::uint16_t, std::uint16_t length, void const* data,
                             DNSServiceRegisterReply callback, void* context) {
    auto made = std::make_unique<question>();
    made->name = name;
    made->type = type;
    made->on_announce = callback;
    made->context = context;
    current->note("record " + std::string(static_cast<char const*>(data), length));
    return start(ref, std::string("announce ") + name, std::move(made));
}

DNSServiceErrorType update(DNSServiceRef, DNSRecordRef, DNSServiceFlags, std::uint16_t length, void const* data,
                           std::uint32_t) {
    return current->note("update " + std::string(static_cast<char const*>(data), length));
}

int descriptor(DNSServiceRef ref) {
    current->note_wait();
    return ref->asked->ends[0];
}

DNSServiceErrorType process(DNSServiceRef ref) {
    return current->process(ref->asked);
}

void deallocate(DNSServiceRef ref) {
    current->close(ref->asked);
}

std::map<std::string, void*> functions() {
    static void* const library = ::dlopen("libdns_sd.so.1", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr) throw std::runtime_error("no libdns_sd.so.1, which scripts/setup installs");
    return {{"DNSServiceBrowse", reinterpret_cast<void*>(browse)},
            {"DNSServiceResolve", reinterpret_cast<void*>(resolve)},
            {"DNSServiceQueryRecord", reinterpret_cast<void*>(query)},
            {"DNSServiceRegister", reinterpret_cast<void*>(announce)},
            {"DNSServiceUpdateRecord", reinterpret_cast<void*>(update)},
            {"DNSServiceRefSockFD", reinterpret_cast<void*>(descriptor)},
            {"DNSServiceProcessResult", reinterpret_cast<void*>(process)},
            {"DNSServiceRefDeallocate", reinterpret_cast<void*>(deallocate)},
            {"TXTRecordGetCount", ::dlsym(library, "TXTRecordGetCount")},
            {"TXTRecordGetItemAtIndex", ::dlsym(library, "TXTRecordGetItemAtIndex")}};
}

} // namespace

scripted_dnssd::scripted_dnssd() : library_(functions()) {
    current = this;
}

scripted_dnssd::~scripted_dnssd() {
    current = nullptr;
}

// --- answers ----------------------------------------------------------------------------------------------------

scripted_dnssd::answer scripted_dnssd::instance(std::string name, bool added, unsigned int interface_index,
                                                std::string domain, bool more_coming) {
    return [=](question& asked) {
        if (asked.on_browse == nullptr) throw std::logic_error(asked.text + " wants no instance");
        auto const flags = (added ? kDNSServiceFlagsAdd : 0) | (more_coming ? kDNSServiceFlagsMoreComing : 0);
        asked.on_browse(&asked.handle, flags, interface_index, 0, name.c_str(), asked.type.c_str(), domain.c_str(),
                        asked.context);
    };
}

scripted_dnssd::answer scripted_dnssd::place(std::string host, unsigned short port, std::string txt) {
    return [=](question& asked) {
        if (asked.on_resolve == nullptr) throw std::logic_error(asked.text + " wants no place");
        auto const full_name = asked.name + "." + asked.type + ".local.";
        asked.on_resolve(&asked.handle, 0, asked.interface_index, 0, full_name.c_str(), host.c_str(), htons(port),
                         static_cast<std::uint16_t>(txt.size()), reinterpret_cast<unsigned char const*>(txt.data()),
                         asked.context);
    };
}

scripted_dnssd::answer scripted_dnssd::record(std::string bytes, std::uint32_t time_to_live, bool more_coming) {
    return [=](question& asked) {
        if (asked.on_record == nullptr) throw std::logic_error(asked.text + " wants no record");
        auto const flags = kDNSServiceFlagsAdd | (more_coming ? kDNSServiceFlagsMoreComing : 0);
        asked.on_record(&asked.handle, flags, asked.interface_index, 0, asked.name.c_str(), asked.record_type,
                        kDNSServiceClass_IN, static_cast<std::uint16_t>(bytes.size()), bytes.data(), time_to_live,
                        asked.context);
    };
}

scripted_dnssd::answer scripted_dnssd::name(std::string name) {
    return [=](question& asked) {
        if (asked.on_announce == nullptr) throw std::logic_error(asked.text + " wants no name");
        asked.on_announce(&asked.handle, 0, 0, name.c_str(), asked.type.c_str(), "local.", asked.context);
    };
}

scripted_dnssd::answer scripted_dnssd::error(std::int32_t code) {
    return [=](question& asked) {
        auto* const ref = &asked.handle;
        if (asked.on_browse != nullptr) asked.on_browse(ref, 0, 0, code, "", "", "", asked.context);
        if (asked.on_resolve != nullptr) asked.on_resolve(ref, 0, 0, code, "", "", 0, 0, nullptr, asked.context);
        if (asked.on_record != nullptr) asked.on_record(ref, 0, 0, code, "", 0, 0, 0, nullptr, 0, asked.context);
        if (asked.on_announce != nullptr) asked.on_announce(ref, 0, code, "", "", "", asked.context);
    };
}

scripted_dnssd::answer scripted_dnssd::all(std::vector<answer> answers) {
    return [=](question& asked) {
        for (auto const& each : answers)
            each(asked);
    };
}

scripted_dnssd::answer scripted_dnssd::in_turn(answer first, answer second) {
    return [=](question& asked) {
        {
            std::lock_guard const lock(current->guard_);
            push(asked, second);
        }
        first(asked);
    };
}

scripted_dnssd::answer scripted_dnssd::without_end(answer each) {
    return [each](question& asked) { in_turn(each, without_end(each))(asked); };
}

// --- the test's side --------------------------------------------------------------------------------------------

void scripted_dnssd::push(question& asked, answer const& given) {
    asked.answers.push_back(given);
    if (asked.answers.size() == 1) make_readable(asked);
}

void scripted_dnssd::make_readable(question const& asked) {
    if (::send(asked.ends[1], "", 1, MSG_NOSIGNAL) != 1 && !asked.is_dead) throw std::runtime_error("cannot send");
}

std::size_t scripted_dnssd::give(std::string const& text, answer const& given) {
    std::lock_guard const lock(guard_);
    std::size_t count = 0;
    for (auto const& each : open_) {
        if (each->text != text || each->is_dead) continue;
        push(*each, given);
        ++count;
    }
    return count;
}

void scripted_dnssd::always_give(std::string const& text, answer given) {
    std::lock_guard const lock(guard_);
    always_[text] = std::move(given);
}

void scripted_dnssd::refuse(std::string const& beginning, std::int32_t error) {
    std::lock_guard const lock(guard_);
    refused_[beginning] = error;
}

void scripted_dnssd::raise(std::string const& beginning, bool is_raising) {
    std::lock_guard const lock(guard_);
    raising_[beginning] = is_raising;
}

void scripted_dnssd::hold(std::string const& beginning) {
    std::lock_guard const lock(guard_);
    held_ = beginning;
}

void scripted_dnssd::release() {
    {
        std::lock_guard const lock(guard_);
        held_ = "\n";
    }
    changed_.notify_all();
}

void scripted_dnssd::die() {
    std::lock_guard const lock(guard_);
    for (auto const& each : open_) {
        each->is_dead = true;
        ::shutdown(each->ends[1], SHUT_RDWR);
    }
}

std::size_t scripted_dnssd::asked_so_far(std::string const& beginning) const {
    return static_cast<std::size_t>(std::count_if(
        asked_.begin(), asked_.end(), [&](auto const& each) { return begins_with(each.first, beginning); }));
}

std::size_t scripted_dnssd::open_now(std::string const& beginning) const {
    return static_cast<std::size_t>(std::count_if(
        open_.begin(), open_.end(), [&](auto const& each) { return begins_with(each->text, beginning); }));
}

std::size_t scripted_dnssd::asked(std::string const& beginning) const {
    std::lock_guard const lock(guard_);
    return asked_so_far(beginning);
}

std::vector<std::chrono::steady_clock::time_point> scripted_dnssd::times_asked(std::string const& beginning) const {
    std::lock_guard const lock(guard_);
    std::vector<std::chrono::steady_clock::time_point> times;
    for (auto const& [text, when] : asked_)
        if (begins_with(text, beginning)) times.push_back(when);
    return times;
}

bool scripted_dnssd::wait_for_asked(std::string const& beginning, std::size_t times) const {
    std::unique_lock lock(guard_);
    return changed_.wait_for(lock, patience, [&] { return asked_so_far(beginning) >= times; });
}

std::size_t scripted_dnssd::open(std::string const& beginning) const {
    std::lock_guard const lock(guard_);
    return open_now(beginning);
}

bool scripted_dnssd::wait_for_open(std::string const& beginning, std::size_t count) const {
    std::unique_lock lock(guard_);
    return changed_.wait_for(lock, patience, [&] { return open_now(beginning) == count; });
}

std::size_t scripted_dnssd::most_open() const {
    std::lock_guard const lock(guard_);
    return most_open_;
}

// --- the library's side -----------------------------------------------------------------------------------------

std::int32_t scripted_dnssd::note(std::string const& text) {
    std::unique_lock lock(guard_);
    asked_.emplace_back(text, std::chrono::steady_clock::now());
    changed_.notify_all();
    changed_.wait(lock, [&] { return !begins_with(text, held_); });
    for (auto const& [beginning, is_raising] : raising_)
        if (is_raising && begins_with(text, beginning)) throw std::bad_alloc();
    for (auto const& [beginning, error] : refused_)
        if (error != 0 && begins_with(text, beginning)) return error;
    return kDNSServiceErr_NoError;
}

std::int32_t scripted_dnssd::ask(question** asked, std::string const& text, std::unique_ptr<question> made) {
    if (auto const error = note(text); error != kDNSServiceErr_NoError) return error;
    std::lock_guard const lock(guard_);
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, made->ends.data()) != 0) return unknown_error;
    made->text = text;
    made->handle.asked = made.get();
    *asked = made.get();
    open_.push_back(std::move(made));
    most_open_ = std::max(most_open_, open_.size());
    if (auto const given = always_.find(text); given != always_.end() && given->second) push(**asked, given->second);
    changed_.notify_all();
    return kDNSServiceErr_NoError;
}

void scripted_dnssd::close(question* closed) {
    std::lock_guard const lock(guard_);
    open_.erase(std::find_if(open_.begin(), open_.end(), [&](auto const& each) { return each.get() == closed; }));
    changed_.notify_all();
}

std::int32_t scripted_dnssd::process(question* asked) {
    char byte = 0;
    if (::recv(asked->ends[0], &byte, 1, 0) != 1) return unknown_error;
    answer given;
    {
        std::lock_guard const lock(guard_);
        given = std::move(asked->answers.front());
        asked->answers.pop_front();
        if (!asked->answers.empty()) make_readable(*asked);
    }
    given(*asked);
    return kDNSServiceErr_NoError;
}

} // namespace kx_test
