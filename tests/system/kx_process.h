#pragma once

// A run of kx that a test goes along with.

#include "kx_run.h"

#include "support/scratch_folder.h"

#include <sys/types.h>

#include <string>

namespace kx_test {

/// Runs on the sample installation from the constructor on, and is killed at the end at the latest.
class kx_process {
public:
    explicit kx_process(strings const& arguments);
    ~kx_process();
    kx_process(kx_process const&) = delete;
    kx_process& operator=(kx_process const&) = delete;

    /// Sends it a signal.
    void signal(int number) const;
    /// Whether its first thread has nothing to do now: a node may have what kx has sent before kx has gone on to wait for
    /// the answer.
    [[nodiscard]] bool is_waiting() const;
    /// What it has written to standard error so far.
    [[nodiscard]] std::string err() const { return folder_.read("err"); }
    [[nodiscard]] std::string out() const { return folder_.read("out"); }
    /// Waits for its end: the exit code, 128 and the signal when one ended it.
    int wait();

private:
    scratch_folder folder_;
    pid_t pid_;
};

} // namespace kx_test
