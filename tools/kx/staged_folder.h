#pragma once

/// @file
/// Files that take their places together: written to a folder of their own first, and moved when all are there.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace kx {

/// A folder for what is to stand in another one. It lies in that one, so that moving is renaming; or beside it while
/// that one does not exist, to become it as a whole. Whatever is not moved in the end disappears with the object.
class staged_folder {
public:
    /// What the names of such folders begin with: one that was left behind by a run that was killed is no folder of
    /// documents.
    static constexpr std::string_view name_prefix = ".kx-convert-";

    /// @throws es::call when it can't be made, the parent of @p target missing
    explicit staged_folder(std::filesystem::path target);
    ~staged_folder();
    staged_folder(staged_folder const&) = delete;
    staged_folder& operator=(staged_folder const&) = delete;

    /// Where to write what will be @p relative in the target; the folders around it are made.
    ///
    /// @throws es::call
    [[nodiscard]] std::filesystem::path place_for(std::filesystem::path const& relative) const;

    /// Moves the files to their places. A file that is there is replaced, and keeps its permissions.
    ///
    /// @throws es::call when one can't be moved; those that have been are taken back, and what was there before is there
    ///         again
    void move_all(std::vector<std::filesystem::path> const& files);

    /// What stands in the way of a file in the target, in words: something that is no file or no folder, a symbolic
    /// link, or a file or folder that may not be written. The empty text when nothing does.
    [[nodiscard]] static std::string obstacle(std::filesystem::path const& target,
                                              std::filesystem::path const& relative);

    /// Folders of this kind that lie where one for the target would: another run is at work, or was killed.
    [[nodiscard]] static std::vector<std::filesystem::path> leftovers(std::filesystem::path const& target);

private:
    void move_one(std::filesystem::path const& relative);
    void keep_old(std::filesystem::path const& relative);
    void take_back() noexcept;

    struct moved_file {
        std::filesystem::path relative;
        bool replaced;
    };

    std::filesystem::path target_;
    std::filesystem::path staging_;
    bool is_new_;
    std::vector<moved_file> moved_;
    std::vector<std::filesystem::path> made_folders_;
};

} // namespace kx
