#include "leaf_walk.h"

#include <kxcore/references.h>

#include "key_compare.h"

#include <kxbase/errors.h>
#include <kxbase/urls.h>

namespace kxcore::detail {

void append_step(std::string& path, std::size_t depth, children const& at) {
    if (!at.is_tree()) {
        append_reference_index(path, at.index());
    } else if (depth == 1) {
        path = at.key().text();
    } else {
        path += '{';
        path += at.key().text();
        path += '}';
    }
}

std::string shown_path(std::string_view path, std::size_t most) {
    std::string safe = kxbase::without_url_secrets(path);
    return safe.size() <= most ? safe : safe.substr(0, most) + "...";
}

bool leaf_walk::next() {
    while (!open_.empty()) {
        open_container& current = open_.back();
        path_.resize(current.path_size);
        if (current.rest.at_end()) {
            open_.pop_back();
            continue;
        }
        append_step(path_, open_.size(), current.rest);
        if (limits_ != nullptr) check(current.rest.key());
        handle_ = &current.rest.value();
        current.rest.next();
        if (is_container(**handle_)) {
            open_.push_back({children(**handle_), path_.size()});
            if (!open_.back().rest.at_end()) continue;
        }
        return true;
    }
    return false;
}

void leaf_walk::check(property_key const& key) const {
    if (open_.size() > limits_->nesting) {
        kxbase::es::arg::raise("nesting deeper than " + std::to_string(limits_->nesting) +
                               " levels (limit nesting) at '" + shown_path(path_) + "'");
    }
    std::string_view const fault = key_fault(key.text(), limits_->key);
    if (!fault.empty()) {
        kxbase::es::arg::raise("the key at '" + shown_path(path_) + "' " + std::string(fault));
    }
}

} // namespace kxcore::detail
