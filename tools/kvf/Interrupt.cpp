#include <tools/kvf/Interrupt.h>

#include <csignal>

#include <atomic>
#include <mutex>

namespace Skelvar::Tool {

namespace {

std::atomic<int> s_signal{0};  ///< that has come, 0 if none has
static_assert(std::atomic<int>::is_always_lock_free, "a signal's handler may take no lock");

struct Guards {
    std::mutex lock;
    int count = 0;  ///< of those that live; guarded by lock, as are the actions before them
    struct sigaction interrupt;
    struct sigaction terminate;
};

Guards& guards()
{
    static Guards s_guards;
    return s_guards;
}

extern "C" void noteInterrupt(int in_signal)
{
    s_signal = in_signal;
}

/// A signal that whoever started the program has had it ignore stays ignored.
void hold(int in_signal, struct sigaction& out_before)
{
    struct sigaction action = {};
    action.sa_handler = noteInterrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;
    sigaction(in_signal, nullptr, &out_before);
    if (out_before.sa_handler != SIG_IGN) {
        sigaction(in_signal, &action, nullptr);
    }
}

}  // namespace

InterruptGuard::InterruptGuard()
{
    const std::lock_guard<std::mutex> guard(guards().lock);
    if (guards().count++ == 0) {
        hold(SIGINT, guards().interrupt);
        hold(SIGTERM, guards().terminate);
    }
}

InterruptGuard::~InterruptGuard()
{
    const std::lock_guard<std::mutex> guard(guards().lock);
    if (--guards().count > 0) {
        return;
    }
    sigaction(SIGINT, &guards().interrupt, nullptr);
    sigaction(SIGTERM, &guards().terminate, nullptr);
    if (const int signal = s_signal.exchange(0)) {
        std::raise(signal);
    }
}

bool InterruptGuard::isInterrupted() const
{
    return s_signal != 0;
}

bool InterruptGuard::takeInterrupt()
{
    return s_signal.exchange(0) != 0;
}

}  // namespace Skelvar::Tool
