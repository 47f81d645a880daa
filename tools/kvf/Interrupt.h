#pragma once

namespace Skelvar::Tool {

/// As long as one lives, a first SIGINT or SIGTERM is only noted, so that a file on its way to its
/// name gets there; a second one ends the program at once. When the last one goes, a signal that
/// nobody took ends the program as if it had come then. Any thread.
class InterruptGuard {
public:
    InterruptGuard();
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

    /// Whether a signal has come.
    bool isInterrupted() const;
    /// The same, and the signal is done with.
    bool takeInterrupt();
};

}  // namespace Skelvar::Tool
