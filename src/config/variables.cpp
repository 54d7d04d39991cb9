#include "config/variables.h"

#include <kxclientutil/config.h>

#include <kxbase/text.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace kxclientutil {

namespace {

using pair_of_texts = std::pair<std::string_view, std::string_view>;

// Three mappings differ from the plain rule "kxvar:/#NAME", and documents rely on them: "source.url" is the spawn value
// itself, "workflow.template-id" is the id of the parent, and the five "destination" names are aliases of deployment
// names.
constexpr std::array<pair_of_texts, 68> variable_table{{
    {"uuid", "kxvar:/#uuid"},
    {"uuid.uppercase", "kxvar:/#uuid.uppercase"},
    {"uuid.lowercase", "kxvar:/#uuid.lowercase"},
    {"source.name", "kxvar:/#source.name"},
    {"source.type", "kxvar:/#source.type"},
    {"source.url", "kxvar:/#workflow.spawn-value"},
    {"source.path", "kxvar:/?url.native_platform_path#workflow.spawn-value"},
    {"source.filename", "kxvar:/?url.path_name#workflow.spawn-value"},
    {"source.extension", "kxvar:/?url.path_suffix#workflow.spawn-value"},
    {"source.file", "kxvar:/?url.path_file#workflow.spawn-value"},
    {"source.parent-dir-name", "kxvar:/?url.path_parent_directory_name#workflow.spawn-value"},
    {"source.parent-dir-path", "kxvar:/?url.path_parent_directory#workflow.spawn-value"},
    {"source.parent-dir-url", "kxvar:/?url.parent_directory_url#workflow.spawn-value"},
    {"source.grandparent-dir-name", "kxvar:/?url.path_grand_parent_directory_name#workflow.spawn-value"},
    {"source.grandparent-dir-path", "kxvar:/?url.path_grand_parent_directory#workflow.spawn-value"},
    {"workflow.submission-name", "kxvar:/#workflow.submission-name"},
    {"workflow.submission-time", "kxvar:/#workflow.submission-time"},
    {"workflow.submission-client", "kxvar:/#workflow.submission-client"},
    {"workflow.submission-host", "kxvar:/#workflow.submission-host"},
    {"workflow.template-id", "kxvar:/#workflow.parent-id"},
    {"workflow.id", "kxvar:/#workflow.id"},
    {"workflow.name", "kxvar:/#workflow.name"},
    {"workflow.spawn-value", "kxvar:/#workflow.spawn-value"},
    {"workflow.spawn-time", "kxvar:/#workflow.spawn-time"},
    {"workflow.seq-nr", "kxvar:/#workflow.seq-nr"},
    {"encoder.name", "kxvar:/#encoder.name"},
    {"encoder.input-duration-s", "kxvar:/#encoder.input-duration-s"},
    {"encoder.input-duration-hms", "kxvar:/#encoder.input-duration-hms"},
    {"encoder.input-pixel-dimensions", "kxvar:/#encoder.input-pixel-dimensions"},
    {"encoder.input-framerate", "kxvar:/#encoder.input-framerate"},
    {"encoder.input-samplerate", "kxvar:/#encoder.input-samplerate"},
    {"encoder.output-bitrate-kbps", "kxvar:/#encoder.output-bitrate-kbps"},
    {"encoder.output-bitrate-mbps", "kxvar:/#encoder.output-bitrate-mbps"},
    {"encoder.output-duration-s", "kxvar:/#encoder.output-duration-s"},
    {"encoder.output-duration-hms", "kxvar:/#encoder.output-duration-hms"},
    {"encoder.output-pixel-dimensions", "kxvar:/#encoder.output-pixel-dimensions"},
    {"encoder.output-framerate", "kxvar:/#encoder.output-framerate"},
    {"encoder.output-samplerate", "kxvar:/#encoder.output-samplerate"},
    {"mbr.name", "kxvar:/#mbr.name"},
    {"mbr.package-type", "kxvar:/#mbr.package-type"},
    {"mbr.package-name", "kxvar:/#mbr.package-name"},
    {"deployment.name", "kxvar:/#deployment.name"},
    {"deployment.dest-url", "kxvar:/#deployment.dest-url"},
    {"deployment.outfile-path", "kxvar:/#deployment.outfile-path"},
    {"deployment.outfile-name", "kxvar:/#deployment.outfile-name"},
    {"deployment.outfile-extension", "kxvar:/#deployment.outfile-extension"},
    {"deployment.outfile-file", "kxvar:/#deployment.outfile-file"},
    {"destination.url", "kxvar:/#deployment.dest-url"},
    {"destination.path", "kxvar:/#deployment.outfile-path"},
    {"destination.filename", "kxvar:/#deployment.outfile-name"},
    {"destination.extension", "kxvar:/#deployment.outfile-extension"},
    {"destination.file", "kxvar:/#deployment.outfile-file"},
    {"dynamic.time", "kxvar:/#dynamic.time"},
    {"dynamic.hr-time", "kxvar:/#dynamic.hr-time"},
    {"dynamic.year.YY", "kxvar:/#dynamic.year.YY"},
    {"dynamic.year.YYYY", "kxvar:/#dynamic.year.YYYY"},
    {"dynamic.month.name", "kxvar:/#dynamic.month.name"},
    {"dynamic.month.short-name", "kxvar:/#dynamic.month.short-name"},
    {"dynamic.month.MM", "kxvar:/#dynamic.month.MM"},
    {"dynamic.day.name", "kxvar:/#dynamic.day.name"},
    {"dynamic.day.short-name", "kxvar:/#dynamic.day.short-name"},
    {"dynamic.day.DD", "kxvar:/#dynamic.day.DD"},
    {"dynamic.hours.HH", "kxvar:/#dynamic.hours.HH"},
    {"dynamic.minutes.MM", "kxvar:/#dynamic.minutes.MM"},
    {"dynamic.seconds.SS", "kxvar:/#dynamic.seconds.SS"},
    {"dynamic.hostname", "kxvar:/#dynamic.hostname"},
    {"dynamic.node-id", "kxvar:/#dynamic.node-id"},
    {"dynamic.platform", "kxvar:/#dynamic.platform"},
}};

constexpr std::array<pair_of_texts, 8> legacy_variable_table{{
    {"$source-filename$", "$source.filename$"},
    {"$encoder-id$", "$encoder.name$"},
    {"$hr-bitrate-kbps$", "$encoder.output-bitrate-kbps$"},
    {"$hr-bitrate-mbps$", "$encoder.output-bitrate-mbps$"},
    {"$hr-duration-s$", "$encoder.output-duration-s$"},
    {"$hr-duration-hms$", "$encoder.output-duration-hms$"},
    {"$hr-pixel-dimensions$", "$encoder.output-pixel-dimensions$"},
    {"$hr-samplerate$", "$encoder.output-samplerate$"},
}};

constexpr std::array<std::string_view, 3> same_as_source_texts{
    "kxvar:/Vostrel-Assistant-same-as-source/",
    "kxvar:/#Same-As-Source",
    "kxvar:/#same-as-source",
};

/// The map again, by names that need no copy to be looked up: every text of a configuration is.
using variables_by_view = std::unordered_map<std::string_view, std::string const*>;

std::string_view bare_name(std::string_view name);

} // namespace

