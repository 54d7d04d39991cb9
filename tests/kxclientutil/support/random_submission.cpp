#include "kxclientutil/support/random_submission.h"

#include "kxclientutil/support/trees.h"

#include <kxclientutil/config.h>
#include <kxclientutil/wf_connection.h>

#include <array>

namespace kx_test {

namespace {

constexpr std::array<char const*, 11> plids{
    "task/regular/ogencoder/1.0",  "task/regular/ogencoder/1.0", "task/regular/ogencoder/1.0",
    "task/regular/preparembr/1.0", "task/regular/upload/1.0",    "task/regular/upload/1.0",
    "task/regular/youtube/1.0",    "task/regular/mbr/1.0",       "task/regular/mail/1.0",
    "task/regular/execute/1.0",    "task/regular/move/1.0"};
constexpr char const* localize_plid = "task/regular/localize/1.0";

constexpr std::array<char const*, 16> urls{"file:/media/in/a.mov",
                                           "file:/media/in/a.mov#old",
                                           "file:/media/in/../$PRODLONG$/b.mov",
                                           "file://server/share/c.mov",
                                           "file+iseq:/media/in/d_1.dpx",
                                           "kxrc:/#!finished",
                                           "kxrc:/media/earlier.mov#desk-9",
                                           "kxrc+iseq:/media/earlier_1.dpx",
                                           "kxfs://node/media/e.mov",
                                           "smb://server/share/f.mov",
                                           "ftp://server/g.mov",
                                           "ftp+iseq://server/g_1.dpx",
                                           "http://server/h.mov",
                                           "http://server/h%20h.mov",
                                           "https://server/i.mov",
                                           "FILE:/media/in/j.mov"};

constexpr std::array<char const*, 5> media_keys{"intro-url", "outro-url", "audio-url", "watermark-url", "caption-url"};
constexpr std::array<char const*, 5> media_files{"http://server/intro.mov", "ftp://server/intro.mov",
                                                 "http://server/logo.png", "https://server/intro.mov",
                                                 "file:/media/intro.mov"};

} // namespace

random_submission::random_submission(std::uint64_t seed) : engine_(seed) {
    draw_tasks();
    std::vector<property_handle> made;
    for (drawn_task const& drawn : tasks_)
        made.push_back(task(drawn));
    auto const workflow = tree({{"tasks", list(made)}, {"notes", text("kept")}});
    if (!one_in(3)) workflow->set_property("name", text(one_in(4) ? "" : "Workflow"));
    std::vector<property_handle> connections;
    if (tasks_.size() > 1)
        for (std::uint64_t count = below(2 * tasks_.size()); count > 0; --count)
            connections.push_back(connection());
    auto const meta_data = tree({{"mine", text("kept")}});
    if (!connections.empty()) meta_data->set_property("connections", list(connections));
    add_actions(*meta_data);
    workflow->set_property("workflow-meta", meta_data);
    submission.set_property("name", text("Submission"));
    submission.set_property("workflow", workflow);
    if (one_in(3)) submission.set_property("ext-meta", tree({{"comment", text("kept")}}));
    add_source();
    choose_settings();
}

void random_submission::draw_tasks() {
    auto const add = [&](std::string const& plid) {
        std::string const number = std::to_string(tasks_.size());
        bool const as_main = plid == localize_plid && tasks_.empty() && one_in(3);
        tasks_.push_back({plid, "wtid:" + plid + '#' + (as_main ? "localizer" : 't' + number),
                          one_in(3) ? "Twin" : "Task " + number});
    };
    for (std::uint64_t count = below(3); count > 0; --count)
        add(localize_plid);
    if (!one_in(10))
        for (std::uint64_t count = 1 + below(7); count > 0; --count)
            add(any_of(plids));
}

property_handle random_submission::task(drawn_task const& drawn) {
    auto made = tree({{"id", text(drawn.wtid)},
                      {"plugin-id", text(drawn.plid)},
                      {"name", text(drawn.name)},
                      {"configuration", kxbase::make_refcount<properties>(configuration(drawn))}});
    if (one_in(4)) made->set_property("ext-meta", tree({{"mine", text("kept")}}));
    if (one_in(4)) made->set_property("flags", number(static_cast<std::int64_t>(below(3))));
    return made;
}

properties random_submission::configuration(drawn_task const& drawn) {
    properties made(false);
    made.set_property("source-url", source_of(drawn));
    made.set_property("label", text("for people"));
    if (!one_in(3)) made.set_property("dest-dir-url", text(one_in(3) ? variable() : url()));
    if (!one_in(3)) {
        std::vector<property_handle> pieces;
        for (std::uint64_t count = below(4); count > 0; --count)
            pieces.push_back(piece());
        made.set_property("dest-filename", list(pieces));
    }
    if (drawn.plid.find("ogencoder") != std::string::npos || drawn.plid.find("preparembr") != std::string::npos)
        add_media_files(made);
    if (drawn.plid.find("mbr/") != std::string::npos) {
        made.set_property("package-type", text("hls"));
        made.set_property("package-name", text(one_in(3) ? variable() : "package"));
        made.set_property("source-urls", list({output_reference("dest-url")}));
    }
    if (one_in(3)) made.set_property("extra-source-urls", output_reference("extra-source-urls", property_kind::list));
    if (one_in(2)) made.set_property("env", environment());
    return made;
}

property_handle random_submission::source_of(drawn_task const& drawn) {
    if (drawn.plid == localize_plid) {
        std::string const file = any_of(media_files);
        if (fetched_.insert(file).second && one_in(2)) return text(file);
        return one_in(3) ? text("ftp://server/own-" + std::to_string(fetched_.size())) : deferred();
    }
    switch (below(6)) {
    case 0: return {};
    case 1: return text(url());
    case 2: return context("workflow.spawn-value");
    case 3: return output_reference("dest-url");
    case 4: return text(variable());
    default: return deferred();
    }
}

void random_submission::add_media_files(properties& configuration) {
    for (char const* const key : media_keys)
        if (one_in(3)) configuration.set_property(key, one_in(8) ? context("x") : text(any_of(media_files)));
    for (char const* const key : {"ext-caption-extension", "ext-audio-extension"})
        if (one_in(4)) configuration.set_property(key, text("srt"));
}

/// Values of all kinds, some levels down.
property_handle random_submission::environment() {
    auto made = tree({});
    for (std::uint64_t count = below(6); count > 0; --count) {
        std::string const key = "K" + std::to_string(count);
        switch (below(8)) {
        case 0: made->set_property(key, number(static_cast<std::int64_t>(engine_()))); break;
        case 1: made->set_property(key, flag(one_in(2))); break;
        case 2: made->set_property(key, bytes("file:/media/in/a.mov")); break;
        case 3:
            made->set_property(key, list({tree({{"url", text(url())}, {"deeper", list({piece(), piece()})}})}));
            break;
        case 4: made->set_property(key, text(url())); break;
        case 5: made->set_property(key, piece()); break;
        default: made->set_property(key, text(variable())); break;
        }
    }
    return made;
}

property_handle random_submission::connection() {
    std::uint64_t const from = below(tasks_.size() - 1);
    std::uint64_t const to = from + 1 + below(tasks_.size() - from - 1);
    kxclientutil::wf_connection drawn(tasks_[from].wtid, tasks_[to].wtid);
    // Localizers are fed by nobody who is drawn: they may come to serve a task before.
    bool const feeds_localizer = tasks_[to].plid == localize_plid;
    switch (below(6)) {
    case 0:
    case 1:
        if (!feeds_localizer) drawn.result = any_of(std::array{"success", "failure", "finished"});
        break;
    case 2:
        drawn.from_node = any_of(std::array{"dest-url", "bitrate-kbps", "no-such-output"});
        drawn.to_node = any_of(std::array{"source-url", "env{K1}", "dest-filename[0]", "no-such-input"});
        break;
    case 3: std::swap(drawn.from_wtid, drawn.to_wtid); [[fallthrough]];
    case 4:
        if (one_in(2)) drawn.from_wtid += "-that-is-not-there";
        drawn.from_node = drawn.to_node = "nothing";
        break;
    default: break;
    }
    if (feeds_localizer && drawn.from_node.empty()) drawn.from_node = drawn.to_node = "nothing";
    auto made = tree({});
    drawn.encode(*made);
    return made;
}

property_handle random_submission::actions(bool of_failure) {
    auto const details = [&] {
        auto made = tree({});
        if (one_in(2)) made->set_property("move-source", text("file:/media/done/"));
        if (one_in(2)) made->set_property("remove-source", flag(!one_in(4)));
        if (one_in(2)) made->set_property("stop-others", flag(!one_in(4)));
        if (one_in(2)) made->set_property("stop-encoders", flag(!one_in(4)));
        return made;
    };
    auto made = tree({});
    if (of_failure && one_in(2)) made->set_property("encode", details());
    if (!one_in(3)) made->set_property("deployment", details());
    return made;
}

void random_submission::add_actions(properties& to) {
    if (one_in(2)) to.set_property("finalize-workflow-failure", actions(true));
    if (one_in(2)) to.set_property("finalize-workflow-success", actions(false));
}

void random_submission::add_source() {
    switch (below(5)) {
    case 0: {
        std::vector<property_handle> files;
        for (std::uint64_t count = below(4); count > 0; --count) {
            files.push_back(tree({{"url", text(url())}}));
            if (one_in(2))
                files.back() = tree({{"url", text(url())}, {"target", text("old")}, {"notes", text("kept")}});
        }
        submission.set_property("file-source", tree({{"name", text("Files")}, {"files", list(files)}}));
        break;
    }
    case 1: {
        auto const source = tree({{"name", text("Watched")}, {"manager-configuration", tree({{"url", text(url())}})}});
        if (one_in(2)) {
            auto const attached = tree({});
            add_actions(*attached);
            source->set_property("attached-workflow-actions", attached);
        }
        submission.set_property("monitor-source", source);
        break;
    }
    case 2: {
        auto const source = tree({{"name", text("Cut")}, {"audio-clips", clips()}});
        for (char const* const key : {"clips", "video-clips"})
            if (!one_in(3)) source->set_property(key, one_in(4) ? list({}) : clips());
        submission.set_property("edl-source", source);
        break;
    }
    case 3: {
        auto const sequence = tree({{"start-file-url", text(url())}});
        if (one_in(2)) sequence->set_property("framerate", text("25"));
        if (one_in(2)) sequence->set_property("encode-while-ingest", flag(true));
        submission.set_property("iseq-source", tree({{"sequences", list({sequence, sequence})}}));
        break;
    }
    default: break;
    }
}

property_handle random_submission::clips() {
    std::vector<property_handle> made{tree({{"url", text(url())}})};
    for (std::uint64_t count = below(3); count > 0; --count)
        made.push_back(tree({{"url", text(url())}, {"start-ms", number(static_cast<std::int64_t>(count))}}));
    return list(made);
}

void random_submission::choose_settings() {
    settings.origin_node_id = one_in(3) ? "" : "desk-1";
    settings.node_id = one_in(2) ? "" : "node-7";
    settings.resource_uri_option = one_in(2);
    settings.guess_shared_storage = one_in(2);
    if (one_in(3)) settings.submission_name = "Override";
    if (one_in(2)) settings.set_priority(static_cast<std::int64_t>(below(3)));
    if (one_in(3)) settings.in_values["dest-dir-url"] = text(one_in(2) ? url() : variable());
    if (one_in(3)) settings.in_values["no-such-input"] = text("skipped");
    if (one_in(3) && !tasks_.empty())
        settings.task_name_in_values[any_of(tasks_).name]["label"] = one_in(2) ? text(url()) : context("y");
    if (one_in(3)) settings.task_type_in_values["upload"]["username"] = text("press");
}

std::string random_submission::url() {
    return any_of(urls);
}

std::string random_submission::variable() {
    return any_of(variable_texts());
}

property_handle random_submission::piece() {
    switch (below(4)) {
    case 0: return text("-");
    case 1: return output_reference(one_in(2) ? "dest-url" : "bitrate-kbps");
    default: return text(variable());
    }
}

std::vector<std::string> const& variable_texts() {
    static std::vector<std::string> const texts = [] {
        std::vector<std::string> made{"kxvar:/#encoder.status",
                                      "kxvar:/#encoder.output-media-info",
                                      "kxvar:/#encoder.media-info-xml-url",
                                      "kxvar:/#encoder.nothing",
                                      "kxvar:/#mbr.no-such-setting",
                                      "kxvar:/#mbr.source-urls",
                                      "kxvar:/#deployment.status",
                                      "kxvar:/#deployment.nothing",
                                      "kxvar:/#dynamic.nothing",
                                      "kxvar:/#source.nothing",
                                      "kxvar:/#uuid.nothing",
                                      "kxvar:/#workflow.nothing",
                                      "kxvar:/?accessor#workflow.nothing",
                                      "kxvar:/#nobody",
                                      "kxvar:/",
                                      "$nobody$",
                                      "a $uuid$"};
        for (auto const& [name, uri] : kxclientutil::get_variable_map()) {
            made.push_back('$' + name + '$');
            made.push_back(name);
            made.push_back(uri);
        }
        return made;
    }();
    return texts;
}

} // namespace kx_test
