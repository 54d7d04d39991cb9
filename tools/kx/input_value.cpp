#include "input_value.h"

#include <kxbase/limits.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace kx {
namespace {

kxcore::property_handle value_of(nlohmann::json const& json, std::string const& option, std::size_t depth);

// An option may be long; its beginning tells which it is.
[[noreturn]] void refuse(std::string const& option, std::string const& expected) {
    constexpr std::size_t most = 200;
    throw CLI::ValidationError("'" + (option.size() > most ? option.substr(0, most) + "..." : option) + "'", expected);
}

kxcore::property_handle list_of(nlohmann::json const& array, std::string const& option, std::size_t depth) {
    auto list = kxbase::make_refcount<kxcore::property_list>();
    for (auto const& element : array)
        list->push_back(value_of(element, option, depth + 1));
    return list;
}

kxcore::property_handle tree_of(nlohmann::json const& object, std::string const& option, std::size_t depth) {
    auto tree = kxbase::make_refcount<kxcore::properties>();
    for (auto const& [key, value] : object.items())
        tree->set_property(key, value_of(value, option, depth + 1));
    return tree;
}

kxcore::property_handle value_of(nlohmann::json const& json, std::string const& option, std::size_t depth) {
    auto const deepest = kxbase::current_limits().nesting;
    if (depth > deepest) refuse(option, "nested deeper than " + std::to_string(deepest) + " levels (limit nesting)");
    if (json.is_string()) return kxbase::make_refcount<kxcore::property_string>(json.get<std::string>());
    if (json.is_boolean()) return kxbase::make_refcount<kxcore::property_bool>(json.get<bool>());
    bool const too_large =
        json.is_number_unsigned() && json.get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max();
    if (json.is_number_integer() && !too_large)
        return kxbase::make_refcount<kxcore::property_int>(json.get<std::int64_t>());
    if (json.is_array()) return list_of(json, option, depth);
    if (json.is_object()) return tree_of(json, option, depth);
    refuse(option, "expected a string, a bool, a whole number of 64 bits, a list or a tree");
}

} // namespace

input_value parse_input_value(std::string_view text) {
    std::string const option(text);
    auto const equals = text.find('=');
    if (equals == std::string_view::npos || equals == 0 || text.substr(0, equals) == ":") {
        refuse(option, "expected INPUT=TEXT or INPUT:=JSON");
    }
    std::string_view const content = text.substr(equals + 1);
    if (text[equals - 1] != ':') {
        return {"", std::string(text.substr(0, equals)), kxbase::make_refcount<kxcore::property_string>(content)};
    }
    auto const json = nlohmann::json::parse(content, nullptr, false);
    if (json.is_discarded()) refuse(option, "what follows ':=' is not JSON");
    return {"", std::string(text.substr(0, equals - 1)), value_of(json, option, 0)};
}

input_value parse_owned_input_value(std::string_view text) {
    auto const colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0 || text.find('=') < colon) {
        refuse(std::string(text), "expected NAME:INPUT=TEXT or NAME:INPUT:=JSON");
    }
    input_value parsed = parse_input_value(text.substr(colon + 1));
    parsed.owner = text.substr(0, colon);
    return parsed;
}

} // namespace kx