std::map<std::string, std::string> const& get_variable_map() {
    static std::map<std::string, std::string> const variables(variable_table.begin(), variable_table.end());
    return variables;
}

std::string get_variable(std::string const& name) {
    std::string const* const uri = find_variable(name);
    return uri ? *uri : name;
}

bool is_recognized_variable(std::string const& name) {
    return find_variable(name) != nullptr;
}

std::string const* find_variable(std::string_view name) {
    static variables_by_view const variables = [] {
        variables_by_view views;
        for (auto const& [known, uri] : get_variable_map())
            views.emplace(known, &uri);
        return views;
    }();
    auto const found = variables.find(bare_name(name));
    return found == variables.end() ? nullptr : found->second;
}

// Which pieces stood between a pair of '$' is not tracked: any piece that is a variable's name becomes a reference, and
// an unknown reference loses its dollar signs. Texts in documents rely on both, so don't pair the signs here.
kxbase::ptr_refcount<kxcore::property_list> get_dollar_variable_list(std::string const& text) {
    auto const& variables = get_variable_map();
    auto const pieces = kxbase::make_refcount<kxcore::property_list>();

    std::vector<std::string> tokens;
    kxbase::strutil::tokenize_string(text, '$', tokens, true);
    for (std::string const& token : tokens) {
        // A token holds no '$' any more, so nothing legacy is ever converted here; the step is part of the behaviour
        // that all users of the variables share and stays for the day when legacy names lose their dollar signs.
        std::string current = token;
        static_cast<void>(convert_legacy_variable(variables, token, current));
        if (find_variable(current)) {
            std::string const reference = "$" + std::string(bare_name(current)) + "$";
            pieces->push_back(kxbase::make_refcount<kxcore::property_string>(reference));
        } else if (!token.empty()) {
            pieces->push_back(kxbase::make_refcount<kxcore::property_string>(token));
        }
    }
    return pieces;
}

bool convert_legacy_variable(std::map<std::string, std::string> const& variables, std::string const& input,
                             std::string& output) {
    if (input.size() < 4) return false;
    if (input.front() != '$' || input.back() != '$') return false;

    auto const legacy = std::ranges::find(legacy_variable_table, input, &pair_of_texts::first);
    if (legacy != legacy_variable_table.end()) {
        output = legacy->second;
        return true;
    }
    // None of these texts passes the gate of the dollar signs above, so they never match. That is meant: a value that
    // stands for the folder of the source stays as it is. Moving the gate would change stored documents.
    if (std::ranges::find(same_as_source_texts, input) != same_as_source_texts.end()) {
        output = variables.at("source.parent-dir-url");
        return true;
    }
    return false;
}

namespace {

std::string_view bare_name(std::string_view name) {
    while (name.starts_with('$'))
        name.remove_prefix(1);
    while (name.ends_with('$'))
        name.remove_suffix(1);
    return name;
}

} // namespace

} // namespace kxclientutil
