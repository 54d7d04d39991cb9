// The order in which problems are told.
#pragma once

#include <kxclientutil/validation.h>

#include <vector>

namespace kxclientutil {

/// By line and column, those without a place last; then by path, numbers in it by their value; errors before warnings.
void sort_problems(std::vector<document_problem>& problems);

/// Whether a path comes before another: byte by byte, but tasks[2] before tasks[10].
[[nodiscard]] bool is_path_before(std::string_view a, std::string_view b);

} // namespace kxclientutil
