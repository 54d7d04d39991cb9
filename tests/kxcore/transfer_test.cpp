// Files on other machines, through a small server of the test's own on this one.
#include "transfer.h"

#include "document_samples.h"
#include "support/scratch_folder.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxcore/ioutil.h>
#include <kxcore/plugin_db.h>
#include <kxcore/process_context.h>

#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <thread>

namespace {

using testing::HasSubstr;
using testing::Not;

kxcore::plugin_db const plugins;

/// Answers each connection with a text of the test's and keeps what was asked. One connection at a time.
class one_answer_server {
public:
    /// @param stalls whether the connection stays open after the answer until the client has gone
    explicit one_answer_server(std::string answer, bool stalls = false)
        : answer_(std::move(answer)), stalls_(stalls), socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (::bind(socket_, reinterpret_cast<sockaddr*>(&address), size) != 0 || ::listen(socket_, 8) != 0 ||
            ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
            throw std::runtime_error("no server on this machine");
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    ~one_answer_server() {
        ::shutdown(socket_, SHUT_RDWR);
        thread_.join();
        ::close(socket_);
    }
    one_answer_server(one_answer_server const&) = delete;
    one_answer_server& operator=(one_answer_server const&) = delete;

    [[nodiscard]] std::string url(std::string_view path, std::string_view user = "") const {
        return "http://" + std::string(user) + "127.0.0.1:" + std::to_string(port_) + std::string(path);
    }
    /// What the last client sent; after the transfer.
    [[nodiscard]] std::string asked() const { return asked_; }

private:
    void serve() {
        for (int client = 0; (client = ::accept(socket_, nullptr, nullptr)) >= 0; ::close(client)) {
            std::string asked;
            char piece[4096];
            std::size_t body = 0;
            for (ssize_t n = 0; (n = ::recv(client, piece, sizeof piece, 0)) > 0;) {
                asked.append(piece, static_cast<std::size_t>(n));
                std::size_t const end = asked.find("\r\n\r\n");
                if (end == std::string::npos) continue;
                std::size_t const length = asked.find("Content-Length: ");
                body = length < end ? std::stoul(asked.substr(length + 16)) : 0;
                if (asked.size() >= end + 4 + body) break;
            }
            asked_ = asked;
            std::size_t sent = 0;
            while (sent < answer_.size()) {
                ssize_t const n = ::send(client, answer_.data() + sent, answer_.size() - sent, MSG_NOSIGNAL);
                if (n <= 0) break;
                sent += static_cast<std::size_t>(n);
            }
            if (stalls_)
                while (::recv(client, piece, sizeof piece, 0) > 0) {
                }
        }
    }

    std::string answer_;
    bool stalls_;
    int socket_;
    unsigned int port_ = 0;
    std::string asked_;
    std::thread thread_;
};

std::string ok(std::string_view body) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" +
           std::string(body);
}

/// The message of the es::call that reading raises.
std::string failure(std::string const& url) {
    std::string content = "untouched";
    try {
        kxcore::ioutil::get_file_content(url, content, plugins);
        ADD_FAILURE() << "was read: " << content;
        return {};
    } catch (kxbase::es::call const& error) {
        EXPECT_EQ(content, "untouched");
        return error.what();
    }
}

/// Short waits for the length of a test.
struct short_time_outs {
    kxcore::transfer_time_outs before = kxcore::process_context::instance().get_transfer_time_outs();
    short_time_outs() {
        kxcore::process_context::instance().set_transfer_time_outs(
            {std::chrono::milliseconds(1000), std::chrono::seconds(1)});
    }
    ~short_time_outs() { kxcore::process_context::instance().set_transfer_time_outs(before); }
};

TEST(transfers, receive_a_file) {
    std::string const body = kx_test::every_byte();
    one_answer_server const server(ok(body));
    std::string content;
    kxcore::ioutil::get_file_content(server.url("/a b/é?q=1#part"), content, plugins);
    EXPECT_EQ(content, body);
    EXPECT_THAT(server.asked(), testing::StartsWith("GET /a%20b/%C3%A9?q=1 HTTP/1.1\r\n"));
    EXPECT_THAT(server.asked(), Not(HasSubstr("Authorization")));
}

TEST(transfers, log_in_with_what_the_url_holds) {
    one_answer_server const server(ok("x"));
    std::string content;
    kxcore::ioutil::get_file_content(server.url("/x", "anna:g3%40heim@"), content, plugins);
    EXPECT_THAT(server.asked(), HasSubstr("Authorization: Basic YW5uYTpnM0BoZWlt\r\n"));
}

TEST(transfers, recognize_a_document_by_its_beginning) {
    std::string const document = kx_test::written(kx_test::a_sample(), kx_test::configuration::format_xml);
    one_answer_server const server(ok(document + std::string(1'000'000, '\n')));
    EXPECT_TRUE(kx_test::configuration::recognizes_file(server.url("/x"), plugins));
    EXPECT_EQ(kxcore::ioutil::get_file_prefix(server.url("/x"), 10, plugins), document.substr(0, 10));
    EXPECT_EQ(kxcore::ioutil::get_file_prefix(server.url("/x"), 2'000'000, plugins).size(),
              document.size() + 1'000'000);
}

TEST(transfers, tell_what_the_server_answered_and_no_secret) {
    one_answer_server const server("HTTP/1.1 404 Not here, g3heim\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    std::string const message = failure(server.url("/x?token=t0ken", "anna:g3heim@"));
    EXPECT_THAT(message, HasSubstr("cannot read '" + server.url("/x") + "'"));
    EXPECT_THAT(message, HasSubstr("(the server answered 404)"));
    for (std::string const secret : {"anna", "g3heim", "t0ken"})
        EXPECT_THAT(message, Not(HasSubstr(secret)));
}

TEST(transfers, tell_of_a_server_that_is_not_there) {
    std::string url;
    {
        one_answer_server const gone("");
        url = gone.url("/x", "anna:g3heim@");
    }
    std::string const message = failure(url);
    EXPECT_THAT(message, testing::AllOf(HasSubstr("cannot read"), Not(HasSubstr("anna")), Not(HasSubstr("g3heim"))));
}

TEST(transfers, that_end_early_are_told) {
    one_answer_server const server("HTTP/1.1 200 OK\r\nContent-Length: 100\r\nConnection: close\r\n\r\nshort");
    EXPECT_THAT(failure(server.url("/x")), HasSubstr("cannot read"));
}

TEST(transfers, that_stall_are_given_up) {
    short_time_outs const scope;
    one_answer_server const server("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nslow", true);
    EXPECT_THAT(failure(server.url("/x")), HasSubstr("Timeout"));
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
        one_answer_server const server(answer);
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
        one_answer_server const server("HTTP/1.1 302 Found\r\nLocation: " + target +
                                       "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        EXPECT_THAT(failure(server.url("/x")), HasSubstr("cannot read"));
    }
}

TEST(transfers, send_a_file) {
    one_answer_server const server("HTTP/1.1 201 Created\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    kxcore::ioutil::set_file_content(server.url("/x"), kxbase::buffer(std::string_view("content")), plugins);
    EXPECT_THAT(server.asked(), testing::StartsWith("PUT /x HTTP/1.1\r\n"));
    EXPECT_THAT(server.asked(), testing::EndsWith("\r\n\r\ncontent"));
    one_answer_server const refusing("HTTP/1.1 403 No\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
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
