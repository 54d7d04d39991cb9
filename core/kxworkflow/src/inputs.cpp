#include "inputs.h"

#include <kxcore/property_list.h>
#include <kxcore/property_special.h>

#include <algorithm>

namespace kxworkflow {

bool waits_for_connection(kxcore::property const* value) {
    if (value == nullptr) return true;
    auto const* const special = kxcore::property_cast<kxcore::property_special>(value);
    if (special == nullptr || special->type() != kxcore::property_special::e_type::deferred) return false;
    return special->sub_type() == kxcore::property_special::e_sub_type::plain ||
           special->sub_type() == kxcore::property_special::e_sub_type::variable;
}

bool leaves_room(kxcore::property const* value) {
    if (auto const* const tree = kxcore::property_cast<kxcore::properties>(value)) return tree->empty();
    if (auto const* const list = kxcore::property_cast<kxcore::property_list>(value)) return list->empty();
    return waits_for_connection(value);
}

kxcore::property_handle published_by_plugin(kxcore::plugin_info const& info, std::string_view output) {
    auto const published = info.get_published();
    auto const found = std::ranges::lower_bound(published, output, {}, &kxcore::plugin_published_value::name);
    return found != published.end() && found->name == output ? found->value : kxcore::property_handle();
}

} // namespace kxworkflow
