#include "config/preset.h"

#include "kxclientutil/support/trees.h"
#include "support/scratch_folder.h"

#include <kxbase/errors.h>
#include <kxcore/plugin_db.h>
#include <kxcore/taskutil.h>

#include <gtest/gtest.h>

namespace kxclientutil {

namespace {

using kx_test::text;
using kx_test::tree;

TEST(preset, is_told_by_the_exact_suffix_of_its_url) {
    for (char const* url :
         {"file:/a.setting", "file:/folder/a.b.setting", "http://host/a.setting?query#fragment", "a.setting"})
        EXPECT_TRUE(is_preset_url(url)) << url;
    for (char const* url :
         {"file:/a.Setting", "file:/a.settings", "file:/setting", "file:/.setting", "file:/a.setting/b",
          "file:/a.xml?x=.setting", "file:/a.xml#.setting", "file:/a.%73etting", ""})
        EXPECT_FALSE(is_preset_url(url)) << url;
}

TEST(preset, stands_for_a_task_of_the_encoder) {
    kx_test::scratch_folder const folder;
    kxcore::plugin_db const plugins;
    std::string const path = folder.write("HD 1080.setting", "bitrate = 8000\n");
    auto const configuration = kxcore::taskutil::create_configuration_from_setting("HD 1080", "bitrate = 8000\n", true);
    for (std::string const& url : {path, "file:" + folder.path().string() + "/HD%201080.setting"})
        EXPECT_EQ(create_preset_task(url, plugins), *tree({{"plugin-id", text("task/regular/ogencoder/1.0")},
                                                           {"configuration", configuration},
                                                           {"name", configuration->get_property("name")}}));
}

TEST(preset, raises_for_a_file_that_cannot_be_read) {
    kx_test::scratch_folder const folder;
    EXPECT_THROW(static_cast<void>(create_preset_task(folder.file("no.setting"), kxcore::plugin_db())),
                 kxbase::es::call);
}

} // namespace

} // namespace kxclientutil
