// Reading and writing through real servers: nginx and vsftpd, on this machine.
#include "transfer.h"

#include "document_samples.h"
#include "key_file_setting.h"
#include "support/captured_report.h"
#include "support/fault_server.h"
#include "support/ftp_server.h"
#include "support/http_server.h"
#include "transfer_setting.h"

#include <kxbase/limits.h>
#include <kxbase/urls.h>

#include <gmock/gmock.h>

namespace {

using namespace kx_test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char script[] = "#!/bin/sh\r\necho \"$1\"\n\xff\x00 done\n";
std::string const a_script(script, sizeof script - 1);

/// Names that mean something to one of those who pass them on; the last holds every printable character but '/'.
std::vector<std::string> odd_names() {
    std::vector<std::string> names = {"a b",   " ",     "größe.sh", "日本.js", "#1",  "100%", "%41",
                                      "50%25", "a?b=c", "a;type=a", "&amp;",   "a+b", "..a",  "*",
                                      "~",     "a:b@c", "$x",       "-r",      "\"'`"};
    std::string all;
    for (char c = ' '; c != 0x7f; ++c)
        if (c != '/') all += c;
    names.push_back(all);
    return names;
}

/// The URL path of a name, as URLs are made of paths.
std::string url_path_of(std::string const& name) {
    return kxbase::url_path(kxbase::url_create_from_url_or_path("/" + name, ""), false);
}

void put(std::string const& url, std::string_view content) {
    kxcore::ioutil::set_file_content(url, kxbase::buffer(content), kxcore::plugin_db());
}

/// The message of the error that writing raises.
std::string put_failure(std::string const& url) {
    try {
        put(url, "content");
    } catch (kxbase::es::call const& error) {
        return error.what();
    }
    ADD_FAILURE() << url << " was written";
    return {};
}

/// More than the system takes in of what nobody reads.
std::string filled(std::size_t size, char with) {
    return std::string(size, with);
}

struct limited_document {
    explicit limited_document(std::size_t most) : limits(), scope((limits.document = most, limits)) {}
    kxbase::limits limits;
    kxbase::scoped_limits scope;
};

TEST(http_transfers, read_a_file_whole) {
    http_server const server;
    std::string const large = a_script + std::string(3'000'000, 'x') + a_script;
    for (std::string const& content : {a_script, every_byte(), std::string(), large}) {
        server.write("scripts/run.sh", content);
        EXPECT_EQ(content_of(server.url("/scripts/run.sh")), content);
        EXPECT_EQ(content_of(server.url("/chunked/scripts/run.sh")), content);
    }
}

TEST(http_transfers, read_files_of_odd_names) {
    http_server const server;
    for (std::string const& name : odd_names()) {
        server.write(name, "this is " + name);
        EXPECT_EQ(content_of(server.url(url_path_of(name))), "this is " + name);
    }
    // As people write them, where nothing else can be meant.
    server.write("100% größe.sh", "lenient");
    EXPECT_EQ(content_of(server.url("/100% größe.sh")), "lenient");
    EXPECT_EQ(content_of(server.url("/100%25%20größe.sh?version=2#top")), "lenient");
}

TEST(http_transfers, log_in_with_user_and_password_of_the_url) {
    http_server const server;
    server.write("run.sh", a_script);
    EXPECT_EQ(content_of(server.url("/locked/run.sh", "anna:g3heim@")), a_script);
    EXPECT_THAT(server.requests(), HasSubstr("GET /locked/run.sh user=\"anna\""));
}

TEST(http_transfers, tell_a_refused_login_without_its_words) {
    http_server const server;
    server.write("run.sh", a_script);
    captured_report const log;
    for (char const* user_info : {"anna:g3h31mer@", "berta:g3h31mer@", ""}) {
        std::string const message = failure_of(server.url("/locked/run.sh", user_info));
        EXPECT_EQ(message, "cannot read '" + server.url("/locked/run.sh") +
                               "': the login was refused (the server answered 401)");
    }
    EXPECT_FALSE(log.has("g3h31mer"));
    EXPECT_FALSE(log.has("anna"));
}

TEST(http_transfers, tell_a_file_that_is_not_there) {
    http_server const server;
    EXPECT_EQ(failure_of(server.url("/none.sh")),
              "cannot read '" + server.url("/none.sh") + "': there is no such file (the server answered 404)");
    server.write("folder/x", "x");
    EXPECT_THAT(failure_of(server.url("/folder/")), HasSubstr("access was refused (the server answered 403)"));
}

TEST(http_transfers, stop_at_the_limit) {
    http_server const server;
    server.write("fits", std::string(1'000'000, 'x'));
    server.write("large", filled(20'000'000, 'x'));
    limited_document const scope(1'000'000);
    for (char const* folder : {"/", "/chunked/"}) {
        EXPECT_EQ(content_of(server.url(std::string(folder) + "fits")).size(), 1'000'000U);
        std::string const url = server.url(std::string(folder) + "large");
        EXPECT_EQ(failure_of<kxbase::es::arg>(url), "'" + url + "' is larger than 1000000 bytes (limit document)");
    }
}

TEST(http_transfers, recognize_a_document_by_its_beginning_without_the_rest) {
    http_server const server;
    std::string const document = written(a_sample(), configuration::format_xml);
    std::string const large = document + filled(30'000'000, '\n');
    server.write("large.kx", large);
    server.write("small", "<");
    EXPECT_TRUE(configuration::recognizes_file(server.url("/large.kx"), kxcore::plugin_db()));
    EXPECT_FALSE(configuration::recognizes_file(server.url("/small"), kxcore::plugin_db()));
    EXPECT_EQ(kxcore::ioutil::get_file_prefix(server.url("/small"), 10, kxcore::plugin_db()), "<");
    EXPECT_THAT(server.requests(), Not(HasSubstr("sent=" + std::to_string(large.size()) + "\n")));
}

TEST(http_transfers, follow_a_redirection_to_another_server_and_take_no_login_there) {
    http_server const first;
    http_server const second;
    second.write("run.sh", a_script);
    std::string const there = first.url_redirected_to(second.url("/run.sh"));
    EXPECT_EQ(content_of(there), a_script);
    EXPECT_EQ(content_of(std::string(there).insert(7, "anna:g3heim@")), a_script);
    EXPECT_THAT(first.requests(), HasSubstr("user=\"anna\""));
    EXPECT_THAT(second.requests(), Not(HasSubstr("anna")));
    EXPECT_THAT(
        failure_of(std::string(first.url_redirected_to(second.url("/locked/run.sh"))).insert(7, "anna:g3heim@")),
        HasSubstr("the login was refused"));
}

TEST(http_transfers, follow_no_redirection_to_another_kind_of_server) {
    http_server const server;
    ftp_server const ftp;
    ftp.write("run.sh", a_script);
    scratch_folder const folder;
    std::string const local = folder.write("run.sh", a_script);
    for (std::string const& target : {ftp.url("/run.sh"), "file://" + local, "file://localhost" + local,
                                      std::string("smb://127.0.0.1/x"), std::string("gopher://127.0.0.1/x")})
        EXPECT_EQ(
            failure_of(server.url_redirected_to(target)),
            "cannot read '" + server.url_redirected_to(target) +
                "': the server redirects to another kind of place, which is not followed (the server answered 302)");
}

TEST(http_transfers, follow_five_redirections) {
    http_server const server;
    server.write("run.sh", a_script);
    std::string url = server.url("/run.sh");
    for (int i = 0; i != 5; ++i)
        url = server.url_redirected_to(url);
    EXPECT_EQ(content_of(url), a_script);
    EXPECT_THAT(failure_of(server.url_redirected_to(url)), HasSubstr("the server redirects more than 5 times"));
}

TEST(http_transfers, write_a_file) {
    http_server const server;
    for (std::string const& content : {a_script, std::string(), std::string(3'000'000, 'x')}) {
        put(server.url("/upload/new/run.sh"), content);
        EXPECT_EQ(server.uploaded("new/run.sh"), content);
    }
    EXPECT_EQ(put_failure(server.url("/run.sh", "anna:g3h31mer@")),
              "cannot write '" + server.url("/run.sh") + "': the request failed (the server answered 405)");
}

TEST(http_transfers, write_a_file_from_its_start_where_the_server_sends_them) {
    http_server const server;
    std::string const answer = "HTTP/1.1 307 There\r\nContent-Length: 0\r\nConnection: close\r\nLocation: ";
    fault_server const first(answer + server.url("/upload/run.sh") + "\r\n\r\n");
    put(first.url("/x"), a_script);
    EXPECT_EQ(server.uploaded("run.sh"), a_script);
}

TEST(https_transfers, read_a_file_when_the_certificate_is_trusted) {
    http_server const server(e_http::encrypted);
    server.write("run.sh", a_script);
    environment_setting const trust("SSL_CERT_FILE", server.certificate().c_str());
    EXPECT_EQ(content_of(server.url("/run.sh")), a_script);
    EXPECT_EQ(content_of(server.url("/locked/run.sh", "anna:g3heim@")), a_script);
    put(server.url("/upload/run.sh"), a_script);
    EXPECT_EQ(server.uploaded("run.sh"), a_script);
}

TEST(https_transfers, tell_a_certificate_that_is_not_trusted) {
    http_server const server(e_http::encrypted);
    server.write("run.sh", a_script);
    environment_setting const trust("SSL_CERT_FILE", nullptr);
    EXPECT_EQ(failure_of(server.url("/run.sh", "anna:g3h31mer@")),
              "cannot read '" + server.url("/run.sh") +
                  "': the server's certificate is not trusted: self-signed certificate");
    EXPECT_THAT(put_failure(server.url("/upload/run.sh")), HasSubstr("self-signed certificate"));
    // Not a word was said to it.
    EXPECT_THAT(server.requests(), Not(HasSubstr("run.sh")));
}

TEST(https_transfers, tell_a_certificate_for_another_name) {
    http_server const server(e_http::encrypted);
    environment_setting const trust("SSL_CERT_FILE", server.certificate().c_str());
    std::string url = server.url("/run.sh");
    url.replace(url.find("localhost"), 9, "127.0.0.1");
    EXPECT_EQ(failure_of(url), "cannot read '" + url + "': the server's certificate is for another name");
}

TEST(https_transfers, follow_no_redirection_to_an_open_connection) {
    http_server const open;
    open.write("run.sh", a_script);
    http_server const server(e_http::encrypted);
    environment_setting const trust("SSL_CERT_FILE", server.certificate().c_str());
    EXPECT_THAT(failure_of(server.url_redirected_to(open.url("/run.sh"))),
                HasSubstr("redirects to another kind of place"));
    server.write("run.sh", a_script);
    EXPECT_EQ(content_of(open.url_redirected_to(server.url("/run.sh"))), a_script);
}

TEST(https_transfers, tell_a_server_that_is_none_of_https) {
    http_server const open;
    std::string const url = "https://" + open.host() + "/x";
    EXPECT_THAT(failure_of(url), StartsWith("cannot read '" + url + "': "));
}

TEST(ftp_transfers, read_a_file_whole) {
    ftp_server const server;
    std::string const large = a_script + std::string(3'000'000, 'x') + a_script;
    for (std::string const& content : {a_script, every_byte(), std::string(), large}) {
        server.write("scripts/run.sh", content);
        EXPECT_EQ(content_of(server.url("/scripts/run.sh")), content);
    }
}

TEST(ftp_transfers, read_files_of_odd_names) {
    ftp_server const server;
    for (std::string const& name : odd_names()) {
        // The home folder, says the server.
        if (name == "~") continue;
        server.write("in/" + name, "this is " + name);
        EXPECT_EQ(content_of(server.url("/in" + url_path_of(name))), "this is " + name);
    }
}

TEST(ftp_transfers, log_in_with_user_and_password_of_the_url) {
    ftp_server const server("g3 h:e/i@m");
    server.write("run.sh", a_script);
    EXPECT_EQ(content_of(server.url("/run.sh", "anonymous:g3%20h%3Ae%2Fi%40m@")), a_script);
}

TEST(ftp_transfers, tell_a_refused_login_without_its_words) {
    ftp_server const server("g3heim");
    server.write("run.sh", a_script);
    captured_report const log;
    for (char const* user_info : {"anonymous:g3h31mer@", "berta:g3h31mer@", ""})
        EXPECT_EQ(failure_of(server.url("/run.sh", user_info)),
                  "cannot read '" + server.url("/run.sh") + "': the login was refused (the server answered 530)");
    EXPECT_FALSE(log.has("g3h31mer"));
    EXPECT_FALSE(log.has("berta"));
}

TEST(ftp_transfers, tell_a_file_that_is_not_there) {
    ftp_server const server;
    server.write("folder/run.sh", "x");
    EXPECT_EQ(failure_of(server.url("/none.sh")),
              "cannot read '" + server.url("/none.sh") + "': there is no such file (the server answered 550)");
    EXPECT_EQ(failure_of(server.url("/none/run.sh")),
              "cannot read '" + server.url("/none/run.sh") + "': there is no such folder (the server answered 550)");
    EXPECT_THAT(failure_of(server.url("/folder")), HasSubstr("there is no such file"));
    for (char const* path : {"/folder/", "/", ""})
        EXPECT_EQ(failure_of(server.url(path)), "'" + server.url(path) + "' names a folder, not a file");
}

TEST(ftp_transfers, stop_at_the_limit) {
    ftp_server const server;
    server.write("fits", std::string(1'000'000, 'x'));
    server.write("large", filled(20'000'000, 'x'));
    limited_document const scope(1'000'000);
    EXPECT_EQ(content_of(server.url("/fits")).size(), 1'000'000U);
    EXPECT_EQ(failure_of<kxbase::es::arg>(server.url("/large")),
              "'" + server.url("/large") + "' is larger than 1000000 bytes (limit document)");
}

TEST(ftp_transfers, recognize_a_document_by_its_beginning_without_the_rest) {
    ftp_server const server;
    std::string const document = written(a_sample(), configuration::format_binary);
    server.write("large.kx", document + filled(30'000'000, '\n'));
    EXPECT_TRUE(configuration::recognizes_file(server.url("/large.kx"), kxcore::plugin_db()));
    EXPECT_EQ(kxcore::ioutil::get_file_prefix(server.url("/large.kx"), 10, kxcore::plugin_db()),
              document.substr(0, 10));
    EXPECT_THAT(server.transfers(), Not(HasSubstr("OK DOWNLOAD")));
}

TEST(ftp_transfers, write_a_file) {
    ftp_server const server("g3heim");
    for (std::string const& content : {a_script, std::string(), std::string(3'000'000, 'x')}) {
        put(server.url("/run.sh", "anonymous:g3heim@"), content);
        EXPECT_EQ(server.read("run.sh"), content);
    }
    EXPECT_THAT(put_failure(server.url("/none/run.sh", "anonymous:g3heim@")),
                AllOf(HasSubstr("cannot write"), HasSubstr("no such folder"), Not(HasSubstr("g3heim"))));
    EXPECT_THAT(put_failure(server.url("/run.sh", "anonymous:g3h31mer@")), HasSubstr("the login was refused"));
}

} // namespace
