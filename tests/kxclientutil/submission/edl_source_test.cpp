#include "kxclientutil/support/submission_fixture.h"

#include <kxbase/errors.h>

#include <algorithm>
#include <cctype>
#include <set>

namespace kxclientutil {

namespace {

using kx_test::encoder_plid;
using kx_test::list;
using kx_test::localize_plid;
using kx_test::message_of;
using kx_test::number;
using kx_test::output_reference;
using kx_test::task_of;
using kx_test::text;
using kx_test::text_at;
using kx_test::tree;
using kx_test::tree_handle;
using kx_test::wtid;
using kxcore::properties;
using kxcore::property_handle;

namespace es = kxbase::es;

constexpr char const* preparembr_plid = "task/regular/preparembr/1.0";

property_handle clip(char const* url) {
    return tree({{"url", text(url)}});
}

property_handle remote_clip() {
    return tree({{"url", output_reference("dest-url")}});
}

class finalized_edl_source : public kx_test::submission_fixture {
protected:
    finalized_edl_source() {
        kx_test::add_plugin(plugins, {preparembr_plid, "preparembr", {"source-url"}, {}});
        settings.resource_uri_option = true;
        use_tasks({task_of(encoder_plid, "encoder", tree({}))});
    }

    void use_clips(std::vector<property_handle> const& clips, std::vector<property_handle> const& audio = {},
                   std::vector<property_handle> const& video = {}) {
        submission["edl-source"] = tree({{"name", text("Trailer")},
                                         {"clips", list(clips)},
                                         {"audio-clips", list(audio)},
                                         {"video-clips", list(video)}});
    }

    /// The localizers of the finalized workflow, in its order.
    [[nodiscard]] std::vector<properties> localizers() const {
        std::vector<properties> found;
        for (property_handle const& task : *workflow().get_list_value("tasks")) {
            auto const& document = static_cast<properties const&>(*task);
            if (text_at(document, "plugin-id") == localize_plid) found.push_back(document);
        }
        return found;
    }

    /// What feeds a task: "LABEL -> INPUT" for each connection, the label being the localizer's.
    [[nodiscard]] std::vector<std::string> feeds(std::string const& id) const {
        std::vector<std::string> found;
        auto const connections = kx_test::task_in(workflow(), id).get_property("input-connections");
        if (!connections) return found;
        for (property_handle const& connection : static_cast<kxcore::property_list const&>(*connections)) {
            auto const& entry = static_cast<properties const&>(*connection);
            EXPECT_EQ(text_at(entry, "from-node"), "dest-url");
            found.push_back(text_at(kx_test::task_in(workflow(), text_at(entry, "from-wtid")), "name") + " -> " +
                            text_at(entry, "to-node"));
        }
        return found;
    }

