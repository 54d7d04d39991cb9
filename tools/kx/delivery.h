#pragma once

/// @file
/// Handing a job over to a node, so that there is one job there whatever happens on the way.

#include "node_access.h"
#include "progress.h"

#include <kxbase/ptr_refcount.h>
#include <kxcapi/connection.h>
#include <kxcore/properties.h>
#include <kxnet/packet.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

namespace kx {

class application;
class interruption;

/// What hands a job over under an id, its submission.
[[nodiscard]] kxp::packet submit_request(kxcore::properties const& job, std::string const& submission);

/// Sends a job under an id, its submission, and gets the node's answer. When the answer is lost after all has been sent, the
/// same is sent once more: a node takes a submission once.
///
/// The user may stop it until all of it has been sent: the node drops a part of a job. Then there is no way back, and the
/// answer is awaited; whoever wants out all the same is told that the node may have the job.
class delivery {
public:
    /// @param request  what `submit_request` made
    delivery(application& app, node_access const& node, kxp::packet request);
    ~delivery();
    delivery(delivery const&) = delete;
    delivery& operator=(delivery const&) = delete;

    /// Call it once. A user who stops it ends the process, by the signal that came.
    ///
    /// @return the node's name for the job
    /// @throws es::call when the node cannot be reached or refuses; the text says whether it may have the job all the same
    [[nodiscard]] std::string run();

private:
    enum class e_stage : std::uint8_t { connecting, sending, stopped, whole, over };

    using reply = kxbase::ptr_refcount<kxp::packet const>;

    [[nodiscard]] reply deliver();
    [[nodiscard]] reply attempt();
    void connect();
    void advance(std::uint64_t sent, std::uint64_t total);
    void watch(std::stop_token const& end);
    void look_for_signals();
    [[noreturn]] void give_up(std::string const& why);
    [[nodiscard]] std::string with_what_to_do(std::string const& why) const;

    application& app_;
    node_access const& node_;
    kxp::packet request_;
    kxbase::ptr_refcount<kxcapi::connection> connection_;
    std::optional<progress> bar_;
    std::uint64_t shown_ = 0;
    std::string lost_because_;
    std::atomic<e_stage> stage_ = e_stage::connecting;
    std::atomic<bool> may_be_there_ = false;
    bool is_patience_asked_for_ = false; // the watching thread's own
    std::unique_ptr<interruption> signals_;
    std::jthread watching_;
};

} // namespace kx
