#pragma once

#include "peer.h"

#include "peers/tree.pb.h"

namespace kxbench {

/// A schema that can hold what a property tree holds: a value is one of the kinds, a tree a map.
struct protobuf_peer {
    using tree = kxbench_proto::Value;

    static char const* name() { return "protobuf map"; }

    static tree build(plain_value const& value) {
        tree out;
        fill(out, value);
        return out;
    }

    static tree copy(tree const& from) { return from; }

    static std::int64_t find(tree const& in) {
        tree const* value = &in;
        for (auto const& step : deep_leaf_steps())
            value = &value->tree().members().at(step);
        return value->integer();
    }

    static void set(tree& in, std::int64_t number) {
        tree* value = &in;
        for (auto const& step : deep_leaf_steps())
            value = &value->mutable_tree()->mutable_members()->at(step);
        value->set_integer(number);
    }

    static std::string encode(tree const& from) { return from.SerializeAsString(); }

    static tree decode(std::string const& bytes) {
        tree out;
        out.ParseFromString(bytes);
        return out;
    }

private:
    static void fill(tree& out, plain_value const& value) {
        visit(value, [&](auto const& content) {
            if constexpr (is<plain_list, decltype(content)>) {
                auto* const list = out.mutable_list();
                for (auto const& element : content)
                    fill(*list->add_elements(), element);
            } else if constexpr (is<plain_tree, decltype(content)>) {
                auto& members = *out.mutable_tree()->mutable_members();
                for (auto const& [key, member] : content)
                    fill(members[key], member);
            } else if constexpr (is<std::string, decltype(content)>) {
                out.set_text(content);
            } else if constexpr (is<bool, decltype(content)>) {
                out.set_boolean(content);
            } else {
                out.set_integer(content);
            }
        });
    }
};

} // namespace kxbench
