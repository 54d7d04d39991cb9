// What each family of workflow variables stands for in a task.
#pragma once

#include <kxcore/property.h>

#include <optional>
#include <string>
#include <string_view>

namespace kxcore {
class properties;
}

namespace kxworkflow {
class workflow_builder;
}

namespace kxclientutil {

class task_chain;

/// A variable in a configuration.
struct workflow_variable {
    std::string text;  ///< what stands there
    std::string name;  ///< "encoder.name"; of an alias, the name of what it stands for
    std::string query; ///< the accessor that its URI applies; empty for most
};

/// The variable that a text is; nothing when it is none. A name, with or without dollar signs, is as good as the URI that
/// stands for it.
[[nodiscard]] std::optional<workflow_variable> read_workflow_variable(std::string_view text);

/// Where a variable stands.
struct variable_place {
    kxworkflow::workflow_builder const& builder;
    task_chain& chain;
    std::string const& wtid;
    kxcore::properties const& configuration; ///< of that task, resolved as far as that went until now
};

/// What takes the place of a variable: a value, or what the output of a task gives; with neither it stays.
struct variable_value {
    kxcore::property_handle value;
    std::string from_wtid;
    std::string output;
    std::string problem; ///< why it stays, for people
};

/// Finds out what a variable stands for. What can't be resolved is reported and gets neither.
[[nodiscard]] variable_value resolve_workflow_variable(workflow_variable const& variable, variable_place const& place);

} // namespace kxclientutil
