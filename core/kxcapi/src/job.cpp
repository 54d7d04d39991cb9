#include <kxcapi/job.h>

#include <kxbase/errors.h>

#include <algorithm>
#include <array>

namespace kxcapi {

namespace {

constexpr std::array<std::string_view, 3> finished_statuses = {"done", "failed", "cancelled"};

std::string text_of(kxcore::properties const& announced, std::string_view key);

} // namespace

bool is_finished(std::string_view status) noexcept {
    return std::find(finished_statuses.begin(), finished_statuses.end(), status) != finished_statuses.end();
}

job job_from_tree(kxbase::ptr_refcount<kxcore::properties const> const& announced) {
    return {text_of(*announced, "id"), text_of(*announced, "status"), announced->get_string_value("name", ""),
            announced};
}

namespace {

std::string text_of(kxcore::properties const& announced, std::string_view key) {
    std::string text = announced.get_string_value(key);
    if (text.empty()) kxbase::es::arg::raise("\"" + std::string(key) + "\" of a job is empty");
    return text;
}

} // namespace

} // namespace kxcapi
