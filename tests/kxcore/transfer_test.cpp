// Files on other machines, through a small server of the test's own on this one.
#include "transfer.h"

#include "document_samples.h"
#include "support/fault_server.h"
#include "support/scratch_folder.h"
#include "transfer_setting.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxcore/ioutil.h>
#include <kxcore/plugin_db.h>

#include <gmock/gmock.h>

namespace {

using kx_test::failure_of;
using kx_test::fault_server;
using testing::HasSubstr;
using testing::Not;

kxcore::plugin_db const plugins;

std::string ok(std::string_view body) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" +
           std::string(body);
}

TEST(transfers, receive_a_file) {
    std::string const body = kx_test::every_byte();
    fault_server const server(ok(body));
    std::string content;
    kxcore::ioutil::get_file_content(server.url("/a b/é?q=1#part"), content, plugins);
    EXPECT_EQ(content, body);
    EXPECT_THAT(server.asked(), testing::StartsWith("GET /a%20b/%C3%A9?q=1 HTTP/1.1\r\n"));
    EXPECT_THAT(server.asked(), Not(HasSubstr("Authorization")));
}

TEST(transfers, log_in_with_what_the_url_holds) {
    fault_server const server(ok("x"));
    std::string content;
    kxcore::ioutil::get_file_content(server.url("/x", "anna:g3%40heim@"), content, plugins);
    EXPECT_THAT(server.asked(), HasSubstr("Authorization: Basic YW5uYTpnM0BoZWlt\r\n"));
}

TEST(transfers, recognize_a_document_by_its_beginning) {
    std::string const document = kx_test::written(kx_test::a_sample(), kx_test::configuration::format_xml);
    fault_server const server(ok(document + std::string(1'000'000, '\n')));
    EXPECT_TRUE(kx_test::configuration::recognizes_file(server.url("/x"), plugins));
    EXPECT_EQ(kxcore::ioutil::get_file_prefix(server.url("/x"), 10, plugins), document.substr(0, 10));
    EXPECT_EQ(kxcore::ioutil::get_file_prefix(server.url("/x"), 2'000'000, plugins).size(),
              document.size() + 1'000'000);
}

TEST(transfers, tell_what_the_server_answered_and_no_secret) {
    fault_server const server("HTTP/1.1 404 Not here, g3heim\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    std::string const message = failure_of(server.url("/x?token=t0ken", "anna:g3heim@"));
    EXPECT_THAT(message, HasSubstr("cannot read '" + server.url("/x") + "'"));
    EXPECT_THAT(message, HasSubstr("(the server answered 404)"));
    for (std::string const secret : {"anna", "g3heim", "t0ken"})
        EXPECT_THAT(message, Not(HasSubstr(secret)));
}

TEST(transfers, tell_of_a_server_that_is_not_there) {
    std::string url;
    {
        fault_server const gone("");
        url = gone.url("/x", "anna:g3heim@");
    }
    std::string const message = failure_of(url);
    EXPECT_THAT(message, testing::AllOf(HasSubstr("cannot read"), Not(HasSubstr("anna")), Not(HasSubstr("g3heim"))));
}

TEST(transfers, that_end_early_are_told) {
    fault_server const server("HTTP/1.1 200 OK\r\nContent-Length: 100\r\nConnection: close\r\n\r\nshort");
    EXPECT_THAT(failure_of(server.url("/x")), HasSubstr("cannot read"));
}

TEST(transfers, that_stall_are_given_up) {
    kx_test::short_time_outs const scope;
    fault_server const server(
        kx_test::http_answer("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nslow", kx_test::e_ending::stalled));
    EXPECT_THAT(failure_of(server.url("/x")), HasSubstr("time-out"));
}

TEST(transfers, stop_at_the_limit_whatever_the_server_says_of_the_size) {
    kxbase::limits limits;
    limits.document = 1000;
    kxbase::scoped_limits const scope(limits);
    struct {
        std::string answer;
        bool fits;
    } const cases[] = {
        {ok(std::string(1000, 'x')), true},
        {ok(std::string(1001, 'x')), false},
        {"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + std::string(1000, 'x'), true},
        {"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + std::string(1001, 'x'), false},
    };
    for (auto const& [answer, fits] : cases) {
        fault_server const server(answer);
        std::string content = "untouched";
        try {
            kxcore::ioutil::get_file_content(server.url("/x"), content, plugins);
            EXPECT_TRUE(fits);
            EXPECT_EQ(content.size(), 1000U);
        } catch (kxbase::es::arg const& error) {
            EXPECT_FALSE(fits);
            EXPECT_THAT(error.what(), HasSubstr("is larger than 1000 bytes (limit document)"));
            EXPECT_EQ(content, "untouched");
        }
    }
}

TEST(transfers, follow_no_redirection_to_another_kind_of_server) {
    kx_test::scratch_folder const folder;
    std::string const path = folder.write("x", "of this machine");
    for (std::string const& target : {"file://" + path, std::string("ftp://127.0.0.1/x")}) {
        fault_server const server("HTTP/1.1 302 Found\r\nLocation: " + target +
                                  "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        EXPECT_THAT(failure_of(server.url("/x")), HasSubstr("cannot read"));
    }
}

TEST(transfers, send_a_file) {
    fault_server const server("HTTP/1.1 201 Created\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    kxcore::ioutil::set_file_content(server.url("/x"), kxbase::buffer(std::string_view("content")), plugins);
    EXPECT_THAT(server.asked(), testing::StartsWith("PUT /x HTTP/1.1\r\n"));
    EXPECT_THAT(server.asked(), testing::EndsWith("\r\n\r\ncontent"));
    fault_server const refusing("HTTP/1.1 403 No\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    try {
        kxcore::ioutil::set_file_content(refusing.url("/x", "anna:g3heim@"), kxbase::buffer(std::string_view("x")),
                                         plugins);
        FAIL() << "was sent";
    } catch (kxbase::es::call const& error) {
        EXPECT_THAT(error.what(),
                    testing::AllOf(HasSubstr("cannot write"), HasSubstr("403"), Not(HasSubstr("g3heim"))));
    }
}

TEST(transfers, know_their_schemes) {
    for (char const* scheme : {"ftp", "http", "https", "smb"})
        EXPECT_TRUE(kxcore::transfer::knows_scheme(scheme));
    for (char const* scheme : {"", "file", "FTP", "gopher", "kxrc"})
        EXPECT_FALSE(kxcore::transfer::knows_scheme(scheme));
}

} // namespace
