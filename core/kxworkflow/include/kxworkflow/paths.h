#pragma once

/// @file
/// Workflow paths: texts that name one input of one task, for whoever feeds a workflow from
/// outside. A workflow path reads "workflow:ID>NODE", where ID is a wtid (or the id of a whole
/// workflow) and NODE the input. It looks like a URL and is none: ID holds '#', so a path is taken
/// apart here as plain text, at the first '>', and never by URL functions. Nothing is encoded,
/// and nothing is checked; an ID cannot hold '>'.

#include <kxworkflow/export.h>

#include <string>
#include <string_view>

namespace kxworkflow {

/// The scheme of workflow paths: "workflow".
[[nodiscard]] KXWORKFLOW_EXPORT std::string workflow_scheme();

/// The text without a leading "workflow:"; any other text comes back as it is.
[[nodiscard]] KXWORKFLOW_EXPORT std::string workflow_id(std::string_view text);

/// The workflow path "workflow:ID>NODE". `wpath_get_wtid` and `wpath_get_target_node_id` give
/// back what went in.
///
/// @param id   a wtid; it holds no '>'
/// @param node an input, for example "source-url" or "clips[0]{url}"; any text
[[nodiscard]] KXWORKFLOW_EXPORT std::string wpath_create(std::string_view id, std::string_view node);

/// The ID of a workflow path: the text between the scheme (which may be absent) and the first
/// '>'; all of it when there is no '>'.
[[nodiscard]] KXWORKFLOW_EXPORT std::string wpath_get_wtid(std::string_view path);

/// The NODE of a workflow path: all after the first '>'; empty when there is none.
[[nodiscard]] KXWORKFLOW_EXPORT std::string wpath_get_target_node_id(std::string_view path);

} // namespace kxworkflow
