#include "config/resource_url.h"

#include <kxbase/urls.h>

namespace kxclientutil {

bool make_file_url_of_resource(std::string& url) {
    // The scheme exactly: "kxrc+iseq:" is a resource of another sort and stays.
    if (kxbase::uri_scheme(url) != "kxrc") return false;
    url = kxbase::url_new_path("file:", kxbase::url_path(url, true), true);
    return true;
}

} // namespace kxclientutil
