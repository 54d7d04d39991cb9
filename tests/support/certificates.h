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
    /// Good for "node.example" alone.
    [[nodiscard]] std::string of_another_host() const { return folder_.file("other.pem"); }
    /// For "localhost", by an authority that nobody trusts.
    [[nodiscard]] std::string foreign() const { return folder_.file("foreign.pem"); }

private:
    certificates();
    void make_authority(std::string const& name) const;
    void sign(std::string const& name, std::string const& authority, std::string const& names, int days) const;
    void run(std::string const& arguments) const;

    scratch_folder folder_;
};

} // namespace kx_test
