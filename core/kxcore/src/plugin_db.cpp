#include <kxcore/plugin_db.h>

#include <kxbase/errors.h>
#include <kxcore/plugin_info.h>

#include <re2/re2.h>

#include <utility>

namespace kxcore {

plugin_db::plugin_db() = default;
plugin_db::~plugin_db() = default;
plugin_db::plugin_db(plugin_db const&) = default;
plugin_db::plugin_db(plugin_db&&) noexcept = default;
plugin_db& plugin_db::operator=(plugin_db const&) = default;
plugin_db& plugin_db::operator=(plugin_db&&) noexcept = default;

void plugin_db::add_plugin(kxbase::ptr_refcount<plugin_info const> plugin) {
    if (!plugin) kxbase::es::arg::raise("a plugin database takes no empty plugin description");
    std::string const& id = plugin->get_id();
    if (plugins_.contains(id)) kxbase::es::arg::raise("plugin id \"" + id + "\" is in the plugin database already");
    plugins_.emplace(id, std::move(plugin));
}

kxbase::ptr_refcount<plugin_info const> plugin_db::describe_plugin(std::string_view id) const {
    auto const found = plugins_.find(id);
    if (found == plugins_.end()) return {};
    return found->second;
}

std::vector<std::string> plugin_db::find_plugins(std::string_view pattern) const {
    re2::RE2::Options options;
    options.set_log_errors(false);
    re2::RE2 const expression(re2::StringPiece(pattern.data(), pattern.size()), options);
    if (!expression.ok())
        kxbase::es::arg::raise("bad plugin id pattern \"" + std::string(pattern) + "\": " + expression.error());

    std::vector<std::string> ids;
    for (auto const& [id, plugin] : plugins_)
        if (re2::RE2::FullMatch(id, expression)) ids.push_back(id);
    return ids;
}

std::vector<std::string> plugin_db::get_ids() const {
    std::vector<std::string> ids;
    ids.reserve(plugins_.size());
    for (auto const& [id, plugin] : plugins_)
        ids.push_back(id);
    return ids;
}

std::size_t plugin_db::size() const noexcept {
    return plugins_.size();
}

} // namespace kxcore
