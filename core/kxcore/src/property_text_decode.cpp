#include <kxcore/constraint.h>
#include <kxcore/constraint_codec.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

#include "reference_cursor.h"
#include "shared_block.h"
#include "text_escape.h"

#include <kxbase/base64.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <charconv>

namespace kxcore {

namespace {

using made = kxbase::ptr_refcount<property>;

/// What is wrong with a text, without the text, which may be a secret.
[[noreturn]] void refuse(property_kind kind, std::size_t offset, std::string_view expected) {
    kxbase::es::arg::raise("text of kind " + std::string(property_kind_name(kind)) + ", byte " +
                           std::to_string(offset) + ": expected " + std::string(expected));
}

made make_leaf(property_kind kind, std::string_view plain);
made make_int(std::string_view plain);
made make_binary(std::string_view plain);
made make_special(std::string_view plain);
made make_container(property_kind kind, std::string_view text);

} // namespace

kxbase::ptr_refcount<property> property::decode(property_kind kind, std::string_view text) {
    switch (kind) {
    case property_kind::properties:
    case property_kind::list: return make_container(kind, text);
    default: return make_leaf(kind, detail::unescaped(text));
    }
}

namespace {

made make_leaf(property_kind kind, std::string_view plain) {
    switch (kind) {
    case property_kind::string: return property_string::create(plain);
    case property_kind::boolean:
        if (plain != "true" && plain != "false") refuse(kind, 0, "true or false");
        return property_bool::create(plain == "true");
    case property_kind::integer: return make_int(plain);
    case property_kind::binary: return make_binary(plain);
    case property_kind::special: return make_special(plain);
    case property_kind::constraint: {
        made const tree = make_container(property_kind::properties, plain);
        return kxbase::make_refcount<property_constraint>(constraint_from_tree(static_cast<properties const&>(*tree)));
    }
    case property_kind::properties:
    case property_kind::list: return make_container(kind, plain);
    }
    kxbase::es::arg::raise("no kind of value has the number " + std::to_string(static_cast<unsigned int>(kind)));
}

made make_int(std::string_view plain) {
    std::int64_t value = 0;
    auto const [end, error] = std::from_chars(plain.data(), plain.data() + plain.size(), value);
    if (error == std::errc::result_out_of_range) refuse(property_kind::integer, 0, "a number of 64 bits");
    if (error != std::errc()) refuse(property_kind::integer, 0, "a decimal number");
    auto const offset = static_cast<std::size_t>(end - plain.data());
    if (offset != plain.size()) refuse(property_kind::integer, offset, "the end of the number");
    return property_int::create(value);
}

made make_binary(std::string_view plain) {
    auto value = kxbase::make_refcount<property_binary>();
    if (!kxbase::base64_decode(plain, value->value())) refuse(property_kind::binary, 0, "base64");
    return value;
}

made make_special(std::string_view plain) {
    std::size_t offset = 0;
    auto const next_name = [&] {
        std::size_t const end = plain.find(':', offset);
        if (end == std::string_view::npos) refuse(property_kind::special, offset, "TYPE:SUB-TYPE:KIND:TEXT");
        std::string_view const name = plain.substr(offset, end - offset);
        offset = end + 1;
        return name;
    };
    property_special::e_type type{};
    property_special::e_sub_type sub_type{};
    property_kind value_kind{};
    if (!special_type_from_name(next_name(), type)) refuse(property_kind::special, 0, "the name of a type");
    std::size_t const sub_type_offset = offset;
    if (!special_sub_type_from_name(next_name(), sub_type)) {
        refuse(property_kind::special, sub_type_offset, "the name of a sub-type");
    }
    std::size_t const kind_offset = offset;
    if (!property_kind_from_name(next_name(), value_kind)) {
        refuse(property_kind::special, kind_offset, "the name of a kind");
    }
    return property_special::create_from_parts(type, sub_type, value_kind, plain.substr(offset));
}

/// Puts the values of one text, `reference;kind=value` joined by '&', into a new tree or list.
class container_reader {
public:
    container_reader(property_kind kind, std::string_view text) : kind_(kind), text_(text) {
        if (kind == property_kind::properties) {
            root_ = kxbase::make_refcount<properties>();
        } else {
            root_ = kxbase::make_refcount<property_list>();
        }
    }

