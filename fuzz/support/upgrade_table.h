// The upgrade of each document type: the first byte of an input of the target `upgrade` is an index into it.
#pragma once

#include <kxclientutil/config.h>

#include <array>
#include <string_view>

namespace kx_fuzz {

struct upgrade_row {
    std::string_view identifier;
    decltype(&kxclientutil::update_task) upgrade;
};

inline constexpr std::array<upgrade_row, 7> upgrade_table{{
    {"task", &kxclientutil::update_task},
    {"workflow", &kxclientutil::update_workflow},
    {"submission", &kxclientutil::update_submission},
    {"file-source", &kxclientutil::update_file_source},
    {"monitor-source", &kxclientutil::update_monitor_source},
    {"edl-source", &kxclientutil::update_edl_source},
    {"iseq-source", &kxclientutil::update_iseq_source},
}};

} // namespace kx_fuzz
