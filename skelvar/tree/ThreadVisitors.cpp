#include <skelvar/tree/ThreadVisitors.h>

#include <skelvar/tree/VoxelLayoutNodeVisitor.h>

#include <tbb/enumerable_thread_specific.h>

namespace Skelvar {

struct ThreadVisitors::Copies {
    explicit Copies(const VoxelLayoutNodeVisitor& in_visitor)
        : visitors(
              [&in_visitor] { return std::shared_ptr<VoxelLayoutNodeVisitor>(in_visitor.copy()); })
    {
    }

    tbb::enumerable_thread_specific<std::shared_ptr<VoxelLayoutNodeVisitor>> visitors;
};

ThreadVisitors::ThreadVisitors(const VoxelLayoutNodeVisitor& in_visitor)
    : m_copies(std::make_unique<Copies>(in_visitor))
{
}

ThreadVisitors::~ThreadVisitors() = default;

VoxelLayoutNodeVisitor& ThreadVisitors::local()
{
    return *m_copies->visitors.local();
}

void ThreadVisitors::joinInto(VoxelLayoutNodeVisitor& io_visitor) const
{
    for (const std::shared_ptr<VoxelLayoutNodeVisitor>& copy : m_copies->visitors) {
        io_visitor.join(*copy);
    }
}

}  // namespace Skelvar
