#include <kxcore/network_encoding.h>

#include <kxcore/constraint.h>
#include <kxcore/constraint_codec.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxcore/tree_builder.h>

#include "key_compare.h"
#include "key_numbers.h"
#include "network_format.h"
#include "network_reader.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxbase/utf8.h>

namespace kxcore {

namespace {

/// A tree or list whose members are being read.
struct open_container {
    std::uint64_t left;
    bool is_tree;
    bool is_constraint;
    std::size_t offset;
};

} // namespace

struct decoder_network::state {
    state(std::span<std::byte const> in, std::size_t position, value_budget given)
        : bytes(in, position), allowed(given), values_left(given.most) {}

    property_handle read();
    void read_value(property_key key);
    void read_tagged(property_key key, std::size_t offset, unsigned int tag);
    void begin_container(property_key key, std::size_t offset, bool is_tree, std::uint64_t count);
    void end_container();
    property_key read_key();
    property_handle read_text(std::size_t offset, std::uint64_t size);
    property_handle read_raw(std::size_t offset);
    property_handle read_int(std::size_t offset);
    property_handle read_binary(std::size_t offset);
    property_handle read_special(std::size_t offset);
    std::uint64_t read_long(std::size_t offset, std::uint64_t shorts);
    void check_string_size(std::size_t offset, std::uint64_t size) const;
    [[noreturn]] void refuse_values(std::size_t offset) const;

    network_reader bytes;
    key_numbers keys;
    kxbase::limits limits = kxbase::current_limits();
    value_budget allowed;
    std::size_t values_left;
    bool is_broken = false;

