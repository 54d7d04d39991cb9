#include "node.h"

#include "log.h"

#include <sys/resource.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <string>
#include <utility>

namespace devnode {
namespace {

constexpr std::size_t most_strangers = 1024;
/// For the files that are written, and what the process has besides its clients.
constexpr std::size_t descriptors_aside = 64;
/// How often those who have gone are let go of while nobody comes.
constexpr unsigned int tidying_time_in_ms = 1000;

/// How many descriptors the process may have, all that the system allows it.
std::size_t descriptors() {
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 2 * descriptors_aside;
    rlimit const raised = {limit.rlim_max, limit.rlim_max};
    if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
    return std::max<std::size_t>(limit.rlim_cur, 2 * descriptors_aside);
}

} // namespace

node::node(entrance const& through, service const& from)
    : from_(from), most_guests_(descriptors() - descriptors_aside),
      most_strangers_(std::min(most_strangers, most_guests_ / 2)),
      listener_(through.address, through.port, through.transport), accepting_([this] { accept(); }) {}

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
            end_the_late();
            if (client) {
                if (make_room()) take_in(std::move(client));
            } else if (listener_.is_full()) {
                // Whoever waits outside is let in when a descriptor is free again.
                static_cast<void>(end_oldest_stranger());
            }
        } catch (std::exception const& error) {
            tell("a client cannot be served", error.what());
        }
    }
    for (guest& each : guests_)
        each.served.end();
    for (guest& each : guests_)
        each.thread.join();
    guests_.clear();
}

void node::take_in(std::unique_ptr<kxnet::packet_stream> client) {
    // Moved aside first: a guest without a thread is never among the others.
    std::list<guest> coming;
    guest& added = coming.emplace_back(std::move(client), from_);
    added.thread = std::thread([&served = added.served] { served.run(); });
    guests_.splice(guests_.end(), coming);
}

void node::let_go_of_the_gone() {
    guests_.remove_if([this](guest& each) {
        bool const may_stay = guests_.size() < most_guests_ && !listener_.is_full();
        if (may_stay ? !each.served.is_gone() : !each.served.is_over()) return false;
        each.thread.join();
        return true;
    });
}

/// They hold their descriptors until they are forgotten. Their threads end at once; one that has logged in and handed over a
/// job in this very moment stores it first.
void node::let_go_of_the_ending() {
    guests_.remove_if([](guest& each) {
        if (!each.served.is_ending()) return false;
        each.thread.join();
        return true;
    });
}

void node::end_the_late() noexcept {
    for (guest& each : guests_)
        each.served.end_if_late();
}

/// Whether there is room for one more.
bool node::make_room() {
    auto const count = [this](auto const& which) {
        return static_cast<std::size_t>(std::count_if(guests_.begin(), guests_.end(), which));
    };
    std::size_t const strangers =
        count([](guest const& each) { return each.served.is_stranger() && !each.served.is_ending(); });
    bool const is_full = guests_.size() >= most_guests_;
    bool const is_left = is_full && count([](guest const& each) { return each.served.is_ending(); }) != 0;
    bool const has_room = (strangers < most_strangers_ && (!is_full || is_left)) || end_oldest_stranger();
    if (is_full && has_room) let_go_of_the_ending();
    if (!has_room && !is_full_told_)
        tell("no room for more clients", std::to_string(guests_.size()) + " are there; others are sent away");
    is_full_told_ = !has_room;
    return has_room;
}

/// Whether there was one.
bool node::end_oldest_stranger() {
    auto const oldest = std::find_if(guests_.begin(), guests_.end(), [](guest const& each) {
        return each.served.is_stranger() && !each.served.is_ending();
    });
    if (oldest == guests_.end()) return false;
    oldest->served.end("has to make room for others that have not logged in");
    return true;
}

} // namespace devnode
