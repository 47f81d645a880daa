#include <skelvar/io/KvfJobHandler.h>

#include <skelvar/io/Kvf.h>
#include <skelvar/io/KvfError.h>
#include <skelvar/io/KvfFormat.h>
#include <skelvar/io/KvfJobs.h>
#include <skelvar/io/KvfReader.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <tbb/concurrent_hash_map.h>
#include <tbb/global_control.h>
#include <tbb/info.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <set>
#include <utility>

#include <sys/syscall.h>
#include <unistd.h>

namespace Skelvar {

namespace {

constexpr unsigned int kDone = 0;
constexpr unsigned int kFailed = 1;
constexpr unsigned int kRunning = 2;
constexpr unsigned long long kNoHandle = ~0ULL;

/// A server of the registry that goes with its owner.
class PrivateServer {
public:
    PrivateServer() : m_server(StateServerManager::instance().createNewStateServer()) {}
    PrivateServer(PrivateServer&& io_other) noexcept : m_server(std::move(io_other.m_server)) {}
    PrivateServer& operator=(PrivateServer&&) = delete;
    ~PrivateServer()
    {
        if (m_server) {
            StateServerManager::instance().removeStateServer(m_server->getId());
        }
    }
    VoxelState& operator*() const { return *m_server; }

private:
    std::shared_ptr<VoxelState> m_server;
};

std::shared_ptr<VoxelState> serverOf(unsigned int in_id)
{
    return StateServerManager::instance().getStateServer(in_id);
}

/// Copies the shape with those of the channels that it has: the save itself tells of the others.
bool copyShapeTo(VoxelState& io_source, VoxelState& io_target, const std::string& in_shape_name,
                 const std::vector<std::string>& in_channel_names)
{
    std::shared_ptr<TreeShape3DBase> shape;
    io_source.shapeRef(in_shape_name, shape);
    std::set<std::string> met;
    std::vector<std::string> names;
    for (const std::string& name : in_channel_names) {
        if (shape && shape->hasChannel(name) && met.insert(name).second) {
            names.push_back(name);
        }
    }
    return io_source.copyShapeTo(io_target, in_shape_name, names) == kVoxelStateOk;
}

/// Static objects that a running job uses may end before the handler does, but all of them end
/// after the objects of the initial thread.
struct WaitAtThreadEnd {
    ~WaitAtThreadEnd()
    {
        if (::syscall(SYS_gettid) == ::getpid()) {
            KvfJobHandler::instance().wait();
        }
    }
    void touch() {}
};

thread_local WaitAtThreadEnd s_wait_at_thread_end;

}  // namespace

/// One of the places for tasks, as long as it lives.
class KvfJobHandler::Slot {
public:
    Slot() = default;
    /// Takes a slot if one is free.
    explicit Slot(std::atomic<unsigned int>& io_count) : m_count(&io_count)
    {
        unsigned int count = io_count;
        do {
            if (count >= MAX_TASKS) {
                m_count = nullptr;
                return;
            }
        } while (!io_count.compare_exchange_weak(count, count + 1));
    }
    Slot(Slot&& io_other) noexcept : m_count(std::exchange(io_other.m_count, nullptr)) {}
    Slot& operator=(Slot&& io_other) noexcept
    {
        std::swap(m_count, io_other.m_count);
        return *this;
    }
    ~Slot()
    {
        if (m_count) {
            --*m_count;
        }
    }
    explicit operator bool() const { return m_count != nullptr; }

private:
    std::atomic<unsigned int>* m_count = nullptr;
};

struct KvfJobHandler::Scheduler {
    using Results = tbb::concurrent_hash_map<unsigned long long, KvfJobResult>;

    Results results;
    /// One more than the cores: the thread that starts jobs does not count, it has work of its own.
    tbb::global_control threads{tbb::global_control::max_allowed_parallelism,
                                static_cast<std::size_t>(tbb::info::default_concurrency()) + 1};
    /// Apart from the callers' arenas: a thread that waits there takes no job onto its stack.
    tbb::task_arena arena{tbb::task_arena::automatic, 0};
};

class KvfJobHandler::SaveTask {
public:
    unsigned int stateId;
    std::string path;
    std::string shapeName;
    std::vector<std::string> channelNames;
    int frame;
    CompressionQuality quality;
    unsigned long long jobHandle;
    std::unique_ptr<PrivateServer> copy{};  ///< null if the caller's own server is saved

