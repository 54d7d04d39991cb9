#include "input_value.h"

#include "secret.h"
#include "shown.h"
#include "tree_text.h"
#include "url_password.h"

#include <kxbase/limits.h>
#include <kxbase/secret_names.h>
#include <kxbase/urls.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace kx {
namespace {

kxcore::property_handle value_of(nlohmann::json const& json, std::string const& option, std::size_t depth);

// An option may be long; its beginning tells which it is. Where there may be a secret in it, only what comes before any
// value is shown.
[[noreturn]] void refuse(std::string const& option, std::string const& expected) {
    constexpr std::size_t most = 200;
    bool const may_be_secret = kxbase::is_secret_name(option) || kxbase::without_url_secrets(option) != option;
    auto const equals = option.find('=');
    std::string shown = may_be_secret ? option.substr(0, std::min(equals, option.find(':'))) : option;
    if (shown.size() > most) shown.resize(most);
    if (shown != option) shown += "...";
    throw CLI::ValidationError("'" + shown + "'", expected);
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

/// Neither an empty text nor a variable that the secret is to come from says anything of it.
bool is_open(std::string_view text) {
    return text.empty() || text.starts_with("kxvar:") || (text.size() > 2 && text.front() == '$' && text.back() == '$');
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
        return {"", std::string(text.substr(0, equals)), kxbase::make_refcount<kxcore::property_string>(content), ""};
    }
    auto const json = nlohmann::json::parse(content, nullptr, false);
    if (json.is_discarded()) refuse(option, "what follows ':=' is not JSON");
    return {"", std::string(text.substr(0, equals - 1)), value_of(json, option, 0), ""};
}

input_value parse_input_value_or_file(std::string_view text) {
    auto const mark = text.find(":@");
    if (mark == std::string_view::npos || text.find('=') < mark) return parse_input_value(text);
    input_value parsed;
    parsed.input = text.substr(0, mark);
    parsed.file = text.substr(mark + 2);
    if (parsed.input.empty() || parsed.file.empty()) refuse(std::string(text), "expected INPUT:@FILE");
    return parsed;
}

input_value parse_owned_input_value(std::string_view text) {
    auto const colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0 || text.find('=') < colon) {
        refuse(std::string(text), "expected NAME:INPUT=TEXT or NAME:INPUT:=JSON");
    }
    input_value parsed = parse_input_value_or_file(text.substr(colon + 1));
    parsed.owner = text.substr(0, colon);
    return parsed;
}

void refuse_secret_value(std::string_view option, input_value const& given) {
    if (!given.value) return;
    visit_leaves_below(given.input, given.value, [&](std::string_view path, kxcore::property_handle const& leaf) {
        auto const* const text = kxcore::property_cast<kxcore::property_string>(leaf.get());
        if (text == nullptr) return;
        bool const is_secret = kxbase::is_secret_name(path) && !is_open(text->value());
        if (!is_secret && !holds_password(text->value())) return;
        std::string const input = on_one_line(given.input);
        throw CLI::ValidationError(std::string(option) + ' ' + input, complaint_about_password() +
                                                                          "; put the text into a file and give it as " +
                                                                          input + ":@FILE");
    });
}

} // namespace kx
