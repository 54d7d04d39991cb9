// Runs a target over files, without a fuzzing compiler: what was found once stays mended.
//
//     fuzz_replay_TARGET FILE_OR_FOLDER...
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

void replay(fs::path const& file) {
    std::ifstream const in(file, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    if (!in) throw std::runtime_error("cannot read " + file.string());
    std::string const text = std::move(content).str();
    std::vector<std::uint8_t> const bytes(text.begin(), text.end());
    // Told before, so that a crash has a name.
    std::printf("%s\n", file.string().c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

std::size_t replay_all(fs::path const& given) {
    if (!fs::is_directory(given)) {
        replay(given);
        return 1;
    }
    std::size_t files = 0;
    for (auto const& entry : fs::recursive_directory_iterator(given)) {
        if (!entry.is_regular_file()) continue;
        replay(entry.path());
        ++files;
    }
    if (files == 0) throw std::runtime_error("nothing to replay in " + given.string());
    return files;
}

} // namespace

int main(int argc, char** argv) {
    try {
        std::size_t files = 0;
        for (int i = 1; i < argc; ++i)
            files += replay_all(argv[i]);
        std::printf("replay: %zu inputs\n", files);
        return files == 0 ? 1 : 0;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "replay: %s\n", error.what());
        return 1;
    }
}
