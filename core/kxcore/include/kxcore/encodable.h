#pragma once

/// @file
/// Whether a tree could be written and read back, told without writing it. A tree that shares its parts may be far
/// larger written than it is itself, so these ask before anybody walks it leaf by leaf.

#include <kxcore/export.h>
#include <kxcore/fwd.h>

#include <cstddef>
#include <memory>

namespace kxcore {

/// Raises unless the network encoding of the tree takes at most that many bytes and keeps to the limits (nesting, string,
/// key, members). Looks at shared parts once, and costs a fraction of an encoding unless the tree is near a limit; then
/// it costs an encoding, up to the limit.
///
/// @throws es::arg as `property::encode` does, and naming the limit "document" when the bytes are not enough
KXCORE_EXPORT void require_encodable(properties const& tree, std::size_t most_bytes);

/// The same for values that come one by one and are to stand in one encoding together. The work for all of them ends at
/// the limit.
class KXCORE_EXPORT encoding_budget {
public:
    /// @param most_bytes  what all values together may take in the network encoding
    explicit encoding_budget(std::size_t most_bytes);
    ~encoding_budget();
    encoding_budget(encoding_budget const&) = delete;
    encoding_budget& operator=(encoding_budget const&) = delete;

    /// Counts a value in.
    ///
    /// @throws es::arg as `require_encodable`; the budget takes no more then
    void spend(property const& value);

private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace kxcore
