#include "job_board.h"

#include "texts.h"

#include <kxcore/property_values.h>

namespace devnode {
namespace {

constexpr std::size_t longest_user = 64;

} // namespace

void job_board::add(std::string_view id, std::string_view name, job_note const& note) {
    auto job = kxbase::make_refcount<kxcore::properties>();
    auto const set = [&](char const* key, std::string const& text) {
        job->set_property(key, kxbase::make_refcount<kxcore::property_string>(text));
    };
    set("id", std::string(id));
    set("name", shown_beginning(name, longest_name));
    set("status", "waiting");
    if (!note.user.empty()) set("user", shortened(note.user, longest_user));
    job->set_property("submitted", kxbase::make_refcount<kxcore::property_int>(note.submitted_ms));
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
