// Any bytes decoded as values of the network encoding: an error of the library, or values that encode to the very same
// bytes, since every tree has one encoding only.
#include "support/environment.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxcore/network_encoding.h>
#include <kxcore/properties.h>

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static_cast<void>(kx_fuzz::sample_installation());
    kxbase::buffer const bytes(kx_fuzz::text_of(data, size));
    kxbase::buffer again;
    kxcore::decoder_network decoder(bytes);
    kxcore::encoder_network encoder(again);
    std::size_t whole_values = 0;
    try {
        while (!decoder.at_end()) {
            auto const value = decoder.read();
            whole_values = decoder.position();
            encoder.write(*value);
            auto const copy = value->clone();
            kx_fuzz::require(*copy == *value, "a copy is equal");
        }
    } catch (kxbase::es::base const&) {
        // Everything before the error has to hold all the same.
    }
    kx_fuzz::require(std::ranges::equal(again.bytes(), bytes.bytes().first(whole_values)),
                     "what is read has one encoding");
    return 0;
}
