// Any tree upgraded as any type from any version: an error of the library or a tree, and the tree given stays as it was.
//
// An input is a byte that chooses the type, a byte for the version, and a tree in the network encoding.
#include "support/environment.h"
#include "support/tree_mutation.h"
#include "support/upgrade_table.h"

#include <kxbase/errors.h>
#include <kxcore/properties.h>

namespace {

constexpr std::size_t head_size = 2;
constexpr unsigned int current_version = 7;
constexpr unsigned int versions = current_version + 2;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    auto const& installation = kx_fuzz::sample_installation();
    if (size < head_size) return 0;
    std::string_view const encoded = kx_fuzz::text_of(data + head_size, size - head_size);
    auto const document = kx_fuzz::decode_tree(encoded);
    if (!document) return 0;
    auto const before = kx_fuzz::decode_tree(encoded);
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

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t max_size,
                                               unsigned int seed) {
    return kx_fuzz::mutate_encoded_tree(data, size, max_size, seed, head_size);
}
