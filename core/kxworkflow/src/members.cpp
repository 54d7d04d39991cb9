#include "members.h"

#include <kxcore/property_key.h>

namespace kxworkflow {

void raise_wrong_kind(std::string_view place, std::string_view key, kxcore::property_kind found,
                      kxcore::property_kind wanted) {
    std::string message(place);
    message += ": \"";
    message += key;
    message += "\" is of kind ";
    message += kxcore::property_kind_name(found);
    message += ", not ";
    message += kxcore::property_kind_name(wanted);
    kxbase::es::arg::raise(message);
}

kxcore::properties copy_subtree(kxcore::properties const& tree, std::string_view key, std::string_view place) {
    auto const* const found = find_member<kxcore::properties>(tree, key, place);
    return found != nullptr ? *found : kxcore::properties(false);
}

void set_in_subtree(kxcore::properties& tree, std::string_view subtree, std::string_view member,
                    kxcore::property_handle value, std::string_view place) {
    kxcore::properties changed = copy_subtree(tree, subtree, place);
    bool const removed_last = !value && changed.erase(member) != 0 && changed.empty();
    if (removed_last) {
        tree.erase(subtree);
        return;
    }
    if (value) changed.set_property(member, std::move(value));
    if (changed.empty()) return;
    tree.set_property(subtree, kxbase::make_refcount<kxcore::properties>(std::move(changed)));
}

void require_key(std::string_view text, std::string_view what, std::string_view place) {
    std::string_view const fault = text.empty() ? "is empty" : kxcore::property_key_fault(text);
    if (fault.empty()) return;
    kxbase::es::arg::raise(std::string(place) + ": the " + std::string(what) + " '" + std::string(text) +
                           "' cannot be a key: " + std::string(fault));
}

} // namespace kxworkflow
