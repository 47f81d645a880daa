#pragma once

#include <orvel/Api.h>

#include <atomic>

namespace orvel::runtime {

/// A service table has seven entries.
inline constexpr int kServiceTableSize = 7;
/// The table's entry that points at the `orvel::compute::EvaluationParameters`.
inline constexpr int kEvaluationParametersEntry = 2;

/// The calling thread's service table; null until one is bound.
ORVEL_API void** GetLocalServiceTable();

/// Binds a table of `kServiceTableSize` entries to the calling thread, which borrows it. Null takes
/// it away.
ORVEL_API void SetLocalServiceTable(void** in_table);

/// The frame that the calling thread evaluates; 0 at its start.
ORVEL_API int GetCurrentFrame();

/// What a host does ahead of the evaluation of a frame on a thread.
ORVEL_API void SetCurrentFrame(int in_frame);

/// The runtime's log.
class ORVEL_API ILogger {
public:
    /// Whether graph nodes write their lines to standard output. Off at the start; any thread may
    /// switch it.
    static std::atomic<bool> m_isEnabled;
};

/// Binds a service table to the calling thread for a scope, and binds the former one again at its
/// end. Lives and dies on one thread.
class ORVEL_API ServiceTableScope {
public:
    explicit ServiceTableScope(void** in_table) : m_former(GetLocalServiceTable())
    {
        SetLocalServiceTable(in_table);
    }
    ~ServiceTableScope() { SetLocalServiceTable(m_former); }
    ServiceTableScope(const ServiceTableScope&) = delete;
    ServiceTableScope& operator=(const ServiceTableScope&) = delete;

private:
    void** m_former;
};

}  // namespace orvel::runtime
