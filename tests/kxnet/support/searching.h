// A search on a scripted DNS-SD client library, and what it tells of.
#pragma once

#include "service_search.h"

#include "kxnet/support/scripted_dnssd.h"
#include "support/event_log.h"

#include <kxnet/mdns_addr_lookup.h>

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace kx_test {

/// A TXT record of one entry.
[[nodiscard]] inline std::string one_entry(std::string const& text) {
    return static_cast<char>(text.size()) + text;
}

/// Writes a line for each call: "seen NAME on INTERFACE", "gone NAME on INTERFACE", "resolved NAME on INTERFACE: HOST PORT
/// ADDRESS ENTRY" and "changed NAME: ENTRY", with the only entry of the TXT record.
class told_handler : public kxnet::search_resolve_query_handler {
public:
    /// Called with each line after it was noted, if any.
    std::function<void(std::string const&)> on_line = {};
    event_log log;

    void search_reply(unsigned int interface_index, std::string const& name, bool added, bool) override {
        note((added ? "seen " : "gone ") + name + " on " + std::to_string(interface_index));
    }
    void resolve_reply(unsigned int interface_index, char const* name, char const* host, unsigned short port,
                       unsigned short txt_length, unsigned char const* txt) override {
        note(std::string("resolved ") + name + " on " + std::to_string(interface_index) + ": " + host + " " +
             std::to_string(ntohs(port)) + " " + kxnet::mdns_addr_lookup(host, interface_index).get_IPv4() + " " +
             entry_of(txt_length, txt));
    }
    void query_reply(char const* name, unsigned short txt_length, unsigned char const* txt, unsigned int, bool,
                     bool) override {
        note(std::string("changed ") + name + ": " + entry_of(txt_length, txt));
    }

private:
    static std::string entry_of(unsigned short txt_length, unsigned char const* txt) {
        return std::string(reinterpret_cast<char const*>(txt), txt_length).substr(1);
    }
    void note(std::string const& line) {
        log.add(line);
        if (on_line) on_line(line);
    }
};

/// Waits as long as a test waits for nothing else: nothing happens by itself.
constexpr std::chrono::hours never{24};

/// Lets nothing happen for want of time; tests make short what they are about.
[[nodiscard]] inline kxnet::search_timing no_haste() {
    kxnet::search_timing timing;
    timing.resolve_patience = timing.first_retry = timing.recheck = timing.longest_retry = timing.return_grace = never;
    timing.least_pause = timing.most_pause = std::chrono::milliseconds(10);
    return timing;
}

class searching : public testing::Test {
protected:
    static constexpr char const* type = "_t._tcp";
    static constexpr char const* browsing = "browse _t._tcp";

    void search(kxnet::search_timing const& timing = no_haste()) {
        search_ = std::make_unique<kxnet::service_search>(type, handler_, timing);
        require(dnssd_.wait_for_open(browsing, 1), "nobody browses");
    }
    void end_search() { search_.reset(); }

    void come(std::string const& name, unsigned int interface_index = 1) {
        tell(scripted_dnssd::instance(name, true, interface_index));
    }
    void go(std::string const& name, unsigned int interface_index = 1) {
        tell(scripted_dnssd::instance(name, false, interface_index));
    }
    void tell(scripted_dnssd::answer const& sighting) {
        require(dnssd_.give(browsing, sighting) == 1, "nobody browses");
    }
    /// Whenever it is resolved, from now on.
    void place(std::string const& name, std::string const& entry, unsigned short port = 9000) {
        dnssd_.always_give("resolve " + name + " on 1",
                           scripted_dnssd::place(name + ".local.", port, one_entry(entry)));
        address(name, 1);
    }
    /// And comes at once, and is resolved.
    void come_placed(std::string const& name) {
        place(name, "t");
        come(name);
        expect("resolved " + name + " on 1: " + name + ".local. 9000 10.0.0.1 t");
    }
    void address(std::string const& name, char last_byte) {
        dnssd_.always_give("address of " + name + ".local. on 1",
                           scripted_dnssd::record(std::string("\x0a\0\0", 3) + last_byte));
    }
    void expect(std::string const& line, std::size_t times = 1) {
        require(handler_.log.wait_for(line, times), "no \"" + line + "\", but:" + handler_.log.text());
    }
    /// All that is under way has been taken when this returns: one more comes behind it and goes.
    void settle() {
        auto const name = "barrier " + std::to_string(++barriers_);
        come(name);
        go(name);
        expect("gone " + name + " on 1");
        // What was told before begins in the round that follows.
        come(name);
        go(name);
        expect("gone " + name + " on 1", 2);
    }

    /// Ends the test when it does not hold: what follows could not hold either.
    static void require(bool holds, std::string const& otherwise) {
        if (!holds) throw std::runtime_error(otherwise);
    }

    scripted_dnssd dnssd_;
    told_handler handler_;

private:
    unsigned int barriers_ = 0;
    std::unique_ptr<kxnet::service_search> search_;
};

} // namespace kx_test
