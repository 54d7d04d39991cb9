#include "kxclientutil/config/upgrade/upgrade_fixture.h"

#include <kxclientutil/config.h>

namespace kxclientutil {

namespace {

using namespace kx_test; // NOLINT(google-build-using-namespace): the words of the test

namespace es = kxbase::es;

class task : public upgrade_fixture {
protected:
    [[nodiscard]] tree_handle update(tree_handle const& document, unsigned int from, unsigned int to) const {
        return upgrade(update_task, document, from, to);
    }

    /// What becomes of the folder of a task of that plugin in one call.
    [[nodiscard]] std::string folder_after(char const* plid, char const* folder, unsigned int from,
                                           unsigned int to) const {
        auto const document = tree({{"plugin-id", text(plid)},
                                    {"name", text("x")},
                                    {"configuration", tree({{"dest-dir-url", text(folder)}})}});
        return text_at(*update(document, from, to), "configuration{dest-dir-url}");
    }
};

constexpr char const* same_as_source = "kxvar:/#same-as-source";
constexpr char const* parent_folder = "kxvar:/?url.parent_directory_url#workflow.spawn-value";

TEST_F(task, comes_from_version_1_to_7_in_one_call) {
    auto const old = tree({{"id", text(wtid(upload_plid, "a"))},
                           {"ext-meta", tree({{"name", text("To the server")}})},
                           {"configuration", tree({{"source-url", deferred()},
                                                   {"dest-dir-url", text("kxvar:/#anything")},
                                                   {"dest-filename", text("$source-filename$")},
                                                   {"rate", text("$hr-samplerate$ Hz")}})}});
    auto const now = tree({{"id", text(wtid(upload_plid, "a"))},
                           {"plugin-id", text(upload_plid)},
                           {"name", text("To the server")},
                           {"configuration", tree({{"source-url", output_reference("dest-url")},
                                                   {"dest-dir-url", text(parent_folder)},
                                                   {"dest-filename", text("$source.filename$")},
                                                   {"rate", text("$hr-samplerate$ Hz")}})}});
    EXPECT_EQ(*update(old, 1, 7), *now);
    EXPECT_EQ(*update(old, 0, 7), *now);
}

TEST_F(task, comes_to_the_same_one_version_at_a_time) {
    auto const old = tree(
        {{"id", text(wtid(upload_plid, "a"))},
         {"configuration",
          tree({{"name", text("$encoder-id$")}, {"source-url", deferred()}, {"dest-dir-url", text("kxvar:/#x")}})}});
    auto by_step = old;
    for (unsigned int version = 1; version < 7; ++version)
        by_step = update(by_step, version, version + 1);
    EXPECT_EQ(*by_step, *update(old, 1, 7));
    EXPECT_EQ(text_at(*by_step, "name"), "$encoder.name$") << "names are texts, too";
}

TEST_F(task, is_a_copy_when_there_is_nothing_to_do) {
    auto const document =
        tree({{"id", text(wtid(upload_plid, "a"))}, {"configuration", tree({{"source-url", deferred()}})}});
    for (auto const& [from, to] : {std::pair(1U, 1U), {1U, 0U}, {0U, 1U}, {7U, 7U}, {7U, 1U}, {4U, 5U}, {6U, 7U}}) {
        auto const result = update(document, from, to);
        EXPECT_EQ(*result, *document);
        EXPECT_NE(result, document);
    }
}

// 1 to 2

TEST_F(task, gets_its_plugin_from_its_id_unless_it_names_one) {
    EXPECT_EQ(*update(tree({{"id", text(wtid(upload_plid, "a"))}}), 1, 2),
              *tree({{"id", text(wtid(upload_plid, "a"))}, {"plugin-id", text(upload_plid)}}));
    auto const named = tree({{"id", text(wtid(upload_plid, "a"))}, {"plugin-id", text(mail_plid)}});
    EXPECT_EQ(*update(named, 1, 2), *named);
    auto const odd = tree({{"plugin-id", number(5)}});
    EXPECT_EQ(*update(odd, 1, 2), *odd) << "whatever it is";
}

TEST_F(task, without_plugin_and_id_cannot_be_upgraded) {
    EXPECT_EQ(message_of<es::arg>([&] {
                  static_cast<void>(update(tree({{"name", text("x")}}), 1, 2));
              }),
              "member 'id' is missing; expected kind string");
    EXPECT_EQ(message_of<es::arg>([&] {
                  static_cast<void>(update(tree({{"id", number(1)}}), 1, 2));
              }),
              "member 'id' is of kind int; expected kind string");
    EXPECT_EQ(*update(tree({{"name", text("x")}}), 2, 7), *tree({{"name", text("x")}})) << "no later step asks";
}

TEST_F(task, takes_its_source_from_the_task_before) {
    captured_report const log;
    for (char const* plid : {encoder_plid, upload_plid, mail_plid}) {
        auto const document = [&](property_handle const& source) {
            return tree({{"plugin-id", text(plid)}, {"configuration", tree({{"source-url", source}})}});
        };
        for (auto const kind : {property_kind::string, property_kind::list})
            EXPECT_EQ(*update(document(deferred(kind)), 1, 2), *document(output_reference("dest-url")))
                << "a string, whatever kind was awaited";
    }
    EXPECT_TRUE(log.messages().empty());
}

TEST_F(task, with_another_special_source_is_left_alone_and_reported) {
    for (property_handle const& source :
         {output_reference("other"), context("workflow.source-name"),
          property_handle(kxcore::property_special::create_from_parts(kxcore::property_special::e_type::wrapped_urlupp,
                                                                      kxcore::property_special::e_sub_type::credential,
                                                                      property_kind::string, "kxu1:x"))}) {
        captured_report const log;
        auto const document = tree({{"plugin-id", text("x")}, {"configuration", tree({{"source-url", source}})}});
        EXPECT_EQ(*update(document, 1, 7)->get_properties_value("configuration"),
                  *document->get_properties_value("configuration"));
        ASSERT_EQ(log.lines().size(), 1U);
        auto const line = log.lines()[0];
        EXPECT_EQ(line.message, "configuration variable 'source-url' is not what is expected in version 1");
        EXPECT_EQ(line.category, "kxclientutil");
        EXPECT_EQ(line.kind, 4U);
        EXPECT_EQ(line.severity, 5U);
        EXPECT_EQ(line.file, config_path);
        EXPECT_GT(line.line, 0U);
    }
}

TEST_F(task, is_reported_with_the_version_that_it_is_at) {
    captured_report const log;
    auto const document =
        tree({{"plugin-id", text("x")}, {"configuration", tree({{"source-url", output_reference("other")}})}});
    static_cast<void>(update(document, 0, 2));
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{"configuration variable 'source-url' is not what is expected in version 0"}));
}

