#include "config/upgrade/steps.h"

namespace kxclientutil {

using kxcore::properties;

kxbase::ptr_refcount<properties> run_steps(std::span<upgrade_step const> steps, properties const& document,
                                           unsigned int from_version, unsigned int to_version,
                                           kxcore::plugin_db const& plugins, kxcore::constraint_db const& constraints) {
    auto result = kxbase::make_refcount<properties>(document);
    unsigned int running_version = from_version;
    unsigned int version = 1;
    for (upgrade_step const step : steps) {
        if (running_version <= version && version < to_version) {
            if (step != nothing_changed) step(*result, {document, version, running_version, plugins, constraints});
            ++running_version;
        }
        ++version;
    }
    return result;
}

void copy_member(properties const& from, std::string_view key, properties& to) {
    if (auto value = from.get_property(key)) to.set_property(key, std::move(value));
}

properties const& expect_tree(kxcore::property_handle const& element) {
    auto const* const tree = kxcore::property_cast<properties>(element.get());
    if (!tree)
        raise_from<kxbase::es::arg>(config_source_path, "the element is of kind " +
                                                            std::string(kxcore::property_kind_name(element->kind())) +
                                                            "; expected kind properties");
    return *tree;
}

} // namespace kxclientutil
