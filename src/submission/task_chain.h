// The order of tasks that a person drew, for those who ask what comes before or after a task.
#pragma once

#include <kxclientutil/wf_connection.h>

#include <cstddef>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kxclientutil {

/// The tasks that the drawn connections of a workflow join, each with at most one before it and one after it. The first
/// connection into a task wins and the last one out of a task: of several tasks that one feeds, only the last is
/// downstream of it, while all have it upstream. Results and exact connections count as any other. A task that no
/// connection names, one that finalization adds above all, is not in the chain. Connections may run in a circle.
class task_chain {
public:
    /// Without connections the chain is empty.
    explicit task_chain(std::span<wf_connection const> connections);

    /// The wtid of the first task of that plugin, from the start upstream and then, if there is none, from the start
    /// downstream; the start itself is the first on both ways. Empty when there is none, or when the start is not in the
    /// chain. What was found is remembered: asking for every task of a chain costs no more than the chain is long.
    [[nodiscard]] std::string find(std::string_view start_wtid, std::string_view plid);

private:
    struct node {
        std::string wtid;
        std::size_t upstream;
        std::size_t downstream;
    };

    /// Where the walks for a plugin end, by the node that they begin at.
    struct walk_ends {
        std::vector<std::size_t> upstream;
        std::vector<std::size_t> downstream;
    };

    std::size_t node_of(std::string const& wtid);
    [[nodiscard]] std::size_t walk(std::size_t start, std::string_view plid, std::size_t node::*next,
                                   std::vector<std::size_t>& ends) const;

    std::vector<node> nodes_;
    std::map<std::string, std::size_t, std::less<>> by_wtid_;
    std::map<std::string, walk_ends, std::less<>> known_;
};

/// The encoder whose outputs a task means, as find() gives it from there. When there is none, the log gets to know, with
/// the text that asks for one.
[[nodiscard]] std::string find_chained_encoder(task_chain& chain, std::string_view wtid, std::string_view asking_text);

} // namespace kxclientutil
