#include <skelvar/tree/VoxelLayoutNodeVisitor.h>

#include <stdexcept>

namespace Skelvar {

VoxelLayoutNodeVisitor* VoxelLayoutNodeVisitor::copy() const
{
    throw std::runtime_error("VoxelLayoutNodeVisitor::copy() not overridden");
}

void VoxelLayoutNodeVisitor::preVisit(VoxelLayoutNode* io_node, const TileIndex& in_index)
{
    preVisit(static_cast<const VoxelLayoutNode*>(io_node), in_index);
}

void VoxelLayoutNodeVisitor::postVisit(VoxelLayoutNode* io_node, const TileIndex& in_index)
{
    postVisit(static_cast<const VoxelLayoutNode*>(io_node), in_index);
}

bool VoxelLayoutNodeVisitor::visit(int, int, int)
{
    return true;
}

void VoxelLayoutNodeVisitor::preVisit(const VoxelLayoutNode*, const TileIndex&) {}

void VoxelLayoutNodeVisitor::postVisit(const VoxelLayoutNode*, const TileIndex&) {}

void VoxelLayoutNodeVisitor::join(const VoxelLayoutNodeVisitor&)
{
    throw std::runtime_error("VoxelLayoutNodeVisitor::join() not overridden");
}

}  // namespace Skelvar
