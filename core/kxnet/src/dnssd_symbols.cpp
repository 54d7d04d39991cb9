#include "dnssd_symbols.h"

#include "dnssd_operation.h"

#include <kxbase/errors.h>
#include <kxnet/dnssd_library.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <string>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace kxnet {
namespace {

// In the order of e_dnssd_symbol.
constexpr std::array<char const*, static_cast<std::size_t>(e_dnssd_symbol::count)> names = {
    "DNSServiceBrowse",       "DNSServiceResolve",      "DNSServiceQueryRecord",   "DNSServiceRegister",
    "DNSServiceUpdateRecord", "DNSServiceRefSockFD",    "DNSServiceProcessResult", "DNSServiceRefDeallocate",
    "TXTRecordGetCount",      "TXTRecordGetItemAtIndex"};

#ifdef _WIN32

class system_library {
public:
    system_library() : handle_(::LoadLibraryW(L"dnssd.dll")) {}
    system_library(system_library const&) = delete;
    system_library& operator=(system_library const&) = delete;
    ~system_library() {
        if (handle_ != nullptr) ::FreeLibrary(handle_);
    }

    [[nodiscard]] bool is_there() const noexcept { return handle_ != nullptr; }
    [[nodiscard]] void* find(char const* name) const {
        return handle_ == nullptr ? nullptr : reinterpret_cast<void*>(::GetProcAddress(handle_, name));
    }

private:
    HMODULE handle_;
};

constexpr char const* library_name = "dnssd.dll";

#else

constexpr char const* library_name = "libdns_sd.so.1";

/// As Avahi's own header has it.
struct avahi_allocator {
    void* (*malloc)(std::size_t);
    void (*free)(void*);
    void* (*realloc)(void*, std::size_t);
    void* (*calloc)(std::size_t, std::size_t);
};

// What Avahi allocates anyway, but filled with zeros. Its client library forgets to initialise callbacks of a question that
// it then calls when the daemon goes: with what lay in memory before, that ends the process.
constexpr avahi_allocator zeroing = {
    [](std::size_t size) { return std::calloc(1, size); },
    std::free,
    std::realloc,
    std::calloc,
};

/// There only when the library is Avahi's.
constexpr char const* avahi_function = "avahi_set_allocator";

class system_library {
public:
    // Its code stays when it is let go of: D-Bus's, which comes along, keeps memory that it would leave behind, more with
    // each time.
    system_library() : handle_(::dlopen(library_name, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE)) {
        if (find(avahi_function) == nullptr) return;
        // Avahi writes to standard error and to the system's log what it thinks of programs that use it by this interface,
        // unless this is set; whoever has set it already has their way.
        ::setenv("AVAHI_COMPAT_NOWARN", "1", 0);
        set_allocator(&zeroing);
    }
    system_library(system_library const&) = delete;
    system_library& operator=(system_library const&) = delete;
    ~system_library() {
        if (handle_ == nullptr) return;
        set_allocator(nullptr);
        ::dlclose(handle_);
    }

    [[nodiscard]] bool is_there() const noexcept { return handle_ != nullptr; }
    [[nodiscard]] void* find(char const* name) const { return handle_ == nullptr ? nullptr : ::dlsym(handle_, name); }

private:
    void set_allocator(avahi_allocator const* allocator) const {
        if (auto* const set = find(avahi_function)) reinterpret_cast<void (*)(avahi_allocator const*)>(set)(allocator);
    }

    void* handle_;
};

#endif

// A function's own static object outlives every object that was made after it was first asked for: whatever browses, even
// from another static object, ends before the library goes.
system_library const& loaded_library() {
    static system_library const library;
    return library;
}

[[maybe_unused]] system_library const& loaded_with_this_library = loaded_library();

std::atomic<dnssd_symbol_source> other_source = nullptr;

struct cached_symbol {
    std::atomic<bool> is_known = false;
    std::atomic<void*> address = nullptr;
};

std::array<cached_symbol, names.size()> cache;

} // namespace

void* find_dnssd_symbol(e_dnssd_symbol which) {
    auto const index = static_cast<std::size_t>(which);
    auto& known = cache[index];
    if (known.is_known) return known.address;
    // Two threads may both look; they find the same.
    auto const source = other_source.load();
    void* const found = source != nullptr ? source(names[index]) : loaded_library().find(names[index]);
    known.address = found;
    known.is_known = true;
    return found;
}

char const* dnssd_library_name() noexcept {
    return library_name;
}

bool has_dnssd_library() {
    if (other_source.load() == nullptr) return loaded_library().is_there();
    for (std::size_t each = 0; each != names.size(); ++each)
        if (find_dnssd_symbol(static_cast<e_dnssd_symbol>(each)) != nullptr) return true;
    return false;
}

dnssd_symbol_source set_dnssd_symbol_source(dnssd_symbol_source source) {
    // Each question has to end with the functions that it began with.
    if (auto const count = dnssd_operation::count(); count != 0)
        kxbase::es::call::raise("the functions of the DNS-SD client library cannot be replaced, " +
                                std::to_string(count) + " of its questions are under way");
    auto const before = other_source.exchange(source);
    for (auto& known : cache)
        known.is_known = false;
    return before;
}

} // namespace kxnet
