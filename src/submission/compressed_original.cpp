#include "submission/compressed_original.h"

#include "raising.h"

#include <kxbase/buffer.h>
#include <kxbase/limits.h>
#include <kxbase/zlib.h>
#include <kxcore/network_encoding.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>

#include <string>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_binary;

constexpr int compression_level = 6;

/// Compresses what is encoded while it is encoded, so that the encoding of a large submission never lies in memory
/// whole. No more than could be expanded again, or than a job may have.
class compressing_sink final : public kxcore::encoder_sink {
public:
    explicit compressing_sink(kxbase::buffer& out) : compressor_(out, compression_level) {}

    void write(std::span<std::byte const> bytes) override;
    void finish() { compressor_.finish(); }

private:
    kxbase::compressor_z compressor_;
    kxbase::limits const limits_ = kxbase::current_limits();
    std::size_t size_ = 0;
};

} // namespace

property_binary const* kept_original(properties const& submission) {
    return kxcore::property_cast<property_binary>(submission.find_referenced(original_path));
}

kxbase::ptr_refcount<property_binary> compress_original(properties const& submission) {
    auto const original = make_refcount<property_binary>();
    original->value().set_aggressive(true);
    compressing_sink sink(original->value());
    kxcore::encoder_network encoder(sink);
    submission.encode(encoder);
    encoder.flush();
    sink.finish();
    original->value().shrink_to_fit();
    return original;
}

kxbase::ptr_refcount<properties> expand_original(property_binary const& original) {
    kxbase::buffer encoded;
    kxbase::uncompress_z(original.value(), encoded);
    auto submission = make_refcount<properties>(false);
    kxcore::decoder_network decoder(encoded);
    submission->decode(decoder);
    decoder.expect_end();
    return submission;
}

namespace {

void compressing_sink::write(std::span<std::byte const> bytes) {
    size_ += bytes.size();
    bool const is_expansion = limits_.expansion < limits_.document;
    if (std::size_t const most = is_expansion ? limits_.expansion : limits_.document; size_ > most)
        raise_from<kxbase::es::arg>(submission_source_path, "a submission of more than " + std::to_string(most) +
                                                                " encoded bytes (limit " +
                                                                (is_expansion ? "expansion)" : "document)"));
    compressor_.append(bytes);
}

} // namespace

} // namespace kxclientutil
