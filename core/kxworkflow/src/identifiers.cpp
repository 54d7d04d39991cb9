#include <kxworkflow/identifiers.h>

#include <kxbase/uuid.h>

namespace kxworkflow {

namespace {

constexpr std::string_view wtid_prefix = "wtid:";
constexpr char instance_separator = '#';
constexpr char node_separator = '>';

} // namespace

std::string wtid_plid(std::string_view wtid) {
    if (wtid.starts_with(wtid_prefix)) wtid.remove_prefix(wtid_prefix.size());
    return std::string(wtid.substr(0, wtid.find(instance_separator)));
}

std::string wtid_new() {
    return wtid_new({});
}

std::string wtid_new(std::string_view plid) {
    return wtid_create(plid, kxbase::string_uuid(true));
}

std::string wtid_create(std::string_view plid, std::string_view instance) {
    std::string wtid(wtid_prefix);
    wtid += plid;
    wtid += instance_separator;
    wtid += instance;
    return wtid;
}

std::string port_new() {
    return "port:" + kxbase::string_uuid(true);
}

std::string port_new_id(std::string_view wtid, std::string_view node) {
    std::string id(wtid);
    id += node_separator;
    id += node;
    return id;
}

} // namespace kxworkflow
