#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>

namespace Skelvar::Tool {

/// A bar on standard error for work that takes longer than a moment. Draws only on a terminal, and
/// wipes itself away at the end. Of several at once only the first draws. Any number of threads may
/// report.
class Progress {
public:
    /// `in_total` is in any unit, that of `advance`.
    Progress(std::string in_title, long long in_total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advance(long long in_done);
    /// Wipes the bar away until the next `advance`, so that a line can be printed.
    void wipe();

private:
    using Clock = std::chrono::steady_clock;
    void draw(double in_fraction);

    const std::string m_title;
    const long long m_total;
    const bool m_is_first;
    const bool m_on_terminal;
    std::atomic<long long> m_done{0};
    std::mutex m_lock;
    Clock::time_point m_last;  ///< of the last drawing, or of the start; guarded by m_lock
    bool m_drawn = false;      ///< guarded by m_lock
};

}  // namespace Skelvar::Tool
