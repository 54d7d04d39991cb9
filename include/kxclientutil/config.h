#pragma once

/// @file
/// Configuration documents: the types there are, reading and writing them, the upgrade of those of earlier versions, the
/// tags that a task or workflow requires of a node, and the workflow variables that texts and values may hold. Ready-made
/// tasks and monitor sources have headers of their own, which come with this one.

#include <kxclientutil/export.h>
#include <kxclientutil/monitor_source.h> // IWYU pragma: export
#include <kxclientutil/user_task.h>      // IWYU pragma: export

#include <kxcore/configuration.h>

#include <kxbase/ptr_refcount.h>

#include <cstdint>
#include <map>
#include <string>

namespace kxbase {
class buffer;
}

namespace kxcore {
class constraint_db;
class plugin_db;
class properties;
class property_list;
} // namespace kxcore

namespace kxclientutil {

/// The type of a document. The values are fixed: clients store them.
enum e_config_type : std::uint32_t {
    config_unknown = 0,
    config_filter = 1,
    config_encoder = 2,
    config_packetizer = 3,
    config_exporter = 4,
    config_task = 5,
    config_workflow = 6,
    config_submission = 7,
    config_file_source = 8,
    config_monitor_source = 9,
    config_edl_source = 10,
    config_iseq_source = 11,
};

/// The name of a document type, a static text: the document identifier of types 5 to 11 ("task",
/// "file-source"), and "unknown" for everything else. The four media component types, 1 to 4, have no
/// printable name; that is meant.
[[nodiscard]] KXCLIENTUTIL_EXPORT char const* type_c_str(e_config_type type);

/// Reads a document from memory: parses it, checks it against the installation's constraints, unwraps its
/// credentials and normalizes its URLs. Every string under a path that contains "url}" comes back with the
/// placeholders of its path resolved; a "kxrc:" URL there becomes the "file:" URL of the same path.
///
/// @param data         the stored document; the whole buffer.
/// @param plugins      the installation's plugins.
/// @param constraints  the installation's constraints; only the one of the document's own type must be there.
/// @param out          replaced by the document.
/// @param format       where to put the format that the document was stored in; null when nobody asks.
/// @return             the type.
///
/// A document of an earlier version is upgraded to version 7 first: see the upgrades below, and docs/documents.md for
/// what they drop.
///
/// An error leaves @p out as it was, except where a document of an earlier version can't be upgraded, or has no constraint
/// or does not fit it then: the document is there as it was stored, with its credentials unwrapped.
///
/// @throws es::arg "Unexpected configuration data, data contains '%s'" for a document of a foreign identifier,
///         "Unknown configuration data" for what is no document, "Invalid configuration data" for a broken one (the log
///         has more), "failed to find constraint for ('%s')" when @p constraints has none for the identifier, "Invalid
///         configuration ('%s')" with the reason when the document does not fit its constraint or lacks a value, "Not
///         implemented" for a filter, encoder, packetizer or exporter of an earlier version than 7; besides, what the
///         reader says beyond its limits, what unwrapping says of a credential that can't be unwrapped, and what the
///         upgrade says of a document that lacks what it needs
KXCLIENTUTIL_EXPORT e_config_type read_config(kxbase::buffer const& data, kxcore::plugin_db const& plugins,
                                              kxcore::constraint_db const& constraints, kxcore::properties& out,
                                              kxcore::configuration::format* format);

/// Reads a document from a file, as read_config() does. A file with the suffix "setting" is taken for a
/// legacy encoder preset, whatever it holds, and comes back as a task of the encoder. A source without a
/// "name" gets its file's name and the mark "name-absent", so that write_config_file() does not store it.
///
/// @param path_or_url  a path (relative to the current folder), or a URL that the installation can read from.
/// @return             the type; config_unknown, with @p out untouched, for a file that is no document.
///
/// @throws es::arg as read_config() does; es::unsupp "user-task constraint missing" for a preset when @p constraints
///         lacks "node.user-task"; es::call for a file that can't be read
KXCLIENTUTIL_EXPORT e_config_type read_config_file(std::string const& path_or_url, kxcore::plugin_db const& plugins,
                                                   kxcore::constraint_db const& constraints, kxcore::properties& out,
                                                   kxcore::configuration::format* format);

/// Reads a document as read_config() does, for whoever changes it and writes it back: all URLs stay as the document has
/// them, since the folders of this machine that placeholders stand for here are not those of the node that will use it.
///
/// @throws as read_config() does
KXCLIENTUTIL_EXPORT e_config_type read_config_to_edit(kxbase::buffer const& data, kxcore::plugin_db const& plugins,
                                                      kxcore::constraint_db const& constraints, kxcore::properties& out,
                                                      kxcore::configuration::format* format);

/// The same for a file. A source without a "name" stays without one; a preset is read as read_config_file() does it.
///
/// @return  the type; config_unknown, with @p out untouched, for a file that is no document.
/// @throws as read_config_file() does
KXCLIENTUTIL_EXPORT e_config_type read_config_file_to_edit(std::string const& path_or_url,
                                                           kxcore::plugin_db const& plugins,
                                                           kxcore::constraint_db const& constraints,
                                                           kxcore::properties& out,
                                                           kxcore::configuration::format* format);

/// Whether a file looks like something for read_config_file(): a preset (suffix "setting", not looked into),
/// or a document by its first bytes, even one of a foreign identifier or broken further down.
///
/// @throws es::call for a file that can't be read; a preset is not even opened
[[nodiscard]] KXCLIENTUTIL_EXPORT bool recognizes_file(std::string const& path_or_url,
                                                       kxcore::plugin_db const& plugins);

/// Writes a document at version 7. Run dependencies of a workflow or a submission are left out at every
/// depth, and no credential is written in the clear: a string under a path that contains "url}" is wrapped
/// when it has a user or a password, one under a path that contains "password}" always. It does not check the
/// document against its constraint.
///
/// @param type         a member of the enumeration.
/// @param constraints  must have the constraint of the type.
/// @param document     stays as it is.
/// @param out          the stored document is appended to it.
/// @param format       the core library's format: XML or binary.
///
/// @throws es::arg "Unknown configuration type" for config_unknown and for what is no document type, "Failed to find
///         constraint for ..." when the constraint is missing, and what the writer says of a document that could not be
///         read back; @p out is then as it was
KXCLIENTUTIL_EXPORT void write_config(e_config_type type, kxcore::constraint_db const& constraints,
                                      kxcore::properties const& document, kxbase::buffer& out,
                                      kxcore::configuration::format format);

/// Writes a document to a file, as write_config() does, without the name that read_config_file() lent to a
/// source. The file is the old or the new one, whole, whatever happens.
///
/// @throws es::arg as write_config() does, before the file is touched; es::call when it can't be written
KXCLIENTUTIL_EXPORT void write_config_file(std::string const& path_or_url, e_config_type type,
                                           kxcore::plugin_db const& plugins, kxcore::constraint_db const& constraints,
                                           kxcore::properties const& document, kxcore::configuration::format format);

/// @name Upgrades
/// The upgrade of one type of document from an earlier version. read_config() does it with every document that is older
/// than version 7; call these for a tree that came another way.
///
/// @param document      as version @p from_version has it, its credentials unwrapped. It is not changed, and the result
///                      shares every value that no step touches.
/// @param from_version  the version of the document; 0 is upgraded as 1 is.
/// @param to_version    the version to come to, at most 7. When it is not above @p from_version nothing is changed.
/// @return              a new tree.
///
/// What an upgrade drops and what it makes up is told version by version in docs/documents.md, chapter "Versions". None
/// of them checks the document against a constraint.
///
/// @throws es::arg naming the key when a member that a step needs is missing or of another kind
/// @{

/// Brings up to date what a task calls its source and its name, and the variables in its texts.
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
update_task(kxcore::properties const& document, unsigned int from_version, unsigned int to_version,
            kxcore::plugin_db const& plugins, kxcore::constraint_db const& constraints);

/// From version 1 the workflow is built anew: deliveries of encoders become tasks and connections of their own. Tasks of
/// other plugins than the encoder, the upload and YouTube are not carried over, nor is the name of the workflow.
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
update_workflow(kxcore::properties const& document, unsigned int from_version, unsigned int to_version,
                kxcore::plugin_db const& plugins, kxcore::constraint_db const& constraints);

/// Upgrades the workflow and the source in it, version by version.
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
update_submission(kxcore::properties const& document, unsigned int from_version, unsigned int to_version,
                  kxcore::plugin_db const& plugins, kxcore::constraint_db const& constraints);

/// From version 1 the source is built anew of its name, its "ext-meta" and the URL and "workflow-meta" of its files.
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
update_file_source(kxcore::properties const& document, unsigned int from_version, unsigned int to_version,
                   kxcore::plugin_db const& plugins, kxcore::constraint_db const& constraints);

/// To version 7 the source is built anew, from whatever version: it must be in the form of an earlier one.
///
/// @throws es::arg also with "No rule found in monitor source, failed to update"
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
update_monitor_source(kxcore::properties const& document, unsigned int from_version, unsigned int to_version,
                      kxcore::plugin_db const& plugins, kxcore::constraint_db const& constraints);

/// A copy: no version has changed this type.
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
update_edl_source(kxcore::properties const& document, unsigned int from_version, unsigned int to_version,
                  kxcore::plugin_db const& plugins, kxcore::constraint_db const& constraints);

/// A copy: no version has changed this type.
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
update_iseq_source(kxcore::properties const& document, unsigned int from_version, unsigned int to_version,
                   kxcore::plugin_db const& plugins, kxcore::constraint_db const& constraints);

/// @}

/// Lets only nodes with, or only nodes without, a tag run a task or a workflow. A tag that is there already is replaced.
/// Constraints that the document shares with others are copied, never changed.
///
/// @param document  a task or a workflow; its "requirements" is made when it has none.
/// @param tag       any text.
/// @param required  true for nodes that have the tag, false for nodes that don't.
///
/// @throws es::arg with the message `"requirements" is not a constraint db`, its quotes included, also when it is no
///         constraint at all, and the same of "tags" when that is in it and is none; the document is unchanged then
KXCLIENTUTIL_EXPORT void add_task_or_workflow_tag(kxcore::properties& document, std::string const& tag, bool required);

/// Takes a tag back, required or excluded. With the last tag "tags" goes as well, and with that "requirements" when it
/// holds nothing else. A tag that is not there is no error.
///
/// @throws es::arg as add_task_or_workflow_tag() does
KXCLIENTUTIL_EXPORT void remove_task_or_workflow_tag(kxcore::properties& document, std::string const& tag);

/// The workflow variables: from name ("source.filename") to the "kxvar:/" URI that stands for it in a task.
/// The reference stays valid until the library is unloaded. May be called from any thread.
[[nodiscard]] KXCLIENTUTIL_EXPORT std::map<std::string, std::string> const& get_variable_map();

/// The URI of a variable, or the argument itself, dollar signs included, when it names none.
/// @param name  bare ("source.filename") or as a reference ("$source.filename$"); case matters.
[[nodiscard]] KXCLIENTUTIL_EXPORT std::string get_variable(std::string const& name);

/// Whether the name, bare or as a reference, is one of a workflow variable.
[[nodiscard]] KXCLIENTUTIL_EXPORT bool is_recognized_variable(std::string const& name);

/// Splits a text at its dollar signs into a new list of strings: variables as references ("$uuid$"),
/// everything else as it stands, without empty pieces. Dollar signs are not paired: in "uuid$-x" the first
/// piece is a variable too, and "$unknown$" gives "unknown". An empty text gives an empty list.
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::property_list>
get_dollar_variable_list(std::string const& text);

} // namespace kxclientutil
