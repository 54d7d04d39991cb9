#include "validation/variables.h"

#include "config/variables.h"

#include <kxclientutil/config.h>

#include <kxbase/urls.h>
#include <kxcore/nearest_text.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>
#include <kxcore/shown_value.h>

#include <algorithm>
#include <array>
#include <set>

namespace kxclientutil {

namespace {

constexpr std::string_view uri_scheme_mark = "kxvar:";

/// What old documents hold; upgrades deal with them, and leave them alone where they do not stand for the whole value.
constexpr std::array<std::string_view, 4> legacy_uris{
    "kxvar:/",
    "kxvar:/Vostrel-Assistant-same-as-source/",
    "kxvar:/#Same-As-Source",
    "kxvar:/#same-as-source",
};

/// Where finalization takes names beyond those that have one between dollar signs.
constexpr std::array<std::string_view, 4> open_families{"workflow.", "encoder.input-", "encoder.output-",
                                                        "deployment."};

/// Scripts have dollar signs of their own.
constexpr std::string_view script_key = "execute-content";

constexpr std::string_view known_variables = "a workflow variable, as \"kx variables\" lists them";

void judge_text(std::string const& path, std::string_view text, document_problems& out);
void judge_uri(std::string const& path, std::string_view uri, document_problems& out);
void judge_dollars(std::string const& path, std::string_view text, document_problems& out);
bool is_of_open_family(std::string_view uri);
bool looks_like_variable(std::string_view name, bool is_whole_text);
bool is_name(std::string_view text);
bool is_legacy_name(std::string_view name);
std::string_view family_of(std::string_view name);
std::string nearest_variable(std::string_view name);
std::string nearest_uri(std::string_view uri);

} // namespace

void judge_variables(judged_document const& document, document_problems& out) {
    for (judged_task const& task : document.tasks) {
        if (task.configuration == nullptr) continue;
        std::string const configuration = below(task.path, "configuration");
        kxcore::visit_leaves(*task.configuration, [&](std::string_view leaf, kxcore::property_handle const& value) {
            auto const* const text = kxcore::property_cast<kxcore::property_string>(value.get());
            if (text == nullptr || leaf.starts_with(script_key)) return;
            std::size_t const first_step = std::min(leaf.find_first_of("{["), leaf.size());
            judge_text(below(configuration, leaf.substr(0, first_step)).append(leaf.substr(first_step)), text->value(),
                       out);
        });
    }
}

namespace {

void judge_text(std::string const& path, std::string_view text, document_problems& out) {
    if (text.starts_with("#!")) return;
    if (text.starts_with(uri_scheme_mark))
        judge_uri(path, text, out);
    else
        judge_dollars(path, text, out);
}

void judge_uri(std::string const& path, std::string_view uri, document_problems& out) {
    auto const& variables = get_variable_map();
    bool const is_known = std::ranges::find(legacy_uris, uri) != legacy_uris.end() ||
                          std::ranges::any_of(variables, [&](auto const& each) { return each.second == uri; });
    if (is_known) return;
    bool const may_be_known = is_of_open_family(uri);
    std::string suggestion = nearest_uri(uri);
    if (may_be_known && suggestion.empty()) return;
    out.push_back({.severity = may_be_known ? e_problem_severity::warning : e_problem_severity::error,
                   .path = path,
                   .found = "the unknown variable " + kxcore::shown_text(uri),
                   .allowed = std::string(known_variables),
                   .suggestion = std::move(suggestion)});
}

/// A name beyond the table, with an accessor that the table knows or with none.
bool is_of_open_family(std::string_view uri) {
    std::string const name = kxbase::url_fragment(uri, true);
    std::string const accessor = kxbase::url_query(uri, true);
    bool const is_open = std::ranges::any_of(
        open_families, [&](std::string_view family) { return name.starts_with(family) && name != family; });
    return is_open && (accessor.empty() || std::ranges::any_of(get_variable_map(), [&](auto const& each) {
                           return kxbase::url_query(each.second, true) == accessor;
                       }));
}

/// Dollar signs are not paired: what lies between any two of them may be a name.
void judge_dollars(std::string const& path, std::string_view text, document_problems& out) {
    std::set<std::string_view> told;
    std::size_t begin = text.find('$');
    while (begin != std::string_view::npos) {
        ++begin;
        std::size_t const end = text.find('$', begin);
        std::string_view const name = text.substr(begin, end == std::string_view::npos ? end : end - begin);
        // At the end of a text a dollar sign may be missing, when nothing else is in the text.
        bool const is_whole = begin == 1 && (end == std::string_view::npos || end + 1 == text.size());
        bool const is_framed = end != std::string_view::npos || is_whole;
        if (is_framed && looks_like_variable(name, is_whole) && told.insert(name).second)
            out.push_back({.severity = e_problem_severity::warning,
                           .path = path,
                           .found = "the unknown variable " + kxcore::shown_text('$' + std::string(name) + '$') +
                                    ", which stays as it is",
                           .allowed = std::string(known_variables),
                           .suggestion = nearest_variable(name)});
        begin = end;
    }
}

bool looks_like_variable(std::string_view name, bool is_whole_text) {
    if (!is_name(name) || find_variable(name) != nullptr || is_legacy_name(name)) return false;
    std::string_view const family = family_of(name);
    bool const has_dot = name.find('.') != std::string_view::npos;
    if (has_dot && !family.empty()) return true;
    // A word without a dot amid other text is the shell's more often than ours.
    return (has_dot || is_whole_text) && !nearest_variable(name).empty();
}

/// Words of letters, digits, hyphens and underscores with single dots between them.
bool is_name(std::string_view text) {
    constexpr std::size_t longest = 64;
    auto const is_word_character = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    };
    bool after_word = false;
    for (char const c : text) {
        bool const is_dot = c == '.';
        if (is_dot ? !after_word : !is_word_character(c)) return false;
        after_word = !is_dot;
    }
    return after_word && text.size() <= longest;
}

bool is_legacy_name(std::string_view name) {
    std::string current;
    return convert_legacy_variable(get_variable_map(), '$' + std::string(name) + '$', current);
}

/// The first word of a variable's name with its dot ("source."), if there are variables of that family; empty otherwise.
std::string_view family_of(std::string_view name) {
    std::string_view const family = name.substr(0, std::min(name.find('.'), name.size() - 1) + 1);
    auto const& variables = get_variable_map();
    auto const next = variables.lower_bound(std::string(family));
    bool const is_known = family.ends_with('.') && next != variables.end() && next->first.starts_with(family);
    return is_known ? family : std::string_view();
}

/// The names of a family begin alike, which makes strangers look near: what counts are slips in what follows.
std::string nearest_variable(std::string_view name) {
    std::size_t const dot = name.find('.');
    std::size_t const rest = dot == std::string_view::npos ? name.size() : name.size() - dot - 1;
    std::size_t best = std::max<std::size_t>(1, rest / 3) + 1;
    std::string_view nearest;
    for (auto const& [known, uri] : get_variable_map()) {
        std::size_t const distance = kxcore::edit_distance(name, known);
        if (distance >= best || distance >= name.size()) continue;
        best = distance;
        nearest = known;
    }
    return nearest.empty() ? std::string() : kxcore::shown_text('$' + std::string(nearest) + '$');
}

std::string nearest_uri(std::string_view uri) {
    // Names are written where URIs are wanted, too.
    std::string_view rest = uri.substr(uri_scheme_mark.size());
    rest.remove_prefix(std::min(rest.find_first_not_of("/?#"), rest.size()));
    if (std::string const* const meant = find_variable(rest)) return kxcore::shown_text(*meant);
    std::string const name = kxbase::url_fragment(uri, true);
    std::size_t best = std::max<std::size_t>(1, name.size() / 5) + 1;
    std::string_view nearest;
    for (auto const& [known, known_uri] : get_variable_map()) {
        std::size_t const distance = kxcore::edit_distance(uri, known_uri);
        if (distance >= best) continue;
        best = distance;
        nearest = known_uri;
    }
    return nearest.empty() ? std::string() : kxcore::shown_text(nearest);
}

} // namespace

} // namespace kxclientutil
