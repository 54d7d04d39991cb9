#include "support/certificates.h"

#include <cstdlib>
#include <stdexcept>

namespace kx_test {

namespace {

constexpr char const* new_key = "-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes";
constexpr char const* own_names = "subjectAltName=DNS:localhost,IP:127.0.0.1,IP:::1";

} // namespace

certificates const& certificates::get() {
    static certificates const made;
    return made;
}

certificates::certificates() {
    make_authority("ca");
    make_authority("foreign-ca");
    run(std::string("req ") + new_key + " -subj /CN=node -keyout key.pem -out request.pem");
    run("genpkey -algorithm ed25519 -out ed25519.key");
    run("pkey -in key.pem -aes128 -passout pass:secret -out encrypted.key");
    static_cast<void>(made("good", own_names));
    static_cast<void>(made("expired", own_names, "-days -1"));
    static_cast<void>(made("other", "subjectAltName=DNS:node.example"));
    static_cast<void>(made("foreign", own_names, "-days 2", "foreign-ca"));
}

void certificates::make_authority(std::string const& name) const {
    run(std::string("req -x509 ") + new_key + " -days 2 -subj /CN=" + name + " -keyout " + name + ".key -out " + name +
        ".pem");
}

std::string certificates::made(std::string const& name, std::string const& extensions, std::string const& validity,
                               std::string const& by, std::string const& subject) const {
    folder_.write("extensions", extensions + "\n");
    std::string request = "request.pem";
    if (subject != "node") {
        request = name + ".request";
        run("req -new -key key.pem -subj /CN=" + subject + " -out " + request);
    }
    // Who signs has a key of its own, but for those that are made here.
    std::string const key = by == "ca" || by == "foreign-ca" ? by + ".key" : "key.pem";
    run("x509 -req -in " + request + " -extfile extensions -CAcreateserial -CA " + by + ".pem -CAkey " + key + ' ' +
        validity + " -out " + name + ".pem");
    return folder_.file(name + ".pem");
}

// The program's short way of signing knows no first day.
std::string certificates::not_valid_yet() const {
    folder_.write("signing.cnf", "[ca]\ndefault_ca=own\n[own]\ndatabase=signed.txt\nnew_certs_dir=.\n"
                                 "default_md=sha256\npolicy=any\nserial=serial.txt\n[any]\ncommonName=supplied\n");
    folder_.write("signed.txt", "");
    folder_.write("extensions", std::string(own_names) + "\n");
    run("ca -batch -notext -rand_serial -config signing.cnf -cert ca.pem -keyfile ca.key -in request.pem "
        "-extfile extensions -startdate 20990101000000Z -enddate 20991231000000Z -out future.pem");
    return folder_.file("future.pem");
}

void certificates::run(std::string const& arguments) const {
    std::string const command = "cd '" + folder_.path().string() + "' && openssl " + arguments + " >>openssl.log 2>&1";
    // NOLINTNEXTLINE(cert-env33-c): a test's own command line
    if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

} // namespace kx_test
