#pragma once

/// @file
/// Who may log in.

#include <map>
#include <string>
#include <string_view>

namespace devnode {

/// The users and the digests of their passwords. It never changes once it is filled.
class users {
public:
    /// Adds a user.
    ///
    /// @param account  NAME:SHA1HEX, the password's SHA-1 digest as 40 hexadecimal digits, of any case
    /// @return what is wrong with it; empty when it was added
    [[nodiscard]] std::string add(std::string_view account);

    /// Adds the users of a file, one in each line; empty lines, and those that begin with '#', count for nothing.
    ///
    /// @return what is wrong with it, with the number of the line; empty when all were added. A file that others can read is
    ///         refused: a digest is as good as its password.
    [[nodiscard]] std::string add_file(std::string const& file);

    [[nodiscard]] bool is_empty() const noexcept { return digests_.empty(); }
    [[nodiscard]] bool is_known(std::string const& name) const noexcept { return digests_.contains(name); }

    /// Whether the user has this digest. How long it takes tells nothing of where a digest is wrong, nor whether there is
    /// such a user.
    [[nodiscard]] bool may_log_in(std::string const& name, std::string_view digest) const noexcept;

private:
    std::map<std::string, std::string, std::less<>> digests_;
};

} // namespace devnode
