// Certificates of a test's own.
#pragma once

#include "support/scratch_folder.h"

#include <string>

namespace kx_test {

/// A certificate authority and what it has signed, made by the program openssl when first asked for.
class certificates {
public:
    /// All tests of a program share them.
    [[nodiscard]] static certificates const& get();

    /// The authority that clients are to trust.
    [[nodiscard]] std::string ca() const { return folder_.file("ca.pem"); }
    /// The key of every certificate but the authorities'.
    [[nodiscard]] std::string key() const { return folder_.file("key.pem"); }
    /// For "localhost", 127.0.0.1 and ::1.
    [[nodiscard]] std::string good() const { return folder_.file("good.pem"); }
    /// The same, but it has expired.
    [[nodiscard]] std::string expired() const { return folder_.file("expired.pem"); }
    /// The same, made when it is asked for, but it is valid from a far day on.
    [[nodiscard]] std::string not_valid_yet() const;
    /// Good for "node.example" alone.
    [[nodiscard]] std::string of_another_host() const { return folder_.file("other.pem"); }
    /// For "localhost", by an authority that nobody trusts.
    [[nodiscard]] std::string foreign() const { return folder_.file("foreign.pem"); }

    /// A further one, signed by the authority unless `by` is another certificate here.
    ///
    /// @param name        what its file is called, without ".pem"
    /// @param extensions  lines of the program's configuration ("subjectAltName=DNS:localhost")
    /// @param validity    arguments of the program ("-days 2")
    [[nodiscard]] std::string made(std::string const& name, std::string const& extensions,
                                   std::string const& validity = "-days 2", std::string const& by = "ca",
                                   std::string const& subject = "node") const;
    /// The key of another certificate, one of another kind than theirs, and the usual one under a password.
    [[nodiscard]] std::string foreign_key() const { return folder_.file("foreign-ca.key"); }
    [[nodiscard]] std::string key_of_another_kind() const { return folder_.file("ed25519.key"); }
    [[nodiscard]] std::string encrypted_key() const { return folder_.file("encrypted.key"); }

private:
    certificates();
    void make_authority(std::string const& name) const;
    void run(std::string const& arguments) const;

    scratch_folder folder_;
};

} // namespace kx_test