TEST_F(task, with_an_ordinary_source_or_none_is_left_alone_in_silence) {
    captured_report const log;
    for (tree_handle const& document :
         {tree({{"plugin-id", text("x")}, {"configuration", tree({{"source-url", text("file:/a")}})}}),
          tree({{"plugin-id", text("x")}, {"configuration", tree({{"source-url", tree({})}})}}),
          tree({{"plugin-id", text("x")}, {"configuration", tree({})}}), tree({{"plugin-id", text("x")}}),
          tree({{"plugin-id", text("x")}, {"configuration", text("source-url")}})})
        EXPECT_EQ(*update(document, 1, 2), *document);
    EXPECT_TRUE(log.messages().empty());
}

TEST_F(task, uploads_beside_its_source_when_its_folder_was_any_variable) {
    for (char const* folder :
         {"kxvar:/#same-as-source", "kxvar:/#Same-As-Source", "kxvar:/Vostrel-Assistant-same-as-source/", "kxvar:/?a#b",
          "kxvar:/#unheard-of", "kxvar:/x"})
        EXPECT_EQ(folder_after(upload_plid, folder, 1, 2), same_as_source) << folder;
    for (char const* folder : {"kxvar:/", "kxvar:", "KXVAR:/#x", " kxvar:/#x", "file:/out", "", "kxvar:#abc"})
        EXPECT_EQ(folder_after(upload_plid, folder, 1, 2), folder);
    for (char const* plid : {"task/regular/upload/1.1", "task/regular/upload/1.0 ", encoder_plid, ""})
        EXPECT_EQ(folder_after(plid, "kxvar:/#x", 1, 2), "kxvar:/#x") << plid;
}

