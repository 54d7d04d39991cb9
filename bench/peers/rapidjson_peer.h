#pragma once

#include "peer.h"

#include <rapidjson/document.h>

#include <memory>

namespace kxbench {

struct rapidjson_peer {
    using tree = std::unique_ptr<rapidjson::Document>;

    static char const* name() { return "RapidJSON"; }

    static tree build(plain_value const& value) {
        auto document = std::make_unique<rapidjson::Document>();
        auto& allocator = document->GetAllocator();
        static_cast<rapidjson::Value&>(*document) = value_of(value, allocator);
        return document;
    }

    static tree copy(tree const& from) {
        auto document = std::make_unique<rapidjson::Document>();
        document->CopyFrom(*from, document->GetAllocator());
        return document;
    }

    static std::int64_t find(tree const& in) { return leaf(*in).GetInt64(); }

    static void set(tree& in, std::int64_t number) { leaf(*in).SetInt64(number); }

private:
    using allocator = rapidjson::Document::AllocatorType;

    static rapidjson::Value text_of(std::string const& text, allocator& memory) {
        return rapidjson::Value(text.data(), static_cast<rapidjson::SizeType>(text.size()), memory);
    }

    static rapidjson::Value value_of(plain_value const& value, allocator& memory) {
        return visit(value, [&](auto const& content) {
            if constexpr (is<plain_list, decltype(content)>) {
                rapidjson::Value array(rapidjson::kArrayType);
                array.Reserve(static_cast<rapidjson::SizeType>(content.size()), memory);
                for (auto const& element : content)
                    array.PushBack(value_of(element, memory), memory);
                return array;
            } else if constexpr (is<plain_tree, decltype(content)>) {
                rapidjson::Value object(rapidjson::kObjectType);
                for (auto const& [key, member] : content) {
                    object.AddMember(text_of(key, memory), value_of(member, memory), memory);
                }
                return object;
            } else if constexpr (is<std::string, decltype(content)>) {
                return text_of(content, memory);
            } else {
                return rapidjson::Value(content);
            }
        });
    }

    static rapidjson::Value& leaf(rapidjson::Document& in) {
        rapidjson::Value* value = &in;
        for (auto const& step : deep_leaf_steps())
            value = &value->FindMember(step.c_str())->value;
        return *value;
    }
};

} // namespace kxbench
