#pragma once

#include "peer.h"

#include <pugixml.hpp>

#include <memory>

namespace kxbench {

/// Elements named after the kind, with the key as an attribute: the shape of this library's own documents.
struct pugixml_peer {
    using tree = std::unique_ptr<pugi::xml_document>;
    using document_text = std::string;

    static char const* name() { return "pugixml"; }

    static tree build(plain_value const& value) {
        auto document = std::make_unique<pugi::xml_document>();
        auto root = document->append_child("document");
        root.append_attribute("identifier") = "submission";
        root.append_attribute("version") = 7;
        for (auto const& [key, member] : std::get<plain_tree>(value.content))
            append(root, key.c_str(), member);
        return document;
    }

    static tree copy(tree const& from) {
        auto document = std::make_unique<pugi::xml_document>();
        document->reset(*from);
        return document;
    }

    static std::int64_t find(tree const& in) { return leaf(*in).text().as_llong(); }

    static void set(tree& in, std::int64_t number) { leaf(*in).text() = static_cast<long long>(number); }

    static std::string write_xml(tree const& from) {
        struct text_writer : pugi::xml_writer {
            std::string out;
            void write(void const* data, std::size_t size) override {
                out.append(static_cast<char const*>(data), size);
            }
        } writer;
        from->save(writer, "  ", pugi::format_default, pugi::encoding_utf8);
        return std::move(writer.out);
    }

    static tree read_xml(std::string const& text) {
        auto document = std::make_unique<pugi::xml_document>();
        static_cast<void>(document->load_buffer(text.data(), text.size()));
        return document;
    }

private:
    static void append(pugi::xml_node parent, char const* key, plain_value const& value) {
        visit(value, [&](auto const& content) {
            if constexpr (is<plain_list, decltype(content)>) {
                auto list = child(parent, "list", key);
                for (auto const& element : content)
                    append(list, nullptr, element);
            } else if constexpr (is<plain_tree, decltype(content)>) {
                auto inner = child(parent, "properties", key);
                for (auto const& [name, member] : content)
                    append(inner, name.c_str(), member);
            } else if constexpr (is<std::string, decltype(content)>) {
                child(parent, "string", key).text().set(content.c_str());
            } else if constexpr (is<bool, decltype(content)>) {
                child(parent, "bool", key).text().set(content);
            } else {
                child(parent, "int", key).text().set(static_cast<long long>(content));
            }
        });
    }

    static pugi::xml_node child(pugi::xml_node parent, char const* element, char const* key) {
        auto node = parent.append_child(element);
        if (key != nullptr) node.append_attribute("key") = key;
        return node;
    }

    static pugi::xml_node leaf(pugi::xml_document const& in) {
        pugi::xml_node node = in.document_element();
        for (auto const& step : deep_leaf_steps()) {
            node =
                node.find_child([&](pugi::xml_node candidate) { return step == candidate.attribute("key").value(); });
        }
        return node;
    }
};

} // namespace kxbench
