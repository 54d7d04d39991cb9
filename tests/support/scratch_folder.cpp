#include "support/scratch_folder.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace kx_test {

scratch_folder::scratch_folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kx-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(), "no scratch folder " + pattern);
    path_ = pattern;
}

scratch_folder::~scratch_folder() {
    // A test may have taken its own rights away; without them the content could not be listed.
    std::error_code ignored;
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
    std::filesystem::remove_all(path_, ignored);
}

std::string scratch_folder::file(std::string_view name) const {
    return (path_ / name).string();
}

std::string scratch_folder::write(std::string_view name, std::string_view content) const {
    std::filesystem::path const target = path_ / name;
    std::filesystem::create_directories(target.parent_path());
    std::ofstream out(target, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!out.flush()) throw std::runtime_error("cannot write " + target.string());
    return target.string();
}

std::string scratch_folder::read(std::string_view name) const {
    return read_file(path_ / name);
}

std::string read_file(std::filesystem::path const& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path.string());
    std::ostringstream content;
    content << in.rdbuf();
    return std::move(content).str();
}

} // namespace kx_test