    std::string const encoder = wtid(encoder_plid, "encoder");
};

TEST_F(finalized_edl_source, gives_way_to_a_workflow_that_holds_its_clips) {
    use_tasks(
        {task_of(encoder_plid, "encoder",
                 tree({{"source-url", kx_test::deferred()}, {"threads", number(4)}, {"clips", text("replaced")}}))});
    use_clips({tree({{"url", text("file:/clips/a.mov")}, {"start-ms", number(40)}, {"name", text("Opening")}}),
               clip("ftp://host/b.mov")},
              {clip("file:/sound/a.wav")}, {clip("smb://host/share/c.mov")});
    properties const before = submission;
    finalize();
    EXPECT_EQ(configuration(encoder), *tree({{"source-url", kx_test::context("workflow.spawn-value")},
                                             {"threads", number(4)},
                                             {"clips", list({tree({{"url", text("kxrc:/clips/a.mov#origin")},
                                                                   {"start-ms", number(40)},
                                                                   {"name", text("Opening")}}),
                                                             remote_clip()})},
                                             {"audio-clips", list({clip("kxrc:/sound/a.wav#origin")})},
                                             {"video-clips", list({clip("smb://host/share/c.mov#origin")})}}));
    EXPECT_EQ(*workflow().get_property("type"), *number(2));
    EXPECT_FALSE(submission.is_present("edl-source"));
    EXPECT_EQ(submission.size(), before.size()); // its place has been taken by the original
    EXPECT_EQ(*submission_get_unfinalized_submission(submission), before);
}

TEST_F(finalized_edl_source, describes_itself_in_the_meta_data) {
    use_clips({clip("file:/clips/a.mov")});
    finalize();
    EXPECT_EQ(text_at(workflow(), "workflow-meta{source-name}"), "Trailer");
    EXPECT_EQ(text_at(workflow(), "workflow-meta{source-type}"), "edl");
    EXPECT_EQ(text_at(workflow(), "workflow-meta{spawn-value}"), "kxrc:/clips/a.mov#origin");
}

TEST_F(finalized_edl_source, has_a_fresh_parent_each_time) {
    std::set<std::string> parents;
    for (int round = 0; round < 2; ++round) {
        submission.erase("ext-meta");
        use_clips({clip("file:/clips/a.mov")});
        finalize();
        std::string const parent = text_at(workflow(), "workflow-meta{parent-id}");
        EXPECT_EQ(parent.size(), 5U + 36U) << parent;
        EXPECT_TRUE(parent.starts_with("WOFL-")) << parent;
        EXPECT_TRUE(std::ranges::none_of(parent, [](unsigned char c) { return std::islower(c); })) << parent;
        parents.insert(parent);
    }
    EXPECT_EQ(parents.size(), 2U);
}

TEST_F(finalized_edl_source, has_no_source_name_without_a_name) {
    use_clips({clip("file:/clips/a.mov")});
    submission.set_referenced_property("edl-source{name}", {});
    finalize();
    EXPECT_FALSE(workflow().find_referenced("workflow-meta{source-name}"));
}

TEST_F(finalized_edl_source, takes_its_spawn_value_from_the_first_clip_that_has_a_picture) {
    struct {
        std::vector<property_handle> clips, audio, video;
        char const* spawn_value;
    } const cases[] = {
        {{clip("file:/a"), clip("file:/b")}, {clip("file:/c")}, {clip("file:/d")}, "kxrc:/a#origin"},
        {{}, {clip("file:/c")}, {clip("file:/d"), clip("file:/e")}, "kxrc:/d#origin"},
        {{}, {clip("file:/c")}, {}, ""}, // sound alone gives none
        {{clip("http://host/a")}, {}, {}, "http://host/a#origin"},
        {{clip(""), clip("file:/b")}, {}, {}, "kxrc:/b#origin"}, // an empty one is none yet
    };
    for (auto const& [clips, audio, video, spawn_value] : cases) {
        use_clips(clips, audio, video);
        finalize();
        EXPECT_EQ(text_at(workflow(), "workflow-meta{spawn-value}"), spawn_value);
    }
}

TEST_F(finalized_edl_source, takes_missing_lists_for_empty_ones) {
    submission["edl-source"] = tree({{"video-clips", list({clip("file:/a.mov")})}});
    finalize();
    EXPECT_EQ(configuration(encoder), *tree({{"source-url", kx_test::context("workflow.spawn-value")},
                                             {"clips", list({})},
                                             {"audio-clips", list({})},
                                             {"video-clips", list({clip("kxrc:/a.mov#origin")})}}));
}

TEST_F(finalized_edl_source, announces_folders_and_the_files_that_encoders_name) {
    use_clips({clip("file:/clips/b.mov"), clip("file:/clips/a.mov"), clip("kxrc:/#!done")},
              {clip("file:/sound/a.wav"), clip("ftp://host/b.wav")}, {clip("file+x:/v/c.mov")});
    finalize();
    EXPECT_EQ(collected(), (std::vector<std::string>{"kxrc+x:/v/#origin", "kxrc:/#!done", "kxrc:/clips/#origin",
                                                     "kxrc:/clips/a.mov#origin", "kxrc:/clips/b.mov#origin",
                                                     "kxrc:/sound/#origin", "kxrc:/sound/a.wav#origin"}));
}

TEST_F(finalized_edl_source, announces_folders_alone_without_encoders) {
    use_tasks({});
    use_clips({clip("file:/clips/a.mov")}, {clip("ftp://host/b.wav")});
    finalize();
    EXPECT_EQ(collected(), (std::vector<std::string>{"kxrc:/clips/#origin"}));
    EXPECT_EQ(localizers().size(), 1U); // although nobody waits for it
}

TEST_F(finalized_edl_source, fetches_each_remote_file_once) {
    use_clips({clip("http://host/b.mov"), clip("file:/c.mov"), clip("ftp://host/a.mov"), clip("http://host/b.mov#x"),
               clip("https://host/d.mov")});
    finalize();
    auto const found = localizers();
    ASSERT_EQ(found.size(), 2U); // in the order of their URLs
    EXPECT_EQ(text_at(found[0], "name"), "a.mov");
    EXPECT_EQ(*found[0].get_properties_value("configuration"),
              *tree({{"source-url", text("ftp://host/a.mov#origin")}, {"dest-dir-url", text("kxrc:/#!create-dir")}}));
    EXPECT_EQ(text_at(found[1], "name"), "b.mov");
    EXPECT_EQ(text_at(found[1], "configuration{source-url}"), "http://host/b.mov#origin");
    EXPECT_EQ(feeds(encoder),
              (std::vector<std::string>{"a.mov -> clips[2]{url}", "b.mov -> clips[0]{url}", "b.mov -> clips[3]{url}"}));
    for (properties const& localizer : found)
        EXPECT_TRUE(localizer.is_present("requirements"));
}

// On purpose: the files of audio and video clips are wanted under "clips" as well.
// People see the label, so it reads as the file is called.
TEST_F(finalized_edl_source, calls_localizers_after_their_files) {
    struct {
        char const* url;
        char const* label;
    } const cases[] = {
        {"http://host/dir/clip.mov", "clip.mov"},
        {"http://host/dir/my%20clip%23.mov", "my clip#.mov"},
        {"http://host/clip.mov?take=2#part", "clip.mov"},
        {"http://host/dir/", "Untitled"},
        {"ftp://host", "Untitled"},
    };
    for (auto const& [url, label] : cases) {
        use_tasks({task_of(encoder_plid, "encoder", tree({}))});
        use_clips({clip(url)});
        finalize();
        ASSERT_EQ(localizers().size(), 1U) << url;
        EXPECT_EQ(text_at(localizers().front(), "name"), label) << url;
    }
}

TEST_F(finalized_edl_source, feeds_all_remote_clips_under_clips) {
    use_clips({clip("file:/a"), clip("http://host/shared"), clip("http://host/c")},
              {clip("http://host/shared"), clip("http://host/shared"), clip("http://host/audio")},
              {clip("http://host/video")});
    finalize();
    EXPECT_EQ(feeds(encoder),
              (std::vector<std::string>{"audio -> clips[2]{url}", "c -> clips[2]{url}", "shared -> clips[0]{url}",
                                        "shared -> clips[1]{url}", "video -> clips[0]{url}"}));
    EXPECT_EQ(*configuration(encoder).get_property("audio-clips"),
              *list({remote_clip(), remote_clip(), remote_clip()}));
}

TEST_F(finalized_edl_source, feeds_a_remote_clip_also_where_the_caller_gives_the_clips) {
    use_clips({clip("http://host/b.mov")});
    settings.in_values["clips"] = list({clip("file:/mine.mov")});
    finalize();
    EXPECT_EQ(feeds(encoder), (std::vector<std::string>{"b.mov -> clips[0]{url}"}));
    EXPECT_EQ(*configuration(encoder).get_property("clips"), *list({clip("kxrc:/mine.mov#origin")}));
}

TEST_F(finalized_edl_source, feeds_paths_in_byte_order) {
    std::vector<property_handle> clips(11, clip("ftp://host/a.mov"));
    use_clips(clips);
    finalize();
    auto const fed = feeds(encoder);
    ASSERT_EQ(fed.size(), 11U);
    EXPECT_EQ(fed[1], "a.mov -> clips[10]{url}");
    EXPECT_EQ(fed[2], "a.mov -> clips[1]{url}");
}

TEST_F(finalized_edl_source, feeds_sound_alone_to_clips_that_are_not_there) {
    use_clips({}, {clip("http://host/a.wav")});
    finalize();
    EXPECT_EQ(feeds(encoder), (std::vector<std::string>{"a.wav -> clips[0]{url}"}));
    EXPECT_EQ(*configuration(encoder).get_property("clips"), *list({}));
}

TEST_F(finalized_edl_source, gives_all_encoders_the_same_lists) {
    std::string const other = wtid(preparembr_plid, "prepare");
    use_tasks({task_of(preparembr_plid, "prepare", tree({})), task_of(kx_test::upload_plid, "upload", tree({})),
               task_of(encoder_plid, "encoder", tree({}))});
    use_clips({clip("file:/a.mov"), clip("http://host/b.mov")}, {clip("file:/a.wav")}, {clip("file:/c.mov")});
    finalize();
    for (char const* key : {"clips", "audio-clips", "video-clips"})
        EXPECT_EQ(configuration(encoder).get_property(key), configuration(other).get_property(key)) << key;
    EXPECT_EQ(feeds(encoder), (std::vector<std::string>{"b.mov -> clips[1]{url}"}));
    EXPECT_EQ(feeds(other), feeds(encoder));
    EXPECT_EQ(configuration(wtid(kx_test::upload_plid, "upload")), *tree({}));
}

// The clips' localizers are there before the workflow looks for those of other files.
TEST_F(finalized_edl_source, shares_the_localizer_of_a_clip_with_an_intro) {
    use_tasks({task_of(encoder_plid, "encoder", tree({{"intro-url", text("http://host/b.mov#origin")}}))});
    use_clips({clip("http://host/b.mov")});
    finalize();
    ASSERT_EQ(localizers().size(), 1U);
    EXPECT_EQ(text_at(localizers()[0], "name"), "b.mov"); // and keeps its label
    EXPECT_EQ(feeds(encoder), (std::vector<std::string>{"b.mov -> clips[0]{url}", "b.mov -> intro-url"}));
}

// With a node list the clip's URL has got it by then, and the intro's has not.
TEST_F(finalized_edl_source, has_two_localizers_of_a_clip_that_is_an_intro_too_unless_there_are_no_nodes) {
    struct {
        char const* url;
        char const* nodes;
        std::vector<std::string> fetched;
    } const cases[] = {
        {"ftp://host/b.mov", "origin", {"ftp://host/b.mov#origin", "ftp://host/b.mov#origin"}}, // the same in the end
        {"http://host/b.mov", "origin", {"http://host/b.mov#origin", "http://host/b.mov"}},     // never gets it
        {"ftp://host/b.mov", "", {"ftp://host/b.mov"}},
        {"http://host/b.mov", "", {"http://host/b.mov"}},
    };
    for (auto const& [url, nodes, fetched] : cases) {
        settings.origin_node_id = nodes;
        use_tasks({task_of(encoder_plid, "encoder", tree({{"intro-url", text(url)}}))});
        use_clips({clip(url)});
        finalize();
        std::multiset<std::string> found;
        for (properties const& localizer : localizers())
            found.insert(text_at(localizer, "configuration{source-url}"));
        EXPECT_EQ(found, (std::multiset<std::string>(fetched.begin(), fetched.end()))) << url << ' ' << nodes;
        std::string const feeds_intro = fetched.size() == 1 ? "b.mov" : "Intro"; // the labels of the localizers
        EXPECT_EQ(feeds(encoder), (std::vector<std::string>{"b.mov -> clips[0]{url}", feeds_intro + " -> intro-url"}));
    }
}

TEST_F(finalized_edl_source, has_neither_targets_nor_a_main_localizer) {
    use_tasks({task_of(kx_test::upload_plid, "upload", tree({}))});
    use_clips({clip("ftp://host/a.mov")});
    finalize();
    EXPECT_TRUE(kx_test::task_in(workflow(), kx_test::main_localizer).empty());
    EXPECT_TRUE(feeds(wtid(kx_test::upload_plid, "upload")).empty());
}

TEST_F(finalized_edl_source, raises_without_any_clip) {
    for (auto const& none : {tree({}), tree({{"clips", list({})}, {"audio-clips", list({})}})}) {
        submission["edl-source"] = none;
        settings.submission_name = "Override";
        properties expected = submission;
        expected["name"] = text("Override");
        kx_test::captured_report const log;
        EXPECT_EQ(message_of<es::arg>([&] { finalize(); }), "No clips in clip-list");
        EXPECT_EQ(submission, expected);
        EXPECT_TRUE(resources.empty());
        ASSERT_EQ(log.lines().size(), 1U);
        auto const line = log.lines().front();
        EXPECT_EQ(line.file, kx_test::submission_path);
        EXPECT_EQ(line.category, "ClientProxy");
        EXPECT_EQ(line.kind, 4U);
        EXPECT_EQ(line.severity, 3U);
        EXPECT_EQ(line.message, "No clips in clip-list");
    }
}

TEST_F(finalized_edl_source, names_the_clip_that_has_no_url) {
    struct {
        char const* key;
        property_handle bad;
    } const cases[] = {
        {"clips", tree({})},
        {"audio-clips", text("file:/a.wav")},
        {"video-clips", tree({{"url", kx_test::deferred()}})},
    };
    for (auto const& [key, bad] : cases) {
        use_clips({clip("file:/a.mov")});
        submission.set_referenced_property(std::string("edl-source{") + key + "}", list({clip("file:/a.mov"), bad}));
        properties const before = submission;
        EXPECT_EQ(message_of<es::arg>([&] { finalize(); }),
                  std::string("edl-source{") + key + "}[1]{url}: a string was expected");
        EXPECT_EQ(submission, before);
    }
}

TEST_F(finalized_edl_source, names_the_list_that_is_none) {
    for (char const* key : {"clips", "audio-clips", "video-clips"}) {
        use_clips({clip("file:/a.mov")});
        submission.set_referenced_property(std::string("edl-source{") + key + "}", text("file:/a.mov"));
        EXPECT_EQ(message_of<es::arg>([&] { finalize(); }),
                  std::string("edl-source{") + key + "}: a list was expected");
    }
    submission["edl-source"] = list({});
    EXPECT_THROW(finalize(), es::arg);
}

TEST_F(finalized_edl_source, raises_for_a_connection_that_is_impossible) {
    // A localizer that gives nothing to anybody.
    plugins = kxcore::plugin_db();
    kx_test::add_plugin(plugins, {encoder_plid, "encoder", {"source-url"}, {}});
    kx_test::add_plugin(plugins, {localize_plid, "localizer", {"source-url"}, {}});
    use_clips({clip("file:/a.mov"), clip("ftp://host/b.mov")});
    properties const before = submission;
    kx_test::captured_report const log;
    std::string const message = message_of<es::arg>([&] { finalize(); });
    std::string const begin = "finalize_edl: Failed to connect  wtid:task/regular/localize/1.0#";
    std::string const end = " : dest-url  -->  " + encoder + " : clips[1]{url}";
    EXPECT_TRUE(message.starts_with(begin)) << message;
    EXPECT_TRUE(message.ends_with(end)) << message;
    EXPECT_EQ(message.size(), begin.size() + 36 + end.size()) << message;
    ASSERT_EQ(log.lines().size(), 1U);
    auto const line = log.lines().front();
    EXPECT_EQ(line.file, kx_test::submission_path);
    EXPECT_EQ(line.category, "ClientProxy");
    EXPECT_EQ(line.kind, 4U);
    EXPECT_EQ(line.severity, 3U);
    EXPECT_EQ(line.message, message);
    EXPECT_EQ(submission, before);
    EXPECT_TRUE(resources.empty());
}

TEST_F(finalized_edl_source, stays_as_it_is_after_an_error_of_the_workflow) {
    use_clips({clip("file:/a.mov")});
    settings.task_name_in_values["encoder"]["no-such-input"] = text("x");
    resources.push_back(text("before"));
    properties const before = submission;
    kx_test::captured_report const log;
    EXPECT_THROW(finalize(), es::arg);
    EXPECT_EQ(submission, before);
    EXPECT_EQ(collected(), (std::vector<std::string>{"before"}));
}

TEST_F(finalized_edl_source, gives_clips_as_inputs_before_values_are_given) {
    use_clips({clip("file:/a.mov")});
    settings.task_name_in_values["encoder"]["clips[0]{url}"] = text("file:/other.mov");
    settings.resource_uri_option = false;
    finalize();
    EXPECT_EQ(text_at(configuration(encoder), "clips[0]{url}"), "file:/other.mov#origin");
}

TEST_F(finalized_edl_source, works_on_copies) {
    use_clips({clip("file:/a.mov"), clip("ftp://host/b.mov")});
    auto const held = submission.get_properties_value("edl-source");
    auto const before = held->clone();
    finalize();
    EXPECT_EQ(*held, *before);
}

TEST_F(finalized_edl_source, is_finalized_as_a_workflow_the_second_time) {
    use_clips({clip("ftp://host/a.mov")});
    finalize();
    properties const once = submission;
    finalize();
    EXPECT_EQ(*submission_get_unfinalized_submission(submission), once);
    EXPECT_EQ(localizers().size(), 1U);
    EXPECT_EQ(feeds(encoder), (std::vector<std::string>{"a.mov -> clips[0]{url}"}));
    EXPECT_EQ(*workflow().get_property("type"), *number(0)); // an ordinary workflow has no source any more
}

// Ten thousand different remote files and as many local ones. It takes a while, but less than anybody would notice in the
// work that such a list makes.
TEST_F(finalized_edl_source, takes_ten_thousand_clips) {
    constexpr std::size_t count = 10'000;
    std::vector<property_handle> clips;
    std::vector<property_handle> video;
    for (std::size_t index = 0; index < count; ++index) {
        clips.push_back(clip(("http://host/" + std::to_string(index) + ".mov").c_str()));
        video.push_back(clip(("file:/video/" + std::to_string(index) + ".mov").c_str()));
    }
    use_clips(clips, {}, video);
    finalize();
    EXPECT_EQ(workflow().get_list_value("tasks")->size(), 1 + count);
    EXPECT_EQ(resources.size(), 1 + count);
    EXPECT_EQ(kx_test::task_in(workflow(), encoder).get_list_value("input-connections")->size(), count);
}

} // namespace

} // namespace kxclientutil
