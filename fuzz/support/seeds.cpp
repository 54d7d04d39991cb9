// Makes the seeds of every target out of the examples of the sample installation, so that they stay in step with them.
//
//     fuzz_seeds FOLDER      writes FOLDER/read_config/, FOLDER/upgrade/, FOLDER/network_decode/ and FOLDER/finalize/
#include "upgrade_table.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/report.h>
#include <kxcore/configuration.h>
#include <kxcore/constraint_db.h>
#include <kxcore/network_encoding.h>
#include <kxcore/properties.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

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

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "fuzz_seeds: expected one folder\n");
        return 2;
    }
    try {
        kxbase::set_report_sink([](kxbase::report_line const&) {});
        std::size_t const documents = write_seeds(KX_SOURCE_DIR "/share/installation/examples", argv[1]);
        std::printf("fuzz_seeds: seeds of %zu documents\n", documents);
        return documents == 0 ? 1 : 0;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "fuzz_seeds: %s\n", error.what());
        return 1;
    }
}
