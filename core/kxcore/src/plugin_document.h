// The shape of a plugin document (docs/installation.md), checked and taken apart.
#pragma once

#include <kxcore/constraint_finding.h>
#include <kxcore/fwd.h>
#include <kxcore/plugin_info.h>

#include <string>
#include <string_view>
#include <vector>

namespace kxcore {

/// One thing that is wrong with a document: the property path, empty for the document itself, and
/// what was found and expected there.
struct document_problem {
    std::string path;
    std::string what;
};

/// A plugin document taken apart. Values are shared with the document.
struct plugin_document {
    std::string id;
    std::string name;
    kxbase::ptr_refcount<properties const> default_configuration;
    /// The tree form of the constraint on configurations; empty when the document has none.
    kxbase::ptr_refcount<properties const> configuration_constraint;
    std::vector<plugin_port> inputs;
    std::vector<plugin_port> outputs;
    std::vector<plugin_published_value> published;
};

/// Takes a plugin document apart. Everything that does not fit is appended to @p problems; the
/// result is only good when nothing was.
[[nodiscard]] plugin_document read_plugin_document(properties const& document, std::vector<document_problem>& problems);

/// Appends findings on the value at @p outer.
void append_findings(std::vector<finding> const& findings, std::string_view outer,
                     std::vector<document_problem>& problems);

/// The path of something inside the value at @p outer: "inputs" and "a{b}" give "inputs{a}{b}".
[[nodiscard]] std::string inner_path(std::string_view outer, std::string_view inner);

} // namespace kxcore
