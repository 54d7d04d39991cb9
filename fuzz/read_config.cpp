// Any bytes read as a document: an error of the library, or a document that is written, in both formats, and read back
// equal.
#include "support/environment.h"

#include <kxclientutil/config.h>
#include <kxclientutil/resolve.h>

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>

namespace {

using kxclientutil::e_config_type;
using kxcore::configuration;
using kxcore::properties;

/// False when the document is none.
bool read(kxbase::buffer const& bytes, properties& out, e_config_type& type) {
    auto const& installation = kx_fuzz::sample_installation();
    try {
        type =
            kxclientutil::read_config(bytes, installation.get_plugins(), installation.get_constraints(), out, nullptr);
        return true;
    } catch (kxbase::es::base const&) {
        return false;
    }
}

/// What a placeholder stood for is not looked at again, on purpose. So where one stood for nothing ("$TMP$NOTHING$PATH$"),
/// its neighbours may be another one, which the next reader resolves.
bool holds_placeholder(properties const& document) {
    bool found = false;
    kxcore::visit_leaves(document, [&](std::string_view, kxcore::property_handle const& leaf) {
        auto const* const text = kxcore::property_cast<kxcore::property_string>(leaf.get());
        found = found || (text && kxclientutil::resolve_path(std::string(text->value())) != text->value());
    });
    return found;
}

void check_round_trip(properties const& document, e_config_type type, configuration::format format) {
    kxbase::buffer written;
    kxclientutil::write_config(type, kx_fuzz::sample_installation().get_constraints(), document, written, format);
    properties again(false);
    e_config_type type_again = kxclientutil::config_unknown;
    kx_fuzz::require(read(written, again, type_again), "what was written is read");
    kx_fuzz::require(type_again == type, "the type stays");
    kx_fuzz::require(again == document || holds_placeholder(document), "what was read is written and read back equal");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    properties document(false);
    e_config_type type = kxclientutil::config_unknown;
    if (!read(kxbase::buffer(kx_fuzz::text_of(data, size)), document, type)) return 0;
    kx_fuzz::require(type != kxclientutil::config_unknown, "a document has a type");
    // Written documents hold none on purpose.
    document.recursive_erase_ids("run-dependencies");
    check_round_trip(document, type, configuration::format_xml);
    check_round_trip(document, type, configuration::format_binary);
    return 0;
}
