#include <kxcore/installation.h>

#include "installation_reader.h"

#include <kxbase/env.h>
#include <kxbase/errors.h>
#include <kxcore/constraint_db.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>
#include <utility>

namespace kxcore {

namespace fs = std::filesystem;

namespace {

std::string absolute_folder(std::string_view folder);
[[noreturn]] void raise_problems(std::vector<installation_problem> const& problems);

} // namespace

struct installation::content {
    std::string folder;
    plugin_db plugins;
    kxbase::ptr_refcount<constraint_db const> constraints;
};

std::string installation_problem::to_string() const {
    return place.empty() ? file + ": " + what : file + ": " + place + ": " + what;
}

installation installation::load(std::string_view folder) {
    std::string const path = absolute_folder(folder);
    installation_reading reading = read_installation(path);
    if (!reading.problems.empty()) raise_problems(reading.problems);
    return installation(
        std::make_shared<content const>(content{path, std::move(reading.plugins), std::move(reading.constraints)}));
}

std::vector<installation_problem> installation::check(std::string_view folder) {
    return read_installation(absolute_folder(folder)).problems;
}

installation::installation(std::shared_ptr<content const> loaded) : content_(std::move(loaded)) {}

plugin_db const& installation::get_plugins() const noexcept {
    return content_->plugins;
}

constraint_db const& installation::get_constraints() const noexcept {
    return *content_->constraints;
}

std::string const& installation::get_folder() const noexcept {
    return content_->folder;
}

std::string installation::get_key_file() const {
    std::string const named = kxbase::env::get_environment_variable("KX_KEY_FILE");
    return named.empty() ? content_->folder + "/credentials.key" : named;
}

std::string find_installation_folder(std::string_view explicit_folder) {
    if (!explicit_folder.empty()) return std::string(explicit_folder);
    if (std::string named = kxbase::env::get_environment_variable("KX_INSTALLATION"); !named.empty()) return named;

    // The program's own tree first, so that an installation that was moved finds itself.
    std::array<std::string, 2> const candidates{kxbase::env::get_executable_path() + "/" KX_INSTALLATION_RELATIVE,
                                                KX_INSTALLATION_INSTALLED};
    for (std::string const& candidate : candidates) {
        std::error_code ignored;
        if (fs::is_directory(candidate, ignored)) return fs::path(candidate).lexically_normal().string();
    }
    kxbase::es::call::raise("no installation folder found: name one, or set KX_INSTALLATION");
}

std::vector<finding> configuration_findings(constraint_db const& constraints, std::string_view plugin_id,
                                            properties const& configuration, unsigned int flags) {
    auto const constraint = constraints.get_constraint(plugin_constraint_name(plugin_id));
    if (!constraint || constraint->kind() != constraint_kind::database) return {};
    return static_cast<constraint_db const&>(*constraint).findings(configuration, flags);
}

namespace {

std::string absolute_folder(std::string_view folder) {
    if (folder.empty()) kxbase::es::arg::raise("no installation folder given");
    std::error_code error;
    fs::path const path = fs::absolute(fs::path(folder), error);
    if (error) kxbase::es::call::raise("installation folder " + std::string(folder) + ": " + error.message());
    std::string text = path.lexically_normal().string();
    if (text.size() > 1 && text.ends_with('/')) text.pop_back();
    return text;
}

void raise_problems(std::vector<installation_problem> const& problems) {
    std::string text;
    for (installation_problem const& problem : problems)
        text += (text.empty() ? "" : "\n") + problem.to_string();
    if (std::all_of(problems.begin(), problems.end(), [](auto const& problem) { return problem.unreadable; }))
        kxbase::es::call::raise(text);
    kxbase::es::arg::raise(text);
}

} // namespace

} // namespace kxcore
