// What the tests of a job's wiring share: plugins with more inputs and outputs than the others need, connections as
// people draw them, and what the wiring of a finalized task looks like.
#pragma once

#include "kxclientutil/support/submission_fixture.h"

#include <kxclientutil/wf_connection.h>

#include <kxworkflow/task_status.h>

#include <algorithm>

namespace kx_test {

inline constexpr char const* prepare_plid = "task/regular/preparembr/1.0";
inline constexpr char const* mbr_plid = "task/regular/mbr/1.0";
inline constexpr char const* youtube_plid = "task/regular/youtube/1.0";
inline constexpr char const* delete_plid = "task/regular/delete/1.0";
inline constexpr char const* move_plid = "task/regular/move/1.0";
inline constexpr char const* collect_plid = "task/regular/collect/1.0";

/// An entry of "input-connections".
[[nodiscard]] inline property_handle fed(std::string const& from, char const* output, char const* input) {
    return tree({{"from-wtid", text(from)}, {"from-node", text(output)}, {"to-node", text(input)}});
}

/// An entry of "run-dependencies" or "kill-triggers".
[[nodiscard]] inline property_handle on_end_of(std::vector<std::string> const& tasks,
                                               kxworkflow::task_status const& status) {
    return tree({{"tasks", texts(tasks)}, {"status", kxbase::make_refcount<kxcore::property_constraint>(status)}});
}

/// The wtids of a workflow, in the order of the document.
[[nodiscard]] inline std::vector<std::string> ids_of(properties const& workflow) {
    std::vector<std::string> ids;
    for (property_handle const& task : *workflow.get_list_value("tasks"))
        ids.push_back(text_at(static_cast<properties const&>(*task), "id"));
    return ids;
}

class wired_fixture : public submission_fixture {
protected:
    wired_fixture() { use_outputs("", {}); }

    /// Gives a plugin more outputs.
    void use_outputs(std::string const& plid, std::vector<char const*> const& outputs) {
        plugins = kxcore::plugin_db();
        for (declared_plugin declared : {
                 declared_plugin{encoder_plid, "encoder", {"source-url", "dest-dir-url"}, {"dest-url"}},
                 declared_plugin{prepare_plid, "prepare", {"source-url"}, {"dest-url"}},
                 declared_plugin{upload_plid, "upload", {"source-url", "dest-dir-url"}, {"dest-url"}},
                 declared_plugin{youtube_plid, "youtube", {"source-url"}, {}},
                 declared_plugin{mail_plid, "mail", {"subject", "message"}, {}},
                 declared_plugin{mbr_plid, "mbr", {"source-urls", "package-name"}, {"dest-url"}},
                 declared_plugin{
                     localize_plid, "localizer", {"source-url", "ftp-ssl-mode", "dest-dir-url"}, {"dest-url"}},
                 declared_plugin{delete_plid, "delete", {"source-url", "extra-source-urls"}, {}},
                 declared_plugin{move_plid, "move", {"source-url", "dest-dir-url", "extra-source-urls"}, {"dest-url"}},
             }) {
            if (declared.plid == plid) declared.outputs.insert(declared.outputs.end(), outputs.begin(), outputs.end());
            add_plugin(plugins, declared);
        }
        plugins.add_plugin(collector());
    }

    /// Publishes what belongs to its file, and takes what others publish.
    [[nodiscard]] static kxbase::ptr_refcount<kxcore::plugin_info> collector() {
        auto const port = [](char const* kind, bool publishable) {
            return tree({{"kind", text(kind)}, {"publishable", flag(publishable)}});
        };
        return kxbase::make_refcount<kxcore::plugin_info>(
            tree({{"plugin-id", text(collect_plid)},
                  {"info", tree({{"name", text("collect")}})},
                  {"inputs", tree({{"source-url", port("string", false)},
                                   {"extra-source-urls", port("list", true)},
                                   {"notes", port("list", false)}})},
                  {"outputs", tree({{"dest-url", tree({{"kind", text("string")}})}})},
                  {"published", tree({{"extra-dest-urls", output_reference("extra-source-urls", property_kind::list)},
                                      {"fixed", text("extra-source-urls")},
                                      {"later", context("extra-source-urls", property_kind::list)},
                                      {"log-urls", output_reference("notes", property_kind::list)}})}}));
    }

    /// Puts a workflow of these tasks and connections into the submission, with more meta data if there is some.
    void use_wired(std::vector<property_handle> const& tasks,
                   std::vector<kxclientutil::wf_connection> const& connections,
                   tree_handle const& meta_data = tree({})) {
        auto const drawn = workflow_of(tasks);
        drawn->set_property("workflow-meta", meta_data);
        for (auto const& connection : connections)
            kxclientutil::connect_task(connection, *drawn);
        submission.set_property("workflow", drawn);
    }

    [[nodiscard]] properties task(std::string const& id) const { return task_in(workflow(), id); }

    /// All that joins a task of the job to others.
    [[nodiscard]] properties wiring(std::string const& id) const {
        properties const finalized = task(id);
        properties wires(false);
        for (char const* key : {"input-connections", "run-dependencies", "kill-triggers"})
            wires.set_property(key, finalized.get_property(key));
        return wires;
    }

    /// The wtids of the finalized workflow that the submission did not have.
    [[nodiscard]] std::vector<std::string> added_tasks() const {
        auto const original = kxclientutil::submission_get_unfinalized_submission(submission);
        std::vector<std::string> const before = ids_of(*original->get_properties_value("workflow"));
        std::vector<std::string> added;
        for (std::string const& id : ids_of(workflow()))
            if (std::find(before.begin(), before.end(), id) == before.end()) added.push_back(id);
        return added;
    }

    std::string const encoder = wtid(encoder_plid, "encoder");
    std::string const upload = wtid(upload_plid, "upload");
    std::string const mail = wtid(mail_plid, "mail");
};

} // namespace kx_test
