// Makes the seeds of every target out of the examples of the sample installation, so that they stay in step with them;
// those of the wire protocol out of what clients and nodes send.
//
//     fuzz_seeds FOLDER      writes FOLDER/TARGET/ for each target
#include "upgrade_table.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/report.h>
#include <kxcore/configuration.h>
#include <kxcore/constraint_db.h>
#include <kxcore/network_encoding.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>
#include <kxnet/frame.h>
#include <kxnet/hello.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <span>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using kxcore::configuration;

std::string read_file(fs::path const& path) {
    std::ifstream const in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return std::move(content).str();
}

void write_file(fs::path const& path, std::string_view content) {
    fs::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!out.flush()) throw std::runtime_error("cannot write " + path.string());
}

/// The document's head and tree, whatever its version; false for what is none.
bool parse(std::string const& content, configuration& out) {
    std::map<std::string, unsigned int> const versions;
    kxcore::constraint_db const anything(false);
    try {
        auto const result = out.read_config(anything, versions, kxbase::buffer(content), nullptr);
        return result == configuration::read_ok || result == configuration::read_unexpected;
    } catch (kxbase::es::base const&) {
        return false;
    }
}

void write_tree_seeds(configuration const& document, std::string const& name, fs::path const& folder) {
    kxbase::buffer encoded;
    kxcore::encoder_network(encoded).write(document.get_config());
    write_file(folder / "network_decode" / name, encoded.text());
    if (document.get_identifier() == "submission") write_file(folder / "finalize" / name, encoded.text());
    auto const row =
        std::ranges::find(kx_fuzz::upgrade_table, document.get_identifier(), &kx_fuzz::upgrade_row::identifier);
    if (row == kx_fuzz::upgrade_table.end()) return;
    std::string head(1, static_cast<char>(row - kx_fuzz::upgrade_table.begin()));
    head += static_cast<char>(document.get_version());
    write_file(folder / "upgrade" / name, head + std::string(encoded.text()));
}

std::size_t write_seeds(fs::path const& examples, fs::path const& folder) {
    std::size_t documents = 0;
    for (auto const& entry : fs::recursive_directory_iterator(examples)) {
        if (entry.path().extension() != ".xml") continue;
        std::string name = fs::relative(entry.path(), examples).replace_extension().string();
        std::ranges::replace(name, '/', '-');
        std::string const content = read_file(entry.path());
        write_file(folder / "read_config" / name, content);
        configuration document;
        if (!parse(content, document)) continue;
        kxbase::buffer binary;
        document.write_config(binary, configuration::format_binary);
        write_file(folder / "read_config" / (name + "-binary"), binary.text());
        write_tree_seeds(document, name, folder);
        ++documents;
    }
    return documents;
}

std::string_view text_of(std::span<std::byte const> bytes) {
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

std::string frame_of(kxp::packet const& packet) {
    std::string text;
    kxnet::frame const made(packet);
    for (kxbase::buffer const& piece : made.pieces())
        text += piece.text();
    return text;
}

void write_packet_seeds(fs::path const& folder) {
    kxp::packet login(kxp::e_packet_type::request, "cluster.client.login");
    for (char const* const key : {"username", "password", "id", "io-port"})
        login.set_property(key, std::string(key) + " of a client");
    login.set_request_number(1);
    kxp::packet changed(kxp::e_packet_type::event, "cluster.job");
    auto const job = kxbase::make_refcount<kxcore::properties>();
    job->set_property("id", kxbase::make_refcount<kxcore::property_string>("7"));
    job->set_property("status", kxbase::make_refcount<kxcore::property_string>("waiting"));
    job->set_property("submitted", kxbase::make_refcount<kxcore::property_int>(1'700'000'000'000));
    changed.set_property("job", job);

    // One payload each, and a stream of frames in pieces of 1, 8 and 256 bytes.
    std::string const frames[] = {frame_of(login), frame_of(login.make_reply()),
                                  frame_of(login.make_error_reply("wrong user or password")), frame_of(changed)};
    std::string stream;
    for (std::size_t i = 0; i != std::size(frames); ++i) {
        write_file(folder / ("payload-" + std::to_string(i)), '\0' + frames[i].substr(kxnet::frame_head_size));
        stream += frames[i];
    }
    for (unsigned int const piece : {1U, 8U, 256U})
        write_file(folder / ("stream-in-pieces-of-" + std::to_string(piece)), static_cast<char>(piece - 1) + stream);
}

void write_hello_seeds(fs::path const& folder) {
    constexpr unsigned int next_version = kxnet::protocol_version + 1;
    write_file(folder / "of-this-version", text_of(kxnet::make_hello()));
    write_file(folder / "of-the-next-version", text_of(kxnet::make_hello(next_version)));
    write_file(folder / "cut-off", text_of(kxnet::make_hello()).substr(0, kxnet::hello_size - 1));
    write_file(folder / "tls", std::string("\x16\x03\x01\x00\xc4\x01\x00\x00\xc0\x03\x03", 11));
    write_file(folder / "http", "GET / HTTP/1.1\r\n\r\n");
}

std::string txt_piece(char kind, std::vector<std::string> const& entries) {
    std::string record;
    for (auto const& entry : entries)
        record += static_cast<char>(entry.size()) + entry;
    constexpr std::size_t byte = 256;
    return {kind + std::string(1, static_cast<char>(record.size() % byte)) + static_cast<char>(record.size() / byte) +
            record};
}

void write_txt_record_seeds(fs::path const& folder) {
    auto const resolved = txt_piece('r', {"id=node-7", "cluster=news", "uc=1"});
    write_file(folder / "resolved", resolved);
    write_file(folder / "resolved-private", txt_piece('r', {"id=node-7", "cluster=news", "uc=1", "private=yes"}));
    write_file(folder / "changed", resolved + txt_piece('c', {"id=node-7", "cluster=sport", "uc=2"}));
    write_file(folder / "changed-first", txt_piece('c', {"uc=2", "note=a=b"}) + resolved);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "fuzz_seeds: expected one folder\n");
        return 2;
    }
    try {
        kxbase::set_report_sink([](kxbase::report_line const&) {});
        std::size_t const documents = write_seeds(KX_SOURCE_DIR "/share/installation/examples", argv[1]);
        write_packet_seeds(fs::path(argv[1]) / "packet");
        write_hello_seeds(fs::path(argv[1]) / "hello");
        write_txt_record_seeds(fs::path(argv[1]) / "txt_record");
        std::printf("fuzz_seeds: seeds of %zu documents\n", documents);
        return documents == 0 ? 1 : 0;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "fuzz_seeds: %s\n", error.what());
        return 1;
    }
}
