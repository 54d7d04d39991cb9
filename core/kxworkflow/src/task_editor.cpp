#include <kxworkflow/task_editor.h>

#include "document_keys.h"
#include "members.h"
#include "workflow_content.h"

#include <utility>

namespace kxworkflow {

std::string const& task_editor::get_wtid() const noexcept {
    return task_.wtid;
}

std::string const& task_editor::get_name() const noexcept {
    return task_.name;
}

properties_handle const& task_editor::get_configuration() const noexcept {
    return task_.configuration;
}

void task_editor::configure(properties_handle configuration) {
    if (!configuration) kxbase::es::arg::raise(place_of(task_) + ": no configuration to replace its own by");
    content_.configure(task_, std::move(configuration));
}

void task_editor::add_ext_meta(std::string_view key, kxcore::property_handle value) {
    require_key(key, "meta data key", task_);
    set_in_subtree(task_.document, keys::ext_meta, key, std::move(value), task_);
    task_.touch();
}

} // namespace kxworkflow
