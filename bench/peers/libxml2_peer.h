#pragma once

#include "peer.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstring>
#include <memory>

namespace kxbench {

struct libxml2_peer {
    struct deleter {
        void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
    };
    using tree = std::unique_ptr<xmlDoc, deleter>;
    using document_text = std::string;

    static char const* name() { return "libxml2"; }

    static tree build(plain_value const& value) {
        tree document(xmlNewDoc(text("1.0")));
        xmlNode* const root = xmlNewNode(nullptr, text("document"));
        xmlDocSetRootElement(document.get(), root);
        for (auto const& [key, member] : std::get<plain_tree>(value.content))
            append(root, key.c_str(), member);
        return document;
    }

    static tree copy(tree const& from) { return tree(xmlCopyDoc(from.get(), 1)); }

    static std::string write_xml(tree const& from) {
        xmlChar* memory = nullptr;
        int size = 0;
        xmlDocDumpFormatMemory(from.get(), &memory, &size, 1);
        std::string out(reinterpret_cast<char const*>(memory), static_cast<std::size_t>(size));
        xmlFree(memory);
        return out;
    }

    static tree read_xml(std::string const& bytes) {
        return tree(xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr,
                                  XML_PARSE_HUGE | XML_PARSE_NONET));
    }

private:
    static xmlChar const* text(char const* chars) { return reinterpret_cast<xmlChar const*>(chars); }

    static void append(xmlNode* parent, char const* key, plain_value const& value) {
        visit(value, [&](auto const& content) {
            if constexpr (is<plain_list, decltype(content)>) {
                xmlNode* const list = child(parent, "list", key, nullptr);
                for (auto const& element : content)
                    append(list, nullptr, element);
            } else if constexpr (is<plain_tree, decltype(content)>) {
                xmlNode* const inner = child(parent, "properties", key, nullptr);
                for (auto const& [name, member] : content)
                    append(inner, name.c_str(), member);
            } else if constexpr (is<std::string, decltype(content)>) {
                child(parent, "string", key, content.c_str());
            } else if constexpr (is<bool, decltype(content)>) {
                child(parent, "bool", key, content ? "true" : "false");
            } else {
                child(parent, "int", key, std::to_string(content).c_str());
            }
        });
    }

    static xmlNode* child(xmlNode* parent, char const* element, char const* key, char const* content) {
        xmlNode* const node = content == nullptr ? xmlNewChild(parent, nullptr, text(element), nullptr)
                                                 : xmlNewTextChild(parent, nullptr, text(element), text(content));
        if (key != nullptr) xmlNewProp(node, text("key"), text(key));
        return node;
    }
};

} // namespace kxbench
