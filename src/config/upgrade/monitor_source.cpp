#include "config/upgrade/steps.h"

#include <kxclientutil/config.h>

#include <kxcore/property_values.h>

#include <array>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_handle;
using kxcore::property_string;

void make_actions_of_choices(properties& result, upgrade_context const& context);

constexpr std::array<upgrade_step, 6> monitor_source_steps{
    make_actions_of_choices, // 1 to 2
    nothing_changed,         // 2 to 3
    nothing_changed,         // 3 to 4
    nothing_changed,         // 4 to 5
    nothing_changed,         // 5 to 6
    nothing_changed,         // 6 to 7: rebuilt() does it, after the steps
};

/// The version whose layout has a filter in the place of rules. Whoever asks for it or a later one gets that layout,
/// whatever version the document has: see rebuilt().
constexpr unsigned int filter_version = 7;

/// A choice that the assistant of version 1 kept in the configuration of the plugin, and the action that it has become.
struct assistant_choice {
    std::string_view configuration;
    kxcore::property_kind kind;
    std::string_view action;
};

constexpr std::array<assistant_choice, 2> assistant_choices{{
    {"plugin-configuration{VostrelAssistant-remove-source}", kxcore::property_kind::boolean,
     "attached-workflow-actions{finalize-workflow-success}{deployment}{remove-source}"},
    {"plugin-configuration{VostrelAssistant-move-source}", kxcore::property_kind::string,
     "attached-workflow-actions{finalize-workflow-success}{deployment}{move-source}"},
}};

/// A key of a rule and what it is in the filter.
struct rule_key {
    std::string_view rule;
    std::string_view filter;

    constexpr rule_key(char const* both) : rule(both), filter(both) {} // NOLINT(google-explicit-constructor)
    constexpr rule_key(char const* of_rule, char const* of_filter) : rule(of_rule), filter(of_filter) {}
};

constexpr std::array<rule_key, 20> rule_keys{{
    {"include", "include-regexp"},
    {"ignore", "ignore-regexp"},
    "file-name-contains-include",
    "file-name-contains-ignore",
    "file-name-is-include",
    "file-name-is-ignore",
    "file-name-begins-with-include",
    "file-name-begins-with-ignore",
    "file-name-ends-with-include",
    "file-name-ends-with-ignore",
    "file-extension-is-include",
    "file-extension-is-ignore",
    "directory-contains-include",
    "directory-contains-ignore",
    "directory-is-include",
    "directory-is-ignore",
    "max-size",
    "min-size",
    "max-mod-date",
    "min-mod-date",
}};

bool asks_for_action(property_handle const& choice);
kxbase::ptr_refcount<properties> rebuilt(properties const& document);
property_handle rebuilt_manager(properties const& old);
properties const& first_rule(properties const& manager);
property_handle filter_of(properties const& rule);

} // namespace

// A rebuild begins with the document and not with what the steps have made of it, so the actions of the first step do
// not survive it, and a document of version 1 that is read comes out with the choices still in its plugin's
// configuration. This is meant: managers honour them there. Don't hand the result of the steps on. Nor is the document's
// version asked, so one that has a filter already raises for want of a rule; a step to a version 8 has to go around that.
kxbase::ptr_refcount<properties> update_monitor_source(properties const& document, unsigned int from_version,
                                                       unsigned int to_version, kxcore::plugin_db const& plugins,
                                                       kxcore::constraint_db const& constraints) {
    auto const result = run_steps(monitor_source_steps, document, from_version, to_version, plugins, constraints);
    return to_version >= filter_version ? rebuilt(document) : result;
}

namespace {

void make_actions_of_choices(properties& result, upgrade_context const& /*context*/) {
    for (assistant_choice const& choice : assistant_choices) {
        property_handle const value = result.get_referenced_property(choice.configuration);
        if (!value || value->kind() != choice.kind) continue;
        result.set_referenced_property(choice.configuration, {});
        if (asks_for_action(value)) result.set_create_referenced_property(choice.action, value);
    }
}

/// A choice that was declined leaves no action.
bool asks_for_action(property_handle const& choice) {
    auto const* const is_wanted = kxcore::property_cast<kxcore::property_bool>(choice.get());
    return !is_wanted || is_wanted->value();
}

kxbase::ptr_refcount<properties> rebuilt(properties const& document) {
    auto made = make_refcount<properties>(false);
    made->set_property("name", make_refcount<property_string>("Untitled"));
    copy_member(document, "name", *made);
    copy_member(document, "ext-meta", *made);
    copy_member(document, "attached-workflow-actions", *made);
    made->set_property("manager-configuration",
                       rebuilt_manager(*document.get_properties_value("manager-configuration")));
    copy_member(document, "plugin-configuration", *made);
    return made;
}

property_handle rebuilt_manager(properties const& old) {
    using kxcore::property_bool;
    auto made = make_refcount<properties>(false);
    copy_member(old, "plugin-id", *made);
    made->set_property("url", make_refcount<property_string>(old.get_string_value("url")));
    made->set_property("pickup-present", make_refcount<property_bool>(old.get_bool_value("pickup-present")));
    made->set_property("filter", filter_of(first_rule(old)));
    made->set_property("pairing", make_refcount<property_string>("global"));
    made->set_property("dep-files", make_refcount<properties>("audio", make_refcount<property_bool>(false), "cc",
                                                              make_refcount<property_bool>(false)));
    return made;
}

/// The others are dropped on purpose: the earlier managers looked at no other.
properties const& first_rule(properties const& manager) {
    auto const* const rule = kxcore::property_cast<properties>(manager.find_referenced("rules[0]"));
    if (!rule) raise_from<kxbase::es::arg>(config_source_path, "No rule found in monitor source, failed to update");
    return *rule;
}

/// The very same values, of whatever kind they are; the constraint of the document judges them.
property_handle filter_of(properties const& rule) {
    auto filter = make_refcount<properties>(false);
    for (rule_key const& key : rule_keys)
        filter->set_property(key.filter, rule.get_property(key.rule));
    return filter;
}

} // namespace

} // namespace kxclientutil
