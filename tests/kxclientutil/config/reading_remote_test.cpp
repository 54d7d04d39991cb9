// Documents that lie on servers.
#include <kxclientutil/config.h>

#include "kxclientutil/support/sample_fixture.h"
#include "support/captured_report.h"
#include "support/ftp_server.h"
#include "support/http_server.h"

#include <kxbase/errors.h>
#include <kxcore/ioutil.h>

#include <gmock/gmock.h>

namespace {

using namespace kx_test;
using testing::HasSubstr;
using testing::Not;

/// More than the system takes in of what nobody reads.
std::string filled(std::size_t size, char with) {
    return std::string(size, with);
}

class reading_remote_documents : public sample_fixture {
protected:
    /// The same type, format and document as from the local file.
    void expect_same(std::string const& url, std::string const& path) {
        auto const type = read_file(path);
        ASSERT_NE(type, kxclientutil::config_unknown) << path;
        properties const expected = out;
        auto const expected_format = format;
        out.clear();
        EXPECT_EQ(read_file(url), type) << url;
        EXPECT_EQ(out, expected) << url;
        EXPECT_EQ(format, expected_format) << url;
    }

    std::string const examples = source_path("share/installation/examples/");
};

TEST_F(reading_remote_documents, gives_what_reading_the_local_file_does) {
    http_server const http;
    ftp_server const ftp;
    for (char const* name : {"workflow.xml", "task-execute.xml", "web-720p.setting"}) {
        http.write(name, kx_test::read_file(examples + name));
        ftp.write(name, kx_test::read_file(examples + name));
        expect_same(http.url(std::string("/") + name), examples + name);
        expect_same(http.url(std::string("/locked/") + name, "anna:g3heim@"), examples + name);
        expect_same(ftp.url(std::string("/") + name), examples + name);
    }
}

TEST_F(reading_remote_documents, leaves_what_is_no_document_after_its_beginning) {
    http_server const http;
    http.write("film.mov", filled(30'000'000, 'x'));
    out.set_property("kept", text("kept"));
    EXPECT_EQ(read_file(http.url("/film.mov")), kxclientutil::config_unknown);
    EXPECT_EQ(text_at(out, "kept"), "kept");
    EXPECT_THAT(http.requests(), HasSubstr("GET /film.mov"));
    EXPECT_THAT(http.requests(), Not(HasSubstr("sent=30000000\n")));
    ftp_server const ftp;
    ftp.write("film.mov", filled(30'000'000, 'x'));
    EXPECT_EQ(read_file(ftp.url("/film.mov")), kxclientutil::config_unknown);
}

TEST_F(reading_remote_documents, raises_for_a_file_that_cannot_be_read) {
    http_server const http;
    ftp_server const ftp("another");
    captured_report const log;
    for (std::string const& url : {http.url("/none.xml", "anna:g3heim@"), http.url("/none.setting", "anna:g3heim@"),
                                   ftp.url("/none.xml", "anonymous:g3heim@")}) {
        try {
            static_cast<void>(read_file(url));
            ADD_FAILURE() << url << " was read";
        } catch (kxbase::es::call const& error) {
            EXPECT_THAT(error.what(), HasSubstr("cannot read '"));
            EXPECT_THAT(error.what(), Not(HasSubstr("g3heim")));
        }
    }
    EXPECT_FALSE(log.has("g3heim"));
}

TEST_F(reading_remote_documents, reads_what_was_written_there) {
    ASSERT_EQ(read_file(examples + "workflow.xml"), kxclientutil::config_workflow);
    properties const workflow = out;
    http_server const http;
    ftp_server const ftp;
    for (std::string const& url : {http.url("/upload/new.kx"), ftp.url("/new.kx")}) {
        kxbase::buffer const bytes =
            written(kxclientutil::config_workflow, workflow, kxcore::configuration::format_binary);
        kxcore::ioutil::set_file_content(url, bytes, plugins);
    }
    http.write("new.kx", http.uploaded("new.kx"));
    for (std::string const& url : {http.url("/new.kx"), ftp.url("/new.kx")}) {
        out.clear();
        EXPECT_EQ(read_file(url), kxclientutil::config_workflow);
        EXPECT_EQ(out, workflow);
    }
}

} // namespace
