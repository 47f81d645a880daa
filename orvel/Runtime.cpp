#include <orvel/Runtime.h>

namespace orvel::runtime {

namespace {

thread_local void** s_service_table = nullptr;
thread_local int s_current_frame = 0;

}  // namespace

std::atomic<bool> ILogger::m_isEnabled{false};

void** GetLocalServiceTable()
{
    return s_service_table;
}

void SetLocalServiceTable(void** in_table)
{
    s_service_table = in_table;
}

int GetCurrentFrame()
{
    return s_current_frame;
}

void SetCurrentFrame(int in_frame)
{
    s_current_frame = in_frame;
}

}  // namespace orvel::runtime
