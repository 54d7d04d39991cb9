#pragma once

/// @file
/// The node: accepts clients and gives each a thread.

#include "visit.h"

#include <kxnet/listener.h>

#include <atomic>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace devnode {

/// Where and how clients come in.
struct entrance {
    std::string address;   ///< empty for all of this host
    unsigned int port = 0; ///< 0 for a free one
    kxnet::server_options transport;
};

/// Serves clients until it is gone: then all of them have been sent away, and no thread is left. Each client is a guest, with
/// a visit on a thread of its own; a guest that has not logged in is a stranger.
///
/// There is room for as many guests as there are descriptors, some that storing jobs needs aside. Strangers may have half
/// of it, and 1,024 places at most: a new one takes the place of the one that has taken its time for longest. Nobody takes
/// the place of a guest that has logged in.
class node {
public:
    /// Begins to listen and to serve.
    ///
    /// @throws es::call, es::arg as kxnet::listener
    node(entrance const& through, service const& from);
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
    void let_go_of_the_ending();
    void end_the_late() noexcept;
    [[nodiscard]] bool make_room();
    [[nodiscard]] bool end_oldest_stranger();

    service from_;
    std::size_t most_guests_;
    std::size_t most_strangers_;
    bool is_full_told_ = false;
    kxnet::listener listener_;
    std::atomic<bool> is_closing_ = false;
    std::list<guest> guests_; // the accepting thread's own
    std::thread accepting_;
};

} // namespace devnode
