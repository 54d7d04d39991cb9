// kx with documents that lie on servers.

#include "kx_run.h"

#include "support/ftp_server.h"
#include "support/http_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

using kx_test::example;
using kx_test::run_kx;
using testing::HasSubstr;
using testing::Not;

/// Where the tool is asked to trust a certificate that only the test knows.
std::map<std::string, std::string> trusting(kx_test::http_server const& server) {
    return {{"SSL_CERT_FILE", server.certificate()}};
}

TEST(kx_show, reads_documents_through_http_https_and_ftp) {
    std::string const document = kx_test::read_file(example("workflow.xml"));
    kx_test::http_server const http;
    kx_test::http_server const https(kx_test::e_http::encrypted);
    kx_test::ftp_server const ftp;
    http.write("a b.xml", document);
    https.write("a b.xml", document);
    ftp.write("a b.xml", document);
    auto const expected = run_kx({"show", "--json", example("workflow.xml")});
    ASSERT_EQ(expected.exit_code, 0) << expected.err;
    for (std::string const& url : {http.url("/a%20b.xml"), http.url("/locked/a%20b.xml", "anna:g3heim@"),
                                   https.url("/a%20b.xml"), ftp.url("/a%20b.xml")}) {
        auto const result = run_kx({"show", "--json", url}, trusting(https));
        EXPECT_EQ(result.exit_code, 0) << result.err;
        EXPECT_EQ(result.out, expected.out);
        EXPECT_THAT(result.err, Not(HasSubstr("g3heim")));
    }
}

TEST(kx_show, tells_what_is_wrong_with_a_remote_document_in_one_line_without_its_login) {
    kx_test::http_server const http;
    kx_test::http_server const https(kx_test::e_http::encrypted);
    kx_test::ftp_server const ftp("another");
    http.write("x.xml", "x");
    struct {
        std::string url;
        char const* told;
    } const cases[] = {
        {http.url("/none.xml", "anna:g3heim@"), "there is no such file (the server answered 404)"},
        {http.url("/locked/x.xml", "berta:g3heim@"), "the login was refused (the server answered 401)"},
        {https.url("/x.xml", "anna:g3heim@"), "the server's certificate is not trusted: self-signed certificate"},
        {ftp.url("/x.xml", "anonymous:g3heim@"), "the login was refused (the server answered 530)"},
    };
    for (auto const& [url, told] : cases) {
        auto const result = run_kx({"show", url}, {{"SSL_CERT_FILE", ""}});
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, HasSubstr(told));
        EXPECT_THAT(result.err, Not(HasSubstr("g3heim")));
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
}

} // namespace
