// A node that says of itself how long it is to be remembered, for tests: it can die without anybody's waiting for an hour.
//
//     kx_test_mortal_node NAME ADDRESS PORT SECONDS_OF_THE_SERVICE SECONDS_OF_THE_HOST
//
// announces itself by multicast DNS from ADDRESS, three times a second, until its input ends, and never says goodbye.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>

namespace {

enum class e_type : std::uint16_t { address = 1, pointer = 12, text = 16, server = 33 };

constexpr std::uint16_t internet = 1;
constexpr std::uint16_t only_one = 0x8000; // "no other record of this name and type"

std::string number(std::uint16_t value) {
    return {static_cast<char>(value >> 8U), static_cast<char>(value & 0xffU)};
}

std::string label(std::string const& text) {
    return static_cast<char>(text.size()) + text;
}

std::string const service = label("_vostrel-node") + label("_tcp") + label("local") + '\0';

std::string record(std::string const& name, e_type type, std::uint16_t flags, unsigned int seconds,
                   std::string const& data) {
    return name + number(static_cast<std::uint16_t>(type)) + number(internet | flags) + number(0) +
           number(static_cast<std::uint16_t>(seconds)) + number(static_cast<std::uint16_t>(data.size())) + data;
}

std::string announcement(std::string const& name, in_addr address, std::uint16_t port, unsigned int service_seconds,
                         unsigned int host_seconds) {
    auto const instance = label(name) + service;
    auto const host = label("host-of-" + name) + label("local") + '\0';
    std::string const dotted(reinterpret_cast<char const*>(&address), sizeof address);
    return number(0) + number(0x8400) + number(0) + number(4) + number(0) + number(0) +
           record(service, e_type::pointer, 0, service_seconds, instance) +
           record(instance, e_type::server, only_one, host_seconds, number(0) + number(0) + number(port) + host) +
           record(instance, e_type::text, only_one, service_seconds, label("id=" + name) + label("uc=1")) +
           record(host, e_type::address, only_one, host_seconds, dotted);
}

int open_socket(in_addr from) {
    int const opened = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    int const yes = 1, far = 255;
    sockaddr_in own = {};
    own.sin_family = AF_INET;
    own.sin_port = htons(5353);
    ::setsockopt(opened, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    ::setsockopt(opened, SOL_SOCKET, SO_REUSEPORT, &yes, sizeof yes);
    ::setsockopt(opened, IPPROTO_IP, IP_MULTICAST_TTL, &far, sizeof far);
    ::setsockopt(opened, IPPROTO_IP, IP_MULTICAST_IF, &from, sizeof from);
    if (::bind(opened, reinterpret_cast<sockaddr*>(&own), sizeof own) != 0) throw std::runtime_error("no socket");
    return opened;
}

void announce(char const* const* given) {
    in_addr address = {};
    if (::inet_pton(AF_INET, given[1], &address) != 1) throw std::runtime_error("no address");
    auto const packet =
        announcement(given[0], address, static_cast<std::uint16_t>(std::stoul(given[2])),
                     static_cast<unsigned int>(std::stoul(given[3])), static_cast<unsigned int>(std::stoul(given[4])));
    sockaddr_in group = {};
    group.sin_family = AF_INET;
    group.sin_port = htons(5353);
    group.sin_addr.s_addr = htonl(0xe00000fb);
    int const socket = open_socket(address);
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    do {
        ::sendto(socket, packet.data(), packet.size(), 0, reinterpret_cast<sockaddr*>(&group), sizeof group);
    } while (::poll(&input, 1, 300) == 0);
    ::close(socket);
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc != 6) throw std::runtime_error("expected NAME ADDRESS PORT SECONDS SECONDS");
        announce(argv + 1);
        return 0;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "kx_test_mortal_node: %s\n", error.what());
        return 1;
    }
}
