// What the tests of upgrades share: a call that also looks whether the document stays as it was.
#pragma once

#include "kxclientutil/support/config_fixture.h"
#include "kxclientutil/support/submission_fixture.h"
#include "kxclientutil/support/trees.h"
#include "support/captured_report.h"

#include <kxclientutil/config.h>

#include <kxbase/errors.h>
#include <kxcore/constraint_db.h>
#include <kxcore/plugin_db.h>

#include <gtest/gtest.h>

namespace kx_test {

inline constexpr char const* youtube_plid = "task/regular/youtube/1.0";

class upgrade_fixture : public testing::Test {
protected:
    /// The result of one of the upgrades. The document is compared with a deep copy of itself afterwards, error or not.
    [[nodiscard]] tree_handle upgrade(decltype(kxclientutil::update_task)& update, tree_handle const& document,
                                      unsigned int from_version, unsigned int to_version) const {
        auto const before = document->clone();
        try {
            auto const result = update(*document, from_version, to_version, plugins, constraints);
            EXPECT_EQ(*document, *before) << "the document must stay as it was";
            return result;
        } catch (...) {
            EXPECT_EQ(*document, *before) << "the document must stay as it was";
            throw;
        }
    }

    kxcore::plugin_db plugins;
    kxcore::constraint_db constraints{false};
};

} // namespace kx_test
