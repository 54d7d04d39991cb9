#pragma once

/// @file
/// What makes two documents differ, as it may be shown to people and programs.

#include <kxcore/property.h>

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace kx {

/// A place where two trees differ.
struct difference {
    std::string path;
    kxcore::property_handle before; ///< empty where only the second has the place; passwords are hidden
    kxcore::property_handle after;  ///< empty where only the first has it
    bool is_type = false;           ///< what differs are the types of the documents, not a place in them

    /// "added", "removed", "kind" for a value of another kind, "type" for a document of another type, "changed".
    [[nodiscard]] std::string_view change() const;
};

/// The differences in the order of the paths. The submissions that two jobs were made from count as one place, and are
/// equal when their trees are, however they are compressed.
///
/// @param whole  what only one side has comes value by value, not as one tree or list
[[nodiscard]] std::vector<difference> differences_of(kxcore::properties const& before, kxcore::properties const& after,
                                                     bool whole);

/// That two documents are of different types, as identifiers: trees that are equal may mean different things.
[[nodiscard]] difference difference_of_types(std::string_view before, std::string_view after);

/// One line without its end: "+ PATH: VALUE", "- PATH: VALUE", "~ PATH: VALUE → VALUE", "~ (type of document): TYPE → TYPE".
/// Long values are cut.
[[nodiscard]] std::string to_line(difference const& each);

/// The same for programs, with whole values, but for binaries, of which only the size is told.
[[nodiscard]] nlohmann::ordered_json to_json(difference const& each);

} // namespace kx
