// What the tests of submissions share: a few plugins made on the spot, so that every input and output is known exactly,
// and short words for tasks, workflows and finalizing.
#pragma once

#include "kxclientutil/support/trees.h"
#include "support/captured_report.h"

#include <kxclientutil/submission.h>

#include <kxcore/constraint_db.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kx_test {

inline constexpr char const* submission_path = R"(code\app\common\shared\kxclientutil\src\submission)";

inline constexpr char const* encoder_plid = "task/regular/ogencoder/1.0";
inline constexpr char const* upload_plid = "task/regular/upload/1.0";
inline constexpr char const* mail_plid = "task/regular/mail/1.0";
inline constexpr char const* localize_plid = "task/regular/localize/1.0";

inline constexpr char const* main_localizer = "wtid:task/regular/localize/1.0#localizer";

/// The wtid of a task that `task_of` makes.
[[nodiscard]] inline std::string wtid(std::string const& plid, std::string const& instance) {
    return "wtid:" + plid + "#" + instance;
}

/// A task document as a workflow holds it.
[[nodiscard]] inline property_handle task_of(std::string const& plid, std::string const& instance,
                                             tree_handle const& configuration) {
    return tree({{"id", text(wtid(plid, instance))},
                 {"plugin-id", text(plid)},
                 {"name", text(instance)},
                 {"configuration", configuration}});
}

/// A workflow document.
[[nodiscard]] inline tree_handle workflow_of(std::vector<property_handle> const& tasks, char const* name = "Workflow") {
    return tree({{"name", text(name)}, {"tasks", list(tasks)}});
}

/// The task of an exported workflow; an empty tree when it has no such task.
[[nodiscard]] inline properties task_in(properties const& workflow, std::string const& id) {
    auto const* const tasks = kxcore::property_cast<property_list>(workflow.find("tasks"));
    if (tasks)
        for (property_handle const& task : *tasks)
            if (text_at(static_cast<properties const&>(*task), "id") == id)
                return static_cast<properties const&>(*task);
    return properties(false);
}

/// The plugins: inputs and outputs by name, all strings.
struct declared_plugin {
    char const* plid;
    char const* type;
    std::vector<char const*> inputs;
    std::vector<char const*> outputs;
};

inline void add_plugin(kxcore::plugin_db& plugins, declared_plugin const& declared) {
    auto const ports = [](std::vector<char const*> const& names) {
        auto made = tree({});
        for (char const* name : names)
            made->set_property(name, tree({{"kind", text("string")}}));
        return made;
    };
    auto const document = tree({{"plugin-id", text(declared.plid)},
                                {"info", tree({{"name", text(declared.type)}})},
                                {"inputs", ports(declared.inputs)},
                                {"outputs", ports(declared.outputs)}});
    plugins.add_plugin(kxbase::make_refcount<kxcore::plugin_info>(document));
}

class submission_fixture : public testing::Test {
protected:
    submission_fixture() {
        for (declared_plugin const& declared : {
                 declared_plugin{encoder_plid, "encoder", {"source-url", "dest-dir-url"}, {"dest-url"}},
                 declared_plugin{upload_plid, "upload", {"source-url", "dest-dir-url"}, {"dest-url"}},
                 declared_plugin{mail_plid, "mail", {"subject", "message"}, {}},
                 declared_plugin{
                     localize_plid, "localizer", {"source-url", "ftp-ssl-mode", "dest-dir-url"}, {"dest-url"}},
             })
            add_plugin(plugins, declared);
    }

    /// Finalizes `submission` in place.
    void finalize() { kxclientutil::submission_finalize(submission, resources, settings, plugins, constraints); }

    /// Puts a workflow of these tasks into the submission.
    void use_tasks(std::vector<property_handle> const& tasks) {
        kxclientutil::submission_add_workflow(*workflow_of(tasks), submission);
    }

    /// The finalized workflow.
    [[nodiscard]] properties workflow() const { return *submission.get_properties_value("workflow"); }

    /// The configuration of a finalized task.
    [[nodiscard]] properties configuration(std::string const& id) const {
        return *task_in(workflow(), id).get_properties_value("configuration");
    }

    /// What was appended to the resources.
    [[nodiscard]] std::vector<std::string> collected() const {
        return texts_at(*tree({{"r", kxbase::make_refcount<property_list>(resources)}}), "r");
    }

    kxcore::plugin_db plugins;
    kxcore::constraint_db constraints{false};
    kxclientutil::finalize_sub_conf settings{"origin"};
    properties submission = *tree({{"name", text("Submission")}});
    property_list resources;
};

} // namespace kx_test
