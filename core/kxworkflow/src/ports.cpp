#include <kxworkflow/ports.h>

#include "document_keys.h"
#include "inputs.h"

#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>
#include <kxcore/references.h>

namespace kxworkflow {

bool is_possible_input(kxcore::plugin_info const& info, kxcore::properties const& configuration,
                       std::string_view input) {
    std::vector<kxcore::reference_step> steps;
    if (!kxcore::split_reference(input, steps) || steps.front().is_index) return false;
    std::string_view const first = steps.front().key;
    return info.find_input(first) != nullptr || configuration.is_present(first);
}

bool is_output(kxcore::plugin_info const& info, kxcore::properties const& task, std::string_view output) {
    if (info.find_output(output) != nullptr || published_by_plugin(info, output)) return true;
    auto const* const published = kxcore::property_cast<kxcore::properties>(task.find(keys::published_outputs));
    return published != nullptr && published->is_present(output);
}

} // namespace kxworkflow
