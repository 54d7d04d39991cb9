// Wakes a thread that waits on descriptors.
#pragma once

namespace kxnet {

/// A descriptor to wait on for reading, and a way to make it readable from any thread.
class wake_pipe {
public:
    /// @throws es::call when the process has no descriptors left
    wake_pipe();
    ~wake_pipe();
    wake_pipe(wake_pipe const&) = delete;
    wake_pipe& operator=(wake_pipe const&) = delete;

    [[nodiscard]] int descriptor() const noexcept { return ends_[0]; }

    /// From now on the descriptor is readable.
    void wake() const noexcept;
    /// From now on it is not, until the next call of wake().
    void drain() const noexcept;

private:
    int ends_[2] = {-1, -1};
};

} // namespace kxnet
