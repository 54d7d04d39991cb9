#include <kxcore/tree_difference.h>

#include "key_compare.h"
#include "leaf_walk.h"

#include <string>
#include <vector>

namespace kxcore {

namespace {

using detail::children;

/// Two containers of one kind, walked side by side.
struct both {
    children before;
    children after;
    std::size_t path_size;
};

class difference_walk {
public:
    explicit difference_walk(difference_visitor const& visitor) : visitor_(visitor) {}

    [[nodiscard]] std::size_t walk(properties const& before, properties const& after);

private:
    void compare_next(both at);
    void compare_values(property_handle const& before, property_handle const& after);
    void tell(property_handle const& before, property_handle const& after);

    difference_visitor const& visitor_;
    std::vector<both> open_;
    std::string path_;
    std::size_t count_ = 0;
};

int which_is_next(both const& at);

} // namespace

std::size_t visit_differences(properties const& before, properties const& after, difference_visitor const& visitor) {
    return difference_walk(visitor).walk(before, after);
}

namespace {

std::size_t difference_walk::walk(properties const& before, properties const& after) {
    if (!detail::is_same_or_shared(before, after)) open_.push_back({children(before), children(after), 0});
    while (!open_.empty()) {
        both const& innermost = open_.back();
        if (innermost.before.at_end() && innermost.after.at_end()) {
            open_.pop_back();
        } else {
            compare_next(innermost);
        }
    }
    return count_;
}

/// Takes a copy, since what it finds may become the innermost.
void difference_walk::compare_next(both at) {
    int const order = which_is_next(at);
    path_.resize(at.path_size);
    detail::append_step(path_, open_.size(), order > 0 ? at.after : at.before);
    property_handle const before = order <= 0 ? at.before.value() : property_handle();
    property_handle const after = order >= 0 ? at.after.value() : property_handle();
    if (order <= 0) at.before.next();
    if (order >= 0) at.after.next();
    open_.back() = at;
    compare_values(before, after);
}

void difference_walk::compare_values(property_handle const& before, property_handle const& after) {
    if (!before || !after || before->kind() != after->kind()) return tell(before, after);
    if (detail::is_same_or_shared(*before, *after)) return;
    if (detail::is_container(*before)) {
        open_.push_back({children(*before), children(*after), path_.size()});
    } else if (!(*before == *after)) {
        tell(before, after);
    }
}

void difference_walk::tell(property_handle const& before, property_handle const& after) {
    ++count_;
    visitor_(path_, before, after);
}

/// Negative or positive when only the one before or the one after has the next child, 0 when both have it.
int which_is_next(both const& at) {
    if (at.before.at_end()) return 1;
    if (at.after.at_end()) return -1;
    return detail::compare(at.before.key(), at.after.key());
}

} // namespace

} // namespace kxcore
