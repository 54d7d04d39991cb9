#pragma once

// Values for the tests of the property model: short ways to make them, and random ones.

#include <kxcore/constraint_enum.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace kxcore::samples {

[[nodiscard]] inline property_handle text(std::string_view value) {
    return kxbase::make_refcount<property_string>(value);
}
[[nodiscard]] inline property_handle number(std::int64_t value) {
    return kxbase::make_refcount<property_int>(value);
}
[[nodiscard]] inline property_handle flag(bool value) {
    return kxbase::make_refcount<property_bool>(value);
}
[[nodiscard]] inline property_handle bytes(std::string_view value) {
    auto made = kxbase::make_refcount<property_binary>();
    made->value().append(value);
    return made;
}
[[nodiscard]] inline property_handle list(std::vector<property_handle> const& values) {
    return kxbase::make_refcount<property_list>(values);
}
[[nodiscard]] inline property_handle tree(std::vector<std::pair<std::string, property_handle>> members) {
    auto made = kxbase::make_refcount<properties>();
    made->assign(std::move(members));
    return made;
}
[[nodiscard]] inline property_handle choice(std::string const& values) {
    return kxbase::make_refcount<property_constraint>(
        kxbase::ptr_refcount<constraint const>(kxbase::make_refcount<constraint_enum>(values)));
}
[[nodiscard]] inline properties const& as_tree(property_handle const& value) {
    return *property_cast<properties>(value.get());
}

/// All bytes from 0 to 255.
[[nodiscard]] inline std::string all_bytes() {
    std::string made;
    for (int byte = 0; byte < 256; ++byte) {
        made += static_cast<char>(byte);
    }
    return made;
}

/// One value of every kind, with the odd ones.
[[nodiscard]] inline std::vector<property_handle> one_of_each() {
    using special = property_special;
    return {
        text(""),
        text("plain"),
        text("100% | half"),
        text(all_bytes()),
        text("gr\xC3\xBC\xC3\x9F"),
        text(std::string(70, 'x')),
        flag(false),
        flag(true),
        number(0),
        number(63),
        number(64),
        number(-1),
        number(INT64_MAX),
        number(INT64_MIN),
        bytes(""),
        bytes(all_bytes()),
        special::create_deferred(property_kind::string),
        special::create_deferred(property_kind::list),
        special::create_deferred_variable(property_kind::string, "dest-url"),
        special::create_deferred_context(property_kind::list, "workflow.extra|inputs 100%"),
        special::create_from_parts(special::e_type::wrapped_urlupp, special::e_sub_type::credential,
                                   property_kind::string, "ftp://*@host/ c2VjcmV0"),
        special::create_from_parts(special::e_type::wrapped_encrypted, special::e_sub_type::credential,
                                   property_kind::string, "c2VjcmV0"),
        choice("a|b|c"),
        list({}),
        list({text("a"), text("b"), list({}), tree({})}),
        tree({}),
        tree({{"a", text("1")}, {"b", number(1)}}),
        tree({{"deep", tree({{"list", list({tree({{"x", flag(true)}}), list({number(1)})})}})}}),
    };
}

/// Makes random values; the same seed makes the same ones.
class random_values {
public:
    explicit random_values(std::uint64_t seed) : engine_(seed) {}

    [[nodiscard]] std::size_t below(std::size_t limit) { return engine_() % limit; }

    [[nodiscard]] std::string random_text() {
        std::string made;
        for (std::size_t left = below(12); left != 0; --left) {
            made += static_cast<char>(below(4) == 0 ? below(256) : 'a' + below(3));
        }
        return made;
    }

    [[nodiscard]] property_handle leaf() {
        switch (below(7)) {
        case 0: return flag(below(2) == 0);
        case 1: return number(static_cast<std::int64_t>(below(200)) - 100);
        case 2: return number(static_cast<std::int64_t>(engine_()));
        case 3: return bytes(random_text());
        case 4: {
            static std::vector<property_handle> const all = one_of_each();
            return all[below(all.size())];
        }
        default: return text(random_text());
        }
    }

    [[nodiscard]] property_handle value(std::size_t depth) {
        if (depth == 0 || below(3) == 0) return leaf();
        std::size_t const count = below(5);
        if (below(3) == 0) {
            std::vector<property_handle> elements;
            for (std::size_t index = 0; index < count; ++index) {
                elements.push_back(value(depth - 1));
            }
            return list(elements);
        }
        std::vector<std::pair<std::string, property_handle>> members;
        for (std::size_t index = 0; index < count; ++index) {
            static char const* const keys[] = {"", "a", "ab", "b", "source-url", "source-url2", "=&;%", "\xC3\xA4"};
            members.emplace_back(keys[below(std::size(keys))], value(depth - 1));
        }
        return tree(members);
    }

    [[nodiscard]] property_handle random_tree(std::size_t depth) {
        while (true) {
            property_handle made = value(depth);
            if (made->kind() == property_kind::properties) return made;
        }
    }

private:
    std::mt19937_64 engine_;
};

} // namespace kxcore::samples
