// Any bytes judged as the beginning of a connection: the judgement is that of the rule in docs/protocol.md, stays once it
// is made, and whoever has read twelve bytes has one.
#include "support/environment.h"

#include <kxnet/hello.h>

#include <algorithm>
#include <span>

namespace {

using kxnet::e_hello;
using bytes = std::span<std::byte const>;

constexpr std::size_t magic_size = 8;

bool is_tls(bytes come) {
    bool const is_record = come[0] == std::byte{0x15} || come[0] == std::byte{0x16};
    return come.size() > 1 && is_record && come[1] == std::byte{0x03};
}

void check_version(bytes come, e_hello judged) {
    kxnet::hello_bytes const own = kxnet::make_hello();
    bool const is_hello = come.size() >= kxnet::hello_size &&
                          std::ranges::equal(come.first(magic_size), std::span(own).first(magic_size));
    kx_fuzz::require(is_hello == (judged == e_hello::fits || judged == e_hello::other_version),
                     "a hello is the magic and a version");
    if (!is_hello) return;
    auto const hello = come.first<kxnet::hello_size>();
    std::uint32_t const version = kxnet::hello_version(hello);
    kx_fuzz::require((version == kxnet::protocol_version) == (judged == e_hello::fits), "only this version fits");
    kx_fuzz::require(std::ranges::equal(kxnet::make_hello(version), hello), "a hello is made of its version again");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    bytes const all = std::as_bytes(std::span(data, size));
    e_hello judged = kxnet::judge_hello(all.first(0));
    kx_fuzz::require(judged == e_hello::incomplete, "nothing is the beginning of a hello");
    for (std::size_t known = 1; known <= std::min(size, 2 * kxnet::hello_size); ++known) {
        bytes const come = all.first(known);
        e_hello const now = kxnet::judge_hello(come);
        kx_fuzz::require(judged == e_hello::incomplete || now == judged, "a judgement stays");
        kx_fuzz::require(now != e_hello::incomplete || known < kxnet::hello_size, "twelve bytes are enough");
        kx_fuzz::require((now == e_hello::encrypted) == is_tls(come), "TLS is told by its first two bytes");
        check_version(come, now);
        judged = now;
    }
    return 0;
}
