#pragma once

/// @file
/// URLs: texts `scheme ":" ["//" authority] path ["?" query] ["#" fragment]`, split leniently and never rejected for a
/// blank, a '$' or a '>'. A scheme is made of ASCII letters, digits, '+', '-', '.' and '_', compared as written; a
/// single letter is a drive letter, not a scheme.
///
/// A text without a scheme is a path, not a URL. It is neither decoded nor encoded; '#' and '?' in it are its own; it
/// has no query, fragment, host, user or password, and setting one leaves it as it is.
///
/// `decode` asks for a component with its %XX undone. Nothing is lost by that: what encoding could not tell apart again
/// stays encoded ("%2F" in a path, "%26", "%3D" and "%2B" in a query, and "%25" where the text behind it would then be
/// mistaken for one of these). `encode` asks for what a component cannot hold to be percent-encoded; '$' stays, and a
/// query keeps '=', '&' and well-formed %XX. Without it the text is put as it is. So for every well-encoded u
/// `url_new_path(u, url_path(u, true), true) == u`, and any other settles after one pass.

#include <kxbase/export.h>

#include <string>
#include <string_view>
#include <utility>

namespace kxbase {

/// The scheme without its ':', empty for a path. Both names do the same.
[[nodiscard]] KXBASE_EXPORT std::string url_scheme(std::string_view url);
[[nodiscard]] KXBASE_EXPORT std::string uri_scheme(std::string_view uri);

/// A compound scheme split at the first separator: the base scheme and the part after the separator. Where there is no
/// separator the second is empty: split_scheme("file+iseq", '+') gives "file" and "iseq".
[[nodiscard]] KXBASE_EXPORT std::pair<std::string, std::string> split_scheme(std::string_view scheme, char separator);

/// The components, each empty where the URL has none.
[[nodiscard]] KXBASE_EXPORT std::string url_user(std::string_view url, bool decode);
[[nodiscard]] KXBASE_EXPORT std::string url_password(std::string_view url, bool decode);
[[nodiscard]] KXBASE_EXPORT std::string url_host(std::string_view url, bool decode);
[[nodiscard]] KXBASE_EXPORT std::string url_path(std::string_view url, bool decode);
[[nodiscard]] KXBASE_EXPORT std::string url_query(std::string_view url, bool decode);
[[nodiscard]] KXBASE_EXPORT std::string url_fragment(std::string_view url, bool decode);

/// The URL with another scheme. A path becomes a URL by it and is encoded; the empty scheme leaves `scheme ":"` out.
/// @throws es::arg for a text that is no scheme
[[nodiscard]] KXBASE_EXPORT std::string url_set_scheme(std::string_view url, std::string_view scheme);

/// The URL with another host; user, password and port stay. The empty host takes the whole authority away, "//" too.
[[nodiscard]] KXBASE_EXPORT std::string url_set_host(std::string_view url, std::string_view host, bool encode = true);

/// The URL with another path. A path never makes an authority: "//" at its head is folded where the URL has none, and
/// one without a leading '/' gets it where it has one. A text without a scheme is replaced whole.
[[nodiscard]] KXBASE_EXPORT std::string url_new_path(std::string_view url, std::string_view path, bool encode);

/// The URL with another query, given without its '?'; the empty one leaves no '?' behind.
[[nodiscard]] KXBASE_EXPORT std::string url_set_query(std::string_view url, std::string_view query, bool encode);

/// The URL with another fragment, given without its '#'; the empty one leaves no '#' behind. Both names do the same.
[[nodiscard]] KXBASE_EXPORT std::string url_set_fragment(std::string_view url, std::string_view fragment, bool encode);
[[nodiscard]] KXBASE_EXPORT std::string url_new_fragment(std::string_view url, std::string_view fragment, bool encode);

/// The URL for messages: the password is replaced by "***", the user stays; so is the value, where there is one, of each
/// parameter of query and fragment whose name says that it is a secret (`is_secret_parameter` of secret_names.h).
///
/// A password may hold an unencoded '@', '/', '?' or '#', so everything from the first ':' of the authority to the last
/// '@' of the text is taken for it: a URL with a port and an '@' further on shows less than it could. A parameter is
/// `name=value` behind a '?', '#', '&' or ';', and its value goes to the next '&' or '#'; a path has none.
[[nodiscard]] KXBASE_EXPORT std::string url_protected_output(std::string_view url);

/// A text for people: as `url_protected_output` when it is one line that begins with a scheme and "//", or with a scheme
/// and has no blank; the same for each URL with a "://" in any text, up to a blank, a line end, a quote or an angle bracket;
/// and secret parameters of a line with a scheme. All else stays as it is. Takes time in proportion to the text.
[[nodiscard]] KXBASE_EXPORT std::string without_url_secrets(std::string_view text);

/// A URL as it is; a path as a "file:" URL: "file:/path" for an absolute one, "file:/C:/path" for one with a drive
/// letter, "file://server/share/path" for a UNC path. A path with a drive letter, a UNC path, and one that knows no
/// other separator than '\' gets '/' for each '\'. A relative path is made absolute against `base` (a folder, as a path
/// or a URL, whose scheme it then takes), or the current folder where that is empty; a text that begins with '$' counts
/// as absolute: "$TMPPATH$/x" gives "file:$TMPPATH$/x". The empty text stays empty.
/// @throws es::call where the current folder is needed and can't be found
[[nodiscard]] KXBASE_EXPORT std::string url_create_from_url_or_path(std::string_view url_or_path,
                                                                    std::string_view base);

// Elements of the path component. A text without a scheme has them, too: its elements stand between '/', and between
// '\' as well when it has a drive letter or is a UNC path.

/// The path of the folder: the path before its last element, without trailing separator. Empty for the root.
/// "file:/watch/in/" has "/watch/in", "file:/watch/in" has "/watch".
[[nodiscard]] KXBASE_EXPORT std::string url_path_directory(std::string_view url, bool decode);

/// The file part: what stands behind the last separator, empty behind a trailing one. Both names do the same.
[[nodiscard]] KXBASE_EXPORT std::string url_path_file(std::string_view url, bool decode = true);
[[nodiscard]] KXBASE_EXPORT std::string url_path_back(std::string_view url, bool decode = true);

/// The file part without its suffix, and the suffix without its dot. The dot of a hidden file (".profile") and one at
/// the very end begin no suffix.
[[nodiscard]] KXBASE_EXPORT std::string url_path_name(std::string_view url, bool decode = true);
[[nodiscard]] KXBASE_EXPORT std::string url_path_suffix(std::string_view url, bool decode = true);

/// The URL without the last element of its path and the separator before it (the root's '/' stays); query and fragment
/// stay.
[[nodiscard]] KXBASE_EXPORT std::string url_path_popped_back(std::string_view url);

/// The URL with another file part; the empty one leaves the folder with its trailing '/'. Query and fragment stay. Both
/// names do the same.
[[nodiscard]] KXBASE_EXPORT std::string url_path_set_file(std::string_view url, std::string_view file,
                                                          bool encode = true);
[[nodiscard]] KXBASE_EXPORT std::string url_path_new_file(std::string_view url, std::string_view file,
                                                          bool encode = true);

} // namespace kxbase
