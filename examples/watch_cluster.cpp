// Tells for a while which nodes of a cluster come, change and go on the local network.
//
//   watch_cluster CLUSTER SECONDS
//
// On a system without DNS-SD no node appears, and nothing fails.

#include <kxclientutil/bonjour.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <utility>

namespace {

using node_table = std::map<std::string, kxclientutil::bonjour_node>;

/// The calls come on a thread of the browser, one at a time.
class watcher final : public kxclientutil::bonjour_callback {
public:
    explicit watcher(std::string cluster) : cluster_(std::move(cluster)) {}

    void node_added(std::string const& name, node_table const& nodes) override { tell("came", name, nodes); }
    void node_updated(std::string const& name, node_table const& nodes) override { tell("changed", name, nodes); }

    // The table does not hold it any more, so what was told of it is remembered here.
    void node_removed(std::string const& name, node_table const& /*nodes*/) override {
        if (known_.erase(name) != 0) std::printf("went     %s\n", name.c_str());
        std::fflush(stdout);
    }

private:
    void tell(char const* what, std::string const& name, node_table const& nodes) {
        auto const found = nodes.find(name);
        if (found == nodes.end() || found->second.cluster != cluster_) return;
        known_.insert(name);
        std::printf("%-8s %s, port %s of %s\n", what, name.c_str(), found->second.port.c_str(),
                    found->second.host.c_str());
        std::fflush(stdout);
    }

    std::string const cluster_;
    std::set<std::string> known_;
};

} // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::fprintf(stderr, "usage: watch_cluster CLUSTER SECONDS\n");
        return 2;
    }
    try {
        std::string const cluster = arguments[1];
        watcher told(cluster); // outlives the browser, which calls it
        kxclientutil::bonjour_browser browser(&told);
        std::this_thread::sleep_for(std::chrono::seconds(std::atoi(arguments[2])));

        std::string host;
        std::string port;
        if (browser.get_host_port_for_cluster(cluster, host, port))
            std::printf("cluster %s is reached at %s:%s\n", cluster.c_str(), host.c_str(), port.c_str());
        else
            std::printf("no node of cluster %s is there\n", cluster.c_str());
        return 0;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "watch_cluster: %s\n", error.what());
        return 1;
    }
}
