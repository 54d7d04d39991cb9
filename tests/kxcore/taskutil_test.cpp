#include <kxcore/taskutil.h>

#include "document_samples.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <gmock/gmock.h>

namespace {

using namespace kx_test;
using kxcore::taskutil::create_configuration_from_setting;

properties converted(std::string_view text, bool keep_unknown = true, std::string_view name = "file name") {
    return *create_configuration_from_setting(name, text, keep_unknown);
}

TEST(presets, become_typed_values_of_an_encoder) {
    properties const expected = a_tree({
        {"name", a_string("HD 720p")},
        {"threads", an_int(4)},
        {"dest-extension", a_string("mp4")},
        {"container", nested(a_tree({{"fast-start", a_bool(true)}, {"type", a_string("mp4")}}))},
        {"video", nested(a_tree({{"codec", a_string("h264")},
                                 {"bitrate-kbps", an_int(3500)},
                                 {"gop", nested(a_tree({{"keyframe-interval", an_int(50)}}))}}))},
        {"audio", nested(a_tree({{"enabled", a_bool(false)}, {"samplerate", an_int(48000)}}))},
    });
    EXPECT_TRUE(converted("name = HD 720p\r\n"
                          "Threads=4\r\n"
                          "[General]\r\n"
                          "extension = mp4\r\n"
                          "[Container]\n"
                          "type\t=\tmp4\n"
                          "fast_start = yes\n"
                          "\n"
                          "  [ VIDEO ]  \n"
                          "codec = h264\n"
                          "bitrate = 3500\n"
                          "Keyframe Interval = 50\n"
                          "[audio]\r"
                          "enabled = off\r"
                          "samplerate = 48000") == expected);
}

TEST(presets, take_every_word_for_a_bool) {
    for (std::string const word : {"true", "yes", "on", "1"})
        EXPECT_TRUE(*converted("[audio]\nenabled=" + word).get_referenced_property("audio{enabled}") == *a_bool(true));
    for (std::string const word : {"false", "no", "off", "0"})
        EXPECT_TRUE(*converted("[audio]\nenabled=" + word).get_referenced_property("audio{enabled}") == *a_bool(false));
}

TEST(presets, keep_what_is_not_understood_under_setting) {
    properties const configuration = converted("; a remark\n"
                                               "[video]\n"
                                               "width = wide\n"
                                               "width = 1920\n"
                                               "width = 1280\n"
                                               "codec =\n"
                                               "  tune=film \n"
                                               "[x{y}]\n"
                                               "source-url = 1\n"
                                               "[video]\n"
                                               "no equals sign\n"
                                               "\xff\n"
                                               "[empty section]\n");
    EXPECT_TRUE(*configuration.get_referenced_property("video{width}") == *an_int(1920));
    EXPECT_TRUE(
        *configuration.get_property("setting") ==
        *a_list({a_string("; a remark"), a_string("[video]"), a_string("width = wide"), a_string("width = 1280"),
                 a_string("codec ="), a_string("  tune=film "), a_string("[x{y}]"), a_string("source-url = 1"),
                 a_string("[video]"), a_string("no equals sign"), a_string("\xff")}));
    EXPECT_EQ(configuration.size(), 3U) << configuration.describe();
}

TEST(presets, drop_what_is_not_understood_when_told_so) {
    EXPECT_TRUE(converted("what is this", false) == a_tree({{"name", a_string("file name")}}));
}

TEST(presets, always_have_a_name) {
    EXPECT_EQ(converted("").get_string_value("name"), "file name");
    EXPECT_EQ(converted("", true, "").get_string_value("name"), "Untitled");
    EXPECT_EQ(converted("name =").get_string_value("name"), "file name");
    EXPECT_EQ(converted("[general]\nname = own").get_string_value("name"), "own");
    EXPECT_EQ(converted("\xEF\xBB\xBFname = behind a mark").get_string_value("name"), "behind a mark");
}

TEST(presets, of_any_bytes_give_a_configuration_that_can_be_stored) {
    for (std::string const& text : {every_byte(), std::string(10'000, '['), std::string(10'000, '='),
                                    std::string("=\n=\n[\n]\n[]\n"), std::string("name = a\0b", 10)}) {
        properties const configuration = converted(text);
        EXPECT_FALSE(configuration.get_string_value("name").empty());
        kx_test::configuration document;
        EXPECT_EQ(read(document, written(configuration, kx_test::configuration::format_xml)),
                  kx_test::configuration::read_ok);
        EXPECT_TRUE(document.get_config() == configuration);
    }
}

TEST(presets, beyond_the_limit_of_a_document_are_refused) {
    kxbase::limits limits;
    limits.document = 10;
    kxbase::scoped_limits const scope(limits);
    EXPECT_NO_THROW(converted("0123456789"));
    EXPECT_THROW(converted("0123456789a"), kxbase::es::arg);
}

} // namespace
