#pragma once

/// @file
/// Writes XML: nodes in order, each escaped as its place requires. Indents for people, and never where it would change
/// the text of a node.

#include <kxcore/export.h>

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace kxcore::xml {

/// One attribute; both texts must outlive the call that takes it.
struct attribute {
    std::string_view name;
    std::string_view value;
};

/// Appends XML to a string.
///
/// Every node begins on a line of its own, indented by its depth, as long as the node around it holds no text: where it
/// does, nodes and text follow each other without a blank, and line breaks already written there are taken back.
///
/// All functions raise es::arg, and write nothing, for a name that XML does not allow and for a text that it can't hold
/// (a control character, U+FFFE, U+FFFF, or what is not UTF-8), naming the byte.
class KXCORE_EXPORT writer {
public:
    /// @param out is appended to; it must outlive the writer, and nobody else may change it meanwhile
    /// @param indentation blanks per level
    explicit writer(std::string& out, unsigned int indentation = 2);
    ~writer();
    writer(writer const&) = delete;
    writer& operator=(writer const&) = delete;

    /// Writes `<?xml version="1.0" encoding="UTF-8"?>`; before anything else.
    void declaration();

    /// Starts a node, inside the one that is open; attributes come in the order given.
    void start_node(std::string_view name);
    void start_node(std::string_view name, std::string_view attribute, std::string_view value);
    void start_node(std::string_view name, std::initializer_list<xml::attribute> attributes);

    /// A node without content: `<name attribute="value"/>`.
    void empty_node(std::string_view name);
    void empty_node(std::string_view name, std::string_view attribute, std::string_view value);
    void empty_node(std::string_view name, std::initializer_list<xml::attribute> attributes);

    /// A node with nothing but text; with the empty text as empty_node().
    void text_node(std::string_view name, std::string_view text);
    void text_node(std::string_view name, std::initializer_list<xml::attribute> attributes, std::string_view text);

    /// Adds text to the node that is open, or beside the nodes when none is. It is escaped: what is read back is what
    /// was given, to the byte.
    void append(std::string_view text);

    /// Ends the node that was started last and is still open. A node without content becomes `<name/>`.
    ///
    /// @throws es::arg when none is open
    void end_node();

    /// How many nodes are open.
    [[nodiscard]] std::size_t depth() const noexcept { return levels_.size() - 1; }

    /// 1, 2, 3, ...: for names that must be no other's in what this writer writes.
    [[nodiscard]] std::size_t next_number() noexcept { return ++number_; }

private:
    struct level {
        std::string name;
        // Where line breaks were put into the content of this node, to be taken back when text comes.
        std::vector<std::size_t> breaks;
        bool has_nodes = false;
        bool has_text = false;
    };

    void open_tag(std::string_view name, std::initializer_list<xml::attribute> attributes);
    void close_open_tag();
    void break_line();
    void take_back_breaks();

    std::string& out_;
    unsigned int indentation_;
    // The first stands for what is outside of any node.
    std::vector<level> levels_;
    std::size_t number_ = 0;
    // The start tag written last still lacks its '>'.
    bool tag_is_open_ = false;
};

} // namespace kxcore::xml
