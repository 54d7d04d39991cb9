#include "tree_json.h"

#include <kxbase/base64.h>
#include <kxbase/utf8.h>
#include <kxcore/constraint.h>
#include <kxcore/constraint_codec.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

namespace kx {
namespace {

using json = nlohmann::ordered_json;

json string_json(kxcore::property_string const& text) {
    if (kxbase::is_valid_utf8(text.value())) return std::string(text.value());
    return {{"$bytes", kxbase::base64_encoded(text.value())}};
}

json special_json(kxcore::property_special const& special) {
    json parts = {{"type", kxcore::special_type_name(special.type())},
                  {"sub-type", kxcore::special_sub_type_name(special.sub_type())},
                  {"kind", kxcore::property_kind_name(special.value_kind())},
                  {"value", std::string(special.value())}};
    return {{"$special", std::move(parts)}};
}

json tree_json(kxcore::properties const& tree, e_binaries binaries) {
    json object = json::object();
    for (auto const& member : tree)
        object[std::string(member.key())] = to_json(*member.value(), binaries);
    return object;
}

json list_json(kxcore::property_list const& list, e_binaries binaries) {
    json array = json::array();
    for (auto const& element : list)
        array.push_back(to_json(*element, binaries));
    return array;
}

json binary_json(kxcore::property_binary const& binary, e_binaries binaries) {
    if (binaries == e_binaries::sizes) return {{"$binary-size", binary.value().size()}};
    return {{"$binary", kxbase::base64_encoded(binary.value().bytes())}};
}

} // namespace

json to_json(kxcore::property const& value, e_binaries binaries) {
    using kxcore::property_kind;
    switch (value.kind()) {
    case property_kind::string: return string_json(static_cast<kxcore::property_string const&>(value));
    case property_kind::boolean: return static_cast<kxcore::property_bool const&>(value).value();
    case property_kind::integer: return static_cast<kxcore::property_int const&>(value).value();
    case property_kind::binary: return binary_json(static_cast<kxcore::property_binary const&>(value), binaries);
    case property_kind::properties: return tree_json(static_cast<kxcore::properties const&>(value), binaries);
    case property_kind::list: return list_json(static_cast<kxcore::property_list const&>(value), binaries);
    case property_kind::constraint: {
        auto const& constraint = static_cast<kxcore::property_constraint const&>(value).value();
        return {{"$constraint", tree_json(*kxcore::constraint_to_tree(*constraint), binaries)}};
    }
    case property_kind::special: return special_json(static_cast<kxcore::property_special const&>(value));
    }
    return nullptr;
}

} // namespace kx
