// Credentials in documents of every type: nothing of them is in what is stored, in either format, and nothing of them is
// said when they cannot be had back.
#include "kxclientutil/support/sample_fixture.h"
#include "support/captured_report.h"

#include <kxbase/base64.h>
#include <kxbase/errors.h>

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace kxclientutil {

namespace {

using kx_test::list;
using kx_test::message_of;
using kx_test::text;
using kx_test::tree;
using kx_test::tree_handle;
using kxcore::configuration;
using kxcore::properties;
using testing::HasSubstr;

namespace es = kxbase::es;

constexpr char const* user = "Rosalind-7";
constexpr char const* word = "Quetzal+42";
constexpr char const* escaped_word = "Quetzal%2B42";
constexpr char const* other_word = "Kingfisher_9";
constexpr char const* secrets[] = {user, word, escaped_word, other_word};

std::string with_login(std::string const& scheme, std::string const& rest) {
    return scheme + "://" + user + ":" + escaped_word + "@" + rest;
}

tree_handle upload(char const* key = "source-url") {
    return tree({{"plugin-id", text("task/regular/upload/1.0")},
                 {"configuration", tree({{"dest-dir-url", text(with_login("ftp", "server.example.com/in"))},
                                         {key, text(with_login("smb", "nas/out/a.mov"))},
                                         {"username", text("desk")},
                                         {"password", text(other_word)}})}});
}

tree_handle workflow() {
    auto const task = upload();
    task->set_property("id", text("wtid:task/regular/upload/1.0#web"));
    return tree({{"name", text("News")}, {"tasks", list({task})}});
}

tree_handle file_source() {
    return tree({{"name", text("Reels")},
                 {"files", list({tree({{"url", text(with_login("https", "media.example.com/a.mov?x=1#end"))}}),
                                 tree({{"url", text(std::string("ftp://") + user + "@host/b.mov")}})})}});
}

tree_handle component() {
    return tree({{"plugin-id", text("media/filter/stream/1.0")},
                 {"configuration",
                  tree({{"server-url", text(with_login("http", "10.0.0.7:8080/"))}, {"login-password", text(word)}})}});
}

/// A document of each type with credentials where such documents have them.
std::vector<std::pair<e_config_type, tree_handle>> documents() {
    auto const clips = list({tree({{"url", text(with_login("ftp", "host/a.mxf"))}})});
    auto const manager = tree({{"url", text(with_login("ftp", "host/in/"))}, {"pickup-present", kx_test::flag(false)}});
    return {
        {config_filter, component()},
        {config_encoder, component()},
        {config_packetizer, component()},
        {config_exporter, component()},
        {config_task, upload()},
        {config_workflow, workflow()},
        {config_submission, tree({{"workflow", workflow()}, {"file-source", file_source()}})},
        {config_file_source, file_source()},
        {config_monitor_source,
         tree({{"manager-configuration", manager},
               {"plugin-configuration", tree({{"username", text("watch")}, {"password", text(other_word)}})}})},
        {config_edl_source, tree({{"clips", clips}, {"audio-clips", clips}})},
        {config_iseq_source,
         tree({{"sequences", list({tree({{"start-file-url", text(with_login("smb", "nas/a_0001.exr"))}})})}})},
    };
}

/// The part of the base64 of any text that holds `secret` behind `before` bytes, which neither neighbour changes.
std::string base64_core(std::string const& secret, std::size_t before) {
    std::string const whole = kxbase::base64_encoded(std::string_view(std::string(before, 'x') + secret));
    std::size_t const first = (before * 8 + 5) / 6;
    std::size_t const last = (before + secret.size()) * 8 / 6;
    return whole.substr(first, last - first);
}

std::string in_hex(std::string const& secret) {
    std::string made;
    for (char const one : secret) {
        constexpr char const* digits = "0123456789abcdef";
        made += digits[static_cast<unsigned char>(one) >> 4U];
        made += digits[static_cast<unsigned char>(one) & 15U];
    }
    return made;
}

/// Every form in which somebody would find a secret without a key.
std::vector<std::string> forms_of(std::string const& secret) {
    std::string apart;
    for (char const one : secret)
        apart += {one, '\0'};
    return {secret,
            std::string(secret.rbegin(), secret.rend()),
            in_hex(secret),
            apart,
            base64_core(secret, 0),
            base64_core(secret, 1),
            base64_core(secret, 2)};
}

void expect_no_secret(std::string_view bytes, char const* where) {
    for (char const* const secret : secrets)
        for (std::string const& form : forms_of(secret))
            EXPECT_EQ(bytes.find(form), std::string_view::npos) << form << " shows in " << where;
}

class writing_credentials : public kx_test::sample_fixture {
protected:
    /// Reads what must not be readable, and gives what is said of it.
    std::string refusal(kxbase::buffer const& bytes) {
        kx_test::captured_report const log;
        properties const before = *tree({{"from", text("an earlier read")}});
        out = before;
        std::string message;
        try {
            read(bytes);
            ADD_FAILURE() << "was read";
        } catch (es::base const& error) {
            message = error.message();
        }
        EXPECT_FALSE(message.empty());
        EXPECT_EQ(out, before);
        expect_no_secret(message, "the error");
        for (std::string const& line : log.messages())
            expect_no_secret(line, "the log");
        return message;
    }

    [[nodiscard]] std::string key_file() const { return folder.file("credentials.key"); }
};

constexpr configuration::format both_formats[] = {configuration::format_xml, configuration::format_binary};

TEST_F(writing_credentials, leave_nothing_in_what_is_stored_and_come_back) {
    for (auto const& [type, document] : documents())
        for (auto const in : both_formats) {
            SCOPED_TRACE(kx_test::stored_types[type - 1].identifier);
            kxbase::buffer const bytes = written(type, *document, in);
            expect_no_secret(bytes.text(), "the document");
            EXPECT_EQ(read(bytes), type);
            EXPECT_EQ(out, *document);
        }
}

TEST_F(writing_credentials, leave_nothing_in_the_file_and_nothing_beside_it) {
    for (auto const& [type, document] : documents())
        for (auto const in : both_formats) {
            std::string const path = folder.file("document");
            write_config_file(path, type, plugins, constraints, *document, in);
            for (auto const& entry : std::filesystem::directory_iterator(folder.path()))
                expect_no_secret(kx_test::read_file(entry.path()), entry.path().c_str());
        }
}

TEST_F(writing_credentials, are_found_by_this_test_where_they_are_in_the_clear) {
    // The search itself: what the core library writes without wrapping shows them.
    configuration writer(kxcore::constraint_db(), {"task", 7});
    writer.set_config(*upload());
    for (auto const in : both_formats) {
        kxbase::buffer bytes;
        writer.write_config(bytes, in);
        for (char const* const secret : {user, escaped_word, other_word})
            EXPECT_THAT(std::string(bytes.text()), HasSubstr(secret));
    }
    for (std::size_t before = 0; before < 3; ++before) {
        std::string const around = std::string(before, '?') + word + "!!";
        EXPECT_THAT(kxbase::base64_encoded(std::string_view(around)), HasSubstr(base64_core(word, before)));
    }
}

TEST_F(writing_credentials, are_not_had_back_with_another_key) {
    for (auto const& [type, document] : documents())
        for (auto const in : both_formats) {
            kxcore::process_context::instance().set_key_file(key_file());
            kxbase::buffer const bytes = written(type, *document, in);
            kxcore::process_context::instance().set_key_file(folder.file("another.key"));
            std::ignore = written(type, *document, in); // makes the other key
            EXPECT_THAT(refusal(bytes), HasSubstr("a wrapped credential cannot be unwrapped"));
        }
}

TEST_F(writing_credentials, are_not_had_back_without_the_key) {
    kxbase::buffer const bytes = written(config_task, *upload(), configuration::format_xml);
    kxcore::process_context::instance().set_key_file(folder.file("no-such.key"));
    refusal(bytes);
    EXPECT_FALSE(std::filesystem::exists(folder.file("no-such.key"))) << "made to unwrap";
}

TEST_F(writing_credentials, are_not_had_back_with_a_key_that_others_can_read) {
    for (auto const& [type, document] : documents())
        for (auto const in : both_formats) {
            ASSERT_TRUE(!std::filesystem::exists(key_file()) || ::chmod(key_file().c_str(), 0600) == 0);
            kxbase::buffer const bytes = written(type, *document, in);
            ASSERT_EQ(::chmod(key_file().c_str(), 0644), 0);
            EXPECT_THAT(refusal(bytes), HasSubstr("others than its owner may use it"));
        }
}

TEST_F(writing_credentials, are_not_written_with_a_key_that_others_can_read) {
    std::ignore = written(config_task, *upload(), configuration::format_xml);
    ASSERT_EQ(::chmod(key_file().c_str(), 0644), 0);
    kxbase::buffer bytes(std::string_view("before"));
    std::string const message = message_of<es::base>(
        [&] { write_config(config_task, constraints, *upload(), bytes, configuration::format_xml); });
    EXPECT_THAT(message, HasSubstr("others than its owner may use it"));
    expect_no_secret(message, "the error");
    EXPECT_EQ(bytes.text(), "before");
}

TEST_F(writing_credentials, are_not_had_back_when_a_byte_of_them_was_changed) {
    // Every byte of every wrapped text of a document that people can edit.
    std::string const whole(written(config_task, *upload(), configuration::format_xml).text());
    std::size_t tried = 0;
    for (std::size_t begin = whole.find(">kx"); begin != std::string::npos; begin = whole.find(">kx", begin + 1))
        for (std::size_t at = begin + 1; whole[at] != '<'; ++at) {
            SCOPED_TRACE(whole.substr(begin + 1, at - begin));
            std::string changed = whole;
            changed[at] = static_cast<char>(changed[at] ^ 1);
            refusal(kxbase::buffer(std::string_view(changed)));
            ++tried;
        }
    EXPECT_GT(tried, 200U);
}

TEST_F(writing_credentials, are_not_had_back_when_any_byte_of_a_binary_document_was_changed) {
    std::string const whole(written(config_file_source, *file_source(), configuration::format_binary).text());
    for (std::size_t at = 0; at < whole.size(); ++at) {
        SCOPED_TRACE(at);
        std::string changed = whole;
        changed[at] = static_cast<char>(changed[at] ^ 0x20);
        refusal(kxbase::buffer(std::string_view(changed)));
    }
}

TEST_F(writing_credentials, cannot_be_moved_to_another_host) {
    std::string changed(written(config_task, *upload(), configuration::format_xml).text());
    std::size_t const host = changed.find("server.example.com");
    ASSERT_NE(host, std::string::npos);
    changed.replace(host, 6, "thieve");
    EXPECT_THAT(refusal(kxbase::buffer(std::string_view(changed))), HasSubstr("configuration{dest-dir-url}"));
}

} // namespace

} // namespace kxclientutil
