#include "config/document_types.h"
#include "config/preset.h"
#include "validation/connections.h"
#include "validation/judged_document.h"
#include "validation/members.h"
#include "validation/problem_order.h"
#include "validation/secrets.h"
#include "validation/stored_form.h"
#include "validation/variables.h"

#include <kxclientutil/validation.h>

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/secret_names.h>
#include <kxbase/urls.h>
#include <kxcore/constraint_db.h>
#include <kxcore/document_places.h>
#include <kxcore/ioutil.h>
#include <kxcore/shown_value.h>

#include <algorithm>
#include <functional>
#include <optional>

namespace kxclientutil {

namespace {

using kxcore::configuration;
using kxcore::constraint_db;
using kxcore::document_place;
using kxcore::plugin_db;
using kxcore::properties;

/// Where problems are in the text of the document.
using place_finder = std::function<std::optional<document_place>(document_problem const&)>;

document_problems judge(judged_document const& document, properties const& stored, place_finder const& find_place);
document_problems judge_current(configuration const& read, plugin_db const& plugins, constraint_db const& constraints);
document_problems judge_upgraded(configuration const& read, plugin_db const& plugins, constraint_db const& constraints);
document_problem whole_document_problem(configuration::read_error result, configuration const& read,
                                        std::string_view bytes);
document_problem broken_document(configuration const& read, std::string_view bytes);
std::string text_before(kxcore::document_diagnostic const& diagnostic, std::string_view bytes);
document_problem failed_upgrade(configuration const& read, kxbase::es::base const& error);
bool is_utf16(std::string_view bytes);
std::string quoted(std::string_view text);
std::string on_one_line(std::string_view path);

} // namespace

std::vector<document_problem> find_document_problems(kxbase::buffer const& data, plugin_db const& plugins,
                                                     constraint_db const& constraints) {
    std::map<std::string, unsigned int> versions;
    for (document_type const& row : document_types())
        versions.emplace(row.identifier, current_version);
    configuration read;
    read.keep_places(true);
    switch (auto const result = read.read_config(constraint_db(false), versions, data, nullptr)) {
    case configuration::read_ok: return judge_current(read, plugins, constraints);
    case configuration::read_old_version: return judge_upgraded(read, plugins, constraints);
    default: return {whole_document_problem(result, read, data.text())};
    }
}

std::vector<document_problem> find_document_problems(std::string const& path_or_url, plugin_db const& plugins,
                                                     constraint_db const& constraints) {
    std::string const url = kxbase::url_create_from_url_or_path(path_or_url, "");
    if (is_preset_url(url)) {
        properties const task = create_preset_task(url, plugins);
        judged_document const document(*find_document_type(config_task), task, plugins, constraints);
        return judge(document, task, [](document_problem const&) { return std::nullopt; });
    }
    kxbase::buffer data;
    kxcore::ioutil::get_file_content(url, data, plugins);
    return find_document_problems(data, plugins, constraints);
}

bool has_errors(std::vector<document_problem> const& problems) {
    return std::ranges::any_of(problems,
                               [](document_problem const& each) { return each.severity == e_problem_severity::error; });
}

std::string document_problem::message() const {
    std::string text;
    if (!path.empty()) text += on_one_line(path) + ": ";
    text += found.empty() ? "missing" : "found " + found;
    if (!allowed.empty()) text += (severity == e_problem_severity::error ? ", must be " : ", should be ") + allowed;
    if (!suggestion.empty()) text += " (did you mean " + suggestion + "?)";
    return text;
}

std::string document_problem::to_string() const {
    std::string text;
    if (line != 0) text += std::to_string(line) + ':' + std::to_string(column) + ": ";
    text += severity == e_problem_severity::error ? "error: " : "warning: ";
    if (!task.empty()) text += "task " + kxcore::shown_text(task) + ": ";
    return text + message();
}

namespace {

document_problems judge_current(configuration const& read, plugin_db const& plugins, constraint_db const& constraints) {
    document_type const& type = *find_document_type(read.get_identifier());
    judged_document const document(type, read.get_config(), plugins, constraints);
    return judge(document, read.get_config(),
                 [&read](document_problem const& problem) { return read.get_places().find_nearest(problem.path); });
}

document_problems judge_upgraded(configuration const& read, plugin_db const& plugins,
                                 constraint_db const& constraints) {
    document_type const& type = *find_document_type(read.get_identifier());
    document_place const root = read.get_places().find("").value_or(document_place{});
    if (type.upgrade == nullptr)
        return {{.line = root.line,
                 .column = root.column,
                 .found = "version " + std::to_string(read.get_version()) + " of " + quoted(type.identifier),
                 .allowed =
                     "version " + std::to_string(current_version) + ", since documents of this type are not upgraded"}};
    properties const stored = with_readable_credentials(read.get_config());
    kxbase::ptr_refcount<properties> upgraded;
    try {
        upgraded = type.upgrade(stored, read.get_version(), current_version, plugins, constraints);
    } catch (kxbase::es::base const& error) {
        return {failed_upgrade(read, error)};
    }
    judged_document const document(type, *upgraded, plugins, constraints);
    stored_places const places(type.type, stored, *upgraded, read.get_places());
    auto problems =
        judge(document, read.get_config(), [&places](document_problem const& problem) { return places.find(problem); });
    // The upgrade calls all tasks without a name the same, which tells nobody which one is meant.
    for (document_problem& problem : problems)
        if (judged_task const* const task = document.find_task_at(problem.path);
            task != nullptr && problem.task == "Untitled" && !task->wtid.empty())
            problem.task = task->wtid;
    return problems;
}

document_problems judge(judged_document const& document, properties const& stored, place_finder const& find_place) {
    document_problems all;
    judge_members(document, all);
    judge_plugins(document, all);
    judge_connections(document, all);
    judge_variables(document, all);
    judge_secrets(stored, all);
    for (document_problem& problem : all) {
        document_place const place = find_place(problem).value_or(document_place{});
        problem.line = place.line;
        problem.column = place.column;
        if (judged_task const* const task = document.find_task_at(problem.path))
            problem.task = kxbase::url_protected_output(task->name);
        // Names of members can be URLs as well. Last, since the place was found by the path as it is.
        problem.path = kxbase::url_protected_output(problem.path);
    }
    sort_problems(all);
    return all;
}

document_problem whole_document_problem(configuration::read_error result, configuration const& read,
                                        std::string_view bytes) {
    auto const& diagnostic = read.get_diagnostic();
    std::string const& identifier = read.get_identifier();
    document_problem problem{.line = diagnostic.line, .column = diagnostic.column};
    if (result == configuration::read_unknown && is_utf16(bytes)) {
        problem.found = "text in UTF-16";
        problem.allowed = "the encoding UTF-8";
    } else if (result == configuration::read_unknown) {
        problem.found = "no document";
        problem.allowed = "XML that begins with the element <document>, or the binary format";
    } else if (result == configuration::read_unexpected) {
        std::vector<std::string> names;
        for (document_type const& row : document_types())
            names.emplace_back(row.identifier);
        problem.found = "a document of the unknown type " + quoted(identifier);
        problem.allowed = one_of(names);
        problem.suggestion = nearest_of(identifier, names);
    } else if (find_document_type(identifier) != nullptr && read.get_version() > current_version) {
        problem.found = "version " + std::to_string(read.get_version()) + " of " + quoted(identifier) +
                        ", which a later version of this system wrote";
        problem.allowed = "at most version " + std::to_string(current_version);
    } else {
        return broken_document(read, bytes);
    }
    return problem;
}

/// What the reader says begins with the path where there is one, and mostly reads "found X" or "expected X, found Y".
document_problem broken_document(configuration const& read, std::string_view bytes) {
    auto const& diagnostic = read.get_diagnostic();
    std::string_view what = diagnostic.message;
    if (std::string const prefix = diagnostic.path + ": "; what.starts_with(prefix)) what.remove_prefix(prefix.size());
    document_problem problem{.path = diagnostic.path, .line = diagnostic.line, .column = diagnostic.column};
    constexpr std::string_view found = "found ";
    constexpr std::string_view expected = "expected ";
    if (what.starts_with(found)) {
        problem.found = what.substr(found.size());
    } else if (what.starts_with(expected)) {
        std::string const separator = ", " + std::string(found);
        std::size_t const end = what.rfind(separator);
        problem.allowed = what.substr(expected.size(), end == std::string_view::npos ? end : end - expected.size());
        problem.found =
            end == std::string_view::npos ? text_before(diagnostic, bytes) : what.substr(end + separator.size());
    } else {
        problem.found = "a broken document: " + std::string(what);
    }
    return problem;
}

/// The text of the element that ended where the reader stopped. Which key it is the value of decides whether it is shown.
std::string text_before(kxcore::document_diagnostic const& diagnostic, std::string_view bytes) {
    std::string_view const before = bytes.substr(0, diagnostic.offset);
    std::string_view text = before.substr(before.rfind('>') + 1);
    constexpr std::string_view blanks = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    text = text.substr(0, text.find_last_not_of(blanks) + 1);
    bool const is_element_end = bytes.substr(before.size(), 2) == "</";
    return is_element_end && !kxbase::is_secret_name(diagnostic.path) ? kxcore::shown_text(text) : "something else";
}

/// What upgrades say begins with the path where they know it: "tasks[2]: member 'id' is missing".
document_problem failed_upgrade(configuration const& read, kxbase::es::base const& error) {
    std::string const what = error.message();
    std::string path = what.substr(0, what.find(": "));
    if (path == what || read.get_config().find_referenced(path) == nullptr) path.clear();
    auto const place = read.get_places().find_nearest(path).value_or(document_place{});
    std::string const why = path.empty() ? what : what.substr(path.size() + 2);
    return {.path = std::move(path),
            .line = place.line,
            .column = place.column,
            .found = "version " + std::to_string(read.get_version()) + " of " + quoted(read.get_identifier()) +
                     ", which cannot be upgraded: " + why};
}

/// Some editors save it under the name "Unicode", and to their users it looks like any other text.
bool is_utf16(std::string_view bytes) {
    return bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF");
}

std::string quoted(std::string_view text) {
    return kxcore::shown_text(text);
}

/// Keys may hold anything but brackets and braces.
std::string on_one_line(std::string_view path) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (char const c : path) {
        auto const byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7F) {
            text += c;
        } else {
            text += "\\x";
            text += digits[byte >> 4U];
            text += digits[byte & 15U];
        }
    }
    return text;
}

} // namespace

} // namespace kxclientutil
