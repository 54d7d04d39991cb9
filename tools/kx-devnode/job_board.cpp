#include "job_board.h"

#include <kxcore/property_values.h>

namespace devnode {

void job_board::add(std::string_view id, std::string_view name, std::string_view user, std::int64_t submitted_ms) {
    auto job = kxbase::make_refcount<kxcore::properties>();
    job->set_property("id", kxbase::make_refcount<kxcore::property_string>(id));
    job->set_property("name", kxbase::make_refcount<kxcore::property_string>(name));
    job->set_property("status", kxbase::make_refcount<kxcore::property_string>("waiting"));
    job->set_property("submitted", kxbase::make_refcount<kxcore::property_int>(submitted_ms));
    if (!user.empty()) job->set_property("user", kxbase::make_refcount<kxcore::property_string>(user));
    {
        std::lock_guard const lock(guard_);
        jobs_.emplace_back(job);
    }
    changed_.notify_all();
}

kxbase::ptr_refcount<kxcore::property_list> job_board::all() const {
    auto list = kxbase::make_refcount<kxcore::property_list>();
    std::lock_guard const lock(guard_);
    for (announcement const& job : jobs_)
        list->push_back(kxbase::make_refcount<kxcore::properties>(*job));
    return list;
}

// With the lock: nobody is between looking and waiting then.
void job_board::wake() const noexcept {
    std::lock_guard const lock(guard_);
    changed_.notify_all();
}

} // namespace devnode
