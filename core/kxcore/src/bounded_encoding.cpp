#include "bounded_encoding.h"

#include <kxcore/properties.h>

#include <kxbase/errors.h>

#include <string>

namespace kxcore {

void bounded_sink::write(std::span<std::byte const> bytes) {
    if (bytes.size() > left_) {
        left_ = 0;
        kxbase::es::arg::raise("a tree of more than " + std::to_string(limit_) + " encoded bytes (limit document)");
    }
    left_ -= bytes.size();
    if (content_ != nullptr) content_->append(bytes);
}

kxbase::buffer encoded_up_to(properties const& tree, std::size_t limit) {
    kxbase::buffer content;
    content.set_aggressive(true);
    bounded_sink sink(limit, &content);
    encoder_network encoder(sink);
    encoder.write(tree);
    encoder.flush();
    return content;
}

} // namespace kxcore
