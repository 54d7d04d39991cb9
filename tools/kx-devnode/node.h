#pragma once

/// @file
/// The node: accepts clients and gives each a thread.

#include "visit.h"

#include <kxnet/listener.h>

#include <atomic>
#include <list>
#include <memory>
#include <thread>
#include <utility>

namespace devnode {

/// Serves clients until it is gone: then all of them have been sent away, and no thread is left.
class node {
public:
    /// Begins to listen and to serve.
    ///
    /// @param port  0 for a free one
    /// @throws es::call, es::arg as kxnet::listener
    node(unsigned int port, kxnet::server_options const& options, service const& from);
    ~node();
    node(node const&) = delete;
    node& operator=(node const&) = delete;

    [[nodiscard]] unsigned int port() const noexcept { return listener_.port(); }

private:
    struct guest {
        guest(std::unique_ptr<kxnet::packet_stream> stream, service const& from) : served(std::move(stream), from) {}

        visit served;
        std::thread thread{};
    };

    void accept() noexcept;
    void take_in(std::unique_ptr<kxnet::packet_stream> client);
    void let_go_of_the_gone();
    void make_room_among_strangers();

    service from_;
    kxnet::listener listener_;
    std::atomic<bool> is_closing_ = false;
    std::list<guest> guests_; // the accepting thread's own
    std::thread accepting_;
};

} // namespace devnode
