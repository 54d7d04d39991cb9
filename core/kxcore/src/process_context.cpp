#include <kxcore/process_context.h>

#include <kxcore/credentials.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>

#include <kxbase/env.h>
#include <kxbase/errors.h>

#include <mutex>

namespace kxcore {

namespace {

std::string unwrapped(property_special const& special) {
    return special.type() == property_special::e_type::wrapped_urlupp ? credentials::unwrap_url(special.value())
                                                                      : credentials::unwrap_text(special.value());
}

} // namespace

struct process_context::state {
    std::mutex guard;
    std::string key_file;
    transfer_time_outs time_outs;
};

process_context::process_context() : state_(std::make_unique<state>()) {}

process_context::~process_context() = default;

process_context& process_context::instance() {
    static process_context one;
    return one;
}

void process_context::set_key_file(std::string path) {
    std::scoped_lock const lock(state_->guard);
    state_->key_file = std::move(path);
}

std::string process_context::get_key_file() const {
    if (std::string named = kxbase::env::get_environment_variable("KX_KEY_FILE"); !named.empty()) return named;
    {
        std::scoped_lock const lock(state_->guard);
        if (!state_->key_file.empty()) return state_->key_file;
    }
    std::string const installation = kxbase::env::get_environment_variable("KX_INSTALLATION");
    return installation.empty() ? std::string() : installation + "/credentials.key";
}

void process_context::set_transfer_time_outs(transfer_time_outs time_outs) {
    std::scoped_lock const lock(state_->guard);
    state_->time_outs = time_outs;
}

transfer_time_outs process_context::get_transfer_time_outs() const {
    std::scoped_lock const lock(state_->guard);
    return state_->time_outs;
}

void process_context::resolve_properties(properties& tree, plugin_db const&, property_special::e_sub_type sub_type) {
    if (sub_type != property_special::e_sub_type::credential) return;
    rewrite_leaves(tree, [](std::string_view path, property_handle const& value) -> property_handle {
        auto const* const special = property_cast<property_special>(value.get());
        if (special == nullptr || special->sub_type() != property_special::e_sub_type::credential) return value;
        try {
            return kxbase::make_refcount<property_string>(unwrapped(*special));
        } catch (kxbase::es::arg const& error) {
            kxbase::es::arg::raise(std::string(path) + ": " + error.what());
        }
    });
}

} // namespace kxcore
