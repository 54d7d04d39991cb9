// A folder of a test's own: made empty, and removed with all that is in it.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kx_test {

/// An empty folder below the system's temporary folder, removed with its content at the end of its life.
/// Not copied: one owner, one folder.
class scratch_folder {
public:
    scratch_folder();
    ~scratch_folder();

    scratch_folder(scratch_folder const&) = delete;
    scratch_folder& operator=(scratch_folder const&) = delete;

    /// The folder itself, absolute, without a trailing separator.
    [[nodiscard]] std::filesystem::path const& path() const { return path_; }

    /// The path of `name` in the folder, as text. Nothing is made.
    [[nodiscard]] std::string file(std::string_view name) const;

    /// Writes a file of the given name and content, missing folders included, and gives its path.
    std::string write(std::string_view name, std::string_view content) const;

    /// The whole content of a file of the folder. Fails the test's run with std::runtime_error when it cannot be read.
    [[nodiscard]] std::string read(std::string_view name) const;

private:
    std::filesystem::path path_;
};

/// The whole content of any file; std::runtime_error when it cannot be read.
[[nodiscard]] std::string read_file(std::filesystem::path const& path);

/// The path of a file of the project, as text: `source_path("share/installation")`.
#ifdef KX_SOURCE_DIR
[[nodiscard]] inline std::string source_path(std::string_view relative) {
    return (std::filesystem::path(KX_SOURCE_DIR) / relative).string();
}
#endif

} // namespace kx_test
