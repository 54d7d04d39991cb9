#pragma once

// What kx says of a node.

#include "devnode_process.h"
#include "kx_run.h"

#include <stdexcept>

namespace kx_test {

/// The jobs of the node, as kx lists them.
inline nlohmann::json jobs_of(devnode_process const& node) {
    auto const result = run_kx(
        {"status", "--json", "--to", node.address(), "--user", node_user, "--password-file", node.password_file()});
    if (result.exit_code != 0) throw std::runtime_error(result.err);
    return result.json()["jobs"];
}

} // namespace kx_test
