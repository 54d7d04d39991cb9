#pragma once

/// @file
/// Input values as they are written on the command line: `INPUT=TEXT` gives a string, `INPUT:=JSON` any other value, and
/// `INPUT:@FILE`, where it is allowed, a string that stays off the command line: the first line of a file.

#include <kxcore/property.h>

#include <string>
#include <string_view>

namespace kx {

class application;

/// One value for one input, and whom it is for where the option says so.
struct input_value {
    std::string owner; ///< the task or the type; empty when the option has none
    std::string input;
    kxcore::property_handle value; ///< empty when it is in a file
    std::string file;
};

/// Takes `INPUT=TEXT` or `INPUT:=JSON` apart, at the first '='.
///
/// @throws CLI::ValidationError naming the option's text when it has another form
[[nodiscard]] input_value parse_input_value(std::string_view text);

/// The same, and `INPUT:@FILE`; a ":@" behind the first '=' is part of the value.
///
/// @throws CLI::ValidationError as above
[[nodiscard]] input_value parse_input_value_or_file(std::string_view text);

/// Takes `OWNER:` and one of these apart; the owner ends at the first ':'.
///
/// @throws CLI::ValidationError as above
[[nodiscard]] input_value parse_owned_input_value(std::string_view text);

/// Refuses a value that any user of the machine could read in the list of processes: a text under the name of a secret,
/// unless it is empty or a variable, and a URL with a password, in trees and lists too.
///
/// @param option the option, for the error: "--in"
/// @throws CLI::ValidationError naming the option and the input, with another way to give it; never the value
void refuse_secret_value(std::string_view option, input_value const& given);

/// The value, read from the file where it is in one; warns of a file with a secret that others can read, or that has none.
///
/// @param option the option, for errors: "--in"
/// @throws CLI::ValidationError as above; es::arg and es::call naming the option and the input for a file that is no good
[[nodiscard]] kxcore::property_handle given_value(application& app, std::string_view option, input_value const& given);

} // namespace kx
