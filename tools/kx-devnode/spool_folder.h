#pragma once

/// @file
/// The folder of a spool, as one node's own.

#include <filesystem>
#include <string>

namespace devnode {

/// A folder that belongs to this process as long as this lives, however the process ends.
class spool_folder {
public:
    /// Takes the folder; makes it when it is missing, for its owner alone and so that it outlives a power cut.
    ///
    /// @throws es::call when it cannot be used: it is none, belongs to another user, others can write to it, or another node
    ///         uses it
    explicit spool_folder(std::string const& folder);
    ~spool_folder();
    spool_folder(spool_folder const&) = delete;
    spool_folder& operator=(spool_folder const&) = delete;

    [[nodiscard]] std::filesystem::path const& path() const noexcept { return path_; }

private:
    std::filesystem::path path_;
    int descriptor_ = -1;
};

} // namespace devnode
