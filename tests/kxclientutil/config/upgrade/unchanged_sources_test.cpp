#include "kxclientutil/config/upgrade/upgrade_fixture.h"

#include <kxclientutil/config.h>

namespace kxclientutil {

namespace {

using namespace kx_test; // NOLINT(google-build-using-namespace): the words of the test

class unchanged_sources : public upgrade_fixture {};

TEST_F(unchanged_sources, are_copied_whatever_the_versions) {
    auto const document = tree(
        {{"int-meta", number(1)}, {"text", text("$encoder-id$")}, {"files", list({tree({{"url", text("kxrc:/a")}})})}});
    for (auto* const update : {update_edl_source, update_iseq_source})
        for (auto const& [from, to] : {std::pair(1U, 7U), {0U, 7U}, {7U, 7U}, {6U, 7U}, {7U, 1U}, {1U, 99U}}) {
            auto const result = upgrade(*update, document, from, to);
            EXPECT_EQ(*result, *document);
            EXPECT_NE(result, document) << "the caller's own";
        }
}

TEST_F(unchanged_sources, may_be_empty) {
    EXPECT_TRUE(upgrade(update_edl_source, tree({}), 1, 7)->empty());
    EXPECT_TRUE(upgrade(update_iseq_source, tree({}), 1, 7)->empty());
}

} // namespace

} // namespace kxclientutil
