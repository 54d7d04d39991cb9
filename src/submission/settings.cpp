#include "submission/settings.h"

#include <kxclientutil/submission.h>

#include <kxbase/url_parts.h>
#include <kxcore/property.h>
#include <kxcore/shown_value.h>

#include <utility>

namespace kxclientutil {

finalize_sub_conf::finalize_sub_conf(std::string origin_node) : origin_node_id(std::move(origin_node)) {}

finalize_sub_conf::finalize_sub_conf(finalize_sub_conf const&) = default;
finalize_sub_conf& finalize_sub_conf::operator=(finalize_sub_conf const&) = default;
finalize_sub_conf::~finalize_sub_conf() = default;

bool finalize_sub_conf::has_priority() const {
    return priority_set;
}

std::int64_t finalize_sub_conf::get_priority() const {
    return priority;
}

void finalize_sub_conf::set_priority(std::int64_t value) {
    priority = value;
    priority_set = true;
}

std::string node_list(finalize_sub_conf const& settings) {
    std::string list = settings.node_id;
    if (settings.origin_node_id.empty()) return list;
    if (!list.empty()) list += ',';
    return list + settings.origin_node_id;
}

std::string node_list_in_words(std::string const& nodes) {
    if (nodes.empty()) return {};
    return "; " + kxcore::shown_text('#' + kxbase::encoded_fragment(nodes)) + " names the nodes that reach it";
}

} // namespace kxclientutil
