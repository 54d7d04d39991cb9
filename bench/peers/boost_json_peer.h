#pragma once

#include "peer.h"

#include <boost/json.hpp>

namespace kxbench {

struct boost_json_peer {
    using tree = boost::json::value;

    static char const* name() { return "Boost.JSON"; }

    static tree build(plain_value const& value) {
        return visit(value, [](auto const& content) -> tree {
            if constexpr (is<plain_list, decltype(content)>) {
                boost::json::array array;
                array.reserve(content.size());
                for (auto const& element : content)
                    array.push_back(build(element));
                return array;
            } else if constexpr (is<plain_tree, decltype(content)>) {
                boost::json::object object;
                for (auto const& [key, member] : content)
                    object.emplace(key, build(member));
                return object;
            } else if constexpr (is<std::string, decltype(content)>) {
                return boost::json::string(content);
            } else {
                return content;
            }
        });
    }

    static tree copy(tree const& from) { return from; }

    static std::int64_t find(tree const& in) {
        tree const* value = &in;
        for (auto const& step : deep_leaf_steps())
            value = value->get_object().if_contains(step);
        return value->get_int64();
    }

    static void set(tree& in, std::int64_t number) {
        tree* value = &in;
        for (auto const& step : deep_leaf_steps())
            value = value->get_object().if_contains(step);
        *value = number;
    }
};

} // namespace kxbench
