#pragma once

/// @file
/// Going from leaf to leaf of a tree or list, with the path as a label, in a loop of the caller's own. Empty trees and
/// lists are stations, too, for those who write them.

#include "children.h"

#include <kxbase/limits.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kxcore::detail {

/// Appends the step to the current child to the path of the container that it is in.
///
/// @param depth 1 in the outermost container. The path may be empty below it, too: under the empty key.
void append_step(std::string& path, std::size_t depth, children const& at);

/// A path in an error: its beginning when it is long. Its secrets are masked before it is cut, since half a URL is none.
[[nodiscard]] std::string shown_path(std::string_view path, std::size_t most = 256);

class leaf_walk {
public:
    /// @param container stays as it is meanwhile
    /// @param limits when given, what could not be read back from a text or a document is refused
    explicit leaf_walk(property const& container, kxbase::limits const* limits = nullptr)
        : open_{{children(container), 0}}, limits_(limits) {}

    /// Goes to the next leaf or empty container; false when there is none left.
    ///
    /// @throws es::arg naming the path, and the limit or the rule
    [[nodiscard]] bool next();

    [[nodiscard]] std::string_view path() const noexcept { return path_; }
    [[nodiscard]] property_handle const& handle() const noexcept { return *handle_; }
    [[nodiscard]] property const& value() const noexcept { return **handle_; }

private:
    struct open_container {
        children rest;
        std::size_t path_size;
    };

    void check(property_key const& key) const;

    std::vector<open_container> open_;
    std::string path_;
    property_handle const* handle_ = nullptr;
    kxbase::limits const* limits_;
};

} // namespace kxcore::detail
