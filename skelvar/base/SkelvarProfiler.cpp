#include <skelvar/base/SkelvarProfiler.h>

namespace Skelvar {

SkelvarProfiler::EventBegin SkelvarProfiler::eventBeginFunc = nullptr;
SkelvarProfiler::EventEnd SkelvarProfiler::eventEndFunc = nullptr;
SkelvarProfiler::AddCategory SkelvarProfiler::addCategoryFunc = nullptr;

int SkelvarProfiler::s_category_solvers = 0;
int SkelvarProfiler::s_category_parallel = 1;
int SkelvarProfiler::s_category_devonly = 2;
int SkelvarProfiler::s_color_solvers = 0xdd8452;
int SkelvarProfiler::s_color_parallel = 0x4c72b0;
int SkelvarProfiler::s_color_devonly = 0x8c8c8c;

SkelvarProfiler::Scope::Scope(const char* in_name)
    : Scope(s_category_parallel, s_color_parallel, in_name)
{
}

SkelvarProfiler::Scope::Scope(int in_category, int in_color, const char* in_name)
{
    const EventBegin begin = eventBeginFunc;
    if (begin != nullptr) {
        m_event = begin(in_category, in_color, in_name, 0);
        m_begun = true;
    }
}

SkelvarProfiler::Scope::~Scope()
{
    const EventEnd end = eventEndFunc;
    if (m_begun && end != nullptr) {
        end(m_event);
    }
}

}  // namespace Skelvar
