// Texts of a document as they appear in a drawing: short, on one line, valid UTF-8, without the password of a URL.
#pragma once

#include <kxclientutil/graph.h>

#include <string>
#include <string_view>

namespace kxclientutil {

/// The text as a reader may see it. Line ends and tabs become blanks; other control characters, those that turn the
/// direction of writing, and bytes that are no UTF-8 become U+FFFD; the middle of a text of more than `most` characters
/// becomes an ellipsis. Blanks at both ends are gone.
[[nodiscard]] std::string visible_text(std::string_view text, std::size_t most);

/// What a box bears in bold: the task's name, or what its id says when it has none.
[[nodiscard]] std::string node_title(graph_node const& node);

/// What an arrow bears: its ports, then its word.
[[nodiscard]] std::string edge_label(graph_edge const& edge);

/// The most characters of a name, and of anything else.
inline constexpr std::size_t most_of_name = 48;
inline constexpr std::size_t most_of_rest = 40;

} // namespace kxclientutil
