#include <tools/kvf/Interrupt.h>

#include <unistd.h>

#include <csignal>

#include <atomic>
#include <mutex>

namespace Skelvar::Tool {

namespace {

std::atomic<int> s_signal{0};  ///< that has come, 0 if none has
std::atomic<bool> s_line_to_wipe{false};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "a signal's handler may take no lock");

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

/// The signal comes again as the handler returns, and ends the program.
extern "C" void wipeLineAndEnd(int in_signal)
{
    constexpr char kWipe[] = "\r\033[K";
    if (s_line_to_wipe && write(STDERR_FILENO, kWipe, sizeof(kWipe) - 1) < 0) {
        s_line_to_wipe = false;  // nothing else can be done
    }
    std::signal(in_signal, SIG_DFL);
    std::raise(in_signal);
}

extern "C" void noteInterrupt(int in_signal)
{
    if (s_signal.exchange(in_signal) != 0) {
        wipeLineAndEnd(in_signal);
    }
}

/// A signal that whoever started the program has had it ignore stays ignored.
void handle(int in_signal, void (*in_handler)(int), struct sigaction& out_before)
{
    struct sigaction action = {};
    action.sa_handler = in_handler;
    action.sa_flags = SA_RESTART;
    sigaction(in_signal, nullptr, &out_before);
    if (out_before.sa_handler != SIG_IGN) {
        sigaction(in_signal, &action, nullptr);
    }
}

}  // namespace

void wipeLineOnInterrupt()
{
    struct sigaction before;
    handle(SIGINT, wipeLineAndEnd, before);
    handle(SIGTERM, wipeLineAndEnd, before);
}

void setLineToWipe(bool in_is_there)
{
    s_line_to_wipe = in_is_there;
}

InterruptGuard::InterruptGuard()
{
    const std::lock_guard<std::mutex> guard(guards().lock);
    if (guards().count++ == 0) {
        handle(SIGINT, noteInterrupt, guards().interrupt);
        handle(SIGTERM, noteInterrupt, guards().terminate);
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
