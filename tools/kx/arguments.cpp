#include "arguments.h"

#include "standard_streams.h"
#include "url_password.h"

#include <kxbase/urls.h>
#include <kxclientutil/resolve.h>

#include <CLI/CLI.hpp>

#include <charconv>

namespace kx {
namespace {

// The last step of the command line: the password is put in where a check has found none.
std::string complete(std::string& location, application& app) {
    if (auto complaint = refuse_empty(location); !complaint.empty()) return complaint;
    if (auto complaint = refuse_password_of_location(location); !complaint.empty()) return complaint;
    location = with_given_password(app, {}, {location}).front();
    return "";
}

} // namespace

CLI::Option* takes_file(CLI::Option* option, application& app) {
    auto const step = [&app](std::string& location) -> std::string {
        if (is_standard_stream(location))
            return "'-' stands for standard input and output elsewhere, but not here; a file of that name is ./-";
        return complete(location, app);
    };
    return option->transform(CLI::Validator(step, ""));
}

CLI::Option* takes_file_or_stream(CLI::Option* option, application& app) {
    return option->transform(CLI::Validator([&app](std::string& location) { return complete(location, app); }, ""));
}

std::string refuse_empty(std::string const& value) {
    return value.empty() ? "an empty path names no file" : "";
}

std::string refuse_empty_location(std::string const& value) {
    return value.empty() ? "an empty text is neither a path nor a URL" : "";
}

std::string refuse_empty_tag(std::string const& value) {
    return value.empty() ? "an empty text is no tag" : "";
}

std::string refuse_empty_node(std::string const& value) {
    return value.empty() ? "an empty text is no input and no output" : "";
}

std::string refuse_missing_folder(std::string const& path_or_url) {
    auto const path = kxbase::url_path(kxbase::url_create_from_url_or_path(path_or_url, {}), true);
    for (auto begin = path.find('$'); begin != std::string::npos;) {
        auto const end = path.find('$', begin + 1);
        if (end == std::string::npos) break;
        auto const placeholder = path.substr(begin, end - begin + 1);
        if (kxclientutil::resolve_path(placeholder).empty()) return "this machine has no folder that is " + placeholder;
        begin = end;
    }
    return "";
}

CLI::Option* add_output_option(CLI::App& command, std::string& out, application& app) {
    auto* const option =
        command.add_option("-o,--output", out, "Write the result to another file; the one given stays as it is");
    return takes_file(option->type_name("OUT"), app);
}

// The parser's own conversion takes the nearest number that fits, and says nothing.
std::int64_t whole_number(std::string const& option, std::string const& value) {
    std::int64_t number = 0;
    char const* const end = value.data() + value.size();
    auto const parsed = std::from_chars(value.data(), end, number);
    if (parsed.ec != std::errc() || parsed.ptr != end) {
        throw CLI::ValidationError(option, "'" + value + "' is no whole number of 64 bits");
    }
    return number;
}

} // namespace kx
