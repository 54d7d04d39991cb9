#pragma once

/// @file
/// Input values as they are written on the command line: `INPUT=TEXT` gives a string, `INPUT:=JSON` any other value.

#include <kxcore/property.h>

#include <string>
#include <string_view>

namespace kx {

/// One value for one input, and whom it is for where the option says so.
struct input_value {
    std::string owner; ///< the task or the type; empty when the option has none
    std::string input;
    kxcore::property_handle value;
};

/// Takes `INPUT=TEXT` or `INPUT:=JSON` apart, at the first '='.
///
/// @throws CLI::ValidationError naming the option's text when it has another form
[[nodiscard]] input_value parse_input_value(std::string_view text);

/// Takes `OWNER:INPUT=TEXT` or `OWNER:INPUT:=JSON` apart; the owner ends at the first ':'.
///
/// @throws CLI::ValidationError as above
[[nodiscard]] input_value parse_owned_input_value(std::string_view text);

} // namespace kx
