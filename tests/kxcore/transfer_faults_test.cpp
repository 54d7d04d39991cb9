// Servers that stall, cut connections, send without end or mislead: an error in time, and no short document.
#include "transfer.h"

#include "document_samples.h"
#include "support/captured_report.h"
#include "support/fault_server.h"
#include "support/heap_watch.h"
#include "transfer_setting.h"

#include <kxbase/limits.h>

#include <gmock/gmock.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>

namespace {

using namespace kx_test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr std::size_t limit = std::size_t{1} << 20;

struct short_documents {
    short_documents() : limits(), scope((limits.document = limit, limits)) {}
    kxbase::limits limits;
    kxbase::scoped_limits scope;
};

/// How long something takes, in seconds.
class stopwatch {
public:
    [[nodiscard]] double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

void expect_time_out(fault_server::behaviour const& act, char const* scheme) {
    short_time_outs const scope;
    fault_server const server(act);
    captured_report const log;
    stopwatch const watch;
    EXPECT_THAT(failure_of(server.url("/folder/run.sh", "anna:g3heim@", scheme)),
                AllOf(HasSubstr("cannot read '" + server.url("/folder/run.sh", "", scheme) +
                                "': time-out, the server does "
                                "not answer or is too slow"),
                      Not(HasSubstr("g3heim"))));
    EXPECT_LT(watch.seconds(), 20);
    EXPECT_FALSE(log.has("g3heim"));
}

/// Content of 100 bytes by word, and what comes of it.
fault_server::behaviour short_http(std::string const& head, e_ending ending) {
    return http_answer("HTTP/1.1 200 OK\r\n" + head + "\r\nshort", ending);
}

TEST(stalling_servers, that_never_answer_are_given_up) {
    expect_time_out(silent(), "http");
}

TEST(stalling_servers, that_never_greet_by_tls_are_given_up) {
    expect_time_out(silent(), "https");
}

TEST(stalling_servers, that_send_only_a_head_are_given_up) {
    expect_time_out(http_answer("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n", e_ending::stalled), "http");
}

TEST(stalling_servers, that_stop_within_the_head_are_given_up) {
    expect_time_out(http_answer("HTTP/1.1 200 OK\r\nContent-Le", e_ending::stalled), "http");
}

TEST(stalling_servers, that_stop_within_the_content_are_given_up) {
    expect_time_out(short_http("Content-Length: 100\r\n", e_ending::stalled), "http");
}

TEST(stalling_servers, that_send_hardly_anything_are_given_up) {
    expect_time_out(
        [](fault_connection& connection) {
            connection.read_request();
            connection.send("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n");
            while (connection.send("x"))
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
        },
        "http");
}

TEST(stalling_ftp_servers, that_never_greet_are_given_up) {
    expect_time_out(ftp_answer({.silent_at = "greeting"}), "ftp");
}

TEST(stalling_ftp_servers, that_fall_silent_after_the_user_are_given_up) {
    expect_time_out(ftp_answer({.silent_at = "USER"}), "ftp");
}

TEST(stalling_ftp_servers, that_fall_silent_after_the_password_are_given_up) {
    expect_time_out(ftp_answer({.silent_at = "PASS"}), "ftp");
}

TEST(stalling_ftp_servers, that_fall_silent_after_the_folder_are_given_up) {
    expect_time_out(ftp_answer({.silent_at = "CWD"}), "ftp");
}

TEST(stalling_ftp_servers, that_fall_silent_before_the_file_are_given_up) {
    expect_time_out(ftp_answer({.silent_at = "RETR"}), "ftp");
}

TEST(stalling_ftp_servers, that_stop_within_the_file_are_given_up) {
    expect_time_out(ftp_answer({.content = "short", .size = 100, .ending = e_ending::stalled}), "ftp");
}

TEST(cut_connections, are_no_end_of_a_file) {
    struct {
        char const* what;
        fault_server::behaviour act;
        char const* scheme;
    } const cases[] = {
        {"closed before its length", short_http("Content-Length: 100\r\n", e_ending::closed), "http"},
        {"reset", short_http("Content-Length: 100\r\n", e_ending::cut), "http"},
        {"closed within a chunk", short_http("Transfer-Encoding: chunked\r\n", e_ending::closed), "http"},
        {"closed between chunks",
         http_answer("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nshort\r\n", e_ending::closed), "http"},
        {"reset without a length", short_http("", e_ending::cut), "http"},
        {"no answer", http_answer("", e_ending::closed), "http"},
        {"ftp, closed before its length", ftp_answer({.content = "short", .size = 100}), "ftp"},
        {"ftp, told afterwards", ftp_answer({.content = "short", .closing = "426 transfer aborted"}), "ftp"},
        {"ftp, reset", ftp_answer({.content = "short", .size = 100, .ending = e_ending::cut, .closing = "426 broken"}),
         "ftp"},
    };
    for (auto const& [what, act, scheme] : cases) {
        SCOPED_TRACE(what);
        fault_server const server(act);
        EXPECT_THAT(failure_of(server.url("/run.sh", "", scheme)),
                    HasSubstr("cannot read '" + server.url("/run.sh", "", scheme) +
                              "': the connection ended before the transfer did"));
    }
}

TEST(endless_content, is_left_at_the_limit) {
    struct {
        fault_server::behaviour act;
        char const* scheme;
    } const cases[] = {
        {http_answer("HTTP/1.1 200 OK\r\n\r\n", e_ending::endless), "http"},
        {http_answer("HTTP/1.1 200 OK\r\nContent-Length: 9000000000000\r\n\r\n", e_ending::endless), "http"},
        {http_answer("HTTP/1.1 200 OK\r\nContent-Length: 10\r\nTransfer-Encoding: chunked\r\n\r\nFFFFFFFFFF\r\n",
                     e_ending::endless),
         "http"},
        {ftp_answer({.content = "x", .ending = e_ending::endless}), "ftp"},
        {ftp_answer({.content = "x", .size = 9'000'000'000'000, .ending = e_ending::endless}), "ftp"},
    };
    short_documents const scope;
    for (auto const& [act, scheme] : cases) {
        fault_server const server(act);
        std::string const url = server.url("/run.sh", "", scheme);
        heap_watch const heap;
        std::string content = "untouched";
        try {
            kxcore::ioutil::get_file_content(url, content, kxcore::plugin_db());
            ADD_FAILURE() << url << " was read: " << content.size();
        } catch (kxbase::es::arg const& error) {
            EXPECT_EQ(error.what(), "'" + url + "' is larger than 1048576 bytes (limit document)");
        } catch (kxbase::es::call const& error) {
            ADD_FAILURE() << error.what();
        }
        EXPECT_EQ(content, "untouched");
        EXPECT_LT(heap.bytes(), 8 * limit);
        // What the system had taken in is all that comes on top.
        EXPECT_LT(server.sent(), 32 * limit);
    }
}

TEST(endless_content, is_recognized_by_its_beginning) {
    std::string const document = written(a_sample(), configuration::format_xml);
    fault_server const http(http_answer("HTTP/1.1 200 OK\r\n\r\n" + document, e_ending::endless));
    EXPECT_TRUE(configuration::recognizes_file(http.url("/x"), kxcore::plugin_db()));
    fault_server const ftp(ftp_answer({.content = document, .ending = e_ending::endless}));
    EXPECT_TRUE(configuration::recognizes_file(ftp.url("/x", "", "ftp"), kxcore::plugin_db()));
}

TEST(endless_content, of_which_enough_has_come_is_not_waited_for) {
    std::string const answer = "HTTP/1.1 200 OK\r\n\r\n0123456789";
    fault_server const http(http_answer(answer, e_ending::stalled));
    EXPECT_EQ(kxcore::ioutil::get_file_prefix(http.url("/x"), 10, kxcore::plugin_db()), "0123456789");
    fault_server const ftp(ftp_answer({.content = "0123456789", .ending = e_ending::stalled}));
    EXPECT_EQ(kxcore::ioutil::get_file_prefix(ftp.url("/x", "", "ftp"), 10, kxcore::plugin_db()), "0123456789");
}

TEST(endless_heads, are_left) {
    short_time_outs const scope;
    std::string const line = "X-Line: " + std::string(1000, 'x') + "\r\n";
    fault_server const lines([&](fault_connection& connection) {
        connection.read_request();
        connection.send("HTTP/1.1 200 OK\r\n");
        while (connection.send(line)) {
        }
    });
    fault_server const one_line(http_answer("HTTP/1.1 200 OK\r\nX-Line: ", e_ending::endless));
    fault_server const greeting([](fault_connection& connection) {
        while (connection.send("220-" + std::string(1000, 'x'))) {
        }
    });
    for (std::string const& url : {lines.url("/x"), one_line.url("/x"), greeting.url("/x", "", "ftp")}) {
        heap_watch const heap;
        EXPECT_THAT(failure_of(url), HasSubstr("cannot read '" + url + "': "));
        EXPECT_LT(heap.bytes(), 16 * limit);
    }
}

TEST(answers, that_are_not_the_file_are_told) {
    struct {
        std::string answer;
        char const* told;
    } const cases[] = {
        {"HTTP/1.1 204 Nothing\r\n", "the request failed (the server answered 204)"},
        {"HTTP/1.1 206 A part\r\nContent-Range: bytes 0-4/100\r\n", "the request failed (the server answered 206)"},
        {"HTTP/1.1 300 Choose\r\n", "the request failed (the server answered 300)"},
        {"HTTP/1.1 302 Elsewhere\r\n", "the request failed (the server answered 302)"},
        {"HTTP/1.1 304 As it was\r\n", "the request failed (the server answered 304)"},
        {"HTTP/1.1 407 Who?\r\n", "the proxy refused the login (the server answered 407)"},
        {"HTTP/1.1 410 Gone\r\n", "there is no such file (the server answered 410)"},
        {"HTTP/1.1 500 Oops\r\n", "the request failed (the server answered 500)"},
        {"HTTP/1.1 302 Elsewhere\r\nLocation: http://\r\n", "redirects to another kind of place"},
        {"220 no web server\r\n", "cannot read"},
    };
    for (auto const& [answer, told] : cases) {
        bool const has_body = answer.find(" 204 ") == std::string::npos && answer.find(" 304 ") == std::string::npos;
        std::string const body = has_body ? "Content-Length: 5\r\n\r\nthing" : "\r\n";
        fault_server const server(answer + "Connection: close\r\n" + body);
        EXPECT_THAT(failure_of(server.url("/x")), HasSubstr(told)) << answer;
    }
}

/// A machine beside the one that a client talks to: another address of this host, with a port that is closed on 127.0.0.1.
class third_machine {
public:
    third_machine() {
        for (int attempt = 0; attempt != 100 && !is_placed_; ++attempt) {
            close();
            listening_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            kept_closed_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            port_ = 0;
            is_placed_ = bind(listening_, INADDR_LOOPBACK + 1) && ::listen(listening_, 1) == 0 &&
                         bind(kept_closed_, INADDR_LOOPBACK);
        }
        if (!is_placed_) throw std::runtime_error("no port is free on two addresses of this machine");
    }
    ~third_machine() { close(); }
    third_machine(third_machine const&) = delete;
    third_machine& operator=(third_machine const&) = delete;

