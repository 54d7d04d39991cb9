// Small random changes to a tree, of the kinds that documents suffer: a member lost, doubled, moved, of another kind.
#pragma once

#include <kxbase/ptr_refcount.h>
#include <kxcore/fwd.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kx_fuzz {

/// The tree of a network encoding; empty for bytes that are none.
[[nodiscard]] kxbase::ptr_refcount<kxcore::properties> decode_tree(std::string_view encoded);

/// Makes one to four changes, chosen by the seed alone.
void mutate_tree(kxcore::properties& tree, unsigned int seed);

/// The fuzzer's own change of bytes; without a fuzzer the bytes stay.
[[nodiscard]] std::size_t mutate_bytes(std::uint8_t* data, std::size_t size, std::size_t max_size);

/// Changes an input that is a head of some bytes and a tree in the network encoding: mostly the tree itself, since changes
/// of bytes seldom leave one. Returns the new size.
[[nodiscard]] std::size_t mutate_encoded_tree(std::uint8_t* data, std::size_t size, std::size_t max_size,
                                              unsigned int seed, std::size_t head_size);

} // namespace kx_fuzz
