#pragma once

#include "peer.h"

#include <nlohmann/json.hpp>

namespace kxbench {

struct nlohmann_peer {
    using tree = nlohmann::json;

    static char const* name() { return "nlohmann-json"; }

    static tree build(plain_value const& value) {
        return visit(value, [](auto const& content) -> tree {
            if constexpr (is<plain_list, decltype(content)>) {
                tree array = tree::array();
                for (auto const& element : content)
                    array.push_back(build(element));
                return array;
            } else if constexpr (is<plain_tree, decltype(content)>) {
                tree object = tree::object();
                for (auto const& [key, member] : content)
                    object.emplace(key, build(member));
                return object;
            } else {
                return content;
            }
        });
    }

    static tree copy(tree const& from) { return from; }

    static std::int64_t find(tree const& in) {
        tree const* value = &in;
        for (auto const& step : deep_leaf_steps())
            value = &*value->find(step);
        return value->get<std::int64_t>();
    }

    static void set(tree& in, std::int64_t number) {
        tree* value = &in;
        for (auto const& step : deep_leaf_steps())
            value = &*value->find(step);
        *value = number;
    }
};

} // namespace kxbench
