// What a tag is in the requirements of a task or workflow, for who adds one.
#pragma once

#include <kxbase/ptr_refcount.h>

#include <string_view>

namespace kxcore {
class constraint;
}

namespace kxclientutil {

/// The requirement that holds the tags.
inline constexpr std::string_view tags_requirement = "tags";

/// What a node must say of a tag: true when it is required, false when it is excluded.
[[nodiscard]] kxbase::ptr_refcount<kxcore::constraint const> tag_constraint(bool required);

} // namespace kxclientutil
