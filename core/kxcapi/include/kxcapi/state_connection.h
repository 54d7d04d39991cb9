#pragma once

/// @file
/// A connection that knows what the node has announced: its jobs and their status.

#include <kxcapi/connection.h>
#include <kxcapi/export.h>
#include <kxcapi/handler.h>
#include <kxcapi/job.h>

#include <kxcore/plugin_db.h>

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace kxcapi {

class job_table;

/// A connection that keeps the announced state and tells its handler of each change. The state is announced to whoever has
/// logged in as a client of the cluster.
///
/// The jobs that the node has may take twice the limit frame, each weighed with keys of its own (`kxbase::encoded_weight`),
/// and as much again those that have finished, and that only a cache still knows. An event that would go beyond it is
/// dropped, with a warning in the log, and the state stays as it is.
class KXCAPI_EXPORT state_connection final : public connection {
public:
    /// Keeps the state as long as a connection lasts: with the next one it begins anew, and every job counts as new.
    ///
    /// @param handler  not owned; null for nobody
    explicit state_connection(state_handler* handler, kxnet::transport_options options = {});

    /// Keeps the state beyond the end of a connection, so that after the next login the handler is told of differences
    /// only.
    ///
    /// @param finished_jobs  how many finished jobs stay known after the node has forgotten them; those that it forgot
    ///                       first go first, also when together they take more than twice the limit frame. 0 for none.
    /// @param plugins        gives the tasks of a job their "type", the plugin's name; copied; null for none
    state_connection(state_handler* handler, unsigned int finished_jobs, kxcore::plugin_db const* plugins,
                     kxnet::transport_options options = {});

    ~state_connection() override;
    state_connection(state_connection const&) = delete;
    state_connection& operator=(state_connection const&) = delete;

    /// All jobs that are known, in the byte order of their ids.
    [[nodiscard]] std::vector<job> get_jobs() const;

    /// One job; empty when it is not known.
    [[nodiscard]] std::optional<job> get_job(std::string_view id) const;

protected:
    void starting() override;

private:
    explicit state_connection(std::shared_ptr<job_table> table, kxnet::transport_options options);

    std::shared_ptr<job_table> table_;
};

} // namespace kxcapi
