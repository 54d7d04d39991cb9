#include "bounded_encoding.h"

#include <kxcore/network_encoding.h>
#include <kxcore/properties.h>

#include <kxbase/errors.h>

#include <string>

namespace kxcore {

namespace {

class bounded_sink final : public encoder_sink {
public:
    explicit bounded_sink(std::size_t limit) : limit_(limit) { content.set_aggressive(true); }

    void write(std::span<std::byte const> bytes) override {
        if (bytes.size() > limit_ - content.size())
            kxbase::es::arg::raise("a tree of more than " + std::to_string(limit_) + " encoded bytes (limit document)");
        content.append(bytes);
    }

    kxbase::buffer content;

private:
    std::size_t limit_;
};

} // namespace

kxbase::buffer encoded_up_to(properties const& tree, std::size_t limit) {
    bounded_sink sink(limit);
    encoder_network encoder(sink);
    encoder.write(tree);
    encoder.flush();
    return std::move(sink.content);
}

} // namespace kxcore
