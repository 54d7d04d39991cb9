#pragma once

/// @file
/// Configuration documents: the types there are, reading and writing them, and the workflow variables that
/// their texts and values may hold.

#include <kxclientutil/export.h>

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
/// An error leaves @p out as it was, except one about a document of an older version: it leaves the document there as
/// it was stored, with its credentials unwrapped.
///
/// @throws es::arg "Unexpected configuration data, data contains '%s'" for a document of a foreign identifier,
///         "Unknown configuration data" for what is no document, "Invalid configuration data" for a broken one (the log
///         has more), "failed to find constraint for ('%s')" when @p constraints has none for the identifier, "Invalid
///         configuration ('%s')" with the reason when the document does not fit its constraint or lacks a value, "Not
///         implemented" for a filter, encoder, packetizer or exporter of an older version than 7, and a message that
///         names the version for any other document of an older version: they can't be read yet; besides, what the
///         reader says beyond its limits, and the unwrapping of a credential that can't be unwrapped
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
