#include <skelvar/base/SkelvarProfiler.h>

namespace Skelvar {

SkelvarProfiler::EventBegin SkelvarProfiler::eventBeginFunc = nullptr;
SkelvarProfiler::EventEnd SkelvarProfiler::eventEndFunc = nullptr;
SkelvarProfiler::AddCategory SkelvarProfiler::addCategoryFunc = nullptr;

int SkelvarProfiler::s_category_core = 0;
int SkelvarProfiler::s_category_solvers = 1;
int SkelvarProfiler::s_category_io = 2;
int SkelvarProfiler::s_color_core = 0x4c72b0;
int SkelvarProfiler::s_color_solvers = 0xdd8452;
int SkelvarProfiler::s_color_io = 0x55a868;

SkelvarProfiler::Scope::Scope(const char* in_name) : Scope(s_category_core, s_color_core, in_name)
{
}

SkelvarProfiler::Scope::Scope(int in_category, int in_color, const char* in_name)
{
    const EventBegin begin = eventBeginFunc;
    if (begin != nullptr) {
        m_event = begin(in_category, in_color, in_name, 0);
    }
}

SkelvarProfiler::Scope::~Scope()
{
    const EventEnd end = eventEndFunc;
    if (m_event != nullptr && end != nullptr) {
        end(m_event);
    }
}

}  // namespace Skelvar
