#include "node.h"

#include "log.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace devnode {
namespace {

/// Whoever has logged in is welcome as long as there are threads and descriptors. Of the others there is room for so many;
/// a new one takes the place of the one that has taken its time for longest.
constexpr std::ptrdiff_t most_strangers = 1024;
/// How often those who have gone are let go of while nobody comes.
constexpr unsigned int tidying_time_in_ms = 1000;

} // namespace

node::node(unsigned int port, kxnet::server_options const& options, service const& from)
    : from_(from), listener_("", port, options), accepting_([this] { accept(); }) {}

node::~node() {
    is_closing_ = true;
    listener_.close();
    accepting_.join();
}

void node::accept() noexcept {
    while (!is_closing_) {
        try {
            auto client = listener_.accept(kxnet::deadline_after(tidying_time_in_ms));
            let_go_of_the_gone();
            if (client) take_in(std::move(client));
        } catch (std::exception const& error) {
            tell(std::string("a client cannot be served: ") + error.what());
        }
    }
    for (guest& each : guests_)
        each.served.end();
    for (guest& each : guests_)
        each.thread.join();
    guests_.clear();
}

void node::take_in(std::unique_ptr<kxnet::packet_stream> client) {
    make_room_among_strangers();
    // Moved aside first: a guest without a thread is never among the others.
    std::list<guest> coming;
    guest& added = coming.emplace_back(std::move(client), from_);
    added.thread = std::thread([&served = added.served] { served.run(); });
    guests_.splice(guests_.end(), coming);
}

void node::let_go_of_the_gone() {
    guests_.remove_if([](guest& each) {
        if (!each.served.is_over()) return false;
        each.thread.join();
        return true;
    });
}

void node::make_room_among_strangers() {
    auto const is_stranger = [](guest const& each) { return each.served.is_stranger() && !each.served.is_over(); };
    if (std::count_if(guests_.begin(), guests_.end(), is_stranger) < most_strangers) return;
    std::find_if(guests_.begin(), guests_.end(), is_stranger)->served.end();
}

} // namespace devnode
