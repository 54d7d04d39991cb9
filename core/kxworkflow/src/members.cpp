#include "members.h"

#include "document_keys.h"
#include "workflow_content.h"

#include <kxcore/property_key.h>

namespace kxworkflow {

std::string place::text() const {
    if (task_ != nullptr) return place_of(*task_);
    if (document_ == nullptr) return std::string(text_);
    std::string text = "workflow tasks[" + std::to_string(index_) + "]";
    if (auto const* const id = kxcore::property_cast<kxcore::property_string>(document_->find(keys::id)))
        text += " '" + std::string(id->value()) + "'";
    return text;
}

void raise_wrong_kind(place const& where, std::string_view key, kxcore::property_kind found,
                      kxcore::property_kind wanted) {
    std::string message = where.text();
    message += ": \"";
    message += key;
    message += "\" is of kind ";
    message += kxcore::property_kind_name(found);
    message += ", not ";
    message += kxcore::property_kind_name(wanted);
    kxbase::es::arg::raise(message);
}

kxcore::properties copy_subtree(kxcore::properties const& tree, std::string_view key, place const& where) {
    auto const* const found = find_member<kxcore::properties>(tree, key, where);
    return found != nullptr ? *found : kxcore::properties(false);
}

void set_in_subtree(kxcore::properties& tree, std::string_view subtree, std::string_view member,
                    kxcore::property_handle value, place const& where) {
    kxcore::properties changed = copy_subtree(tree, subtree, where);
    bool const removed_last = !value && changed.erase(member) != 0 && changed.empty();
    if (removed_last) {
        tree.erase(subtree);
        return;
    }
    if (value) changed.set_property(member, std::move(value));
    if (changed.empty()) return;
    tree.set_property(subtree, kxbase::make_refcount<kxcore::properties>(std::move(changed)));
}

void require_key(std::string_view text, std::string_view what, place const& where) {
    std::string_view const fault = text.empty() ? "is empty" : kxcore::property_key_fault(text);
    if (fault.empty()) return;
    kxbase::es::arg::raise(where.text() + ": the " + std::string(what) + " '" + std::string(text) +
                           "' cannot be a key: " + std::string(fault));
}

} // namespace kxworkflow
