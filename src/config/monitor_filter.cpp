#include <kxclientutil/monitor_filter.h>

#include "config/filter_values.h"

#include <kxbase/paths.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxcore/shown_value.h>
#include <kxcore/text_pattern.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace kxclientutil {

namespace {

using kxcore::properties;
using kxcore::shown_text;

/// What of a file a rule looks at, in every form that counts: a name with and without its extension, a folder by its path
/// and by the names of the folders on the way.
enum class e_aspect : unsigned char { directory, file_name, file_extension };

enum class e_relation : unsigned char { is, contains, begins_with, ends_with };

/// A rule of texts: an include takes the files that fit one of them, an ignore those that fit none.
struct text_rule {
    std::string_view key;
    e_aspect aspect;
    e_relation relation;
    bool is_include;
};

constexpr std::array<text_rule, 14> text_rules{{
    {"directory-is-ignore", e_aspect::directory, e_relation::is, false},
    {"directory-contains-ignore", e_aspect::directory, e_relation::contains, false},
    {"directory-is-include", e_aspect::directory, e_relation::is, true},
    {"directory-contains-include", e_aspect::directory, e_relation::contains, true},
    {"file-name-is-ignore", e_aspect::file_name, e_relation::is, false},
    {"file-name-contains-ignore", e_aspect::file_name, e_relation::contains, false},
    {"file-name-begins-with-ignore", e_aspect::file_name, e_relation::begins_with, false},
    {"file-name-ends-with-ignore", e_aspect::file_name, e_relation::ends_with, false},
    {"file-name-is-include", e_aspect::file_name, e_relation::is, true},
    {"file-name-contains-include", e_aspect::file_name, e_relation::contains, true},
    {"file-name-begins-with-include", e_aspect::file_name, e_relation::begins_with, true},
    {"file-name-ends-with-include", e_aspect::file_name, e_relation::ends_with, true},
    {"file-extension-is-ignore", e_aspect::file_extension, e_relation::is, false},
    {"file-extension-is-include", e_aspect::file_extension, e_relation::is, true},
}};

constexpr std::string_view filter_path = "manager-configuration{filter}";
constexpr std::string_view recursive_path = "plugin-configuration{recursive}";
constexpr std::string_view follow_links_path = "plugin-configuration{follow-links}";

/// The path of a file and its parts, taken apart once for all rules.
struct file_parts {
    explicit file_parts(std::string_view path);

    std::string_view directory;
    std::vector<std::string_view> folders;
    std::string_view name;
    std::string_view name_alone;
    std::string_view extension;
};

/// A rule of texts with the texts of the source.
struct chosen_texts {
    text_rule rule;
    std::vector<std::string> values;
};

struct chosen_pattern {
    std::string_view key;
    kxcore::text_pattern pattern;
    bool is_include;
};

bool is_wanted(properties const& source, std::string_view path);
std::string path_of(std::string_view key);
std::string_view aspect_words(e_aspect aspect);
std::string_view aspect_text(e_aspect aspect, file_parts const& parts);
std::string_view relation_words(text_rule const& rule, bool holds);
bool fits(text_rule const& rule, std::string_view value, file_parts const& parts);
std::optional<std::string> objection(chosen_texts const& chosen, file_parts const& parts);

} // namespace

struct monitor_filter::rules {
    explicit rules(properties const& source);

    void take_pattern(properties const& filter, std::string_view key, bool is_include);
    void take_texts(properties const& filter);

    [[nodiscard]] std::optional<filter_obstacle> by_pattern(std::string const& path) const;
    [[nodiscard]] std::optional<filter_obstacle> by_text(std::string const& path) const;
    [[nodiscard]] std::optional<filter_obstacle> by_size(std::uint64_t size) const;
    [[nodiscard]] std::optional<filter_obstacle> by_date(std::int64_t modified) const;

