#include <kxcore/constraint.h>
#include <kxcore/constraint_codec.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

#include "children.h"
#include "key_compare.h"

#include <cstring>

namespace kxcore {

namespace {

using detail::children;

/// What a comparison is for: equality may answer early.
enum class e_wanted { order, equality };

int compare_values(property const& left, property const& right, e_wanted wanted);
int compare_leaves(property const& left, property const& right);
int compare_constraints(constraint const& left, constraint const& right);
int compare_specials(property_special const& left, property_special const& right);
std::size_t size_of(property const& container) noexcept;

template <class T>
int compare_numbers(T left, T right) noexcept {
    return left == right ? 0 : left < right ? -1 : 1;
}

} // namespace

bool property::operator==(property const& other) const {
    return compare_values(*this, other, e_wanted::equality) == 0;
}

bool property::operator<(property const& other) const {
    return compare_values(*this, other, e_wanted::order) < 0;
}

int compare(property const& left, property const& right) {
    return compare_values(left, right, e_wanted::order);
}

namespace {

/// Two containers of one kind, walked side by side.
struct both {
    children left;
    children right;
};

/// Compares two values, containers without looking into them: what is in them is compared next, if `into` gets them.
int compare_outside(property const& left, property const& right, e_wanted wanted, std::vector<both>& into) {
    if (detail::is_same_or_shared(left, right)) return 0;
    if (left.kind() != right.kind()) return compare_numbers(left.kind(), right.kind());
    if (!detail::is_container(left)) return compare_leaves(left, right);
    if (wanted == e_wanted::equality && size_of(left) != size_of(right)) return 1;
    into.push_back({children(left), children(right)});
    return 0;
}

int compare_values(property const& left, property const& right, e_wanted wanted) {
    std::vector<both> open;
    int order = compare_outside(left, right, wanted, open);
    while (order == 0 && !open.empty()) {
        both& current = open.back();
        if (current.left.at_end() || current.right.at_end()) {
            order = compare_numbers(!current.left.at_end(), !current.right.at_end());
            open.pop_back();
            continue;
        }
        property_handle const& left_value = current.left.value();
        property_handle const& right_value = current.right.value();
        order = detail::compare(current.left.key(), current.right.key());
        current.left.next();
        current.right.next();
        if (order == 0) order = compare_outside(*left_value, *right_value, wanted, open);
    }
    return order;
}

int compare_leaves(property const& left, property const& right) {
    auto const as = [&]<class T>(auto const compared) {
        return compared(static_cast<T const&>(left), static_cast<T const&>(right));
    };
    auto const by_value = [](auto const& a, auto const& b) { return compare_numbers(a.value(), b.value()); };
    switch (left.kind()) {
    case property_kind::string:
        return as.operator()<property_string>(
            [](auto const& a, auto const& b) { return a.value().compare(b.value()); });
    case property_kind::boolean: return as.operator()<property_bool>(by_value);
    case property_kind::integer: return as.operator()<property_int>(by_value);
    case property_kind::binary:
        return as.operator()<property_binary>(
            [](auto const& a, auto const& b) { return a.value().text().compare(b.value().text()); });
    case property_kind::constraint:
        return as.operator()<property_constraint>(
            [](auto const& a, auto const& b) { return compare_constraints(*a.value(), *b.value()); });
    case property_kind::special: return as.operator()<property_special>(compare_specials);
    case property_kind::properties:
    case property_kind::list: break;
    }
    return 0;
}

/// By kind and canonical text, though a class may have an equality of its own that goes by identity: two documents
/// that say the same are equal.
int compare_constraints(constraint const& left, constraint const& right) {
    if (&left == &right) return 0;
    if (left.kind() != right.kind()) return compare_numbers(left.kind(), right.kind());
    return constraint_text(left).compare(constraint_text(right));
}

int compare_specials(property_special const& left, property_special const& right) {
    if (left.type() != right.type()) return compare_numbers(left.type(), right.type());
    if (left.sub_type() != right.sub_type()) return compare_numbers(left.sub_type(), right.sub_type());
    if (left.value_kind() != right.value_kind()) return compare_numbers(left.value_kind(), right.value_kind());
    return left.value().compare(right.value());
}

std::size_t size_of(property const& container) noexcept {
    return container.kind() == property_kind::properties ? static_cast<properties const&>(container).size()
                                                         : static_cast<property_list const&>(container).size();
}

} // namespace

} // namespace kxcore
