// What a job has to be, worked out anew and simply: everything is looked through again for every question, nothing is
// remembered, and nothing of the library's own finalization is used. For submissions that finalization takes.
#pragma once

#include "kxclientutil/support/trees.h"

#include <kxclientutil/submission.h>

#include <compare>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kxcore {
class plugin_db;
class plugin_info;
} // namespace kxcore

namespace kx_test {

/// An output that feeds an input.
struct wanted_wire {
    std::string from;
    std::string output;
    std::string to;
    std::string input;

    // What the comparison makes of itself is no zero of ours: NOLINTNEXTLINE(modernize-use-nullptr)
    auto operator<=>(wanted_wire const&) const = default;
};

/// A task that waits for the end of others, any one of which is enough.
struct wanted_wait {
    std::set<std::string> others;
    std::string status;

    // What the comparison makes of itself is no zero of ours: NOLINTNEXTLINE(modernize-use-nullptr)
    auto operator<=>(wanted_wait const&) const = default;
};

class job_model {
public:
    struct task {
        std::string plid;
        std::string name;
        properties configuration{false};
        std::set<std::string> localized; ///< the inputs that localizers feed
    };

    job_model(properties const& submission, kxclientutil::finalize_sub_conf const& settings,
              kxcore::plugin_db const& plugins);

    /// The submission's tasks as the job has them, by wtid. A fresh identifier stands there as "<uuid>" or "<UUID>".
    std::map<std::string, task> tasks;

    /// What feeds the submission's tasks, without localizers; what is impossible is among it.
    std::set<wanted_wire> wires;

    /// What the submission's tasks wait for.
    std::map<std::string, std::set<wanted_wait>> waits;

    /// Which of them stop which others, when they fail.
    std::map<std::string, std::set<std::string>> stops;

    /// The tasks that are there on top, by plugin id and name, with what they wait for.
    std::multimap<std::string, std::set<wanted_wait>> post_tasks;

    /// The URLs that a localizer fetches: "file" and task and input that it is fed to.
    std::map<std::string, std::set<std::pair<std::string, std::string>>> fetched_files, fetched_clips;

    /// What the job's source is. None: empty.
    std::string source_type;

    /// The URIs of a source's files, in their order, or of its watched folder.
    std::vector<std::string> source_uris;
    bool is_remote = false;
    std::string spawn_value; ///< of a list of clips

    /// What is served.
    std::set<std::string> resources;

    [[nodiscard]] std::set<std::string> encoders() const;
    [[nodiscard]] std::set<std::string> deployments() const;

private:
    struct link {
        std::string from;
        std::string to;
    };

    void read_tasks();
    void read_source();
    void cut_clips(properties const& source);
    void give_values();
    void fetch_media_files();
    void want_drawn_wires();
    void want_post_actions();
    void want_post_task(properties const& actions, std::set<wanted_wait> const& after);
    void make_resources();
    void resolve_variables();
    void resolve_leaf(std::string const& wtid, std::string const& path, std::string const& text);
    void resolve_variable(std::string const& wtid, std::string const& path, std::string const& name,
                          std::string const& query);
    void set(std::string const& wtid, std::string const& path, property_handle const& value);
    void set_name_of(std::string const& wtid, std::string const& path, std::string const& named);

    [[nodiscard]] std::string rewritten(std::string const& url);
    [[nodiscard]] std::vector<property_handle> connections() const;
    [[nodiscard]] std::string chained(std::string const& start, std::string const& plid) const;
    [[nodiscard]] kxcore::plugin_info const& plugin_of(std::string const& wtid) const;
    [[nodiscard]] properties const* meta_data() const;

    properties const& submission_;
    kxclientutil::finalize_sub_conf const& settings_;
    kxcore::plugin_db const& plugins_;
    std::string nodes_;
    tree_handle workflow_;
    std::string workflow_name_;
};

} // namespace kx_test
