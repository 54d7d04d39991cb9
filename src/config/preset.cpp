#include "config/preset.h"

#include <kxbase/urls.h>
#include <kxcore/ioutil.h>
#include <kxcore/property_values.h>
#include <kxcore/taskutil.h>

namespace kxclientutil {

using kxbase::make_refcount;
using kxcore::property_string;

bool is_preset_url(std::string const& url) {
    return kxbase::url_path_suffix(url, false) == "setting";
}

kxcore::properties create_preset_task(std::string const& url, kxcore::plugin_db const& plugins) {
    std::string const name = kxbase::url_path_name(url);
    std::string text;
    kxcore::ioutil::get_file_content(url, text, plugins);
    auto const configuration = kxcore::taskutil::create_configuration_from_setting(name, text, true);
    return {"plugin-id",     make_refcount<property_string>("task/regular/ogencoder/1.0"),
            "configuration", configuration,
            "name",          configuration->get_property("name")};
}

} // namespace kxclientutil
