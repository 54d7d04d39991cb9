// A browser whose network is the test.
#pragma once

#include <kxclientutil/bonjour.h>

#include "support/captured_report.h"
#include "support/dnssd_symbols.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kx_test {

/// Key and value, in the order of a TXT record.
using txt_entries = std::vector<std::pair<std::string, std::string>>;

[[nodiscard]] unsigned char const* bytes_of(std::string const& record);

/// The bytes of a TXT record.
[[nodiscard]] std::string record(txt_entries const& entries);

/// A resolve whose host has this address.
void resolve_at(kxclientutil::bonjour_browser& browser, unsigned int interface_index, std::string const& name,
                std::string const& host, std::string const& address, unsigned short port, std::string const& txt);

/// Category, kind, severity and message of each line that the browser and its observer wrote.
[[nodiscard]] std::vector<std::string> bonjour_lines(captured_report const& log);

/// A browser and an observer that notes its calls. Of the client library only the functions for TXT records are there.
class bonjour_replies : public testing::Test {
protected:
    bonjour_replies();
    ~bonjour_replies() override;

    /// Puts other functions in the place of the client library's.
    void use_functions(std::map<std::string, void*> functions);

    [[nodiscard]] kxclientutil::bonjour_browser& browser() { return *browser_; }
    [[nodiscard]] std::map<std::string, kxclientutil::bonjour_node> nodes() const;
    /// The observer's calls: what, of which node, and the names in the table.
    [[nodiscard]] std::vector<std::string> calls() const { return observer_.calls; }
    void clear_calls() { observer_.calls.clear(); }

    /// A resolve of NAME at the host NAME.local.
    void resolve(unsigned int interface_index, std::string const& name, std::string const& address,
                 txt_entries const& entries, unsigned short port = 9000);
    /// A change of a TXT record.
    void change(std::string const& name, txt_entries const& entries);
    /// HOST:PORT of a cluster; or that there is none, and whether the texts were left as they were.
    [[nodiscard]] std::string where(std::string const& cluster);

private:
    class noting_observer : public kxclientutil::bonjour_callback {
    public:
        std::vector<std::string> calls;

        void node_added(std::string const& name,
                        std::map<std::string, kxclientutil::bonjour_node> const& nodes) override;
        void node_updated(std::string const& name,
                          std::map<std::string, kxclientutil::bonjour_node> const& nodes) override;
        void node_removed(std::string const& name,
                          std::map<std::string, kxclientutil::bonjour_node> const& nodes) override;

    private:
        void note(std::string line, std::map<std::string, kxclientutil::bonjour_node> const& nodes);
    };

    std::optional<other_dnssd_library> functions_;
    noting_observer observer_;
    std::optional<kxclientutil::bonjour_browser> browser_;
};

} // namespace kx_test
