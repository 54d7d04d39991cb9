#include <kxclientutil/monitor_filter.h>

#include "kxclientutil/support/plugin_samples.h"

#include <kxclientutil/monitor_source.h>

#include <kxbase/errors.h>

#include <gtest/gtest.h>

namespace kxclientutil {

namespace {

using kx_test::flag;
using kx_test::list;
using kx_test::message_of;
using kx_test::number;
using kx_test::properties;
using kx_test::property_handle;
using kx_test::text;
using kx_test::texts;
using kx_test::tree;
using kx_test::tree_handle;

constexpr std::int64_t noon = 1356955200; // 2012-12-31 12:00:00 UTC

tree_handle source_with(char const* key, property_handle const& value) {
    return tree({{"manager-configuration", tree({{"filter", tree({{key, value}})}})}});
}

/// The rule that keeps a file out, without the path that all share; "" for a file that is picked up.
std::string rule_against(properties const& source, watched_file const& file) {
    auto const obstacle = monitor_filter(source).find_obstacle(file);
    constexpr std::string_view head = "manager-configuration{filter}{";
    if (!obstacle) return "";
    if (!obstacle->rule.starts_with(head)) return obstacle->rule;
    return obstacle->rule.substr(head.size(), obstacle->rule.size() - head.size() - 1);
}

std::string reason_against(properties const& source, watched_file const& file) {
    auto const obstacle = monitor_filter(source).find_obstacle(file);
    return obstacle ? obstacle->reason : "";
}

// The defaults of a new source, on paths as they are found below a location.
TEST(monitor_filter, of_a_new_source_keeps_out_what_is_hidden_and_folder_views) {
    kxcore::plugin_db plugins;
    kx_test::add_plugin(plugins, "io/monitor/file/1.0", tree({{"recursive", flag(true)}}));
    auto const source = get_monitor_source("/in/", plugins);
    for (auto const* path :
         {".DS_Store", "a/.DS_Store", "a/.x/b.mov", ".x/b.mov", "a/b/.x/c/d/e.mov", "Thumbs.db", "a/Thumbs.db",
          "a/b/Thumbs.db", "..mov", "\xc3\xa4/.\xc3\xb6", "a\nb/.c", "a/.b\nc", "\xff/.x"})
        EXPECT_EQ(rule_against(*source, {path}), "ignore-regexp") << path;
    for (auto const* path : {"clip.mov", "a/b/clip.mov", "a.b/clip", "clip", "a.", "Thumbs.db.mov", "MyThumbs.db",
                             "thumbs.db", "Thumbs.db/clip.mov", "Thumbsxdb", " .mov", "a b/c d.mov", "\xc3\xa4.mov",
                             "a\nb.mov", "\xff.mov", "100%.mov", "a#b>c$d.mov"})
        EXPECT_EQ(rule_against(*source, {path}), "") << path;
    std::string const long_name(4096, 'x');
    EXPECT_EQ(rule_against(*source, {long_name + "/" + long_name}), "");
    EXPECT_EQ(rule_against(*source, {long_name + "/." + long_name}), "ignore-regexp");
    EXPECT_EQ(reason_against(*source, {".DS_Store"}), R"~(the path fits "^(.+/)*(\\..+|Thumbs\\.db)")~");
}

struct rule_case {
    char const* key;
    property_handle value;
    char const* path;
    bool is_picked_up;
};

TEST(monitor_filter, follows_each_rule_of_texts) {
    rule_case const cases[] = {
        {"include-regexp", text(R"(.*\.mov)"), "a/b.mov", true},
        {"include-regexp", text(R"(.*\.mov)"), "a/b.mov.part", false},
        {"ignore-regexp", text(R"(proxy/.*)"), "proxy/a", false},
        {"ignore-regexp", text(R"(proxy/.*)"), "x/proxy/a", true},
        {"directory-is-include", text("CLIP"), "CONTENTS/CLIP/a.mxf", true},
        {"directory-is-include", text("CLIP"), "CLIP/more/a.mxf", true},
        {"directory-is-include", text("CONTENTS/CLIP"), "CONTENTS/CLIP/a.mxf", true},
        {"directory-is-include", text("CLIP"), "CLIPS/a.mxf", false},
        {"directory-is-include", text("CLIP"), "CLIP", false},
        {"directory-is-include", text(""), "a.mxf", true},
        {"directory-is-include", text(""), "x/a.mxf", false},
        {"directory-is-ignore", texts({"ICON", "VOICE"}), "CONTENTS/VOICE/a.wav", false},
        {"directory-is-ignore", texts({"ICON", "VOICE"}), "CONTENTS/CLIP/ICON", true},
        {"directory-contains-include", text("ONT"), "CONTENTS/a", true},
        {"directory-contains-include", text("S/C"), "CONTENTS/CLIP/a", true},
        {"directory-contains-include", text("ONT"), "CLIP/CONT", false},
        {"directory-contains-ignore", text("PROXY"), "a/MYPROXY/b", false},
        {"directory-contains-ignore", text("PROXY"), "a/b/PROXY", true},
        {"file-name-is-include", text("A001.MXF"), "x/A001.MXF", true},
        {"file-name-is-include", text("A001"), "x/A001.MXF", true},
        {"file-name-is-include", text("a001"), "x/A001.MXF", false},
        {"file-name-is-ignore", text("MEDIAPRO.XML"), "MEDIAPRO.XML", false},
        {"file-name-is-ignore", text("MEDIAPRO.XML"), "MEDIAPRO.XML/a", true},
        {"file-name-contains-include", text("CLIP"), "x/aCLIPb.mov", true},
        {"file-name-contains-include", text("CLIP"), "CLIP/a.mov", false},
        {"file-name-contains-ignore", texts({"~", ".tmp"}), "a.tmp.mov", false},
        {"file-name-contains-ignore", texts({"~", ".tmp"}), "a.tmq.mov", true},
        {"file-name-begins-with-include", texts({"A", "B"}), "x/B1.mov", true},
        {"file-name-begins-with-include", texts({"A", "B"}), "A/c.mov", false},
        {"file-name-begins-with-ignore", text("."), ".hidden", false},
        {"file-name-begins-with-ignore", text("."), "a.b", true},
        {"file-name-ends-with-include", text("_final"), "clip_final.mov", true},
        {"file-name-ends-with-include", text("l.mov"), "clip_final.mov", true},
        {"file-name-ends-with-include", text("_final"), "clip_final2.mov", false},
        {"file-name-ends-with-ignore", text("~"), "clip.mov~", false},
        {"file-name-ends-with-ignore", text("~"), "cl~ip.mov", true},
        {"file-extension-is-include", texts({"mov", "mxf"}), "a/b.mxf", true},
        {"file-extension-is-include", texts({"mov", "mxf"}), "a/b.MXF", false},
        {"file-extension-is-include", text("gz"), "a.tar.gz", true},
        {"file-extension-is-include", text("mov"), "mov", false},
        {"file-extension-is-include", text("mov"), ".mov", false},
        {"file-extension-is-include", text(""), "a.", true},
        {"file-extension-is-ignore", text("txt"), "a.txt", false},
        {"file-extension-is-ignore", text("txt"), "a.txt.mov", true},
        {"file-extension-is-include", texts({}), "any", true},
        {"some-key-of-a-later-version", text("x"), "any", true},
    };
    for (auto const& each : cases) {
        auto const source = source_with(each.key, each.value);
        EXPECT_EQ(rule_against(*source, {each.path}), each.is_picked_up ? "" : each.key)
            << each.key << " on " << each.path;
    }
}

TEST(monitor_filter, follows_the_rules_of_size_ends_included) {
    for (auto const& thousand : {number(1000), text("1000")}) {
        EXPECT_EQ(rule_against(*source_with("min-size", thousand), {"a", 1000}), "");
        EXPECT_EQ(rule_against(*source_with("min-size", thousand), {"a", 999}), "min-size");
        EXPECT_EQ(rule_against(*source_with("max-size", thousand), {"a", 1000}), "");
        EXPECT_EQ(rule_against(*source_with("max-size", thousand), {"a", 1001}), "max-size");
    }
    EXPECT_EQ(rule_against(*source_with("max-size", number(0)), {"a", 1}), "max-size");
    EXPECT_EQ(rule_against(*source_with("max-size", number(0)), {"a", 0}), "");
    EXPECT_EQ(rule_against(*source_with("min-size", number(0)), {"a", 0}), "");
    EXPECT_EQ(rule_against(*source_with("max-size", number(1)), {"a", ~std::uint64_t{0}}), "max-size");
}

TEST(monitor_filter, follows_the_rules_of_dates_ends_included) {
    struct date_case {
        property_handle value;
        std::int64_t first; ///< the first second that counts as not before
        std::int64_t last;  ///< the last second that counts as not after
    };
    date_case const cases[] = {
        {number(noon), noon, noon},
        {text("1356955200"), noon, noon},
        {number(-5), -5, -5},
        {text("2012-12-31"), noon - 43200, noon + 43199},
        {text("1970-01-01"), 0, 86399},
        {text("1969-12-31"), -86400, -1},
        {text("2012-02-29"), 1330473600, 1330559999},
        {text("2012-12-31 12:00"), noon, noon},
        {text("2012-12-31T12:00:00"), noon, noon},
        {text("2012-12-31 12:00:00Z"), noon, noon},
        {text("2012-12-31T11:59:59Z"), noon - 1, noon - 1},
    };
    for (auto const& each : cases) {
        auto const earliest = source_with("min-mod-date", each.value);
        EXPECT_EQ(rule_against(*earliest, {"a", 0, each.first}), "");
        EXPECT_EQ(rule_against(*earliest, {"a", 0, each.first - 1}), "min-mod-date");
        auto const latest = source_with("max-mod-date", each.value);
        EXPECT_EQ(rule_against(*latest, {"a", 0, each.last}), "");
        EXPECT_EQ(rule_against(*latest, {"a", 0, each.last + 1}), "max-mod-date");
    }
}

TEST(monitor_filter, keeps_files_of_folders_out_when_the_plugin_looks_into_none) {
    auto const source = tree({{"plugin-configuration", tree({{"recursive", flag(false)}})}});
    EXPECT_EQ(rule_against(*source, {"clip.mov"}), "");
    EXPECT_EQ(rule_against(*source, {"a/clip.mov"}), "plugin-configuration{recursive}");
    EXPECT_EQ(rule_against(*tree({}), {"a/clip.mov"}), "");
}

TEST(monitor_filter, keeps_links_out_when_the_plugin_follows_none) {
    auto const source = tree({{"plugin-configuration", tree({{"follow-links", flag(false)}})}});
    EXPECT_EQ(rule_against(*source, {"clip.mov"}), "");
    EXPECT_EQ(rule_against(*source, {"clip.mov", 0, 0, true}), "plugin-configuration{follow-links}");
    EXPECT_EQ(reason_against(*source, {"clip.mov", 0, 0, true}), "it is a symbolic link");
    EXPECT_EQ(rule_against(*tree({}), {"clip.mov", 0, 0, true}), "");
}

TEST(monitor_filter, names_the_first_rule_of_several) {
    auto const filter = tree({{"include-regexp", text(".*mov")},
                              {"ignore-regexp", text("x.*")},
                              {"directory-is-ignore", text("d")},
                              {"file-name-contains-ignore", text("n")},
                              {"file-extension-is-include", text("mov")},
                              {"min-size", number(2)},
                              {"max-mod-date", number(10)}});
    auto const source = tree({{"manager-configuration", tree({{"filter", filter}})}});
    std::pair<watched_file, char const*> const cases[] = {
        {{"xd/n.txt", 0, 99}, "ignore-regexp"},
        {{"d/n.txt", 0, 99}, "include-regexp"},
        {{"d/n.mov", 0, 99}, "directory-is-ignore"},
        {{"e/n.mov", 0, 99}, "file-name-contains-ignore"},
        {{"e/mov", 0, 99}, "file-extension-is-include"},
        {{"e/m.mov", 0, 99}, "min-size"},
        {{"e/m.mov", 2, 99}, "max-mod-date"},
        {{"e/m.mov", 2, 10}, ""},
    };
    for (auto const& [file, rule] : cases)
        EXPECT_EQ(rule_against(*source, file), rule) << file.path;
}

TEST(monitor_filter, gives_its_reasons_in_words_on_one_line) {
    auto const against = [](char const* key, property_handle const& value, watched_file const& file) {
        return reason_against(*source_with(key, value), file);
    };
    EXPECT_EQ(against("include-regexp", text("a"), {"b"}), R"(the path does not fit "a")");
    EXPECT_EQ(against("directory-is-ignore", text("b"), {"a/b/c"}), R"(the folder "a/b" is or lies in "b")");
    EXPECT_EQ(against("directory-is-include", texts({"x"}), {"a/b"}), R"(the folder "a" neither is nor lies in "x")");
    EXPECT_EQ(against("directory-contains-ignore", text("b"), {"abc/d"}), R"(the folder "abc" contains "b")");
    EXPECT_EQ(against("file-name-begins-with-include", texts({"A", "B"}), {"c.mov"}),
              R"(the name "c.mov" does not begin with any of "A", "B")");
    EXPECT_EQ(against("file-name-ends-with-ignore", texts({"x", "~"}), {"a~"}), R"(the name "a~" ends with "~")");
    EXPECT_EQ(against("file-extension-is-include", texts({"mov", "mxf"}), {"a.txt"}),
              R"(the extension "txt" is not any of "mov", "mxf")");
    EXPECT_EQ(against("file-extension-is-include", text("mov"), {"a"}), R"(the extension "" is not "mov")");
    EXPECT_EQ(against("min-size", number(10), {"a", 1}), "1 byte, fewer than 10");
    EXPECT_EQ(against("max-size", number(1), {"a", 2}), "2 bytes, more than 1");
    EXPECT_EQ(against("min-mod-date", text("2012-12-31"), {"a", 0, 0}),
              "changed 1970-01-01 00:00:00 UTC, before 2012-12-31 00:00:00 UTC");
    EXPECT_EQ(against("max-mod-date", text("2012-12-31"), {"a", 0, noon + 86400}),
              "changed 2013-01-01 12:00:00 UTC, after 2012-12-31 23:59:59 UTC");
    EXPECT_EQ(against("max-mod-date", number(0), {"a", 0, std::numeric_limits<std::int64_t>::max()}),
              "changed 9223372036854775807 seconds since 1970, after 1970-01-01 00:00:00 UTC");
    EXPECT_EQ(against("file-name-contains-ignore", text("\n"), {"a\nb"}), R"(the name "a\nb" contains "\n")");
}

TEST(monitor_filter, refuses_rules_that_it_cannot_follow) {
    std::pair<std::pair<char const*, property_handle>, char const*> const cases[] = {
        {{"include-regexp", text("a(")}, R"(the pattern "a(" is no regular expression: missing ): a()"},
        {{"ignore-regexp", number(5)}, "the int 5 is neither a text nor a list of texts"},
        {{"file-name-is-include", flag(true)}, "the bool true is neither a text nor a list of texts"},
        {{"directory-is-ignore", list({text("a"), number(1)})}, "the int 1 is no text"},
        {{"min-size", text("1 MB")}, R"(the string "1 MB" is no number of bytes)"},
        {{"min-size", text("")}, R"(the string "" is no number of bytes)"},
        {{"max-size", number(-1)}, "the int -1 is no number of bytes"},
        {{"max-size", text("99999999999999999999")}, R"(the string "99999999999999999999" is no number of bytes)"},
        {{"max-size", flag(true)}, "the bool true is no number of bytes"},
    };
    for (auto const& [rule, complaint] : cases)
        EXPECT_EQ(message_of<kxbase::es::arg>(
                      [&rule = rule] { static_cast<void>(monitor_filter(*source_with(rule.first, rule.second))); }),
                  std::string("manager-configuration{filter}{") + rule.first + "}: " + complaint);
    for (auto const* date :
         {"", "2012-13-01", "2012-02-30", "12-12-31", "2012-12-31x", "2012-12-31 24:00", "2012-12-31 12",
          "2012-12-31 12:60", "2012-12-31 12:00:60", "2012-12-31 12:00:00 ", "2012/12/31", "yesterday", "2012--1-01"})
        EXPECT_EQ(message_of<kxbase::es::arg>(
                      [date] { static_cast<void>(monitor_filter(*source_with("max-mod-date", text(date)))); }),
                  std::string("manager-configuration{filter}{max-mod-date}: the string \"") + date +
                      "\" is no date; write it as 2012-12-31, 2012-12-31 23:59:59 or seconds");
}

} // namespace

} // namespace kxclientutil
