// What a tree takes in the network encoding.
#pragma once

#include <kxbase/buffer.h>
#include <kxcore/network_encoding.h>
#include <kxcore/properties.h>

#include <cstddef>

namespace kx_test {

/// In bytes.
[[nodiscard]] inline std::size_t encoded_size(kxcore::properties const& tree) {
    kxbase::buffer bytes;
    kxcore::encoder_network(bytes).write(tree);
    return bytes.size();
}

} // namespace kx_test
