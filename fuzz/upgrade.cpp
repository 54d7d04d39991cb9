// Any tree upgraded as any type from any version: an error of the library or a tree, and the tree given stays as it was.
//
// An input is a byte that chooses the type, a byte for the version, and a tree in the network encoding.
#include "support/environment.h"
#include "support/tree_mutation.h"
#include "support/upgrade_table.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxcore/network_encoding.h>
#include <kxcore/properties.h>

#include <cstring>

namespace {

using kxcore::properties;
using tree_handle = kxbase::ptr_refcount<properties>;

constexpr std::size_t head_size = 2;
constexpr unsigned int current_version = 7;
constexpr unsigned int versions = current_version + 2;

tree_handle decode(std::string_view encoded) {
    kxbase::buffer const bytes(encoded);
    try {
        kxcore::decoder_network decoder(bytes);
        return decoder.read_properties();
    } catch (kxbase::es::base const&) {
        return {};
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    auto const& installation = kx_fuzz::sample_installation();
    if (size < head_size) return 0;
    std::string_view const encoded = kx_fuzz::text_of(data + head_size, size - head_size);
    tree_handle const document = decode(encoded);
    if (!document) return 0;
    tree_handle const before = decode(encoded);
    try {
        auto const& row = kx_fuzz::upgrade_table[data[0] % kx_fuzz::upgrade_table.size()];
        auto const upgraded = row.upgrade(*document, data[1] % versions, current_version, installation.get_plugins(),
                                          installation.get_constraints());
        kx_fuzz::require(bool(upgraded), "an upgrade gives a tree");
    } catch (kxbase::es::base const&) {
        // Documents that lack what a step needs are refused.
    }
    kx_fuzz::require(*document == *before, "an upgrade leaves its document as it is");
    return 0;
}

/// Changes of bytes seldom leave a tree, so most changes are made to the tree itself.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t max_size,
                                               unsigned int seed) {
    if (size < head_size || max_size < head_size || seed % 8 == 0) return kx_fuzz::mutate_bytes(data, size, max_size);
    tree_handle const tree = decode(kx_fuzz::text_of(data + head_size, size - head_size));
    if (!tree) return kx_fuzz::mutate_bytes(data, size, max_size);
    kx_fuzz::mutate_tree(*tree, seed);
    kxbase::buffer encoded;
    try {
        kxcore::encoder_network(encoded).write(*tree);
    } catch (kxbase::es::base const&) {
        return size;
    }
    if (encoded.size() > max_size - head_size) return size;
    std::memcpy(data + head_size, encoded.data(), encoded.size());
    return head_size + encoded.size();
}
