#include "config/variables.h"

#include "kxclientutil/support/many_threads.h"
#include "kxclientutil/support/trees.h"

#include <kxclientutil/config.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace kxclientutil {

namespace {

struct named_uri {
    char const* name;
    char const* uri;
};

constexpr named_uri all_variables[] = {
    {"uuid", "kxvar:/#uuid"},
    {"uuid.uppercase", "kxvar:/#uuid.uppercase"},
    {"uuid.lowercase", "kxvar:/#uuid.lowercase"},
    {"source.name", "kxvar:/#source.name"},
    {"source.type", "kxvar:/#source.type"},
    {"source.url", "kxvar:/#workflow.spawn-value"},
    {"source.path", "kxvar:/?url.native_platform_path#workflow.spawn-value"},
    {"source.filename", "kxvar:/?url.path_name#workflow.spawn-value"},
    {"source.extension", "kxvar:/?url.path_suffix#workflow.spawn-value"},
    {"source.file", "kxvar:/?url.path_file#workflow.spawn-value"},
    {"source.parent-dir-name", "kxvar:/?url.path_parent_directory_name#workflow.spawn-value"},
    {"source.parent-dir-path", "kxvar:/?url.path_parent_directory#workflow.spawn-value"},
    {"source.parent-dir-url", "kxvar:/?url.parent_directory_url#workflow.spawn-value"},
    {"source.grandparent-dir-name", "kxvar:/?url.path_grand_parent_directory_name#workflow.spawn-value"},
    {"source.grandparent-dir-path", "kxvar:/?url.path_grand_parent_directory#workflow.spawn-value"},
    {"workflow.submission-name", "kxvar:/#workflow.submission-name"},
    {"workflow.submission-time", "kxvar:/#workflow.submission-time"},
    {"workflow.submission-client", "kxvar:/#workflow.submission-client"},
    {"workflow.submission-host", "kxvar:/#workflow.submission-host"},
    {"workflow.template-id", "kxvar:/#workflow.parent-id"},
    {"workflow.id", "kxvar:/#workflow.id"},
    {"workflow.name", "kxvar:/#workflow.name"},
    {"workflow.spawn-value", "kxvar:/#workflow.spawn-value"},
    {"workflow.spawn-time", "kxvar:/#workflow.spawn-time"},
    {"workflow.seq-nr", "kxvar:/#workflow.seq-nr"},
    {"encoder.name", "kxvar:/#encoder.name"},
    {"encoder.input-duration-s", "kxvar:/#encoder.input-duration-s"},
    {"encoder.input-duration-hms", "kxvar:/#encoder.input-duration-hms"},
    {"encoder.input-pixel-dimensions", "kxvar:/#encoder.input-pixel-dimensions"},
    {"encoder.input-framerate", "kxvar:/#encoder.input-framerate"},
    {"encoder.input-samplerate", "kxvar:/#encoder.input-samplerate"},
    {"encoder.output-bitrate-kbps", "kxvar:/#encoder.output-bitrate-kbps"},
    {"encoder.output-bitrate-mbps", "kxvar:/#encoder.output-bitrate-mbps"},
    {"encoder.output-duration-s", "kxvar:/#encoder.output-duration-s"},
    {"encoder.output-duration-hms", "kxvar:/#encoder.output-duration-hms"},
    {"encoder.output-pixel-dimensions", "kxvar:/#encoder.output-pixel-dimensions"},
    {"encoder.output-framerate", "kxvar:/#encoder.output-framerate"},
    {"encoder.output-samplerate", "kxvar:/#encoder.output-samplerate"},
    {"mbr.name", "kxvar:/#mbr.name"},
    {"mbr.package-type", "kxvar:/#mbr.package-type"},
    {"mbr.package-name", "kxvar:/#mbr.package-name"},
    {"deployment.name", "kxvar:/#deployment.name"},
    {"deployment.dest-url", "kxvar:/#deployment.dest-url"},
    {"deployment.outfile-path", "kxvar:/#deployment.outfile-path"},
    {"deployment.outfile-name", "kxvar:/#deployment.outfile-name"},
    {"deployment.outfile-extension", "kxvar:/#deployment.outfile-extension"},
    {"deployment.outfile-file", "kxvar:/#deployment.outfile-file"},
    {"destination.url", "kxvar:/#deployment.dest-url"},
    {"destination.path", "kxvar:/#deployment.outfile-path"},
    {"destination.filename", "kxvar:/#deployment.outfile-name"},
    {"destination.extension", "kxvar:/#deployment.outfile-extension"},
    {"destination.file", "kxvar:/#deployment.outfile-file"},
    {"dynamic.time", "kxvar:/#dynamic.time"},
    {"dynamic.hr-time", "kxvar:/#dynamic.hr-time"},
    {"dynamic.year.YY", "kxvar:/#dynamic.year.YY"},
    {"dynamic.year.YYYY", "kxvar:/#dynamic.year.YYYY"},
    {"dynamic.month.name", "kxvar:/#dynamic.month.name"},
    {"dynamic.month.short-name", "kxvar:/#dynamic.month.short-name"},
    {"dynamic.month.MM", "kxvar:/#dynamic.month.MM"},
    {"dynamic.day.name", "kxvar:/#dynamic.day.name"},
    {"dynamic.day.short-name", "kxvar:/#dynamic.day.short-name"},
    {"dynamic.day.DD", "kxvar:/#dynamic.day.DD"},
    {"dynamic.hours.HH", "kxvar:/#dynamic.hours.HH"},
    {"dynamic.minutes.MM", "kxvar:/#dynamic.minutes.MM"},
    {"dynamic.seconds.SS", "kxvar:/#dynamic.seconds.SS"},
    {"dynamic.hostname", "kxvar:/#dynamic.hostname"},
    {"dynamic.node-id", "kxvar:/#dynamic.node-id"},
    {"dynamic.platform", "kxvar:/#dynamic.platform"},
};

std::vector<std::string> pieces_of(std::string const& text) {
    std::vector<std::string> pieces;
    auto const list = get_dollar_variable_list(text);
    for (auto const& piece : *list) {
        auto const* const string = kxcore::property_cast<kxcore::property_string>(piece.get());
        pieces.emplace_back(string == nullptr ? "(no string)" : string->value());
    }
    return pieces;
}

TEST(variables, are_exactly_these) {
    EXPECT_EQ(std::size(all_variables), 68U);
    EXPECT_EQ(get_variable_map().size(), 68U);
    for (auto const& [name, uri] : all_variables) {
        auto const found = get_variable_map().find(name);
        ASSERT_NE(found, get_variable_map().end()) << name;
        EXPECT_EQ(found->second, uri) << name;
    }
}

TEST(variables, are_found_bare_and_as_a_reference) {
    for (auto const& [name, uri] : all_variables) {
        std::string const bare = name;
        for (std::string const& form : {bare, "$" + bare + "$", "$" + bare, bare + "$", "$$" + bare + "$$"}) {
            EXPECT_EQ(get_variable(form), uri) << form;
            EXPECT_TRUE(is_recognized_variable(form)) << form;
        }
    }
}

TEST(variables, come_in_byte_order_of_their_names) {
    EXPECT_EQ(get_variable_map().begin()->first, "deployment.dest-url");
    EXPECT_EQ(get_variable_map().rbegin()->first, "workflow.template-id");
    EXPECT_EQ(std::next(get_variable_map().find("uuid"))->first, "uuid.lowercase");
}

TEST(variables, are_one_map_for_the_whole_process) {
    EXPECT_EQ(&get_variable_map(), &get_variable_map());
}

TEST(variables, give_an_unknown_name_back_unchanged) {
    for (char const* name : {"$no.such$", "no.such", "", "$", "$$", "$$$", "UUID", "Source.Name", "$source.name",
                             " source.name", "source.name "}) {
        bool const known = std::string(name) == "$source.name";
        EXPECT_EQ(is_recognized_variable(name), known) << name;
        if (!known) {
            EXPECT_EQ(get_variable(name), name);
        }
    }
}

TEST(variables, do_not_know_legacy_names) {
    for (char const* name : {"$source-filename$", "encoder-id", "$hr-duration-hms$", "hr-samplerate"}) {
        EXPECT_FALSE(is_recognized_variable(name)) << name;
        EXPECT_EQ(get_variable(name), name);
    }
}

TEST(variables, do_not_know_their_own_uris) {
    EXPECT_FALSE(is_recognized_variable("kxvar:/#uuid"));
    EXPECT_EQ(get_variable("kxvar:/#uuid"), "kxvar:/#uuid");
}

// In a process of its own, as ctest runs it, the map does not exist before.
TEST(variables, may_be_asked_for_first_by_many_threads) {
    kx_test::run_in_threads([] {
        EXPECT_EQ(get_variable("$encoder.name$"), "kxvar:/#encoder.name");
        EXPECT_EQ(get_variable_map().size(), 68U);
        EXPECT_EQ(get_dollar_variable_list("$uuid$-x")->size(), 2U);
    });
}

TEST(dollar_variables, split_a_text) {
    struct {
        char const* text;
        std::vector<std::string> pieces;
    } const cases[] = {
        {"$source.filename$_$dynamic.year.YYYY$.mov", {"$source.filename$", "_", "$dynamic.year.YYYY$", ".mov"}},
        {"", {}},
        {"plain", {"plain"}},
        {"$unknown$", {"unknown"}},
        {"uuid$-x", {"$uuid$", "-x"}},
        {"a$b", {"a", "b"}},
        {"$", {}},
        {"$$", {}},
        {"$$$$", {}},
        {"$$uuid$$", {"$uuid$"}},
        {"$uuid$$uuid$", {"$uuid$", "$uuid$"}},
        {"uuid", {"$uuid$"}},
        {"$uuid", {"$uuid$"}},
        {"uuid uuid", {"uuid uuid"}},
        {"$a$uuid$b$", {"a", "$uuid$", "b"}},
        {"x$ $y", {"x", " ", "y"}},
        {"$destination.filename$", {"$destination.filename$"}},
        {"$UUID$", {"UUID"}},
    };
    for (auto const& [text, pieces] : cases)
        EXPECT_EQ(pieces_of(text), pieces) << text;
}

TEST(dollar_variables, never_convert_legacy_names) {
    EXPECT_EQ(pieces_of("$source-filename$-$hr-samplerate$"),
              (std::vector<std::string>{"source-filename", "-", "hr-samplerate"}));
}

TEST(dollar_variables, come_in_a_new_list_each_time) {
    auto const first = get_dollar_variable_list("$uuid$");
    auto const second = get_dollar_variable_list("$uuid$");
    EXPECT_NE(first, second);
    first->push_back(kx_test::text("more"));
    EXPECT_EQ(second->size(), 1U);
}

TEST(legacy_variables, become_the_current_references) {
    constexpr std::pair<char const*, char const*> cases[] = {
        {"$source-filename$", "$source.filename$"},
        {"$encoder-id$", "$encoder.name$"},
        {"$hr-bitrate-kbps$", "$encoder.output-bitrate-kbps$"},
        {"$hr-bitrate-mbps$", "$encoder.output-bitrate-mbps$"},
        {"$hr-duration-s$", "$encoder.output-duration-s$"},
        {"$hr-duration-hms$", "$encoder.output-duration-hms$"},
        {"$hr-pixel-dimensions$", "$encoder.output-pixel-dimensions$"},
        {"$hr-samplerate$", "$encoder.output-samplerate$"},
    };
    for (auto const& [legacy, current] : cases) {
        std::string output = "untouched";
        EXPECT_TRUE(convert_legacy_variable(get_variable_map(), legacy, output)) << legacy;
        EXPECT_EQ(output, current);
        EXPECT_TRUE(is_recognized_variable(current)) << current;
    }
}

// The three texts for the folder of the source have no dollar signs and therefore never pass.
TEST(legacy_variables, leave_everything_else_alone) {
    for (char const* input : {"", "$", "$$", "$$$", "$$$$", "source-filename", "$source-filename", "source-filename$",
                              "$Encoder-Id$", "$source-filename$ ", "x$encoder-id$", "$source.filename$",
                              "$hr-samplerate$$hr-samplerate$", "kxvar:/Vostrel-Assistant-same-as-source/",
                              "kxvar:/#Same-As-Source", "kxvar:/#same-as-source", "$kxvar:/#same-as-source$"}) {
        std::string output = "untouched";
        EXPECT_FALSE(convert_legacy_variable(get_variable_map(), input, output)) << input;
        EXPECT_EQ(output, "untouched");
    }
}

} // namespace

} // namespace kxclientutil
