#include "kxclientutil/support/job_model.h"

#include <kxclientutil/config.h>
#include <kxclientutil/resolve.h>
#include <kxclientutil/wf_connection.h>

#include <kxbase/urls.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>
#include <kxcore/property_walk.h>

#include <algorithm>
#include <array>

namespace kx_test {

namespace {

using kxclientutil::wf_connection;

constexpr char const* encoder = "task/regular/ogencoder/1.0";
constexpr char const* failures = "failed|pre_start_fail|cancelled|invalid_pre_reqs";
constexpr char const* success = "succeeded";
constexpr char const* any_end = "succeeded|failed|pre_start_fail|cancelled|invalid_pre_reqs";

property_handle from_output() {
    return output_reference("dest-url");
}

std::string text_of(kxcore::property const* value) {
    auto const* const found = kxcore::property_cast<kxcore::property_string>(value);
    return found ? std::string(found->value()) : std::string();
}

kxcore::property_special const* reference_of(kxcore::property const* value) {
    auto const* const special = kxcore::property_cast<kxcore::property_special>(value);
    return special && special->sub_type() == kxcore::property_special::e_sub_type::variable ? special : nullptr;
}

/// Path and value of each leaf, as it is now.
std::vector<std::pair<std::string, property_handle>> leaves_of(properties const& tree) {
    std::vector<std::pair<std::string, property_handle>> leaves;
    kxcore::visit_leaves(
        tree, [&](std::string_view path, property_handle const& value) { leaves.emplace_back(path, value); });
    return leaves;
}

std::string scheme_before_plus(std::string const& uri) {
    std::string const scheme = kxbase::url_scheme(uri);
    return scheme.substr(0, scheme.find('+'));
}

bool is_remote_scheme(std::string const& scheme) {
    return scheme == "ftp" || scheme == "http";
}

std::string folder_of(std::string const& uri) {
    return kxbase::url_path_set_file(uri, "");
}

std::string plid_in(std::string const& wtid) {
    return wtid.substr(5, wtid.find('#') - 5);
}

} // namespace

job_model::job_model(properties const& submission, kxclientutil::finalize_sub_conf const& settings,
                     kxcore::plugin_db const& plugins)
    : submission_(submission), settings_(settings), plugins_(plugins), nodes_(settings.node_id),
      workflow_(kxbase::make_refcount<properties>(*submission.get_properties_value("workflow"))) {
    if (!settings.origin_node_id.empty()) nodes_ += (nodes_.empty() ? "" : ",") + settings.origin_node_id;
    workflow_name_ = settings.submission_name.empty() ? text_at(submission, "name") : settings.submission_name;
    if (workflow_->is_present("name")) workflow_name_ = text_at(*workflow_, "name");
    read_tasks();
    read_source();
    give_values();
    fetch_media_files();
    want_drawn_wires();
    want_post_actions();
    make_resources();
    resolve_variables();
}

std::set<std::string> job_model::encoders() const {
    std::set<std::string> found;
    for (auto const& [wtid, one] : tasks)
        if (one.plid == encoder || one.plid == "task/regular/preparembr/1.0") found.insert(wtid);
    return found;
}

std::set<std::string> job_model::deployments() const {
    std::set<std::string> found;
    for (auto const& [wtid, one] : tasks)
        if (one.plid == "task/regular/upload/1.0" || one.plid == "task/regular/youtube/1.0") found.insert(wtid);
    return found;
}

void job_model::read_tasks() {
    for (property_handle const& each : *workflow_->get_list_value("tasks")) {
        auto const& stored = static_cast<properties const&>(*each);
        tasks[text_at(stored, "id")] = {
            text_at(stored, "plugin-id"), text_at(stored, "name"), *stored.get_properties_value("configuration"), {}};
    }
}

std::string job_model::rewritten(std::string const& url) {
    std::string uri = kxclientutil::create_resource_uri(url, nodes_, settings_.resource_uri_option);
    if (is_remote_scheme(scheme_before_plus(uri))) is_remote = true;
    source_uris.push_back(uri);
    return uri;
}

void job_model::read_source() {
    auto const served = [&](std::string const& uri, std::string const& as) {
        if (scheme_before_plus(uri) == "kxrc") resources.insert(as);
    };
    auto const each = [&](char const* source, char const* key, char const* url_key, auto const& take) {
        for (property_handle const& entry : *submission_.get_properties_value(source)->get_list_value(key))
            take(text_at(static_cast<properties const&>(*entry), url_key));
    };
    auto const file = [&](std::string const& url) {
        std::string const uri = rewritten(url);
        served(uri, folder_of(uri));
    };
    if (submission_.is_present("file-source")) {
        source_type = "file";
        each("file-source", "files", "url", file);
    } else if (submission_.is_present("monitor-source")) {
        source_type = "monitor";
        std::string const url = text_at(submission_, "monitor-source{manager-configuration}{url}");
        served(rewritten(url), kxclientutil::resolve_url_path(url));
    } else if (submission_.is_present("edl-source")) {
        source_type = "edl";
        cut_clips(*submission_.get_properties_value("edl-source"));
    } else if (submission_.is_present("iseq-source")) {
        source_type = "iseq";
        // All sequences have the same parameters.
        std::string const first = "iseq-source{sequences}[0]";
        std::string query;
        if (submission_.find_referenced(first + "{encode-while-ingest}")) query = "ewi=true";
        if (submission_.find_referenced(first + "{framerate}"))
            query += std::string(query.empty() ? "" : "&") + "fr=25";
        each("iseq-source", "sequences", "start-file-url", [&](std::string url) {
            if (kxbase::url_scheme(url).find("+iseq") == std::string::npos)
                url = kxbase::url_set_scheme(url, kxbase::url_scheme(url) + "+iseq");
            file(query.empty() ? url : kxbase::url_set_query(url, query, true));
        });
    }
}

void job_model::cut_clips(properties const& source) {
    std::map<std::string, property_handle> lists;
    for (char const* const key : {"clips", "audio-clips", "video-clips"}) {
        std::vector<property_handle> made;
        if (source.is_present(key))
            for (property_handle const& each : *source.get_list_value(key)) {
                properties clip = static_cast<properties const&>(*each);
                std::string const uri = rewritten(text_at(clip, "url"));
                if (scheme_before_plus(uri) == "kxrc") resources.insert(folder_of(uri));
                if (spawn_value.empty() && key != std::string("audio-clips")) spawn_value = uri;
                bool const is_fetched = is_remote_scheme(scheme_before_plus(uri));
                clip.set_property("url", is_fetched ? from_output() : text(uri));
                if (is_fetched)
                    for (std::string const& wtid : encoders()) {
                        std::string const input = "clips[" + std::to_string(made.size()) + "]{url}";
                        fetched_clips[uri].emplace(wtid, input);
                        tasks[wtid].localized.insert(input);
                    }
                if (is_fetched) fetched_clips.try_emplace(uri);
                made.push_back(kxbase::make_refcount<properties>(clip));
            }
        lists[key] = list(made);
    }
    is_remote = false; // for whoever asks for the main localizer, which lists of clips have none of
    for (std::string const& wtid : encoders()) {
        properties& configuration = tasks[wtid].configuration;
        configuration.set_property("source-url", text("kxvar:/#workflow.spawn-value"));
        for (auto const& [key, clips] : lists)
            configuration.set_property(key, clips);
    }
}

void job_model::give_values() {
    auto const give = [&](std::string const& wtid, auto const& values) {
        for (auto const& [input, value] : values)
            if (tasks[wtid].configuration.is_present(input) || plugin_of(wtid).find_input(input))
                tasks[wtid].configuration.set_property(input, value);
    };
    for (auto const& [wtid, one] : tasks) {
        give(wtid, settings_.in_values);
        auto const by_name = settings_.task_name_in_values.find(one.name);
        if (by_name != settings_.task_name_in_values.end()) give(wtid, by_name->second);
        auto const by_type = settings_.task_type_in_values.find(plugin_of(wtid).get_name());
        if (by_type != settings_.task_type_in_values.end()) give(wtid, by_type->second);
    }
}

void job_model::fetch_media_files() {
    for (std::string const& wtid : encoders())
        for (char const* const key : {"intro-url", "outro-url", "audio-url", "watermark-url", "caption-url"}) {
            std::string const url = text_of(tasks[wtid].configuration.find(key));
            if (!is_remote_scheme(kxbase::url_scheme(url))) continue;
            fetched_files[url].emplace(wtid, key);
            tasks[wtid].localized.insert(key);
            set(wtid, key, from_output());
        }
}

std::vector<property_handle> job_model::connections() const {
    auto const* const drawn =
        kxcore::property_cast<property_list>(workflow_->find_referenced("workflow-meta{connections}"));
    if (!drawn) return {};
    return {drawn->begin(), drawn->end()};
}

void job_model::want_drawn_wires() {
    for (property_handle const& each : connections()) {
        wf_connection const drawn(static_cast<properties const&>(*each));
        if (drawn.is_exact_connection()) {
            wires.insert({drawn.from_wtid, drawn.from_node, drawn.to_wtid, drawn.to_node});
            continue;
        }
        if (drawn.is_result_connection()) {
            char const* const status = drawn.result == "failure"   ? failures
                                       : drawn.result == "success" ? success
                                                                   : any_end;
            waits[drawn.to_wtid].insert({{drawn.from_wtid}, status});
            continue;
        }
        task const& to = tasks[drawn.to_wtid];
        for (auto const& [path, value] : leaves_of(to.configuration))
            if (auto const* const reference = reference_of(value.get()); reference && !to.localized.contains(path))
                wires.insert({drawn.from_wtid, std::string(reference->value()), drawn.to_wtid, path});
        task const& from = tasks[drawn.from_wtid];
        bool publishes = false;
        for (kxcore::plugin_published_value const& published : plugin_of(drawn.from_wtid).get_published())
            publishes = publishes || published.name == "extra-dest-urls";
        for (char const* const key : {"ext-caption-extension", "ext-audio-extension"})
            publishes = publishes || (encoders().contains(drawn.from_wtid) && from.configuration.is_present(key));
        kxcore::plugin_port const* const port = plugin_of(drawn.to_wtid).find_input("extra-source-urls");
        kxcore::property const* const taken = to.configuration.find("extra-source-urls");
        if (publishes && port && port->publishable && (!taken || reference_of(taken)))
            wires.insert({drawn.from_wtid, "extra-dest-urls", drawn.to_wtid, "extra-source-urls"});
    }
}

properties const* job_model::meta_data() const {
    return kxcore::property_cast<properties>(workflow_->find("workflow-meta"));
}

void job_model::want_post_actions() {
    auto const actions = [&](char const* key) -> properties const* {
        std::string const attached = std::string("monitor-source{attached-workflow-actions}{") + key + '}';
        if (source_type == "monitor")
            if (auto const* const found = kxcore::property_cast<properties>(submission_.find_referenced(attached)))
                return found;
        return meta_data() ? kxcore::property_cast<properties>(meta_data()->find(key)) : nullptr;
    };
    std::set<std::string> all = encoders();
    all.merge(deployments());
    if (auto const* const failed = actions("finalize-workflow-failure")) {
        auto const* const of_encoders = kxcore::property_cast<properties>(failed->find("encode"));
        auto const* const of_deployments = kxcore::property_cast<properties>(failed->find("deployment"));
        if (of_encoders) {
            want_post_task(*of_encoders, {{encoders(), failures}});
            if (of_encoders->get_bool_value("stop-others", false))
                for (std::string const& wtid : encoders())
                    stops[wtid].merge(encoders());
        } else if (of_deployments) {
            want_post_task(*of_deployments, {{all, failures}});
            if (of_deployments->get_bool_value("stop-encoders", false))
                for (std::string const& wtid : deployments())
                    stops[wtid].merge(encoders());
        }
    }
    for (auto& [wtid, others] : stops)
        others.erase(wtid);
    std::erase_if(stops, [](auto const& each) { return each.second.empty(); });
    if (auto const* const succeeded = actions("finalize-workflow-success"))
        if (auto const* const of_deployments = kxcore::property_cast<properties>(succeeded->find("deployment"))) {
            std::set<wanted_wait> after;
            for (std::string const& wtid : deployments())
                after.insert({{wtid}, success});
            if (after.empty()) after.insert({{}, success});
            want_post_task(*of_deployments, after);
        }
}

void job_model::want_post_task(properties const& actions, std::set<wanted_wait> const& after) {
    if (actions.is_present("move-source"))
        post_tasks.emplace("task/regular/move/1.0", after);
    else if (actions.get_bool_value("remove-source", false))
        post_tasks.emplace("task/regular/delete/1.0", after);
}

void job_model::make_resources() {
    for (auto const& [wtid, one] : tasks)
        for (auto const& [path, value] : leaves_of(one.configuration)) {
            if (!kxclientutil::is_url_to_physical_resource(value)) continue;
            std::string const uri =
                kxclientutil::create_resource_uri(text_of(value.get()), nodes_, settings_.resource_uri_option);
            if (uri.starts_with("kxrc:/") && !uri.starts_with("kxrc:/#!")) resources.insert(uri);
            set(wtid, path, text(uri));
        }
    // The localizers of clips are there when values are given, and take one for their folder like any other task.
    auto const folder = settings_.in_values.find("dest-dir-url");
    if (!fetched_clips.empty() && folder != settings_.in_values.end() &&
        kxclientutil::is_url_to_physical_resource(folder->second)) {
        std::string const uri =
            kxclientutil::create_resource_uri(text_of(folder->second.get()), nodes_, settings_.resource_uri_option);
        if (uri.starts_with("kxrc:/") && !uri.starts_with("kxrc:/#!")) resources.insert(uri);
    }
    // The folder that moving moves to, which is a task's setting as well.
    for (auto const& [plid, after] : post_tasks)
        if (plid == "task/regular/move/1.0" && settings_.resource_uri_option)
            resources.insert("kxrc:/media/done/" + (nodes_.empty() ? nodes_ : '#' + nodes_));
}

void job_model::resolve_variables() {
    for (auto const& [wtid, one] : tasks)
        for (auto const& [path, value] : leaves_of(one.configuration))
            if (value->kind() == property_kind::string) resolve_leaf(wtid, path, text_of(value.get()));
}

void job_model::resolve_leaf(std::string const& wtid, std::string const& path, std::string const& text) {
    std::string uri = text;
    if (kxbase::url_scheme(text) != "kxvar") {
        if (!kxclientutil::is_recognized_variable(text)) return;
        uri = kxclientutil::get_variable(text);
    }
    resolve_variable(wtid, path, kxbase::url_fragment(uri, true), kxbase::url_query(uri, true));
}

void job_model::resolve_variable(std::string const& wtid, std::string const& path, std::string const& name,
                                 std::string const& query) {
    std::string const rest = name.substr(std::min(name.find('.') + 1, name.size()));
    auto const wire_from = [&](std::string const& from, std::string const& output) {
        if (!from.empty()) wires.insert({from, output, wtid, path});
    };
    if (name.starts_with("source.")) {
        if (name.ends_with(".name")) set(wtid, path, context("workflow.source-name"));
    } else if (name.starts_with("uuid")) {
        set(wtid, path, text(name == "uuid.lowercase" ? "<uuid>" : "<UUID>"));
    } else if (name == "workflow.name") {
        set(wtid, path, text(workflow_name_));
    } else if (name.starts_with("workflow.")) {
        set(wtid, path, context(query.empty() ? name : name + '?' + query));
    } else if (name == "encoder.name") {
        set_name_of(wtid, path, chained(wtid, encoder));
    } else if (name.starts_with("encoder.")) {
        if (rest == "media-info-xml-url" || rest == "output-media-info" || rest.starts_with("input-"))
            wire_from(chained(wtid, encoder), rest);
        else if (rest.starts_with("output-"))
            wire_from(chained(wtid, encoder), rest.substr(7));
    } else if (name == "mbr.name") {
        set_name_of(wtid, path, chained(wtid, "task/regular/mbr/1.0"));
    } else if (name.starts_with("mbr.")) {
        auto const packager = tasks.find(chained(wtid, "task/regular/mbr/1.0"));
        if (packager != tasks.end()) set(wtid, path, packager->second.configuration.get_property(rest));
    } else if (name.starts_with("deployment.")) {
        std::string const upload = chained(wtid, "task/regular/upload/1.0");
        for (char const* const end : {"dest-url", "outfile-path", "outfile-name", "outfile-extension", "outfile-file"})
            if (name.ends_with(end)) return wire_from(upload, rest);
        if (name.ends_with("name"))
            set_name_of(wtid, path, tasks.contains(upload) ? upload : chained(wtid, "task/regular/youtube/1.0"));
    } else if (name == "dynamic.time") {
        set(wtid, path, context("unix-timestring"));
    } else if (name.starts_with("dynamic.") && name != "dynamic.nothing") {
        set(wtid, path, context(rest));
    }
}

void job_model::set(std::string const& wtid, std::string const& path, property_handle const& value) {
    if (value) tasks[wtid].configuration.set_referenced_property(path, value);
}

void job_model::set_name_of(std::string const& wtid, std::string const& path, std::string const& named) {
    auto const found = tasks.find(named);
    if (found != tasks.end()) set(wtid, path, text(found->second.name));
}

std::string job_model::chained(std::string const& start, std::string const& plid) const {
    std::map<std::string, std::string> upstream;
    std::map<std::string, std::string> downstream;
    for (property_handle const& each : connections()) {
        wf_connection const drawn(static_cast<properties const&>(*each));
        if (!upstream.emplace(drawn.to_wtid, drawn.from_wtid).second) continue;
        downstream[drawn.from_wtid] = drawn.to_wtid;
    }
    if (!upstream.contains(start) && !downstream.contains(start)) return {};
    for (auto const* const links : {&upstream, &downstream}) {
        std::set<std::string> seen;
        for (std::string at = start; seen.insert(at).second;) {
            if (plid_in(at) == plid) return at;
            auto const next = links->find(at);
            if (next != links->end()) at = next->second;
        }
    }
    return {};
}

kxcore::plugin_info const& job_model::plugin_of(std::string const& wtid) const {
    return *plugins_.describe_plugin(plid_in(wtid));
}

} // namespace kx_test
