#pragma once

/// @file
/// Where the properties of an XML document were found, for whoever explains findings: a table from property
/// paths to lines and columns, filled by `configuration::read_config` on request.

#include <kxcore/export.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace kxcore {

/// A place in a text.
struct document_place {
    std::size_t line = 0;   ///< from 1
    std::size_t column = 0; ///< from 1, in bytes

    friend bool operator==(document_place const&, document_place const&) = default;
};

/// A table of places. A value.
class KXCORE_EXPORT document_places {
public:
    /// Notes the place of a property; a path noted before gets the new place.
    void set(std::string path, document_place place);

    /// Where the property of exactly this path begins; nothing when it is not in the table.
    [[nodiscard]] std::optional<document_place> find(std::string_view path) const;

    /// Where the property begins, or else the nearest tree or list around it that is in the
    /// table: for "a{b}[3]" that of "a{b}", then of "a", then of the root, the empty path. Nothing when none of them is.
    [[nodiscard]] std::optional<document_place> find_nearest(std::string_view path) const;

    [[nodiscard]] std::size_t size() const noexcept { return places_.size(); }
    [[nodiscard]] bool empty() const noexcept { return places_.empty(); }
    void clear() noexcept { places_.clear(); }

private:
    std::map<std::string, document_place, std::less<>> places_;
};

} // namespace kxcore
