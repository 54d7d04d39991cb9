#include "dnssd_operation.h"

#include "dnssd_symbols.h"

#include <dns_sd.h>
#include <poll.h>

#include <atomic>
#include <utility>

namespace kxnet {
namespace {

std::atomic<std::size_t> under_way = 0;
std::atomic<std::size_t> watches_under_way = 0;

} // namespace

// Where the client library finds us again: it stays where it is while the operation moves.
struct dnssd_operation::state {
    state() { ++under_way; }
    state(state const&) = delete;
    state& operator=(state const&) = delete;
    ~state();

    DNSServiceRef ref = nullptr;
    bool has_failed = false;
    bool is_watch = false;
    std::function<void(browse_answer const&)> on_browse = {};
    std::function<void(resolve_answer const&)> on_resolve = {};
    std::function<void(record_answer const&)> on_record = {};
    std::function<void(std::string const&)> on_announce = {};
};

namespace {

using state = dnssd_operation::state;

template <typename Function>
Function find(e_dnssd_symbol which) {
    return reinterpret_cast<Function>(find_dnssd_symbol(which));
}

std::string text_of(char const* text) {
    return text == nullptr ? std::string() : std::string(text);
}

std::string bytes_of(void const* bytes, std::uint16_t length) {
    return bytes == nullptr ? std::string() : std::string(static_cast<char const*>(bytes), length);
}

/// Gives an answer to whoever asked. Nothing may be raised through the client library, which called.
template <typename Take>
void answer(void* context, DNSServiceErrorType error, Take const& take) noexcept {
    auto& asked = *static_cast<state*>(context);
    if (error != kDNSServiceErr_NoError) {
        asked.has_failed = true;
        return;
    }
    try {
        take(asked);
    } catch (...) {
        asked.has_failed = true;
    }
}

void DNSSD_API take_browse(DNSServiceRef, DNSServiceFlags flags, std::uint32_t interface_index,
                           DNSServiceErrorType error, char const* name, char const* type, char const* domain,
                           void* context) {
    answer(context, error, [&](state const& asked) {
        asked.on_browse({(flags & kDNSServiceFlagsAdd) != 0, (flags & kDNSServiceFlagsMoreComing) != 0, interface_index,
                         text_of(name), text_of(type), text_of(domain)});
    });
}

void DNSSD_API take_resolve(DNSServiceRef, DNSServiceFlags, std::uint32_t, DNSServiceErrorType error,
                            char const* full_name, char const* host, std::uint16_t port, std::uint16_t txt_length,
                            unsigned char const* txt, void* context) {
    answer(context, error, [&](state const& asked) {
        asked.on_resolve({text_of(full_name), text_of(host), port, bytes_of(txt, txt_length)});
    });
}

void DNSSD_API take_record(DNSServiceRef, DNSServiceFlags flags, std::uint32_t, DNSServiceErrorType error, char const*,
                           std::uint16_t, std::uint16_t, std::uint16_t length, void const* data,
                           std::uint32_t time_to_live, void* context) {
    answer(context, error, [&](state const& asked) {
        if ((flags & kDNSServiceFlagsAdd) == 0) return;
        asked.on_record({(flags & kDNSServiceFlagsMoreComing) != 0, time_to_live, bytes_of(data, length)});
    });
}

void DNSSD_API take_announced(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType error, char const* name, char const*,
                              char const*, void* context) {
    answer(context, error, [&](state const& asked) { asked.on_announce(text_of(name)); });
}

/// Errors that come again with the same question. Whatever else is wrong may be right the next time.
e_refusal refusal_of(std::int32_t error) {
    switch (error) {
    case kDNSServiceErr_NoSuchName:
    case kDNSServiceErr_BadParam:
    case kDNSServiceErr_BadFlags:
    case kDNSServiceErr_Invalid:
    case kDNSServiceErr_BadInterfaceIndex: return e_refusal::question;
    default: return e_refusal::service;
    }
}

} // namespace

dnssd_operation::state::~state() {
    auto const deallocate = find<decltype(&::DNSServiceRefDeallocate)>(e_dnssd_symbol::ref_deallocate);
    if (ref != nullptr && deallocate != nullptr) deallocate(ref);
    --under_way;
    if (is_watch) --watches_under_way;
}

dnssd_operation::dnssd_operation() noexcept = default;
dnssd_operation::dnssd_operation(dnssd_operation&&) noexcept = default;
dnssd_operation& dnssd_operation::operator=(dnssd_operation&&) noexcept = default;
dnssd_operation::~dnssd_operation() = default;
dnssd_operation::dnssd_operation(e_refusal refusal) noexcept : refusal_(refusal) {}

std::size_t dnssd_operation::count() noexcept {
    return under_way;
}

std::size_t dnssd_operation::count_of_watches() noexcept {
    return watches_under_way;
}

dnssd_operation dnssd_operation::started(std::unique_ptr<state> asked, std::int32_t error) {
    if (error != kDNSServiceErr_NoError) return dnssd_operation(refusal_of(error));
    // Some libraries answer before they return.
    if (asked->has_failed) return dnssd_operation(e_refusal::service);
    dnssd_operation result;
    result.state_ = std::move(asked);
    return result;
}

dnssd_operation dnssd_operation::browse(std::string const& type, std::function<void(browse_answer const&)> on_answer) {
    auto const start = find<decltype(&::DNSServiceBrowse)>(e_dnssd_symbol::browse);
    auto asked = std::make_unique<state>();
    asked->on_browse = std::move(on_answer);
    if (start == nullptr) return dnssd_operation(e_refusal::service);
    auto const error = start(&asked->ref, 0, 0, type.c_str(), nullptr, take_browse, asked.get());
    return started(std::move(asked), error);
}

dnssd_operation dnssd_operation::resolve(browse_answer const& instance,
                                         std::function<void(resolve_answer const&)> on_answer) {
    auto const start = find<decltype(&::DNSServiceResolve)>(e_dnssd_symbol::resolve);
    auto asked = std::make_unique<state>();
    asked->on_resolve = std::move(on_answer);
    if (start == nullptr) return dnssd_operation(e_refusal::service);
    auto const error = start(&asked->ref, 0, instance.interface_index, instance.name.c_str(), instance.type.c_str(),
                             instance.domain.c_str(), take_resolve, asked.get());
    return started(std::move(asked), error);
}

dnssd_operation dnssd_operation::query(unsigned int interface_index, std::string const& name, e_record_type type,
                                       std::function<void(record_answer const&)> on_answer) {
    auto const start = find<decltype(&::DNSServiceQueryRecord)>(e_dnssd_symbol::query_record);
    auto asked = std::make_unique<state>();
    asked->on_record = std::move(on_answer);
    if (type == e_record_type::txt) {
        asked->is_watch = true;
        ++watches_under_way;
    }
    if (start == nullptr) return dnssd_operation(e_refusal::service);
    auto const error = start(&asked->ref, 0, interface_index, name.c_str(), static_cast<std::uint16_t>(type),
                             kDNSServiceClass_IN, take_record, asked.get());
    return started(std::move(asked), error);
}

dnssd_operation dnssd_operation::announce(std::string const& name, std::string const& type, unsigned short port,
                                          std::string const& txt, std::function<void(std::string const&)> on_answer) {
    auto const start = find<decltype(&::DNSServiceRegister)>(e_dnssd_symbol::announce);
    auto asked = std::make_unique<state>();
    asked->on_announce = std::move(on_answer);
    if (start == nullptr) return dnssd_operation(e_refusal::service);
    auto const error = start(&asked->ref, 0, 0, name.c_str(), type.c_str(), nullptr, nullptr, port,
                             static_cast<std::uint16_t>(txt.size()), txt.data(), take_announced, asked.get());
    return started(std::move(asked), error);
}

int dnssd_operation::descriptor() const {
    auto const get = find<decltype(&::DNSServiceRefSockFD)>(e_dnssd_symbol::ref_descriptor);
    return state_ == nullptr || get == nullptr ? -1 : get(state_->ref);
}

bool dnssd_operation::is_ready() const {
    pollfd waited = {descriptor(), POLLIN, 0};
    return ::poll(&waited, 1, 0) > 0;
}

bool dnssd_operation::process() {
    auto const take = find<decltype(&::DNSServiceProcessResult)>(e_dnssd_symbol::process_result);
    if (state_ == nullptr || take == nullptr) return false;
    bool const taken = take(state_->ref) == kDNSServiceErr_NoError;
    return taken && !state_->has_failed;
}

bool dnssd_operation::update_txt(std::string const& txt) {
    auto const update = find<decltype(&::DNSServiceUpdateRecord)>(e_dnssd_symbol::update_record);
    if (state_ == nullptr || update == nullptr) return false;
    return update(state_->ref, nullptr, 0, static_cast<std::uint16_t>(txt.size()), txt.data(), 0) ==
           kDNSServiceErr_NoError;
}

} // namespace kxnet