TEST_F(task, uploads_beside_its_source_also_when_only_its_id_says_that_it_uploads) {
    auto const document =
        tree({{"id", text(wtid(upload_plid, "a"))}, {"configuration", tree({{"dest-dir-url", text("kxvar:/#x")}})}});
    EXPECT_EQ(text_at(*update(document, 1, 2), "configuration{dest-dir-url}"), same_as_source);
}

TEST_F(task, leaves_a_folder_that_is_no_string_alone) {
    for (unsigned int const to : {2U, 7U}) {
        auto const document = tree({{"plugin-id", text(upload_plid)},
                                    {"name", text("x")},
                                    {"configuration", tree({{"dest-dir-url", context("kxvar:/#x")}})}});
        EXPECT_EQ(*update(document, 1, to), *document);
    }
}

// 2 to 3

TEST_F(task, keeps_a_name_of_its_own) {
    for (property_handle const& name : {text("x"), text(""), number(3)}) {
        auto const document = tree({{"name", name},
                                    {"ext-meta", tree({{"name", text("meta")}})},
                                    {"configuration", tree({{"name", text("configured")}})}});
        EXPECT_EQ(*update(document, 2, 3), *document);
    }
}

TEST_F(task, takes_the_name_from_its_extra_meta_data) {
    auto const name = text("meta");
    auto const document = tree({{"ext-meta", tree({{"name", name}, {"color", text("red")}})},
                                {"configuration", tree({{"name", text("configured")}})}});
    auto const result = update(document, 2, 3);
    EXPECT_EQ(*result, *tree({{"name", text("meta")},
                              {"ext-meta", tree({{"color", text("red")}})},
                              {"configuration", tree({{"name", text("configured")}})}}));
    EXPECT_EQ(result->get_property("name"), name) << "the very same object";
}

TEST_F(task, loses_extra_meta_data_that_held_nothing_but_the_name) {
    EXPECT_EQ(*update(tree({{"ext-meta", tree({{"name", text("meta")}})}}), 2, 3), *tree({{"name", text("meta")}}));
}

TEST_F(task, keeps_extra_meta_data_that_were_empty_before) {
    EXPECT_EQ(*update(tree({{"ext-meta", tree({})}}), 2, 3),
              *tree({{"name", text("Untitled")}, {"ext-meta", tree({})}}));
    EXPECT_EQ(*update(tree({{"ext-meta", tree({})}, {"configuration", tree({{"name", text("x")}})}}), 2, 3),
              *tree({{"name", text("x")}, {"ext-meta", tree({})}, {"configuration", tree({})}}));
}

TEST_F(task, takes_the_name_from_its_configuration_which_stays_though_empty) {
    auto const name = text("configured");
    auto const result = update(tree({{"configuration", tree({{"name", name}})}}), 2, 3);
    EXPECT_EQ(*result, *tree({{"name", text("configured")}, {"configuration", tree({})}}));
    EXPECT_EQ(result->get_property("name"), name);
}

TEST_F(task, takes_a_name_of_any_kind) {
    EXPECT_EQ(*update(tree({{"ext-meta", tree({{"name", number(5)}})}}), 2, 3), *tree({{"name", number(5)}}));
    EXPECT_EQ(*update(tree({{"configuration", tree({{"name", tree({})}})}}), 2, 3),
              *tree({{"name", tree({})}, {"configuration", tree({})}}));
}

TEST_F(task, without_any_name_is_untitled) {
    EXPECT_EQ(*update(tree({}), 2, 3), *tree({{"name", text("Untitled")}}));
    auto const odd = tree({{"ext-meta", text("name")}, {"configuration", list({})}, {"name", text("Untitled")}});
    EXPECT_EQ(*update(tree({{"ext-meta", text("name")}, {"configuration", list({})}}), 2, 3), *odd);
}

