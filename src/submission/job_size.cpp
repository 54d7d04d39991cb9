#include "submission/job_size.h"

#include "raising.h"
#include "submission/settings.h"
#include "submission/workflow_variable_values.h"

#include <kxclientutil/resolve.h>
#include <kxclientutil/submission.h>

#include <kxbase/limits.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

#include <string>
#include <vector>

namespace kxclientutil {

namespace {

using kxcore::property_handle;
using kxcore::property_kind;

/// What comes before the content of a value: a tag, the size of a binary, what kind of special it is. Keys that have come
/// before are numbers.
constexpr std::size_t head = 1;
constexpr std::size_t binary_head = 2;
constexpr std::size_t special_head = 5;
constexpr std::size_t key_number = 1;
constexpr std::size_t smallest_constraint = 2;

std::size_t least_leaf_size(property_handle const& leaf, std::string const& nodes, finalize_sub_conf const& settings);
std::size_t least_text_size(property_handle const& text, std::string const& nodes, finalize_sub_conf const& settings);

} // namespace

std::size_t least_encoded_size(property_handle const& value, finalize_sub_conf const& settings) {
    std::string const nodes = node_list(settings);
    std::size_t size = 0;
    std::vector<property_handle const*> left{&value};
    while (!left.empty()) {
        property_handle const& next = *left.back();
        left.pop_back();
        if (auto const* const tree = kxcore::property_cast<kxcore::properties>(next.get())) {
            size += head + tree->size() * key_number;
            for (kxcore::property_member const& member : *tree)
                left.push_back(&member.value());
        } else if (auto const* const list = kxcore::property_cast<kxcore::property_list>(next.get())) {
            size += head;
            for (property_handle const& element : *list)
                left.push_back(&element);
        } else {
            size += least_leaf_size(next, nodes, settings);
        }
    }
    return size;
}

void require_room_for(std::size_t count, std::size_t bytes_each) {
    std::size_t const most_bytes = kxbase::current_limits().document;
    if (bytes_each != 0 && count > most_bytes / bytes_each)
        refuse_job("a tree of more than " + std::to_string(most_bytes) + " encoded bytes (limit document)");
}

void refuse_job(std::string_view reason) {
    raise_from<kxbase::es::arg>(submission_source_path, "The job would be too large: " + std::string(reason));
}

namespace {

std::size_t least_leaf_size(property_handle const& leaf, std::string const& nodes, finalize_sub_conf const& settings) {
    switch (leaf->kind()) {
    case property_kind::string: return least_text_size(leaf, nodes, settings);
    case property_kind::special:
        return special_head + static_cast<kxcore::property_special const&>(*leaf).value().size();
    case property_kind::binary: return binary_head + static_cast<kxcore::property_binary const&>(*leaf).value().size();
    case property_kind::constraint: return smallest_constraint;
    case property_kind::boolean:
    case property_kind::integer:
    case property_kind::properties:
    case property_kind::list: break;
    }
    return head;
}

std::size_t least_text_size(property_handle const& text, std::string const& nodes, finalize_sub_conf const& settings) {
    std::string_view const value = static_cast<kxcore::property_string const&>(*text).value();
    if (is_url_to_physical_resource(text))
        return head + create_resource_uri(value, nodes, settings.resource_uri_option).size();
    return read_workflow_variable(value) ? head : head + value.size();
}

} // namespace

} // namespace kxclientutil