    KvfJobResult result() const { return {0, kRunning, frame, path, shapeName}; }
    /// Whether the work succeeded.
    bool execute() const
    {
        const auto server = copy ? nullptr : serverOf(stateId);
        const VoxelState* const state = copy ? &**copy : server.get();
        std::string resolved;
        return state && kvfSave(*state, path, shapeName, channelNames, frame, quality, resolved);
    }
    void release() { copy = nullptr; }
};

class KvfJobHandler::LoadTask {
public:
    unsigned int stateId;
    std::string path;
    unsigned long long jobHandle;

    KvfJobResult result() const
    {
        KvfReader reader;
        KVFInfo info{};
        const bool is_read =
            jobHandle != kNoHandle && reader.init(path) && loadKvfHeader(reader, info);
        return {0, kRunning, is_read ? info.frame : 0, path, is_read ? info.shapeName : ""};
    }
    bool execute() const
    {
        const auto server = serverOf(stateId);
        return server && kvfLoad(*server, path);
    }
    void release() {}
};

KvfJobHandler& KvfJobHandler::instance()
{
    static KvfJobHandler s_handler;
    return s_handler;
}

KvfJobHandler::KvfJobHandler()
{
    StateServerManager::instance();  // before the scheduler: what jobs need outlives the handler
    m_scheduler = std::make_unique<Scheduler>();
    m_scheduler->arena.initialize();
}

KvfJobHandler::~KvfJobHandler()
{
    wait();
}

void KvfJobHandler::wait()
{
    for (unsigned int count = m_unfinished; count != 0; count = m_unfinished) {
        m_unfinished.wait(count);
    }
}

/// The handle of a new task, entered in the table with its result if the task is tracked.
unsigned long long KvfJobHandler::nextHandle(bool in_track, const KvfJobResult& in_result,
                                             unsigned long long& out_job_handle)
{
    if (!in_track) {
        return kNoHandle;
    }
    out_job_handle = m_next_handle.fetch_add(1);
    m_scheduler->results.insert({out_job_handle, in_result});
    return out_job_handle;
}

void KvfJobHandler::setResult(unsigned long long in_job_handle, KvfJobResult in_result)
{
    Scheduler::Results::accessor entry;
    if (m_scheduler->results.find(entry, in_job_handle)) {
        entry->second = std::move(in_result);
    }
}

/// Hands a task to the scheduler's threads, together with its slot.
template <typename Task>
unsigned int KvfJobHandler::start(std::unique_ptr<Task> in_task, Slot& io_slot)
{
    struct Job {
        std::unique_ptr<Task> task;
        Slot slot;
    };
    const unsigned long long handle = in_task->jobHandle;
    std::shared_ptr<Job> job;
    try {
        job = std::make_shared<Job>();
    } catch (...) {
        setResult(handle, {0, kFailed, 0, {}, {}});
        return kFailed;
    }
    job->task = std::move(in_task);
    job->slot = std::move(io_slot);
    const auto run = [this, job, handle]() noexcept {
        KvfJobResult result;
        bool ok = false;
        try {
            // While it waits for its own loops, this thread takes no other job onto its stack.
            ok = tbb::this_task_arena::isolate([&] { return job->task->execute(); });
        } catch (...) {
            ok = false;
        }
        try {
            result = job->task->result();
        } catch (...) {
            ok = false;
        }
        result.status = ok ? kDone : kFailed;
        job->task->release();
        {
            const Slot slot = std::move(job->slot);
        }
        setResult(handle, std::move(result));  // last: who sees the result finds all else released
        if (--m_unfinished == 0) {
            m_unfinished.notify_all();
        }
    };
    s_wait_at_thread_end.touch();
    ++m_unfinished;
    try {
        m_scheduler->arena.enqueue(run);
    } catch (...) {
        run();
    }
    return kRunning;
}

unsigned int KvfJobHandler::save(unsigned int in_state_id, CompressionQuality in_quality,
                                 const std::string& in_path, bool in_copy,
                                 const std::string& in_shape_name,
                                 const std::vector<std::string>& in_channel_names, int in_frame,
                                 bool in_async, bool in_track, unsigned long long& out_job_handle)
{
    const auto server = serverOf(in_state_id);
    if (!server) {
        return kFailed;
    }
    Slot slot = in_async ? Slot(m_tasks_in_use) : Slot();
    if (!slot) {
        std::string resolved;
        return kvfSave(*server, in_path, in_shape_name, in_channel_names, in_frame, in_quality,
                       resolved)
                   ? kDone
                   : kFailed;
    }
    auto task = std::make_unique<SaveTask>(SaveTask{
        in_state_id, in_path, in_shape_name, in_channel_names, in_frame, in_quality, kNoHandle});
    if (in_copy) {
        bool is_copied = false;
        try {
            task->copy = std::make_unique<PrivateServer>();
            is_copied = copyShapeTo(*server, **task->copy, in_shape_name, in_channel_names);
        } catch (...) {
            is_copied = false;
        }
        if (!is_copied) {
            KvfError::fail(in_path, "shape \"" + in_shape_name + "\" cannot be copied");
            KvfJobResult result = task->result();
            result.status = kFailed;
            nextHandle(in_track, result, out_job_handle);
            return kFailed;
        }
    }
    task->jobHandle = nextHandle(in_track, task->result(), out_job_handle);
    return start(std::move(task), slot);
}

unsigned int KvfJobHandler::load(unsigned int in_state_id, const std::string& in_path,
                                 bool in_async, bool in_track, unsigned long long& out_job_handle)
{
    const auto server = serverOf(in_state_id);
    if (!server) {
        return kFailed;
    }
    Slot slot = in_async ? Slot(m_tasks_in_use) : Slot();
    if (!slot) {
        return kvfLoad(*server, in_path) ? kDone : kFailed;
    }
    auto task = std::make_unique<LoadTask>(LoadTask{in_state_id, in_path, kNoHandle});
    task->jobHandle = nextHandle(in_track, {0, kRunning, 0, in_path, ""}, out_job_handle);
    return start(std::move(task), slot);
}

bool KvfJobHandler::fetchResult(unsigned long long in_job_handle, KvfJobResult& out_result)
{
    Scheduler::Results::accessor entry;
    if (!m_scheduler->results.find(entry, in_job_handle)) {
        return false;
    }
    out_result = entry->second;
    return out_result.status != kRunning && m_scheduler->results.erase(entry);
}

namespace {

/// The id under which jobs find this very state.
unsigned int idOf(const VoxelState& in_state)
{
    const bool is_found = serverOf(in_state.getId()).get() == &in_state;
    return is_found ? in_state.getId() : StateServerManager::invalidId;
}

}  // namespace

unsigned int kvfSaveAsync(const VoxelState& in_state, const std::string& in_path, bool in_copy,
                          const std::string& in_shape_name,
                          const std::vector<std::string>& in_channel_names, int in_frame,
                          CompressionQuality in_quality, std::string& out_resolved_path)
{
    unsigned long long handle = kNoHandle;
    kvfResolvePath(in_path, in_frame, out_resolved_path);
    return KvfJobHandler::instance().save(idOf(in_state), in_quality, in_path, in_copy,
                                          in_shape_name, in_channel_names, in_frame, true, false,
                                          handle);
}

unsigned int kvfSaveAsync(const VoxelState& in_state, const std::string& in_path, bool in_copy,
                          const std::string& in_shape_name,
                          const std::vector<std::string>& in_channel_names, int in_frame,
                          CompressionQuality in_quality, std::string& out_resolved_path,
                          unsigned long long& out_job_handle)
{
    kvfResolvePath(in_path, in_frame, out_resolved_path);
    return KvfJobHandler::instance().save(idOf(in_state), in_quality, in_path, in_copy,
                                          in_shape_name, in_channel_names, in_frame, true, true,
                                          out_job_handle);
}

unsigned int kvfLoadAsync(VoxelState& io_state, const std::string& in_path)
{
    unsigned long long handle = kNoHandle;
    return KvfJobHandler::instance().load(idOf(io_state), in_path, true, false, handle);
}

unsigned int kvfLoadAsync(VoxelState& io_state, const std::string& in_path,
                          unsigned long long& out_job_handle)
{
    return KvfJobHandler::instance().load(idOf(io_state), in_path, true, true, out_job_handle);
}

bool kvfFetchResult(const unsigned long long& in_job_handle, KvfJobResult& out_result)
{
    return KvfJobHandler::instance().fetchResult(in_job_handle, out_result);
}

}  // namespace Skelvar
