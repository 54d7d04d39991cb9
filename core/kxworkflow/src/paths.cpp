#include <kxworkflow/paths.h>

#include <kxworkflow/identifiers.h>

namespace kxworkflow {

namespace {

constexpr std::string_view scheme_prefix = "workflow:";

std::string_view without_scheme(std::string_view text) {
    return text.starts_with(scheme_prefix) ? text.substr(scheme_prefix.size()) : text;
}

} // namespace

std::string workflow_scheme() {
    return "workflow";
}

std::string workflow_id(std::string_view text) {
    return std::string(without_scheme(text));
}

std::string wpath_create(std::string_view id, std::string_view node) {
    return std::string(scheme_prefix) + port_new_id(id, node);
}

std::string wpath_get_wtid(std::string_view path) {
    std::string_view const id = without_scheme(path);
    return std::string(id.substr(0, id.find('>')));
}

std::string wpath_get_target_node_id(std::string_view path) {
    auto const separator = path.find('>');
    return separator == std::string_view::npos ? std::string() : std::string(path.substr(separator + 1));
}

} // namespace kxworkflow
