#pragma once

// The data that all benchmarks and all peers work on, as plain values that belong to no library: realistic submissions,
// the same for the same size in every run.

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace kxbench {

struct plain_value;
using plain_list = std::vector<plain_value>;
/// Members in byte order of their keys.
using plain_tree = std::vector<std::pair<std::string, plain_value>>;

struct plain_value {
    std::variant<std::string, bool, std::int64_t, plain_list, plain_tree> content;
};

/// A submission: a workflow of tasks (about 27 leaves each: URLs, ints, bools, a configuration three deep) and a file
/// source (a URL and one to three targets each).
[[nodiscard]] plain_value make_submission(std::size_t tasks, std::size_t files);

/// Workflows as version 1 wrote them: 1 to 40 encoders each, with their deliveries, and as many tasks that upload what
/// they encode.
[[nodiscard]] std::vector<plain_value> make_old_workflows(std::size_t count);

/// A tree whose leaf at `deep_leaf_path` lies six levels down, in one of a thousand siblings of 27 leaves each.
[[nodiscard]] plain_value make_wide_tree();

/// The steps to that leaf, an int.
[[nodiscard]] std::vector<std::string> const& deep_leaf_steps();

/// The number of values in it: leaves, trees and lists.
[[nodiscard]] std::size_t count_nodes(plain_value const& value);

/// The sizes of the submissions: a small, a realistic and a big one.
struct submission_size {
    char const* name;
    std::size_t tasks;
    std::size_t files;
};
inline constexpr submission_size small_submission{"small", 10, 3};
inline constexpr submission_size realistic_submission{"realistic", 1'000, 10'000};
inline constexpr submission_size big_submission{"big", 10'000, 100'000};

} // namespace kxbench
