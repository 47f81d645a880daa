#include <tools/kvf/Progress.h>

#include <tools/kvf/Interrupt.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace Skelvar::Tool {

namespace {

constexpr int kBarWidth = 40;
constexpr std::chrono::milliseconds kFirstDraw(250);
constexpr std::chrono::milliseconds kNextDraw(60);

std::atomic<int> s_alive{0};

}  // namespace

Progress::Progress(std::string in_title, long long in_total)
    : m_title(std::move(in_title)),
      m_total(std::max(1LL, in_total)),
      m_is_first(s_alive++ == 0),
      m_on_terminal(m_is_first && isatty(STDERR_FILENO) == 1),
      m_last(Clock::now())
{
}

Progress::~Progress()
{
    wipe();
    --s_alive;
}

void Progress::wipe()
{
    const std::lock_guard<std::mutex> guard(m_lock);
    if (m_drawn) {
        std::fprintf(stderr, "\r\033[K");
        std::fflush(stderr);
        setLineToWipe(false);
        m_drawn = false;
    }
}

void Progress::advance(long long in_done)
{
    const long long done = m_done.fetch_add(in_done) + in_done;
    if (!m_on_terminal) {
        return;
    }
    const std::unique_lock<std::mutex> guard(m_lock, std::try_to_lock);
    if (!guard.owns_lock()) {
        return;  // another thread is drawing at this moment
    }
    const Clock::time_point now = Clock::now();
    if (now - m_last >= (m_drawn ? kNextDraw : kFirstDraw)) {
        m_last = now;
        m_drawn = true;
        draw(std::min(1.0, static_cast<double>(done) / static_cast<double>(m_total)));
    }
}

void Progress::draw(double in_fraction)
{
    setLineToWipe(true);
    const int filled = static_cast<int>(in_fraction * kBarWidth);
    std::string bar(static_cast<std::size_t>(filled), '#');
    bar.resize(kBarWidth, '.');
    std::fprintf(stderr, "\r%s [%s] %3d%%", m_title.c_str(), bar.c_str(),
                 static_cast<int>(100.0 * in_fraction));
    std::fflush(stderr);
}

}  // namespace Skelvar::Tool