    bool is_recursive;
    bool follows_links;
    std::vector<chosen_pattern> patterns;
    std::vector<chosen_texts> texts;
    std::optional<std::uint64_t> min_size, max_size;
    std::optional<std::int64_t> min_date, max_date;
};

monitor_filter::monitor_filter(properties const& source) : rules_(std::make_shared<rules const>(source)) {}

std::optional<filter_obstacle> monitor_filter::find_obstacle(watched_file const& file) const {
    if (!rules_->is_recursive && file.path.find('/') != std::string::npos)
        return filter_obstacle{std::string(recursive_path), "it lies in a folder of the location"};
    if (!rules_->follows_links && file.is_link)
        return filter_obstacle{std::string(follow_links_path), "it is a symbolic link"};
    if (auto found = rules_->by_pattern(file.path)) return found;
    if (auto found = rules_->by_text(file.path)) return found;
    if (auto found = rules_->by_size(file.size)) return found;
    return rules_->by_date(file.modified);
}

monitor_filter::rules::rules(properties const& source)
    : is_recursive(is_wanted(source, recursive_path)), follows_links(is_wanted(source, follow_links_path)) {
    auto const* const filter = kxcore::property_cast<properties>(source.find_referenced(filter_path));
    if (filter == nullptr) return;
    take_pattern(*filter, "ignore-regexp", false);
    take_pattern(*filter, "include-regexp", true);
    take_texts(*filter);
    min_size = filter_size(filter->find("min-size"), path_of("min-size"));
    max_size = filter_size(filter->find("max-size"), path_of("max-size"));
    min_date = filter_date(filter->find("min-mod-date"), path_of("min-mod-date"), e_day_part::begin);
    max_date = filter_date(filter->find("max-mod-date"), path_of("max-mod-date"), e_day_part::end);
}

void monitor_filter::rules::take_pattern(properties const& filter, std::string_view key, bool is_include) {
    auto const expression = filter_texts(filter.find(key), path_of(key));
    for (std::string const& each : expression)
        patterns.push_back({key, filter_pattern(each, path_of(key)), is_include});
}

// A list without texts is no rule: an include that takes nothing is nothing that anybody would ask for.
void monitor_filter::rules::take_texts(properties const& filter) {
    for (text_rule const& rule : text_rules) {
        auto values = filter_texts(filter.find(rule.key), path_of(rule.key));
        if (!values.empty()) texts.push_back({rule, std::move(values)});
    }
}

std::optional<filter_obstacle> monitor_filter::rules::by_pattern(std::string const& path) const {
    for (chosen_pattern const& each : patterns) {
        if (each.pattern.matches(path) == each.is_include) continue;
        return filter_obstacle{path_of(each.key),
                               std::string(each.is_include ? "the path does not fit " : "the path fits ") +
                                   shown_text(each.pattern.expression())};
    }
    return {};
}

std::optional<filter_obstacle> monitor_filter::rules::by_text(std::string const& path) const {
    if (texts.empty()) return {};
    file_parts const parts(path);
    for (chosen_texts const& each : texts)
        if (auto reason = objection(each, parts)) return filter_obstacle{path_of(each.rule.key), std::move(*reason)};
    return {};
}

std::optional<filter_obstacle> monitor_filter::rules::by_size(std::uint64_t size) const {
    std::string const found = std::to_string(size) + (size == 1 ? " byte" : " bytes");
    if (min_size && size < *min_size)
        return filter_obstacle{path_of("min-size"), found + ", fewer than " + std::to_string(*min_size)};
    if (max_size && size > *max_size)
        return filter_obstacle{path_of("max-size"), found + ", more than " + std::to_string(*max_size)};
    return {};
}

std::optional<filter_obstacle> monitor_filter::rules::by_date(std::int64_t modified) const {
    if (min_date && modified < *min_date)
        return filter_obstacle{path_of("min-mod-date"),
                               "changed " + shown_date(modified) + ", before " + shown_date(*min_date)};
    if (max_date && modified > *max_date)
        return filter_obstacle{path_of("max-mod-date"),
                               "changed " + shown_date(modified) + ", after " + shown_date(*max_date)};
    return {};
}

