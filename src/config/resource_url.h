// Resource URLs ("kxrc:") in documents. The resource of an earlier submission is a file to whoever reads the document.
#pragma once

#include <string>

namespace kxclientutil {

/// Turns a "kxrc:" URL into the "file:" URL of the same path and gives true; any other text is left alone. The fragment
/// and the query go, so "kxrc:/#!x" comes out as "file:/".
[[nodiscard]] bool make_file_url_of_resource(std::string& url);

} // namespace kxclientutil
