#pragma once

// What a node that was left by its clients must not keep.

#include "devnode_client.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace kx_test {

/// What a node has before its clients come; when they have gone it must have no more.
class footprint {
public:
    explicit footprint(devnode_process const& node)
        : node_(node), descriptors_(node.descriptors()), threads_(node.threads()) {
        // The first client may bring what stays: no more than that counts as nothing.
        static_cast<void>(logged_in(node));
        EXPECT_TRUE(eventually([&] { return has_nobody(); }));
        descriptors_ = node.descriptors();
    }

    [[nodiscard]] bool has_nobody() const { return node_.threads() <= threads_; }

    /// Whether it is the same again, and the next client is served.
    void expect_same() const {
        EXPECT_TRUE(eventually([this] { return node_.descriptors() <= descriptors_ && has_nobody(); }))
            << node_.descriptors() << " descriptors, " << node_.threads() << " threads, before " << descriptors_
            << " and " << threads_;
        EXPECT_TRUE(logged_in(node_)->is_logged_in());
    }

private:
    devnode_process const& node_;
    std::size_t descriptors_;
    std::size_t threads_;
};

} // namespace kx_test