    made read();

private:
    void read_item(std::size_t begin, std::size_t end);
    std::vector<reference_step> read_path(std::size_t begin, std::size_t end, std::string& plain) const;
    void put(std::size_t offset, std::vector<reference_step> const& steps, property_handle const& value);

    property_kind kind_;
    std::string_view text_;
    made root_;
    std::size_t nesting_ = kxbase::current_limits().nesting;
};

made make_container(property_kind kind, std::string_view text) {
    return container_reader(kind, text).read();
}

made container_reader::read() {
    std::size_t begin = 0;
    while (begin < text_.size()) {
        std::size_t const end = std::min(text_.find('&', begin), text_.size());
        if (end != begin) read_item(begin, end);
        begin = end + 1;
    }
    return std::move(root_);
}

void container_reader::read_item(std::size_t begin, std::size_t end) {
    std::string_view const item = text_.substr(begin, end - begin);
    std::size_t const equals = std::min(item.find('='), item.size());
    std::size_t const semicolon = std::min(item.substr(0, equals).find(';'), equals);
    property_kind kind = property_kind::string;
    if (semicolon != equals && !property_kind_from_name(item.substr(semicolon + 1, equals - semicolon - 1), kind)) {
        refuse(kind_, begin + semicolon + 1, "the name of a kind");
    }
    std::string path;
    std::vector<reference_step> const steps = read_path(begin, begin + semicolon, path);
    std::string const plain = detail::unescaped(item.substr(std::min(equals + 1, item.size())));
    put(begin, steps, make_leaf(kind, plain));
}

std::vector<reference_step> container_reader::read_path(std::size_t begin, std::size_t end, std::string& plain) const {
    plain = detail::unescaped(text_.substr(begin, end - begin));
    detail::reference_cursor cursor(plain, kind_);
    std::vector<reference_step> steps;
    for (reference_step step; cursor.next(step);) {
        steps.push_back(step);
        if (steps.size() > nesting_) {
            refuse(kind_, begin, "at most " + std::to_string(nesting_) + " levels (limit nesting)");
        }
        std::string_view const fault = property_key_fault(step.key);
        if (!fault.empty()) refuse(kind_, begin, "a key that can be stored; this one " + std::string(fault));
    }
    if (cursor.is_malformed() || steps.empty()) refuse(kind_, begin, "a path: key, {key} and [n]");
    return steps;
}

void container_reader::put(std::size_t offset, std::vector<reference_step> const& steps, property_handle const& value) {
    // All containers are new and nobody else sees them, so they are filled in place.
    property* container = root_.get();
    for (std::size_t index = 0; index < steps.size(); ++index) {
        reference_step const& step = steps[index];
        bool const is_last = index + 1 == steps.size();
        auto const wanted = step.is_index ? property_kind::list : property_kind::properties;
        if (container->kind() != wanted) {
            refuse(kind_, offset,
                   "a path through values of their kinds; step " + std::to_string(index + 1) +
                       " goes into another kind");
        }
        auto* const list = step.is_index ? static_cast<property_list*>(container) : nullptr;
        auto* const tree = step.is_index ? nullptr : static_cast<properties*>(container);
        property const* const present =
            list != nullptr ? (step.index < list->size() ? (*list)[step.index].get() : nullptr) : tree->find(step.key);
        if (present != nullptr) {
            if (is_last) refuse(kind_, offset, "each path once");
            container = const_cast<property*>(present);
            continue;
        }
        if (list != nullptr && step.index != list->size()) refuse(kind_, offset, "the elements of a list in order");
        made next;
        if (!is_last && steps[index + 1].is_index) {
            next = kxbase::make_refcount<property_list>();
        } else if (!is_last) {
            next = kxbase::make_refcount<properties>();
        }
        property_handle child = is_last ? value : property_handle(next);
        if (list != nullptr) {
            list->push_back(std::move(child));
        } else {
            tree->set_property(step.key, std::move(child));
        }
        container = next.get();
    }
}

} // namespace

} // namespace kxcore
