#pragma once

/// @file
/// Reading a path step by step, without memory of its own.

#include <kxcore/references.h>

namespace kxcore::detail {

class reference_cursor {
public:
    /// @param root what the path begins in: a tree, so that the first step is a bare key, or a list
    reference_cursor(std::string_view path, property_kind root) noexcept
        : path_(path), is_at_bare_key_(root == property_kind::properties) {}

    /// Reads the next step; false at the end of the path and where it is malformed.
    [[nodiscard]] bool next(reference_step& step) noexcept;

    [[nodiscard]] bool is_malformed() const noexcept { return is_malformed_; }

private:
    bool next_key(reference_step& step, std::string_view terminators, std::size_t closing) noexcept;
    bool next_index(reference_step& step) noexcept;
    bool fail() noexcept;

    std::string_view path_;
    std::size_t at_ = 0;
    bool is_at_bare_key_;
    bool is_malformed_ = false;
};

} // namespace kxcore::detail
