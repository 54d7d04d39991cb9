#pragma once

/// @file
/// Ready-made tasks: each function builds the document of one task for one step after (or before) encoding, out of a few
/// texts. Nothing is contacted; only the script of get_execute_task_with_content() is read.
///
/// All of them begin with the plugin's default configuration, set what their arguments say, in the place of what the
/// default has under the same key, and merge the caller's extra settings last, as trees merge: an extra setting wins over
/// both, and neither the default nor the extra settings change. The result is a new tree of "configuration", "plugin-id"
/// and "name", and nothing is checked: empty texts are as good as others, and what an extra setting makes of the task is
/// the caller's business.
///
/// What the task before wrote is not known before the workflow runs: "source-url" (or "source-urls") is then a deferred
/// reference to the output "dest-url" of that task.
///
/// A URL among the arguments is kept and a path becomes a "file:" URL; both then have the placeholders of their paths
/// resolved (resolve_url_path()). The empty text stays empty; it never becomes the current folder.
///
/// All raise es::arg "No plugin info for %s", with the plugin's id, when the database does not describe the plugin.

#include <kxclientutil/export.h>

#include <kxbase/ptr_refcount.h>

#include <list>
#include <string>

namespace kxcore {
class plugin_db;
class properties;
} // namespace kxcore

namespace kxclientutil {

/// A task that deletes a file, "task/regular/delete/1.0".
///
/// @param name     the name of the task.
/// @param source   a path or URL.
/// @param plugins  the installation's plugins.
/// @param extra    settings to merge into the configuration.
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
get_delete_user_task(std::string const& name, std::string const& source, kxcore::plugin_db const& plugins,
                     kxcore::properties const& extra);

/// A task that moves a file to a folder, "task/regular/move/1.0". It is named after the folder, with or without a
/// separator at its end, as the argument has it, or "Untitled".
///
/// @param source    a path or URL.
/// @param dest_dir  a path or URL.
/// @param plugins   the installation's plugins.
/// @param extra     settings to merge into the configuration.
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
get_move_user_task(std::string const& source, std::string const& dest_dir, kxcore::plugin_db const& plugins,
                   kxcore::properties const& extra);

/// A task that copies what the task before wrote to a folder or a server, "task/regular/upload/1.0".
///
/// @param dest_dir        a path or URL; the task is named after the folder that its last separator closes
///                        ("file:/out/web/" is "web", "file:/out/web" is "out"), or "Untitled". "SAS", in small or
///                        capital letters, stands for the folder of the source file, and the task is "Same As Source".
/// @param plugins         the installation's plugins.
/// @param extra           settings to merge into the configuration.
/// @param encoder_prefix  whether the copy is named after the encoder and the source file, with a hyphen between them;
///                        else the plugin's default decides.
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
get_transfer_user_task(std::string const& dest_dir, kxcore::plugin_db const& plugins, kxcore::properties const& extra,
                       bool encoder_prefix);

/// A task that runs a script that travels with it, "task/regular/execute/1.0", or "task/regular/pre-execute/1.0" for one
/// that runs between an encoder and what follows it. It is named after the script's file, or "Untitled".
///
/// @param script_path  a path or URL of this machine; its placeholders are not resolved. The file is read first of all,
///                     its content and its suffix become part of the task.
/// @param plugins      the installation's plugins; the defaults are those of "task/regular/execute/1.0" in both cases.
/// @param extra        settings to merge into the configuration.
/// @param pre_execute  whether the script gets the encoder's result as its source, and ENCODER_NAME, SOURCE_PATH and
///                     SOURCE_URL in its environment.
/// @throws what kxcore::ioutil::get_file_content() does for a file that can't be read
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
get_execute_task_with_content(std::string const& script_path, kxcore::plugin_db const& plugins,
                              kxcore::properties const& extra, bool pre_execute);

/// The same for a script that lies on the node already.
///
/// @param script_path  is stored as it stands, neither made a URL nor resolved nor read. The task is named after what
///                     follows its last '\', on every system; '/' separates nothing, so "/opt/a.sh" is the whole name.
/// @param plugins      as above.
/// @param extra        as above.
/// @param pre_execute  as above.
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
get_execute_task_with_path(std::string const& script_path, kxcore::plugin_db const& plugins,
                           kxcore::properties const& extra, bool pre_execute);

/// A task that sends a mail, "task/regular/mail/1.0". It is named after its receiver: its name is the very value that the
/// configuration has as "to-mail" in the end.
///
/// @param username   who logs in at the server; empty when nobody has to.
/// @param password   held in the clear, as a document in memory does; writing the document protects it.
/// @param server     a host name.
/// @param from_mail  an address.
/// @param to_mail    addresses.
/// @param subject    a text with workflow variables in it, "$source.name$ done"; see get_dollar_variable_list().
/// @param body       such a text, too.
/// @param plugins    the installation's plugins.
/// @param extra      settings to merge into the configuration.
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
get_mail_user_task(std::string const& username, std::string const& password, std::string const& server,
                   std::string const& from_mail, std::string const& to_mail, std::string const& subject,
                   std::string const& body, kxcore::plugin_db const& plugins, kxcore::properties const& extra);

/// A task that packages what encoders wrote as one multi-bit-rate stream, "task/regular/mbr/1.0". It is named after the
/// package: its name is the very value that the configuration has as "package-name" in the end, which is the type of the
/// package when neither the plugin's default nor an extra setting names it.
///
/// @param package_type  a type that the plugin knows, "hls".
/// @param plugins       the installation's plugins.
/// @param extra         settings to merge into the configuration.
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
get_mbr_user_task(std::string const& package_type, kxcore::plugin_db const& plugins, kxcore::properties const& extra);

/// A task that publishes a film on the video site, "task/regular/youtube/1.0". It is named "USERNAME - YouTube".
///
/// @param username     the account.
/// @param password     held in the clear, as above.
/// @param title        a text with workflow variables in it; see get_dollar_variable_list().
/// @param description  such a text, too.
/// @param category     one of the site's categories.
/// @param keywords     in the order in which the site shows them.
/// @param plugins      the installation's plugins.
/// @param extra        settings to merge into the configuration; "meta-data" merges with the four of above.
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
get_youtube_user_task(std::string const& username, std::string const& password, std::string const& title,
                      std::string const& description, std::string const& category,
                      std::list<std::string> const& keywords, kxcore::plugin_db const& plugins,
                      kxcore::properties const& extra);

} // namespace kxclientutil
