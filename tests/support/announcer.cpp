// Announces nodes, for tests: on hosts of which each is a process's own.
//
//     kx_test_announcer COUNT NAME PORT [KEY=VALUE...]
//
// announces COUNT instances (a COUNT above 1 numbers their names) until its input ends. Each line of the input replaces
// their TXT records: KEY=VALUE, separated by tabs.
#include <kxbase/errors.h>
#include <kxnet/service_announcement.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

using kxnet::service_announcement;

void add_entry(service_announcement::txt_entries& entries, std::string const& text) {
    auto const separator = text.find('=');
    entries.emplace_back(text.substr(0, separator), separator == std::string::npos ? "" : text.substr(separator + 1));
}

service_announcement::txt_entries entries_of(std::string const& line) {
    service_announcement::txt_entries entries;
    std::istringstream pieces(line);
    for (std::string piece; std::getline(pieces, piece, '\t');)
        add_entry(entries, piece);
    return entries;
}

void announce(int argc, char** argv) {
    service_announcement::txt_entries entries;
    for (int i = 4; i < argc; ++i)
        add_entry(entries, argv[i]);
    int const count = std::stoi(argv[1]);
    auto const port = static_cast<unsigned short>(std::stoi(argv[3]));
    std::vector<std::unique_ptr<service_announcement>> announced;
    for (int i = 0; i != count; ++i) {
        auto const name = argv[2] + (count == 1 ? std::string() : " " + std::to_string(i));
        announced.push_back(std::make_unique<service_announcement>("_vostrel-node._tcp", name, port, entries));
    }
    for (std::string line; std::getline(std::cin, line);)
        for (auto const& each : announced)
            each->update_txt(entries_of(line));
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "kx_test_announcer: expected COUNT NAME PORT [KEY=VALUE...]\n");
        return 2;
    }
    try {
        announce(argc, argv);
        return 0;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "kx_test_announcer: %s\n", error.what());
        return 1;
    }
}
