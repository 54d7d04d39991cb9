#include "support/certificates.h"

#include <cstdlib>
#include <stdexcept>

namespace kx_test {

namespace {

constexpr char const* new_key = "-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes";
constexpr char const* own_names = "DNS:localhost,IP:127.0.0.1,IP:::1";

} // namespace

certificates const& certificates::get() {
    static certificates const made;
    return made;
}

certificates::certificates() {
    make_authority("ca");
    make_authority("foreign-ca");
    run(std::string("req ") + new_key + " -subj /CN=node -keyout key.pem -out request.pem");
    sign("good", "ca", own_names, 2);
    sign("expired", "ca", own_names, -1);
    sign("other", "ca", "DNS:node.example", 2);
    sign("foreign", "foreign-ca", own_names, 2);
}

void certificates::make_authority(std::string const& name) const {
    run(std::string("req -x509 ") + new_key + " -days 2 -subj /CN=" + name + " -keyout " + name + ".key -out " + name +
        ".pem");
}

void certificates::sign(std::string const& name, std::string const& authority, std::string const& names,
                        int days) const {
    folder_.write("names", "subjectAltName=" + names + "\n");
    run("x509 -req -in request.pem -extfile names -CAcreateserial -CA " + authority + ".pem -CAkey " + authority +
        ".key -days " + std::to_string(days) + " -out " + name + ".pem");
}

void certificates::run(std::string const& arguments) const {
    std::string const command = "cd '" + folder_.path().string() + "' && openssl " + arguments + " >>openssl.log 2>&1";
    // NOLINTNEXTLINE(cert-env33-c): a test's own command line
    if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

} // namespace kx_test
