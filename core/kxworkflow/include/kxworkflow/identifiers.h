#pragma once

/// @file
/// Names of tasks and of their inputs and outputs.
///
/// A wtid names one task inside a workflow. It reads "wtid:PLID#INSTANCE": the id of the task's
/// plugin, then a name that sets the task apart from others of that plugin, for example
/// "wtid:task/regular/mail/1.0#to-the-desk". A port is one input or output of a task; its id
/// reads "WTID>NODE".

#include <kxworkflow/export.h>

#include <string>
#include <string_view>

namespace kxworkflow {

/// The plugin id that a wtid begins with.
///
/// @param wtid a wtid, with or without its leading "wtid:"
/// @return the text up to the first '#', the whole text when there is none; empty for a wtid
///         that was made without a plugin
[[nodiscard]] KXWORKFLOW_EXPORT std::string wtid_plid(std::string_view wtid);

/// A fresh wtid that belongs to no plugin: "wtid:#" and a UUID in lower case. A suffix may be
/// appended to it; it stays a name that nobody else has.
[[nodiscard]] KXWORKFLOW_EXPORT std::string wtid_new();

/// A fresh wtid of a plugin: "wtid:PLID#" and a UUID in lower case.
[[nodiscard]] KXWORKFLOW_EXPORT std::string wtid_new(std::string_view plid);

/// The wtid of the task of that plugin with that instance name: "wtid:PLID#INSTANCE". Nothing is
/// checked; whether a workflow has such a task is the workflow's to say.
[[nodiscard]] KXWORKFLOW_EXPORT std::string wtid_create(std::string_view plid, std::string_view instance);

/// A fresh name for a port: "port:" and a UUID in lower case.
[[nodiscard]] KXWORKFLOW_EXPORT std::string port_new();

/// The id of one input or output of a task: "WTID>NODE". Nothing is checked.
[[nodiscard]] KXWORKFLOW_EXPORT std::string port_new_id(std::string_view wtid, std::string_view node);

} // namespace kxworkflow