// 3 to 4

struct renamed {
    char const* from;
    char const* to;
};

TEST_F(task, gets_its_variables_renamed) {
    for (renamed const& row : {
             renamed{"$source-filename$", "$source.filename$"},
             renamed{"$encoder-id$", "$encoder.name$"},
             renamed{"$hr-bitrate-kbps$", "$encoder.output-bitrate-kbps$"},
             renamed{"$hr-bitrate-mbps$", "$encoder.output-bitrate-mbps$"},
             renamed{"$hr-duration-s$", "$encoder.output-duration-s$"},
             renamed{"$hr-duration-hms$", "$encoder.output-duration-hms$"},
             renamed{"$hr-pixel-dimensions$", "$encoder.output-pixel-dimensions$"},
             renamed{"$hr-samplerate$", "$encoder.output-samplerate$"},
         })
        EXPECT_EQ(*update(tree({{"a", text(row.from)}}), 3, 4), *tree({{"a", text(row.to)}}));
}

TEST_F(task, keeps_texts_that_are_no_legacy_variable_as_a_whole) {
    for (char const* kept :
         {"$hr-samplerate$ Hz", "x$encoder-id$", "$encoder-id", "encoder-id$", "encoder-id", "$Encoder-Id$", "$$", "$",
          "", "$source.filename$", "$unheard-of$", "$encoder-id$$encoder-id$", "kxvar:/#same-as-source",
          "kxvar:/#Same-As-Source", "kxvar:/Vostrel-Assistant-same-as-source/"}) {
        auto const value = text(kept);
        auto const result = update(tree({{"a", value}}), 3, 4);
        EXPECT_EQ(result->get_property("a"), value) << kept << ": the very same object";
    }
}

TEST_F(task, gets_variables_renamed_at_every_depth_and_in_strings_only) {
    auto const document = [](char const* variable) {
        return tree({{"name", text(variable)},
                     {"list", list({text(variable), list({text(variable)}), tree({{"deep", text(variable)}})})},
                     {"configuration", tree({{"a", tree({{"b", text(variable)}})}})}});
    };
    EXPECT_EQ(*update(document("$encoder-id$"), 3, 4), *document("$encoder.name$"));
    auto const others = tree({{"a", context("$encoder-id$")}, {"b", bytes("$encoder-id$")}, {"c", deferred()}});
    EXPECT_EQ(*update(others, 3, 4), *others);
}

// 5 to 6

TEST_F(task, uploads_to_the_parent_folder_in_the_place_of_beside_its_source) {
    EXPECT_EQ(folder_after(upload_plid, same_as_source, 5, 6), parent_folder);
    for (char const* folder : {"kxvar:/#Same-As-Source", "kxvar:/Vostrel-Assistant-same-as-source/",
                               "kxvar:/#same-as-source ", "kxvar:/", "file:/out", ""})
        EXPECT_EQ(folder_after(upload_plid, folder, 5, 6), folder);
    EXPECT_EQ(folder_after(encoder_plid, same_as_source, 5, 6), same_as_source);
    EXPECT_EQ(folder_after(upload_plid, same_as_source, 2, 5), same_as_source);
    EXPECT_EQ(folder_after(upload_plid, "kxvar:/#Same-As-Source", 2, 7), "kxvar:/#Same-As-Source");
}

TEST_F(task, goes_by_what_it_says_of_its_plugin_and_not_by_its_id_once_it_says_so) {
    auto const document =
        tree({{"id", text(wtid(upload_plid, "a"))}, {"configuration", tree({{"dest-dir-url", text(same_as_source)}})}});
    EXPECT_EQ(text_at(*update(document, 5, 6), "configuration{dest-dir-url}"), same_as_source);
}

TEST_F(task, shares_everything_that_no_step_touches) {
    auto const requirements = tree({{"a", text("b")}});
    auto const document = tree({{"id", text(wtid(upload_plid, "a"))}, {"name", text("x")}, {"more", requirements}});
    EXPECT_EQ(update(document, 1, 7)->get_property("more"), requirements);
}

} // namespace

} // namespace kxclientutil
