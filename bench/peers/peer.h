#pragma once

// What a benchmark asks of a library. A peer is a struct of static functions; it offers those that its library can do:
//
//   using tree                                      the library's own value that holds a whole document
//   name()                                          the name in the results
//   build(plain_value const&) -> tree
//   copy(tree const&) -> tree
//   find(tree const&) -> std::int64_t               the leaf at deep_leaf_steps()
//   set(tree&, std::int64_t)                        changes that leaf
//   encode(tree const&) -> BYTES                    to the library's own compact binary form
//   decode(BYTES const&) -> tree
//   write_xml(tree const&) -> document_text           the library's tree as an XML document
//   read_xml(std::string const&) -> tree

#include "../sample_data.h"

#include <string>
#include <type_traits>

namespace kxbench {

/// Calls the function with the content of a value: `std::string`, `bool`, `std::int64_t`, `plain_list` or `plain_tree`.
template <class Function>
decltype(auto) visit(plain_value const& value, Function&& function) {
    return std::visit(std::forward<Function>(function), value.content);
}

template <class Type, class Content>
inline constexpr bool is = std::is_same_v<Type, std::decay_t<Content>>;

} // namespace kxbench
