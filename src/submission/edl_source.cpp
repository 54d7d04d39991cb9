#include "submission/edl_source.h"

#include "submission/finalization_run.h"
#include "submission/job_size.h"
#include "submission/localization.h"
#include "submission/reporting.h"
#include "submission/settings.h"
#include "submission/source_steps.h"
#include "submission/wiring.h"
#include "submission/workflow_finalization.h"

#include <kxclientutil/config.h>

#include <kxbase/text.h>
#include <kxbase/urls.h>
#include <kxbase/uuid.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxworkflow/workflow_builder.h>

#include <algorithm>
#include <array>
#include <map>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxbase::ptr_refcount;
using kxcore::properties;
using kxcore::property_list;
using kxcore::property_string;
using kxworkflow::workflow_builder;

/// A list of clips, in the source and in the configuration of an encoder.
struct clip_list {
    char const* key;
    bool gives_spawn_value;
};

// In the order in which they are gone through. Sound alone never stands for the whole: it gives no spawn value.
constexpr std::array<clip_list, 3> clip_lists{{
    {"clips", true},
    {"audio-clips", false},
    {"video-clips", true},
}};

constexpr std::int64_t edl_workflow_type = 2;

/// What the clips become.
struct rewritten_clips {
    std::array<ptr_refcount<property_list>, clip_lists.size()> lists; // as clip_lists
    std::string spawn_value;
    std::map<std::string, std::set<std::string>> remote; // the inputs that each remote URI feeds
};

rewritten_clips rewrite_clips(properties const& source, finalization_run& run);
void describe_list(workflow_builder& builder, properties const& source, std::string const& spawn_value,
                   finalization_run const& run);
void require_room(std::size_t encoders, rewritten_clips const& clips, finalize_sub_conf const& settings);
void give_clips(workflow_builder& builder, std::set<std::string> const& encoders, rewritten_clips const& clips,
                finalization_notes const& notes);
void localize_clips(workflow_builder& builder, std::set<std::string> const& encoders, rewritten_clips const& clips,
                    finalization_notes const& notes);

} // namespace

void finalize_edl_source(finalization_run& run) {
    auto const source = run.submission.get_properties_value("edl-source");
    run.notes.begin(e_finalization_step::source);
    rewritten_clips const clips = rewrite_clips(*source, run);
    workflow_builder builder = open_workflow(run);
    describe_list(builder, *source, clips.spawn_value, run);
    std::set<std::string> const encoders = encoder_tasks(builder);
    require_room(encoders.size(), clips, run.settings);
    give_clips(builder, encoders, clips, run.notes);
    localize_clips(builder, encoders, clips, run.notes);
    finalize_workflow(builder, run);
    builder.set_workflow_type(edl_workflow_type);

    run.notes.begin(e_finalization_step::source_wiring);
    run.notes.set({}, "edl-source", source, {}, "its clips are in the encoders");
    store_workflow(builder, run);
    run.submission.erase("edl-source");
}

