#include <kxcore/network_encoding.h>

#include <kxcore/constraint.h>
#include <kxcore/constraint_codec.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

#include "children.h"
#include "key_compare.h"
#include "key_numbers.h"
#include "leaf_walk.h"
#include "network_writer.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxbase/utf8.h>

namespace kxcore {

encoder_sink::~encoder_sink() = default;

struct encoder_network::state {
    state(kxbase::buffer& out, std::size_t position) : bytes(out, position) {}
    explicit state(encoder_sink& out) : bytes(out) {}

    void write(property const& value);
    void write_outside(property const& value, property_kind kind);
    void write_containers();
    void write_key(property_key const& key);
    void write_new_key(property_key const& key);
    void write_string(std::string_view text);
    void write_special(property_special const& special);
    void write_constraint(property_constraint const& value);
    void open_container(property const& container, property_kind kind);
    void write_count(unsigned int short_tag, std::uint64_t shorts, unsigned int tag, std::uint64_t count);
    /// Apart from where they are called, which is where the time goes.
    [[noreturn]] void refuse_over(char const* what, std::size_t limit, char const* unit) const;
    [[noreturn]] void refuse(std::string const& why) const;

    network_writer bytes;
    key_numbers keys;
    std::size_t values = 0;
    kxbase::limits limits = kxbase::current_limits();
    bool is_broken = false;

