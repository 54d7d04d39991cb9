// kx with documents that lie on servers.

#include "kx_run.h"

#include "support/ftp_server.h"
#include "support/http_server.h"
#include "support/scratch_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace {

using kx_test::example;
using kx_test::run_kx;
using testing::HasSubstr;
using testing::Not;

using surroundings = std::map<std::string, std::string>;

surroundings with_password(std::string const& password) {
    return {{"KX_PASSWORD", password}};
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
    surroundings around = with_password("g3heim");
    around["SSL_CERT_FILE"] = https.certificate(); // which only the test knows
    for (std::string const& url : {http.url("/a%20b.xml"), http.url("/locked/a%20b.xml", "anna@"),
                                   https.url("/a%20b.xml"), ftp.url("/a%20b.xml")}) {
        auto const result = run_kx({"show", "--json", url}, around);
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
        {http.url("/none.xml", "anna@"), "there is no such file (the server answered 404)"},
        {http.url("/locked/x.xml", "berta@"), "the login was refused (the server answered 401)"},
        {https.url("/x.xml", "anna@"), "the server's certificate is not trusted: self-signed certificate"},
        {ftp.url("/x.xml", "anonymous@"), "the login was refused (the server answered 530)"},
    };
    for (auto const& [url, told] : cases) {
        auto const result = run_kx({"show", url}, {{"SSL_CERT_FILE", ""}, {"KX_PASSWORD", "g3heim"}});
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, HasSubstr(told));
        EXPECT_THAT(result.err, Not(HasSubstr("g3heim")));
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
}

TEST(kx_convert, reads_and_writes_where_a_login_is_wanted) {
    kx_test::http_server const http;
    kx_test::ftp_server const ftp("g3heim");
    auto const document = kx_test::read_file(example("task.xml"));
    http.write("task.xml", document);
    auto const copied = run_kx({"convert", http.url("/locked/task.xml", "anna@"), http.url("/upload/task.xml")},
                               with_password("g3heim"));
    EXPECT_EQ(copied.exit_code, 0) << copied.err;
    EXPECT_EQ(http.uploaded("task.xml"), document);
    auto const astray = run_kx({"convert", http.url("/locked/task.xml", "anna@"), ftp.url("/task.xml", "anonymous@")},
                               with_password("g3heim"));
    EXPECT_EQ(astray.exit_code, 1);
    EXPECT_THAT(astray.err, HasSubstr("one password cannot serve two logins, anna at "));
    EXPECT_THAT(astray.err, Not(HasSubstr("g3heim")));
}

/// A task with a script that lies on a server.
class kx_task_with_remote_script : public testing::Test {
protected:
    kx_task_with_remote_script() {
        http.write("run it.sh", script);
        ftp.write("run it.sh", script);
    }

    kx_test::kx_result make(std::string const& url, surroundings const& around, std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"task", "execute", url, "--content", "-o", out});
        return run_kx(more, around);
    }

    void expect_made(kx_test::kx_result const& made, std::string const& name) {
        EXPECT_EQ(made.exit_code, 0) << made.err;
        EXPECT_EQ(made.err, "");
        EXPECT_EQ(made.out, out + ": execute task \"" + name + "\"\n");
        auto const task = run_kx({"show", out, "--json"}).json();
        EXPECT_EQ(task["configuration"]["execute-content"], script);
        EXPECT_EQ(task["configuration"]["execute-content-extension"], "sh");
        EXPECT_THAT(folder.read("task.xml"), Not(HasSubstr("g3heim")));
        std::filesystem::remove(out);
    }

    void expect_refused(kx_test::kx_result const& result, std::string const& told) {
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, testing::StartsWith("kx: " + out + ": "));
        EXPECT_THAT(result.err, HasSubstr(told));
        EXPECT_THAT(result.err, Not(HasSubstr("g3heim")));
        EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
        EXPECT_FALSE(std::filesystem::exists(out));
    }

    std::string const script = "#!/bin/sh\necho \"$1\" gr\xc3\xbc\xc3\x9f"
                               "e\n";
    kx_test::http_server const http;
    kx_test::ftp_server const ftp{"g3heim"};
    kx_test::scratch_folder folder;
    std::string out = folder.file("task.xml");
};

TEST_F(kx_task_with_remote_script, reads_it_through_http_and_ftp) {
    expect_made(make(http.url("/run%20it.sh"), {}), "run it.sh");
    expect_made(make(http.url("/locked/run%20it.sh", "anna@"), with_password("g3heim")), "run it.sh");
    expect_made(make(ftp.url("/run%20it.sh", "anonymous@"), with_password("g3heim")), "run it.sh");
    auto const password = folder.write("password", "g3heim\n");
    std::filesystem::permissions(password, std::filesystem::perms::owner_read);
    expect_made(make(ftp.url("/run%20it.sh", "anonymous@"), with_password("wrong"), {"--password-file", password}),
                "run it.sh");
}

TEST_F(kx_task_with_remote_script, tells_what_is_wrong) {
    expect_refused(make(http.url("/none.sh"), {}), "there is no such file (the server answered 404)");
    expect_refused(make(ftp.url("/none.sh", "anonymous@"), with_password("g3heim")), "there is no such file");
    expect_refused(make(http.url("/locked/run%20it.sh", "anna@"), with_password("g3heim?")), "the login was refused");
    expect_refused(make(http.url("/locked/run%20it.sh", "berta@"), with_password("g3heim")), "the login was refused");
    expect_refused(make(http.url("/locked/run%20it.sh"), {}), "the login was refused");
    expect_refused(make(ftp.url("/run%20it.sh", "anonymous@"), with_password("g3heim?")), "the login was refused");
}

} // namespace
