#include <tools/kvf/Frames.h>
#include <tools/kvf/Interrupt.h>
#include <tools/kvf/Output.h>
#include <tools/kvf/Progress.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <new>
#include <thread>

namespace Skelvar::Tool {

namespace {

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
        std::vector<std::thread> others;
        for (int n = 1; n < in_threads; ++n) {
            others.emplace_back([this] { work(); });
        }
        work();
        for (std::thread& thread : others) {
            thread.join();
        }
        m_progress.wipe();
        if (m_guard.takeInterrupt() && m_printed < m_tasks.size()) {
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
    };

    void work()
    {
        for (std::size_t n = 0; !m_guard.isInterrupted() && (n = m_next++) < m_tasks.size();) {
            finish(n, outcomeOf(m_tasks[n]));
        }
    }

    Outcome outcomeOf(const FrameTask& in_task) const
    {
        try {
            return {true, m_work(in_task)};
        } catch (const ToolError& error) {
            return {true, {{}, error.status(), error.what()}};
        } catch (const std::bad_alloc&) {
            return {true, {{}, eDataSaysNo, "out of memory"}};
        } catch (const std::exception& error) {
            return {true, {{}, eDataSaysNo, error.what()}};
        }
    }

    /// Prints what can be printed in order.
    void finish(std::size_t in_n, Outcome in_outcome)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_worst = std::max(m_worst, in_outcome.result.status);
        m_outcomes[in_n] = std::move(in_outcome);
        for (; m_printed < m_tasks.size() && m_outcomes[m_printed].is_done; ++m_printed) {
            print(m_tasks[m_printed], m_outcomes[m_printed].result);
            m_outcomes[m_printed] = {};
        }
        m_progress.advance(1);
    }

    void print(const FrameTask& in_task, const FrameResult& in_result)
    {
        m_progress.wipe();
        printOutput(in_result.text);
        if (!in_result.error.empty()) {
            const std::string frame =
                in_task.frame ? "frame " + std::to_string(*in_task.frame) + ": " : std::string();
            printFailure(frame + in_result.error);
        }
    }

    const std::vector<FrameTask>& m_tasks;
    const std::function<FrameResult(const FrameTask&)>& m_work;
    InterruptGuard m_guard;
    Progress m_progress;
    std::atomic<std::size_t> m_next{0};
    std::mutex m_lock;
    std::vector<Outcome> m_outcomes;  ///< those done and not yet printed; guarded by m_lock
    std::size_t m_printed = 0;        ///< frames; guarded by m_lock, as is the next
    ExitStatus m_worst = eDone;
};

bool isThere(const std::string& in_path)
{
    std::error_code error;
    return !in_path.empty() && std::filesystem::exists(in_path, error);
}

}  // namespace

ExitStatus runFrames(const std::string& in_title, const std::vector<FrameTask>& in_tasks,
                     const FrameOptions& in_options,
                     const std::function<FrameResult(const FrameTask&)>& in_work)
{
    const std::function<FrameResult(const FrameTask&)> work = [&](const FrameTask& in_task) {
        return in_options.skip_existing && isThere(in_task.output) ? FrameResult{}
                                                                   : in_work(in_task);
    };
    if (in_tasks.size() == 1) {
        const FrameResult result = work(in_tasks.front());
        printOutput(result.text);
        if (!result.error.empty()) {
            throw ToolError(result.status, result.error);
        }
        return result.status;
    }
    const std::size_t jobs = static_cast<std::size_t>(std::max(1, in_options.jobs));
    return FrameRun(in_title, in_tasks, work)
        .run(static_cast<int>(std::min(jobs, std::max<std::size_t>(in_tasks.size(), 1))));
}

}  // namespace Skelvar::Tool