namespace {

/// Where a clip came from and where it is fed to.
struct clip_way {
    std::string_view list;
    std::string_view input;
};

void rewrite_list(source_list const& clips, std::size_t which, finalization_run& run, rewritten_clips& rewritten);
void note_remote_clip(std::string_view url, properties const& clip, std::string const& path, clip_way const& way,
                      finalization_notes const& notes);

rewritten_clips rewrite_clips(properties const& source, finalization_run& run) {
    std::array<source_list, clip_lists.size()> const lists{source_list(source, "edl-source", clip_lists[0].key, false),
                                                           source_list(source, "edl-source", clip_lists[1].key, false),
                                                           source_list(source, "edl-source", clip_lists[2].key, false)};
    if (lists[0].size() + lists[1].size() + lists[2].size() == 0) report_and_raise("No clips in clip-list");
    rewritten_clips rewritten;
    for (std::size_t which = 0; which < lists.size(); ++which)
        rewrite_list(lists[which], which, run, rewritten);
    return rewritten;
}

void rewrite_list(source_list const& clips, std::size_t which, finalization_run& run, rewritten_clips& rewritten) {
    std::string const nodes = node_list(run.settings);
    auto const list = make_refcount<property_list>();
    list->reserve(clips.size());
    for (std::size_t index = 0; index < clips.size(); ++index) {
        std::string_view const url = clips.text(index, "url");
        source_uri const rewritten_url = rewrite_source_url(url, nodes, run.settings);
        auto const& [uri, reach] = rewritten_url;
        if (clip_lists[which].gives_spawn_value && rewritten.spawn_value.empty()) rewritten.spawn_value = uri;
        if (reach == e_reach::resource) run.resources.insert(folder_of(uri));
        auto clip = make_refcount<properties>(clips.entry(index));
        if (reach == e_reach::remote) {
            std::string const input = "clips[" + std::to_string(index) + "]{url}";
            clip->set_property(
                "url", kxcore::property_special::create_deferred_variable(kxcore::property_kind::string, file_output));
            // "clips" for all three lists, audio and video too. That is meant, and nodes rely on it: don't mend it to the
            // list that the clip is in.
            rewritten.remote[uri].insert(input);
            if (run.notes.is_listening())
                note_remote_clip(url, *clip, clips.place(index, "url"), {clip_lists[which].key, input}, run.notes);
        } else {
            note_source_url(
                url, rewritten_url, [&] { return clips.place(index, "url"); }, run);
            clip->set_property("url", make_refcount<property_string>(uri));
        }
        list->push_back(std::move(clip));
    }
    rewritten.lists[which] = list;
}

void note_remote_clip(std::string_view url, properties const& clip, std::string const& path, clip_way const& way,
                      finalization_notes const& notes) {
    std::string why =
        "it is on a server, a localizer fetches it and feeds " + std::string(way.input) + " of the encoders";
    if (!way.input.starts_with(std::string(way.list) + '['))
        why += "; that is meant, though it is one of the " + std::string(way.list);
    notes.set({}, path, make_refcount<property_string>(url), clip.get_property("url"), why);
}

void describe_list(workflow_builder& builder, properties const& source, std::string const& spawn_value,
                   finalization_run const& run) {
    describe_source(builder, source, "edl", run);
    set_meta_data(builder, "spawn-value", make_refcount<property_string>(spawn_value),
                  "the first clip with pictures stands for the whole", run);
    set_meta_data(builder, "parent-id", make_refcount<property_string>("WOFL-" + kxbase::string_uuid(false)),
                  "a fresh identifier", run);
}

bool may_be_replaced(std::string_view list, finalize_sub_conf const& settings);

/// All encoders have all clips, and all remote ones are connected to each of them.
void require_room(std::size_t encoders, rewritten_clips const& clips, finalize_sub_conf const& settings) {
    std::size_t each = 0;
    for (std::size_t which = 0; which < clip_lists.size(); ++which)
        if (!may_be_replaced(clip_lists[which].key, settings)) each += least_encoded_size(clips.lists[which], settings);
    for (auto const& [uri, inputs] : clips.remote)
        each += inputs.size() * smallest_connection;
    require_room_for(encoders, each);
}

/// Whether the caller has a value for the list, or for a place in it, which may be smaller than what it takes the place of.
bool may_be_replaced(std::string_view list, finalize_sub_conf const& settings) {
    auto const is_there = [list](finalize_sub_conf::input_values const& values) {
        return std::ranges::any_of(values, [list](auto const& given) {
            std::string_view const input = given.first;
            return input.substr(0, input.find_first_of("{[")) == list;
        });
    };
    auto const is_theirs = [&](auto const& owner) { return is_there(owner.second); };
    return is_there(settings.in_values) || std::ranges::any_of(settings.task_name_in_values, is_theirs) ||
           std::ranges::any_of(settings.task_type_in_values, is_theirs);
}

/// All encoders share the three lists.
void give_clips(workflow_builder& builder, std::set<std::string> const& encoders, rewritten_clips const& clips,
                finalization_notes const& notes) {
    auto const source_url = make_refcount<property_string>(get_variable("source.url"));
    for (std::string const& encoder : encoders) {
        auto const before = builder.get_task_configuration(encoder);
        properties configuration = *before;
        configuration.set_property("source-url", source_url);
        for (std::size_t which = 0; which < clip_lists.size(); ++which)
            configuration.set_property(clip_lists[which].key, clips.lists[which]);
        notes.configured(encoder, *before, configuration, "the encoder cuts the clips together");
        builder.configure_task(encoder, configuration);
    }
}

void localize_clips(workflow_builder& builder, std::set<std::string> const& encoders, rewritten_clips const& clips,
                    finalization_notes const& notes) {
    for (auto const& [uri, inputs] : clips.remote) {
        std::string const localizer =
            builder.add_task(localizer_plid, localizer_configuration(uri), 0, "", kxbase::url_path_file(uri));
        notes.added(builder, localizer, "fetches a clip from its server:", make_refcount<property_string>(uri));
        for (std::string const& input : inputs)
            for (std::string const& encoder : encoders)
                if (!notes.connect(builder, localizer, file_output, encoder, input, "the clip is on a server"))
                    report_and_raise(
                        kxbase::string_with_format("finalize_edl: Failed to connect  %s : %s  -->  %s : %s",
                                                   localizer.c_str(), file_output, encoder.c_str(), input.c_str()));
    }
}

} // namespace

} // namespace kxclientutil
