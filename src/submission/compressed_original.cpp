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

/// What an original may have, encoded: no more than can be expanded again, nor than a job may have.
struct original_limit {
    std::size_t bytes;
    char const* word;
};

original_limit current_limit() {
    kxbase::limits const limits = kxbase::current_limits();
    if (limits.expansion < limits.document) return {limits.expansion, "expansion"};
    return {limits.document, "document"};
}

[[noreturn]] void refuse_more_than(std::size_t most, char const* unit, original_limit const& limit) {
    raise_from<kxbase::es::arg>(submission_source_path, "a submission of more than " + std::to_string(most) + ' ' +
                                                            unit + " (limit " + limit.word + ")");
}

/// Compresses what is encoded while it is encoded, so that the encoding of a large submission never lies in memory
/// whole.
class compressing_sink final : public kxcore::encoder_sink {
public:
    compressing_sink(kxbase::buffer& out, original_limit const& limit)
        : compressor_(out, compression_level), limit_(limit) {}

    void write(std::span<std::byte const> bytes) override;
    void finish() { compressor_.finish(); }

private:
    kxbase::compressor_z compressor_;
    original_limit limit_;
    std::size_t size_ = 0;
};

} // namespace

property_binary const* kept_original(properties const& submission) {
    return kxcore::property_cast<property_binary>(submission.find_referenced(original_path));
}

kxbase::ptr_refcount<property_binary> compress_original(properties const& submission) {
    auto const original = make_refcount<property_binary>();
    original->value().set_aggressive(true);
    original_limit const limit = current_limit();
    compressing_sink sink(original->value(), limit);
    kxcore::encoder_network encoder(sink);
    submission.encode(encoder);
    encoder.flush();
    if (std::size_t const most = kxbase::most_values(limit.bytes); encoder.values() > most)
        refuse_more_than(most, "values", limit);
    sink.finish();
    original->value().shrink_to_fit();
    return original;
}

kxbase::ptr_refcount<properties> expand_original(property_binary const& original) {
    std::size_t left = kxbase::current_limits().expansion;
    return expand_original(original, left);
}

kxbase::ptr_refcount<properties> expand_original(property_binary const& original, std::size_t& left) {
    kxbase::buffer encoded;
    kxbase::uncompress_z(original.value(), encoded, left);
    left -= encoded.size();
    original_limit const limit = current_limit();
    auto submission = make_refcount<properties>(false);
    kxcore::decoder_network decoder(encoded, 0, {kxbase::most_values(limit.bytes), limit.word});
    submission->decode(decoder);
    decoder.expect_end();
    return submission;
}

namespace {

void compressing_sink::write(std::span<std::byte const> bytes) {
    size_ += bytes.size();
    if (size_ > limit_.bytes) refuse_more_than(limit_.bytes, "encoded bytes", limit_);
    compressor_.append(bytes);
}

} // namespace

} // namespace kxclientutil
