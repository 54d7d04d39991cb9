#include <kxcore/encodable.h>

#include <kxcore/constraint.h>
#include <kxcore/constraint_codec.h>
#include <kxcore/network_encoding.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

#include "bounded_encoding.h"
#include "children.h"
#include "key_compare.h"
#include "key_numbers.h"
#include "network_format.h"

#include <kxbase/limits.h>

#include <algorithm>
#include <unordered_map>
#include <vector>

namespace kxcore {

namespace {

/// Never less than what the encoding takes for a value without its text (a special value has the longest head), and for
/// the number of a key.
constexpr std::uint64_t most_for_head = 5 + network::longest_varint;
constexpr std::uint64_t most_for_key_number = 5;

/// Smaller parts are looked at again wherever they are shared: that is cheaper than to remember each of them.
constexpr std::uint64_t worth_remembering = 4096;
constexpr std::uint64_t never_remembered = static_cast<std::uint64_t>(-1);

/// Constraints beyond this are left to the encoder.
constexpr std::uint64_t most_constraint_parts = 1000;

/// Adds up an upper bound of a tree's encoding. Parts that are shared are added up once, so the time it takes follows
/// the tree as it lies in memory and not as it would be written.
class size_estimate {
public:
    explicit size_estimate(std::size_t most_bytes) : most_bytes_(most_bytes) {}

    /// Whether the tree fits for certain. False says nothing.
    [[nodiscard]] bool fits(properties const& tree);

private:
    /// A tree or list that is being looked at.
    struct open_container {
        detail::children rest;
        void const* identity;            ///< by which it is remembered
        std::uint64_t least_to_remember; ///< it is not when it is smaller
        std::uint64_t size_before;
        std::size_t height;
    };

    struct part {
        std::uint64_t size;
        std::size_t height;
    };

    [[nodiscard]] bool take_next();
    [[nodiscard]] bool take_key(property_key const& key);
    [[nodiscard]] bool take_value(property const& value);
    [[nodiscard]] bool take_text(std::string_view text);
    [[nodiscard]] bool take_constraint(constraint const& value);
    [[nodiscard]] bool take_again(part const& known);
    [[nodiscard]] bool enter(property const& container, void const* identity, std::uint64_t least_to_remember);
    void leave();

    std::size_t most_bytes_;
    kxbase::limits limits_ = kxbase::current_limits();
    std::uint64_t size_ = 0;
    key_numbers keys_;
    std::vector<open_container> open_;
    std::unordered_map<void const*, part> known_;
    /// Tree forms of constraints, which are looked at like any other tree.
    std::vector<kxbase::ptr_refcount<properties const>> tree_forms_;
};

} // namespace

void require_encodable(properties const& tree, std::size_t most_bytes) {
    if (!size_estimate(most_bytes).fits(tree)) encoding_budget(most_bytes).spend(tree);
}

struct encoding_budget::state {
    explicit state(std::size_t most_bytes) : sink(most_bytes, nullptr), encoder(sink) {}

    bounded_sink sink;
    encoder_network encoder;
};

encoding_budget::encoding_budget(std::size_t most_bytes) : state_(std::make_unique<state>(most_bytes)) {}

encoding_budget::~encoding_budget() = default;

void encoding_budget::spend(property const& value) {
    state_->encoder.write(value);
    state_->encoder.flush();
}

namespace {

bool size_estimate::fits(properties const& tree) {
    if (!enter(tree, &tree, never_remembered)) return false;
    while (!open_.empty()) {
        if (open_.back().rest.at_end())
            leave();
        else if (!take_next() || size_ > most_bytes_)
            return false;
    }
    return size_ <= most_bytes_;
}

bool size_estimate::take_next() {
    detail::children& current = open_.back().rest;
    current.prefetch_next();
    if (current.is_tree() && !take_key(current.key())) return false;
    property const& value = *current.value();
    current.next();
    return take_value(value);
}

bool size_estimate::take_key(property_key const& key) {
    size_ += most_for_key_number;
    if (keys_.find(key) != 0) return true;
    if (!detail::key_fault(key.text(), limits_.key).empty()) return false;
    keys_.add(key);
    size_ += most_for_head + key.text().size();
    return true;
}

bool size_estimate::take_value(property const& value) {
    switch (value.kind()) {
    case property_kind::boolean:
    case property_kind::integer: size_ += most_for_head; return true;
    case property_kind::string: return take_text(static_cast<property_string const&>(value).value());
    case property_kind::special: return take_text(static_cast<property_special const&>(value).value());
    case property_kind::binary:
        size_ += most_for_head + static_cast<property_binary const&>(value).value().size();
        return true;
    case property_kind::constraint: return take_constraint(*static_cast<property_constraint const&>(value).value());
    case property_kind::properties:
    case property_kind::list: break;
    }
    if (!value.is_shared()) return enter(value, &value, never_remembered);
    auto const known = known_.find(&value);
    return known != known_.end() ? take_again(known->second) : enter(value, &value, worth_remembering);
}

bool size_estimate::take_text(std::string_view text) {
    size_ += most_for_head + text.size();
    return text.size() <= limits_.string;
}

bool size_estimate::take_constraint(constraint const& value) {
    auto const known = known_.find(&value);
    if (known != known_.end()) return take_again(known->second);
    if (value.parts() > most_constraint_parts) return false;
    tree_forms_.push_back(constraint_to_tree(value));
    return enter(*tree_forms_.back(), &value, 0);
}

bool size_estimate::take_again(part const& known) {
    size_ += known.size;
    open_.back().height = std::max(open_.back().height, known.height + 1);
    return open_.size() + known.height <= limits_.nesting;
}

bool size_estimate::enter(property const& container, void const* identity, std::uint64_t least_to_remember) {
    if (open_.size() >= limits_.nesting) return false;
    open_.push_back({detail::children(container), identity, least_to_remember, size_, 1});
    size_ += most_for_head;
    open_.back().rest.prefetch_first();
    return open_.back().rest.left() <= limits_.members;
}

void size_estimate::leave() {
    open_container const left = open_.back();
    open_.pop_back();
    std::uint64_t const size = size_ - left.size_before;
    if (size >= left.least_to_remember) known_.emplace(left.identity, part{size, left.height});
    if (!open_.empty()) open_.back().height = std::max(open_.back().height, left.height + 1);
}

} // namespace

} // namespace kxcore