    /// Where it is, as FTP servers say it.
    [[nodiscard]] std::string place() const {
        return "127,0,0,2," + std::to_string(port_ / 256) + "," + std::to_string(port_ % 256);
    }

    /// Whether somebody has come.
    [[nodiscard]] bool has_visitor() const {
        int const visitor = ::accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
        if (visitor >= 0) ::close(visitor);
        return visitor >= 0;
    }

private:
    /// The first gets a free port, the second the same one.
    bool bind(int socket, in_addr_t address) {
        sockaddr_in at = {};
        at.sin_family = AF_INET;
        at.sin_addr.s_addr = htonl(address);
        at.sin_port = htons(port_);
        socklen_t size = sizeof at;
        if (::bind(socket, reinterpret_cast<sockaddr*>(&at), size) != 0 ||
            ::getsockname(socket, reinterpret_cast<sockaddr*>(&at), &size) != 0)
            return false;
        port_ = ntohs(at.sin_port);
        return true;
    }

    void close() const {
        for (int const each : {listening_, kept_closed_})
            if (each >= 0) ::close(each);
    }

    int listening_ = -1;
    int kept_closed_ = -1;
    in_port_t port_ = 0;
    bool is_placed_ = false;
};

TEST(answers, of_an_ftp_server_are_not_followed_elsewhere) {
    // The address that a server tells for its data is not looked at: nobody is sent to a third machine.
    third_machine const third;
    std::string const entering = "227 entering (" + third.place() + ")\r\n";
    fault_server const server([&entering](fault_connection& connection) {
        connection.send("220 ready\r\n");
        for (std::string line; !(line = connection.read_line()).empty();) {
            std::string const command = line.substr(0, 4);
            connection.send(command == "USER"   ? "331 password?\r\n"
                            : command == "PASS" ? "230 welcome\r\n"
                            : command == "PWD"  ? "257 \"/\"\r\n"
                            : command == "PASV" ? entering.c_str()
                                                : "502 unknown\r\n");
        }
    });
    std::string const url = server.url("/x", "", "ftp");
    EXPECT_THAT(failure_of(url), HasSubstr("cannot read '" + url + "': "));
    EXPECT_THAT(server.asked(), HasSubstr("PASV"));
    EXPECT_FALSE(third.has_visitor());
}

TEST(logins, cannot_hold_commands) {
    fault_server const server(ftp_answer({.content = "x"}));
    for (char const* user_info : {"anna%0d%0aDELE%20x:g3heim@", "anna:g3heim%0aDELE%20x@", "anna:g3%00heim@"})
        for (char const* scheme : {"ftp", "http"})
            EXPECT_EQ(failure_of<kxbase::es::arg>(server.url("/x", user_info, scheme)),
                      "the user or the password of '" + server.url("/x", "", scheme) + "' holds an end of line");
    EXPECT_THAT(failure_of(server.url("/x%0d%0aDELE%20x", "", "ftp")), HasSubstr("cannot read"));
    EXPECT_THAT(server.asked(), Not(HasSubstr("DELE")));
}

TEST(logins, of_a_user_alone_are_made_without_a_password) {
    fault_server const server(ftp_answer({.content = "content"}));
    EXPECT_EQ(content_of(server.url("/x", "anna@", "ftp")), "content");
    EXPECT_THAT(server.asked(), HasSubstr("USER anna\r\nPASS \r\n"));
}

} // namespace
