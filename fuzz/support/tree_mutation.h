// Small random changes to a tree, of the kinds that documents suffer: a member lost, doubled, moved, of another kind.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kxcore {
class properties;
}

namespace kx_fuzz {

/// Makes one to four changes, chosen by the seed alone.
void mutate_tree(kxcore::properties& tree, unsigned int seed);

/// The fuzzer's own change of bytes; without a fuzzer the bytes stay.
[[nodiscard]] std::size_t mutate_bytes(std::uint8_t* data, std::size_t size, std::size_t max_size);

} // namespace kx_fuzz
