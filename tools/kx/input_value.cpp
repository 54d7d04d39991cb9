#include "input_value.h"

#include "application.h"
#include "secret.h"
#include "shown.h"
#include "tree_text.h"
#include "url_password.h"

#include <kxbase/errors.h>
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

kxcore::property_handle value_of(nlohmann::json const& given, std::string const& option, std::size_t depth);

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

kxcore::property_handle value_of(nlohmann::json const& given, std::string const& option, std::size_t depth) {
    auto const deepest = kxbase::current_limits().nesting;
    if (depth > deepest) refuse(option, "nested deeper than " + std::to_string(deepest) + " levels (limit nesting)");
    if (given.is_string()) return kxbase::make_refcount<kxcore::property_string>(given.get<std::string>());
    if (given.is_boolean()) return kxbase::make_refcount<kxcore::property_bool>(given.get<bool>());
    bool const too_large =
        given.is_number_unsigned() && given.get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max();
    if (given.is_number_integer() && !too_large)
        return kxbase::make_refcount<kxcore::property_int>(given.get<std::int64_t>());
    if (given.is_array()) return list_of(given, option, depth);
    if (given.is_object()) return tree_of(given, option, depth);
    refuse(option, "expected a string, a bool, a whole number of 64 bits, a list or a tree");
}

std::string first_line_for(std::string const& place, std::string const& file) {
    try {
        return first_line_of(file, "file");
    } catch (kxbase::es::arg const& error) {
        kxbase::es::arg::raise(place + ": " + error.message());
    } catch (kxbase::es::call const& error) {
        kxbase::es::call::raise(place + ": " + error.message());
    }
}

std::string place_of(std::string_view option, input_value const& given) {
    return std::string(option) + ' ' + on_one_line(kxbase::without_url_secrets(given.input));
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
    auto const parsed = nlohmann::json::parse(content, nullptr, false);
    auto const input = text.substr(0, equals - 1);
    if (parsed.is_discarded()) {
        refuse(option, kxbase::is_secret_name(input) ? complaint_about_password() : "what follows ':=' is not JSON");
    }
    return {"", std::string(input), value_of(parsed, option, 0), ""};
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
        bool const is_secret = kxbase::is_secret_name(path) && !kxbase::tells_no_secret(text->value());
        if (!is_secret && !holds_password(text->value())) return;
        throw CLI::ValidationError(place_of(option, given), complaint_about_password() +
                                                                "; put the text into a file and give it as " +
                                                                on_one_line(given.input) + ":@FILE");
    });
}

kxcore::property_handle given_value(application& app, std::string_view option, input_value const& given) {
    refuse_secret_value(option, given);
    if (given.file.empty()) return given.value;
    auto const text = first_line_for(place_of(option, given), given.file);
    bool const is_secret = kxbase::is_secret_name(given.input);
    if (is_secret || kxbase::without_url_secrets(text) != text) warn_of_readers(app, given.file);
    if (is_secret && text.empty()) app.tell_warning(given.file, "there is nothing in its first line");
    return kxbase::make_refcount<kxcore::property_string>(text);
}

} // namespace kx