namespace {

/// What a plugin does unless it is told not to.
bool is_wanted(properties const& source, std::string_view path) {
    auto const* const wanted = kxcore::property_cast<kxcore::property_bool>(source.find_referenced(path));
    return wanted == nullptr || wanted->value();
}

std::string path_of(std::string_view key) {
    return std::string(filter_path) + '{' + std::string(key) + '}';
}

/// Why a rule keeps the file out; nothing when it does not.
std::optional<std::string> objection(chosen_texts const& chosen, file_parts const& parts) {
    text_rule const& rule = chosen.rule;
    auto const fitting = std::find_if(chosen.values.begin(), chosen.values.end(),
                                      [&](std::string const& value) { return fits(rule, value, parts); });
    bool const one_fits = fitting != chosen.values.end();
    if (one_fits == rule.is_include) return {};
    std::string reason = "the ";
    reason += aspect_words(rule.aspect);
    reason += ' ' + shown_text(aspect_text(rule.aspect, parts)) + ' ';
    reason += relation_words(rule, one_fits);
    if (one_fits) return reason + ' ' + shown_text(*fitting);
    reason += chosen.values.size() == 1 ? " " : " any of ";
    for (std::size_t i = 0; i < chosen.values.size(); ++i)
        reason += (i == 0 ? "" : ", ") + shown_text(chosen.values[i]);
    return reason;
}

bool fits(text_rule const& rule, std::string_view value, file_parts const& parts) {
    auto const holds = [&](std::string_view text) {
        switch (rule.relation) {
        case e_relation::is: return text == value;
        case e_relation::contains: return text.find(value) != std::string_view::npos;
        case e_relation::begins_with: return text.starts_with(value);
        case e_relation::ends_with: return text.ends_with(value);
        }
        return false;
    };
    switch (rule.aspect) {
    case e_aspect::directory:
        return holds(parts.directory) || std::any_of(parts.folders.begin(), parts.folders.end(), holds);
    case e_aspect::file_name: return holds(parts.name) || holds(parts.name_alone);
    case e_aspect::file_extension: return holds(parts.extension);
    }
    return false;
}

std::string_view aspect_words(e_aspect aspect) {
    constexpr std::array<std::string_view, 3> words{"folder", "name", "extension"};
    return words[static_cast<std::size_t>(aspect)];
}

std::string_view aspect_text(e_aspect aspect, file_parts const& parts) {
    std::array<std::string_view, 3> const found{parts.directory, parts.name, parts.extension};
    return found[static_cast<std::size_t>(aspect)];
}

std::string_view relation_words(text_rule const& rule, bool holds) {
    constexpr std::array<std::string_view, 4> words{"is", "contains", "begins with", "ends with"};
    constexpr std::array<std::string_view, 4> negations{"is not", "does not contain", "does not begin with",
                                                        "does not end with"};
    if (rule.aspect == e_aspect::directory && rule.relation == e_relation::is)
        return holds ? "is or lies in" : "neither is nor lies in";
    return (holds ? words : negations)[static_cast<std::size_t>(rule.relation)];
}

// As everywhere else, the dot of a hidden file and one at the end begin no extension.
file_parts::file_parts(std::string_view path) {
    auto const slash = path.rfind('/');
    directory = slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
    name = slash == std::string_view::npos ? path : path.substr(slash + 1);
    for (std::string_view rest = directory; !rest.empty();) {
        auto const end = std::min(rest.find('/'), rest.size());
        folders.push_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    auto const dot = name.rfind('.');
    bool const has_extension = dot != std::string_view::npos && dot != 0 && dot + 1 != name.size();
    name_alone = has_extension ? name.substr(0, dot) : name;
    extension = has_extension ? name.substr(dot + 1) : std::string_view();
}

} // namespace

} // namespace kxclientutil