    tree_builder builder{property_kind::list};
    std::vector<open_container> open;
};

decoder_network::decoder_network(kxbase::buffer const& in, std::size_t position, value_budget allowed)
    : decoder_network(in.bytes(), position, allowed) {}

decoder_network::decoder_network(std::span<std::byte const> in, std::size_t position, value_budget allowed)
    : state_(std::make_unique<state>(in, position, allowed)) {}

decoder_network::~decoder_network() = default;

kxbase::ptr_refcount<property> decoder_network::read() {
    if (state_->is_broken) kxbase::es::arg::raise("the decoder has failed before");
    state_->is_broken = true;
    property_handle const value = state_->read();
    state_->is_broken = false;
    // Nobody else has seen the value yet.
    return kxbase::ptr_refcount<property>(const_cast<property*>(value.get()));
}

kxbase::ptr_refcount<properties> decoder_network::read_properties() {
    std::size_t const offset = position();
    kxbase::ptr_refcount<property> const value = read();
    if (value->kind() != property_kind::properties) {
        state_->is_broken = true;
        network_reader::refuse(offset, "a tree", std::string(property_kind_name(value->kind())));
    }
    return kxbase::static_refcount_cast<properties>(value);
}

std::size_t decoder_network::values() const noexcept {
    return state_->allowed.most - state_->values_left;
}

std::size_t decoder_network::position() const noexcept {
    return state_->bytes.offset();
}

bool decoder_network::at_end() const noexcept {
    return state_->bytes.left() == 0;
}

void decoder_network::expect_end() const {
    if (!at_end()) {
        network_reader::refuse(position(), "the end", std::to_string(state_->bytes.left()) + " more bytes");
    }
}

property_handle decoder_network::state::read() {
    read_value(property_key());
    while (!open.empty()) {
        if (open.back().left == 0) {
            end_container();
            continue;
        }
        --open.back().left;
        read_value(open.back().is_tree ? read_key() : property_key());
    }
    return builder.take_last();
}

void decoder_network::state::read_value(property_key key) {
    std::size_t const offset = bytes.offset();
    unsigned int const tag = bytes.get("a value");
    if (tag >= network::tag_short_list) {
        begin_container(std::move(key), offset, false, tag - network::tag_short_list);
    } else if (tag >= network::tag_short_properties) {
        begin_container(std::move(key), offset, true, tag - network::tag_short_properties);
    } else if (tag >= network::tag_short_int) {
        builder.add(std::move(key), property_int::create(tag - network::tag_short_int));
    } else if (tag >= network::tag_short_text) {
        builder.add(std::move(key), read_text(offset, tag - network::tag_short_text));
    } else {
        read_tagged(std::move(key), offset, tag);
    }
}

void decoder_network::state::read_tagged(property_key key, std::size_t offset, unsigned int tag) {
    switch (tag) {
    case network::tag_false:
    case network::tag_true: return builder.add(std::move(key), property_bool::create(tag == network::tag_true));
    case network::tag_text:
        return builder.add(std::move(key), read_text(offset, read_long(offset, network::short_texts)));
    case network::tag_raw: return builder.add(std::move(key), read_raw(offset));
    case network::tag_int: return builder.add(std::move(key), read_int(offset));
    case network::tag_binary: return builder.add(std::move(key), read_binary(offset));
    case network::tag_special: return builder.add(std::move(key), read_special(offset));
    case network::tag_properties:
        return begin_container(std::move(key), offset, true, read_long(offset, network::short_properties));
    case network::tag_list:
        return begin_container(std::move(key), offset, false, read_long(offset, network::short_lists));
    case network::tag_constraint: {
        unsigned int const form = bytes.peek("the tree form of a constraint");
        bool const is_tree = form == network::tag_properties ||
                             (form >= network::tag_short_properties && form < network::tag_short_list);
        if (!is_tree) network_reader::refuse(bytes.offset(), "the tree form of a constraint", "another value");
        read_value(std::move(key));
        open.back().is_constraint = true;
        return;
    }
    default: network_reader::refuse(offset, "the tag of a value", "byte " + std::to_string(tag));
    }
}

void decoder_network::state::begin_container(property_key key, std::size_t offset, bool is_tree, std::uint64_t count) {
    if (open.size() >= limits.nesting) {
        network_reader::refuse_over_limit(
            offset, "at most " + std::to_string(limits.nesting) + " levels (limit nesting)", "one more");
    }
    // A member takes two bytes at least, an element one: a claim beyond that is refused before it costs anything.
    std::uint64_t const most = is_tree ? bytes.left() / 2 : bytes.left();
    if (count > most) {
        network_reader::refuse(offset, "at most " + std::to_string(most) + " members in the bytes left",
                               std::to_string(count));
    }
    if (count > limits.members) {
        network_reader::refuse_over_limit(
            offset, "at most " + std::to_string(limits.members) + " members (limit members)", std::to_string(count));
    }
    if (count > values_left) refuse_values(offset);
    values_left -= count;
    builder.begin(std::move(key), is_tree ? property_kind::properties : property_kind::list);
    open.push_back({count, is_tree, false, offset});
}

void decoder_network::state::end_container() {
    open_container const ended = open.back();
    open.pop_back();
    if (!ended.is_constraint) return builder.end();
    property_key key = builder.open_key();
    builder.end();
    property_handle const form = builder.take_last();
    auto const& tree = static_cast<properties const&>(*form);
    kxbase::ptr_refcount<constraint const> made;
    try {
        made = constraint_from_tree(tree);
    } catch (kxbase::es::arg const& error) {
        network_reader::refuse(ended.offset, "the tree form of a constraint", error);
    }
    if (*constraint_to_tree(*made) != tree) {
        network_reader::refuse(ended.offset, "the one tree form of a constraint", "another way to write it");
    }
    builder.add(std::move(key), kxbase::make_refcount<property_constraint>(made));
}

property_key decoder_network::state::read_key() {
    std::size_t const offset = bytes.offset();
    std::uint64_t const number = bytes.get_varint("the number of a key");
    property_key key;
    if (number == network::new_key) {
        std::uint64_t const size = bytes.get_varint("the size of a key");
        if (size > limits.key) {
            network_reader::refuse_over_limit(
                offset, "a key of at most " + std::to_string(limits.key) + " bytes (limit key)", std::to_string(size));
        }
        std::string_view const text = bytes.get_bytes(offset, size, "a key");
        std::string_view const fault = detail::key_fault(text, limits.key);
        if (!fault.empty()) network_reader::refuse(offset, "a key", "one that " + std::string(fault));
        key = property_key(text);
        std::uint64_t const known = keys.find(key);
        if (known != 0) {
            network_reader::refuse(offset, "number " + std::to_string(known), "the text of that key again");
        }
        keys.add(key);
    } else {
        property_key const* const known = keys.key_of(number);
        if (known == nullptr) {
            network_reader::refuse(offset, "one of the " + std::to_string(keys.size()) + " keys so far",
                                   "number " + std::to_string(number));
        }
        key = *known;
    }
    if (builder.size() != 0 && detail::compare(builder.last_key(), key) >= 0) {
        network_reader::refuse(offset, "keys in rising order", "one that does not come after the one before");
    }
    return key;
}

property_handle decoder_network::state::read_text(std::size_t offset, std::uint64_t size) {
    check_string_size(offset, size);
    std::string_view const text = bytes.get_bytes(offset, size, "a text");
    if (!network::is_ascii(text) && !kxbase::is_valid_utf8(text)) {
        network_reader::refuse(offset, "valid UTF-8", "other bytes");
    }
    return property_string::create(text);
}

property_handle decoder_network::state::read_raw(std::size_t offset) {
    std::uint64_t const size = bytes.get_varint("the size of a string");
    check_string_size(offset, size);
    std::string_view const text = bytes.get_bytes(offset, size, "a string");
    if (kxbase::is_valid_utf8(text)) network_reader::refuse(offset, "bytes that are not UTF-8", "valid UTF-8");
    return property_string::create(text);
}

property_handle decoder_network::state::read_int(std::size_t offset) {
    std::int64_t const value = network::unzigzag(bytes.get_varint("an integer"));
    if (static_cast<std::uint64_t>(value) < network::short_ints) {
        network_reader::refuse(offset, "the short form of " + std::to_string(value), "the long one");
    }
    return property_int::create(value);
}

property_handle decoder_network::state::read_binary(std::size_t offset) {
    std::uint64_t const size = bytes.get_varint("the size of a binary");
    std::string_view const content = bytes.get_bytes(offset, size, "a binary");
    auto value = kxbase::make_refcount<property_binary>();
    value->value().append(content);
    return value;
}

property_handle decoder_network::state::read_special(std::size_t offset) {
    unsigned int const type = bytes.get("the type of a special");
    unsigned int const sub_type = bytes.get("the sub-type of a special");
    unsigned int const value_kind = bytes.get("the kind of a special's value");
    std::size_t const text_offset = bytes.offset();
    unsigned int const tag = bytes.get("the text of a special");
    property_handle text;
    if (tag >= network::tag_short_text && tag < network::tag_short_text + network::short_texts) {
        text = read_text(text_offset, tag - network::tag_short_text);
    } else if (tag == network::tag_text) {
        text = read_text(text_offset, read_long(text_offset, network::short_texts));
    } else if (tag == network::tag_raw) {
        text = read_raw(text_offset);
    } else {
        network_reader::refuse(text_offset, "the text of a special", "byte " + std::to_string(tag));
    }
    try {
        return property_special::create_from_parts(
            static_cast<property_special::e_type>(type), static_cast<property_special::e_sub_type>(sub_type),
            static_cast<property_kind>(value_kind), static_cast<property_string const&>(*text).value());
    } catch (kxbase::es::arg const& error) {
        network_reader::refuse(offset, "a special", error);
    }
}

/// Reads a number that is too large for the short form of its tag.
std::uint64_t decoder_network::state::read_long(std::size_t offset, std::uint64_t shorts) {
    std::uint64_t const number = bytes.get_varint("a size");
    if (number < shorts) network_reader::refuse(offset, "the short form of " + std::to_string(number), "the long one");
    return number;
}

void decoder_network::state::check_string_size(std::size_t offset, std::uint64_t size) const {
    if (size > limits.string) {
        network_reader::refuse_over_limit(offset, "at most " + std::to_string(limits.string) + " bytes (limit string)",
                                          std::to_string(size));
    }
}

void decoder_network::state::refuse_values(std::size_t offset) const {
    network_reader::refuse_over_limit(
        offset, "at most " + std::to_string(allowed.most) + " values in all (limit " + allowed.limit + ")", "more");
}

} // namespace kxcore
