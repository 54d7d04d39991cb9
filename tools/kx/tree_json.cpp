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

json tree_json(kxcore::properties const& tree) {
    json object = json::object();
    for (auto const& member : tree)
        object[std::string(member.key())] = to_json(*member.value());
    return object;
}

json list_json(kxcore::property_list const& list) {
    json array = json::array();
    for (auto const& element : list)
        array.push_back(to_json(*element));
    return array;
}

} // namespace

json to_json(kxcore::property const& value) {
    using kxcore::property_kind;
    switch (value.kind()) {
    case property_kind::string: return string_json(static_cast<kxcore::property_string const&>(value));
    case property_kind::boolean: return static_cast<kxcore::property_bool const&>(value).value();
    case property_kind::integer: return static_cast<kxcore::property_int const&>(value).value();
    case property_kind::binary: {
        auto const& bytes = static_cast<kxcore::property_binary const&>(value).value();
        return {{"$binary", kxbase::base64_encoded(bytes.bytes())}};
    }
    case property_kind::properties: return tree_json(static_cast<kxcore::properties const&>(value));
    case property_kind::list: return list_json(static_cast<kxcore::property_list const&>(value));
    case property_kind::constraint: {
        auto const& constraint = static_cast<kxcore::property_constraint const&>(value).value();
        return {{"$constraint", tree_json(*kxcore::constraint_to_tree(*constraint))}};
    }
    case property_kind::special: return special_json(static_cast<kxcore::property_special const&>(value));
    }
    return nullptr;
}

// As deep as a document may be.
nlohmann::ordered_json with_sizes_of_binaries(nlohmann::ordered_json value) {
    auto const bytes = value.is_object() ? value.find("$binary") : value.end();
    if (value.is_object() && bytes != value.end()) {
        std::string decoded;
        static_cast<void>(kxbase::base64_decode(bytes->get_ref<std::string const&>(), decoded));
        return {{"$binary-size", decoded.size()}};
    }
    if (value.is_structured())
        for (auto& each : value)
            each = with_sizes_of_binaries(std::move(each));
    return value;
}

} // namespace kx
