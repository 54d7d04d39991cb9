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

    /// Whether the user has this digest. How long it takes tells nothing of where a digest is wrong, nor whether there is
    /// such a user.
    [[nodiscard]] bool may_log_in(std::string const& name, std::string_view digest) const noexcept;

private:
    std::map<std::string, std::string, std::less<>> digests_;
};

} // namespace devnode
