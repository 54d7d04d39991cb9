// The functions of the DNS-SD client library, by number: each is looked up when it is first asked for.
#pragma once

#include <cstddef>

namespace kxnet {

enum class e_dnssd_symbol : std::size_t {
    browse,
    resolve,
    query_record,
    announce,
    update_record,
    ref_descriptor,
    process_result,
    ref_deallocate,
    txt_count,
    txt_item,
    count // not one: how many there are
};

/// The address of a function; null when the library, or the function in it, is missing. Any thread may ask.
[[nodiscard]] void* find_dnssd_symbol(e_dnssd_symbol which);

/// What the library is called on this system.
[[nodiscard]] char const* dnssd_library_name() noexcept;

/// Whether the library was found, or something stands in for it that has functions.
[[nodiscard]] bool has_dnssd_library();

} // namespace kxnet