    /// The containers that are being written, from the outermost on.
    std::vector<detail::children> open;
    /// Tree forms of the constraints among them.
    std::vector<kxbase::ptr_refcount<properties const>> tree_forms;
};

encoder_network::encoder_network(kxbase::buffer& out, std::size_t position)
    : state_(std::make_unique<state>(out, position)) {}

encoder_network::encoder_network(encoder_sink& out) : state_(std::make_unique<state>(out)) {}

encoder_network::~encoder_network() = default;

void encoder_network::write(property const& value) {
    if (state_->is_broken) kxbase::es::arg::raise("the encoder has failed before");
    std::uint64_t const size_before = state_->bytes.size();
    std::size_t const keys_before = state_->keys.size();
    std::size_t const values_before = state_->values;
    try {
        state_->write(value);
        state_->bytes.settle();
    } catch (...) {
        state_->is_broken = !state_->bytes.cut(size_before);
        state_->keys.cut(keys_before);
        state_->values = values_before;
        state_->open.clear();
        state_->tree_forms.clear();
        throw;
    }
}

void encoder_network::flush() {
    state_->bytes.flush();
}

std::uint64_t encoder_network::size() const noexcept {
    return state_->bytes.size();
}

std::size_t encoder_network::values() const noexcept {
    return state_->values;
}

void encoder_network::state::write(property const& value) {
    write_outside(value, value.kind());
    write_containers();
    tree_forms.clear();
}

/// Writes a value as far as it goes without what is in it: a container is opened, its children come next.
void encoder_network::state::write_outside(property const& value, property_kind kind) {
    switch (kind) {
    case property_kind::string: write_string(static_cast<property_string const&>(value).value()); break;
    case property_kind::boolean:
        bytes.put(static_cast<property_bool const&>(value).value() ? network::tag_true : network::tag_false);
        break;
    case property_kind::integer: {
        std::int64_t const number = static_cast<property_int const&>(value).value();
        if (static_cast<std::uint64_t>(number) < network::short_ints) {
            bytes.put(network::tag_short_int + static_cast<unsigned int>(number));
        } else {
            bytes.put(network::tag_int);
            bytes.put_varint(network::zigzag(number));
        }
        break;
    }
    case property_kind::binary: {
        std::string_view const content = static_cast<property_binary const&>(value).value().text();
        bytes.put(network::tag_binary);
        bytes.put_varint(content.size());
        bytes.put_bytes(content);
        break;
    }
    case property_kind::special: write_special(static_cast<property_special const&>(value)); break;
    case property_kind::constraint: write_constraint(static_cast<property_constraint const&>(value)); break;
    case property_kind::properties:
    case property_kind::list: open_container(value, kind); break;
    }
}

void encoder_network::state::write_containers() {
    while (!open.empty()) {
        detail::children& current = open.back();
        if (current.at_end()) {
            // A container is the current child of the one around it until it is written, for the path in errors.
            open.pop_back();
            if (!open.empty()) open.back().next();
            continue;
        }
        current.prefetch_next();
        if (current.is_tree()) write_key(current.key());
        property const& value = *current.value();
        std::size_t const depth = open.size();
        write_outside(value, value.kind());
        if (open.size() == depth) open.back().next();
    }
}

void encoder_network::state::write_key(property_key const& key) {
    std::uint64_t const number = keys.find(key);
    if (number != 0) return bytes.put_varint(number);
    write_new_key(key);
}

void encoder_network::state::write_new_key(property_key const& key) {
    std::string_view const fault = detail::key_fault(key.text(), limits.key);
    if (!fault.empty()) refuse("the key " + std::string(fault));
    keys.add(key);
    bytes.put_varint(network::new_key);
    bytes.put_varint(key.text().size());
    bytes.put_bytes(key.text());
}

void encoder_network::state::write_string(std::string_view text) {
    if (text.size() > limits.string) refuse_over("a string", limits.string, "bytes (limit string)");
    if (text.size() < network::short_texts && bytes.put_short_ascii(network::tag_short_text, text)) return;
    if (network::is_ascii(text) || kxbase::is_valid_utf8(text)) {
        write_count(network::tag_short_text, network::short_texts, network::tag_text, text.size());
    } else {
        bytes.put(network::tag_raw);
        bytes.put_varint(text.size());
    }
    bytes.put_bytes(text);
}

void encoder_network::state::write_special(property_special const& special) {
    bytes.put(network::tag_special);
    bytes.put(static_cast<unsigned int>(special.type()));
    bytes.put(static_cast<unsigned int>(special.sub_type()));
    bytes.put(static_cast<unsigned int>(special.value_kind()));
    write_string(special.value());
}

void encoder_network::state::write_constraint(property_constraint const& value) {
    bytes.put(network::tag_constraint);
    tree_forms.push_back(constraint_to_tree(*value.value()));
    open_container(*tree_forms.back(), property_kind::properties);
}

void encoder_network::state::open_container(property const& container, property_kind kind) {
    if (open.size() >= limits.nesting) refuse_over("nesting", limits.nesting, "levels (limit nesting)");
    detail::children const& inside = open.emplace_back(container, kind);
    if (inside.left() > limits.members) {
        open.pop_back();
        refuse_over("a tree or list", limits.members, "members (limit members)");
    }
    inside.prefetch_first();
    values += inside.left();
    if (inside.is_tree()) {
        write_count(network::tag_short_properties, network::short_properties, network::tag_properties, inside.left());
    } else {
        write_count(network::tag_short_list, network::short_lists, network::tag_list, inside.left());
    }
}

void encoder_network::state::write_count(unsigned int short_tag, std::uint64_t shorts, unsigned int tag,
                                         std::uint64_t count) {
    if (count < shorts) {
        bytes.put(short_tag + static_cast<unsigned int>(count));
    } else {
        bytes.put(tag);
        bytes.put_varint(count);
    }
}

void encoder_network::state::refuse_over(char const* what, std::size_t limit, char const* unit) const {
    refuse(what + (" of more than " + std::to_string(limit)) + ' ' + unit);
}

void encoder_network::state::refuse(std::string const& why) const {
    std::string path;
    std::size_t depth = 0;
    for (detail::children const& container : open) {
        ++depth;
        if (!container.at_end()) detail::append_step(path, depth, container);
    }
    kxbase::es::arg::raise("cannot be encoded: " + why + ", at " +
                           (open.empty() ? "the outermost value" : "'" + detail::shown_path(path) + "'"));
}

} // namespace kxcore
