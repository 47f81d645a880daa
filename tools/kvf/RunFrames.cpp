#include <tools/kvf/Frames.h>
#include <tools/kvf/Output.h>
#include <tools/kvf/Progress.h>

#include <csignal>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <new>
#include <thread>

namespace Skelvar::Tool {

namespace {

std::atomic<bool> s_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal's handler may take no lock");

extern "C" void noteInterrupt(int)
{
    s_interrupted = true;
}

/// Catches the first SIGINT and SIGTERM as long as it lives; a second one ends the program at once.
class InterruptGuard {
public:
    InterruptGuard()
    {
        s_interrupted = false;
        struct sigaction action = {};
        action.sa_handler = noteInterrupt;
        action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;
        sigaction(SIGINT, &action, &m_interrupt);
        sigaction(SIGTERM, &action, &m_terminate);
    }
    ~InterruptGuard()
    {
        sigaction(SIGINT, &m_interrupt, nullptr);
        sigaction(SIGTERM, &m_terminate, nullptr);
    }
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

private:
    struct sigaction m_interrupt;
    struct sigaction m_terminate;
};

/// The work on several frames, shared by its threads.
class FrameRun {
public:
    FrameRun(const std::string& in_title, const std::vector<FrameTask>& in_tasks,
             const std::function<FrameResult(const FrameTask&)>& in_work)
        : m_tasks(in_tasks),
          m_work(in_work),
          m_progress(in_title, static_cast<long long>(in_tasks.size())),
          m_outcomes(in_tasks.size())
    {
    }

    ExitStatus run(int in_threads)
    {
        const InterruptGuard guard;
        std::vector<std::thread> others;
        for (int n = 1; n < in_threads; ++n) {
            others.emplace_back([this] { work(); });
        }
        work();
        for (std::thread& thread : others) {
            thread.join();
        }
        m_progress.wipe();
        if (m_printed < m_tasks.size()) {
            std::fprintf(stderr,
                         "kvf: interrupted: %zu of %zu frames are done, and none is half done\n",
                         m_printed, m_tasks.size());
            return eInterrupted;
        }
        return m_worst;
    }

private:
    struct Outcome {
        bool is_done = false;
        FrameResult result;
        std::string error;
    };

    void work()
    {
        for (std::size_t n = 0; !s_interrupted && (n = m_next++) < m_tasks.size();) {
            finish(n, outcomeOf(m_tasks[n]));
        }
    }

    Outcome outcomeOf(const FrameTask& in_task) const
    {
        try {
            return {true, m_work(in_task), {}};
        } catch (const ToolError& error) {
            return {true, {{}, error.status()}, error.what()};
        } catch (const std::bad_alloc&) {
            return {true, {{}, eDataSaysNo}, "out of memory"};
        } catch (const std::exception& error) {
            return {true, {{}, eDataSaysNo}, error.what()};
        }
    }

    /// Prints what can be printed in order.
    void finish(std::size_t in_n, Outcome in_outcome)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_worst = std::max(m_worst, in_outcome.result.status);
        m_outcomes[in_n] = std::move(in_outcome);
        for (; m_printed < m_tasks.size() && m_outcomes[m_printed].is_done; ++m_printed) {
            print(m_tasks[m_printed], m_outcomes[m_printed]);
            m_outcomes[m_printed] = {};
        }
        m_progress.advance(1);
    }

    void print(const FrameTask& in_task, const Outcome& in_outcome)
    {
        m_progress.wipe();
        if (!in_outcome.error.empty()) {
            std::string line = in_outcome.error;
            std::replace(line.begin(), line.end(), '\n', ' ');
            const std::string frame =
                in_task.frame ? "frame " + std::to_string(*in_task.frame) + ": " : std::string();
            std::fprintf(stderr, "kvf: %s%s\n", frame.c_str(), line.c_str());
        }
        printOutput(in_outcome.result.text);
    }

    const std::vector<FrameTask>& m_tasks;
    const std::function<FrameResult(const FrameTask&)>& m_work;
    Progress m_progress;
    std::atomic<std::size_t> m_next{0};
    std::mutex m_lock;
    std::vector<Outcome> m_outcomes;  ///< those done and not yet printed; guarded by m_lock
    std::size_t m_printed = 0;        ///< frames; guarded by m_lock, as is the next
    ExitStatus m_worst = eDone;
};

}  // namespace

ExitStatus runFrames(const std::string& in_title, const std::vector<FrameTask>& in_tasks,
                     const FrameOptions& in_options,
                     const std::function<FrameResult(const FrameTask&)>& in_work)
{
    if (in_tasks.size() == 1) {
        const FrameResult result = in_work(in_tasks.front());
        printOutput(result.text);
        return result.status;
    }
    const std::size_t jobs = static_cast<std::size_t>(std::max(1, in_options.jobs));
    return FrameRun(in_title, in_tasks, in_work)
        .run(static_cast<int>(std::min(jobs, std::max<std::size_t>(in_tasks.size(), 1))));
}

}  // namespace Skelvar::Tool
