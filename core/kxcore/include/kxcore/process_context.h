#pragma once

/// @file
/// What belongs to the process as a whole: where the key of wrapped credentials lies, the resolution of special values,
/// which needs it, and how long transfers may take.

#include <kxcore/export.h>
#include <kxcore/property_special.h>

#include <chrono>
#include <memory>
#include <string>

namespace kxcore {

class plugin_db;

/// How long reading and writing of remote files waits.
struct transfer_time_outs {
    /// For the connection to be made.
    std::chrono::milliseconds connect{30'000};
    /// For a transfer that moves fewer than 1,000 bytes a second; whole seconds, at least one.
    std::chrono::seconds stall{30};
};

/// The process-wide context. All members may be called from any thread.
class KXCORE_EXPORT process_context {
public:
    /// The one object there is.
    [[nodiscard]] static process_context& instance();

    /// Names the key file of wrapped credentials, normally what `installation::get_key_file` gives. The empty text
    /// forgets it. Nothing is read or made here.
    void set_key_file(std::string path);

    /// The key file: what the environment variable KX_KEY_FILE names, else the one set, else "credentials.key" in the
    /// folder that KX_INSTALLATION names; empty when there is none of them.
    [[nodiscard]] std::string get_key_file() const;

    /// Sets how long transfers that begin from now on wait.
    void set_transfer_time_outs(transfer_time_outs time_outs);

    /// How long transfers wait; the defaults as long as nothing was set.
    [[nodiscard]] transfer_time_outs get_transfer_time_outs() const;

    /// Resolves the special values of one sub-type, in place and at every depth, in lists too.
    ///
    /// Sub-type 9, wrapped credentials: each becomes the string that was wrapped. What the other sub-types stand for is
    /// not known before a job runs; they stay as they are. Trees and lists that others share are copied where they
    /// change, never changed for the others. Constraints are not looked into.
    ///
    /// @param plugins the installation's plugins; no sub-type there is needs them
    /// @throws es::arg naming the property path of a value that cannot be unwrapped (damaged, or wrapped with another
    ///         key), or the key file that cannot be used, never a content; es::call when the key file cannot be read.
    ///         The tree is as it was
    void resolve_properties(properties& tree, plugin_db const& plugins, property_special::e_sub_type sub_type);

    process_context(process_context const&) = delete;
    process_context& operator=(process_context const&) = delete;

private:
    process_context();
    ~process_context();
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace kxcore
