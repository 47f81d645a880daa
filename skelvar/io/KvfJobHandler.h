#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/CompressionQuality.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace Skelvar {

struct KvfJobResult;
class VoxelState;

/// Runs saves and loads on the scheduler's threads, at most `MAX_TASKS` at a time, and keeps what
/// became of them. One for the process, made on first use; its end, and that of the initial thread
/// if that has started jobs, waits for all jobs. Any thread may call.
class SKELVAR_API KvfJobHandler {
public:
    static constexpr unsigned int MAX_TASKS = 5;

    class SaveTask;
    class LoadTask;

    static KvfJobHandler& instance();

    /// Both give 2 if a task was started, else 0 for success and 1 for failure of the work, done on
    /// this thread. With `in_track` a task's result can be fetched under `out_job_handle`.
    unsigned int save(unsigned int in_state_id, CompressionQuality in_quality,
                      const std::string& in_path, bool in_copy, const std::string& in_shape_name,
                      const std::vector<std::string>& in_channel_names, int in_frame, bool in_async,
                      bool in_track, unsigned long long& out_job_handle);
    unsigned int load(unsigned int in_state_id, const std::string& in_path, bool in_async,
                      bool in_track, unsigned long long& out_job_handle);
    /// See `kvfFetchResult`.
    bool fetchResult(unsigned long long in_job_handle, KvfJobResult& out_result);

    /// Tasks started and not done.
    unsigned int tasksInUse() const { return m_tasks_in_use; }
    /// Returns when all tasks that were started before are done.
    void wait();

    ~KvfJobHandler();
    KvfJobHandler(const KvfJobHandler&) = delete;
    KvfJobHandler& operator=(const KvfJobHandler&) = delete;

private:
    class Slot;
    struct Scheduler;

    KvfJobHandler();

    template <typename Task>
    unsigned int start(std::unique_ptr<Task> in_task, Slot& io_slot);
    unsigned long long nextHandle(bool in_track, const KvfJobResult& in_result,
                                  unsigned long long& out_job_handle);
    void setResult(unsigned long long in_job_handle, KvfJobResult in_result);

    std::atomic<unsigned int> m_tasks_in_use = 0;
    std::atomic<unsigned int> m_unfinished = 0;  ///< tasks that have not yet written their result
    std::atomic<unsigned long long> m_next_handle = 0;
    std::unique_ptr<Scheduler> m_scheduler;
};

}  // namespace Skelvar
