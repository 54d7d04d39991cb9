// Tasks with the content of scripts that lie on servers.
#include <kxclientutil/user_task.h>

#include "kxclientutil/support/plugin_samples.h"
#include "kxcore/transfer_setting.h"
#include "support/captured_report.h"
#include "support/fault_server.h"
#include "support/ftp_server.h"
#include "support/http_server.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <gmock/gmock.h>

namespace {

using namespace kx_test;
using kxclientutil::get_execute_task_with_content;
using testing::HasSubstr;
using testing::Not;

/// What an editor on any system leaves, and a byte that is no text.
constexpr std::string_view script = "#!/bin/sh\r\necho \"$1\" gr\xc3\xb6\xc3\x9f"
                                    "er\n\xff done\n\n";

class remote_scripts : public testing::Test {
protected:
    remote_scripts() {
        add_plugin(plugins, "task/regular/execute/1.0", tree({{"retries", number(3)}}));
        add_plugin(plugins, "task/regular/pre-execute/1.0", tree({}));
    }

    void expect_task(std::string const& url, std::string const& name, std::string const& suffix) const {
        for (bool const pre_execute : {false, true}) {
            auto const task = get_execute_task_with_content(url, plugins, none, pre_execute);
            EXPECT_EQ(text_at(*task, "configuration{execute-content}"), script);
            EXPECT_EQ(text_at(*task, "configuration{execute-content-extension}"), suffix);
            EXPECT_EQ(text_at(*task, "name"), name);
            EXPECT_EQ(text_at(*task, "plugin-id"),
                      pre_execute ? "task/regular/pre-execute/1.0" : "task/regular/execute/1.0");
            EXPECT_EQ(task->to_string().find("g3heim"), std::string::npos);
        }
    }

    /// What reading the script raises is what making the task does, the file being read before plugins are looked for.
    template <class Error = kxbase::es::call>
    void expect_passed_through(std::string const& url) const {
        captured_report const log;
        std::string const expected = failure_of<Error>(url);
        EXPECT_THAT(expected, Not(HasSubstr("g3heim")));
        for (kxcore::plugin_db const& database : {plugins, kxcore::plugin_db()}) {
            try {
                static_cast<void>(get_execute_task_with_content(url, database, none, false));
                ADD_FAILURE() << url << " was read";
            } catch (Error const& error) {
                EXPECT_EQ(error.what(), expected);
            }
        }
        EXPECT_FALSE(log.has("g3heim"));
    }

    kxcore::plugin_db plugins;
    properties const none{false};
};

TEST_F(remote_scripts, are_read_through_http) {
    http_server const server;
    server.write("scripts/run it.final.sh", script);
    expect_task(server.url("/scripts/run%20it.final.sh"), "run it.final.sh", "sh");
    expect_task(server.url("/locked/scripts/run%20it.final.sh?version=2#top", "anna:g3heim@"), "run it.final.sh", "sh");
}

TEST_F(remote_scripts, are_read_through_ftp) {
    ftp_server const server("g3heim");
    server.write("scripts/größe #1", script);
    server.write("scripts/run.js", script);
    expect_task(server.url("/scripts/gr%C3%B6%C3%9Fe%20%231", "anonymous:g3heim@"), "größe #1", "");
    expect_task(server.url("/scripts/run.js", "anonymous:g3heim@"), "run.js", "js");
}

TEST_F(remote_scripts, that_are_not_there_raise_what_reading_does) {
    http_server const http;
    ftp_server const ftp;
    expect_passed_through(http.url("/none.sh", "anna:g3heim@"));
    expect_passed_through(ftp.url("/none.sh", "anonymous:g3heim@"));
}

TEST_F(remote_scripts, behind_a_refused_login_raise_what_reading_does) {
    http_server const http;
    ftp_server const ftp("another");
    http.write("run.sh", script);
    ftp.write("run.sh", script);
    expect_passed_through(http.url("/locked/run.sh", "berta:g3heim@"));
    expect_passed_through(ftp.url("/run.sh", "anonymous:g3heim@"));
}

TEST_F(remote_scripts, above_the_limit_raise_what_reading_does) {
    kxbase::limits limits;
    limits.document = 1000;
    kxbase::scoped_limits const scope(limits);
    http_server const http;
    ftp_server const ftp;
    http.write("run.sh", std::string(1001, 'x'));
    ftp.write("run.sh", std::string(1001, 'x'));
    expect_passed_through<kxbase::es::arg>(http.url("/chunked/run.sh"));
    expect_passed_through<kxbase::es::arg>(ftp.url("/run.sh"));
}

TEST_F(remote_scripts, of_a_stalling_server_end_in_a_time_out) {
    short_time_outs const scope;
    fault_server const server(http_answer("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n", e_ending::stalled));
    try {
        static_cast<void>(get_execute_task_with_content(server.url("/run.sh", "anna:g3heim@"), plugins, none, false));
        ADD_FAILURE() << "was read";
    } catch (kxbase::es::call const& error) {
        EXPECT_THAT(error.what(), HasSubstr("time-out"));
        EXPECT_THAT(error.what(), Not(HasSubstr("g3heim")));
    }
}

} // namespace
