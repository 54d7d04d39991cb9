#pragma once

/// @file
/// Paths and URLs as documents write them: placeholders for the folders of a machine ("$USERHOMEPATH$"), the
/// test that tells a URL from a plain value, and the resource URIs ("kxrc:") under which the files of a
/// submission travel.

#include <kxclientutil/export.h>

#include <kxbase/ptr_refcount.h>

#include <string>
#include <string_view>

namespace kxcore {
class property;
}

namespace kxclientutil {

/// Sets what a placeholder stands for, in every later resolution of this process. An entry of that name, a
/// built-in one included, is replaced; nothing can be removed again. The built-in entries, which exist before
/// the first call acts, are "$EXEPATH$", "$USERHOMEPATH$", "$PRODLONG$", "$TMPPATH$",
/// "$USERMOVIEPATH$", "$USERDESKTOPPATH$" and "$COMMONAPPDATA$".
///
/// @param name   the placeholder exactly as paths write it, normally with a '$' at each end ("$MEDIA$"); it
///               is not checked, and an empty name is never found.
/// @param value  the text that takes its place; it may be empty and is not resolved again.
///
/// Raises nothing of its own. Call it during start-up: it must not run beside another call of this header.
KXCLIENTUTIL_EXPORT void add_resolve_path(std::string const& name, std::string const& value);

/// The path with every known placeholder replaced. An unknown placeholder stays as it is, and nothing is
/// normalized. A built-in folder that this system does not have resolves to the empty text.
///
/// Placeholders are plain texts: dollar signs are not paired, and what was put in is not looked at again.
/// Raises nothing of its own. Any number of threads may resolve once the start-up's add_resolve_path() calls
/// are done.
[[nodiscard]] KXCLIENTUTIL_EXPORT std::string resolve_path(std::string const& path);

/// The URL with the placeholders of its path component resolved and that path normalized to '/' separators.
/// Scheme, host, query and fragment stay as they are; a placeholder in one of them is not resolved.
///
/// @param url  a URL, or a text without a scheme, which counts as a path.
/// @see resolve_path for the placeholders, errors and threads.
[[nodiscard]] KXCLIENTUTIL_EXPORT std::string resolve_url_path(std::string const& url);

/// Whether the value is a string that starts with a URL scheme and ":/". Within its first 15 characters there
/// must be a ":/", and before the first one 1 to 13 characters out of a-z, 0-9, '+', '-' and '.'. Capitals
/// are none of them, so "FILE:/x" and "C:/clip.mov" are no URLs, while "c:/clip.mov" is one.
///
/// @param value  an empty handle and a value of another kind are no URL.
[[nodiscard]] KXCLIENTUTIL_EXPORT bool is_url(kxbase::ptr_refcount<kxcore::property const> const& value);

/// Whether the value is a URL (is_url()) to something that can be read byte by byte: one that begins with
/// "file:/", "kxfs://", "kxrc:/", "smb://" or "ftp://", compared case-sensitively.
[[nodiscard]] KXCLIENTUTIL_EXPORT bool
is_url_to_physical_resource(kxbase::ptr_refcount<kxcore::property const> const& value);

/// The URI by which a finalized submission refers to a file.
///
/// - A URI that begins with "kxrc:/#!" is finished and comes back unchanged.
/// - A URL of another scheme than "file" (or "file+REST") only gets the fragment; its placeholders stay.
/// - A "file" URL gets its path resolved (resolve_url_path()) and the fragment set. With @p as_resource its
///   scheme becomes "kxrc" ("kxrc+REST") and its host is emptied, so that the file is fetched from the
///   submitting client.
///
/// @param url          the URL of the file.
/// @param fragment     replaces any fragment of the URL; the node list of a submission. An empty one leaves
///                     no fragment.
/// @param as_resource  whether files become resources that travel with the submission.
[[nodiscard]] KXCLIENTUTIL_EXPORT std::string create_resource_uri(std::string_view url, std::string const& fragment,
                                                                  bool as_resource);

} // namespace kxclientutil
