#pragma once

namespace Skelvar::Tool {

/// Has a SIGINT or SIGTERM that ends the program first wipe away what stands on the last line of
/// standard error, if `setLineToWipe` said that something does. A signal that whoever started the
/// program has had it ignore stays ignored. Once, before there are threads.
void wipeLineOnInterrupt();

/// Says whether the last line of standard error has something to wipe away. Any thread.
void setLineToWipe(bool in_is_there);

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
