#include "validation/stored_form.h"

#include <kxcore/credentials.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>

namespace kxclientutil {

namespace {

using kxcore::properties;
using kxcore::property_special;

constexpr std::string_view hidden_text = "********";

properties const* workflow_of(e_config_type type, properties const& tree) {
    return type == config_submission ? member_tree(&tree, "workflow") : &tree;
}

std::string id_of(kxcore::property_handle const& task) {
    auto const* const tree = kxcore::property_cast<properties>(task.get());
    return tree == nullptr ? std::string() : tree->get_string_value("id", "");
}

} // namespace

properties with_readable_credentials(properties const& stored) {
    properties tree = stored;
    kxcore::rewrite_leaves(tree, [](std::string_view, kxcore::property_handle const& leaf) -> kxcore::property_handle {
        auto const* const special = kxcore::property_cast<property_special>(leaf.get());
        if (special == nullptr || special->sub_type() != property_special::e_sub_type::credential) return leaf;
        bool const is_url = special->type() == property_special::e_type::wrapped_urlupp;
        return kxbase::make_refcount<kxcore::property_string>(
            is_url ? kxcore::credentials::readable_url(special->value()) : std::string(hidden_text));
    });
    return tree;
}

stored_places::stored_places(e_config_type type, properties const& stored, properties const& upgraded,
                             kxcore::document_places const& places)
    : list_(tasks_path(type)), places_(places) {
    if (list_.empty()) return;
    auto const* const before = member_list(workflow_of(type, stored), "tasks");
    auto const* const after = member_list(workflow_of(type, upgraded), "tasks");
    if (before == nullptr || after == nullptr) return;
    std::map<std::string, std::size_t> by_id;
    for (std::size_t index = 0; index < before->size(); ++index)
        by_id.emplace(id_of((*before)[index]), index);
    for (std::size_t index = 0; index < after->size(); ++index)
        if (auto const found = by_id.find(id_of((*after)[index])); found != by_id.end())
            stored_task_.emplace(element(list_, index), element(list_, found->second));
}

std::optional<kxcore::document_place> stored_places::find(document_problem const& problem) const {
    std::string path = problem.path;
    if (std::string_view const task = element_of(path, list_); !task.empty()) {
        auto const stored = stored_task_.find(task);
        if (stored == stored_task_.end()) return std::nullopt;
        path.replace(0, task.size(), stored->second);
    }
    bool const is_missing = problem.found.empty();
    if (is_missing) path.resize(path.find_last_of("{[") == std::string::npos ? 0 : path.find_last_of("{["));
    return places_.find(path);
}

} // namespace kxclientutil
