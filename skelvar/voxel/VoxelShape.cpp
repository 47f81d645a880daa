#include <skelvar/voxel/VoxelShape.h>

#include <skelvar/tree/VoxelLayout.h>

#include <stdexcept>

namespace Skelvar {

const TypeMeta<VoxelShape> VoxelShape::m_typeMeta{};

const std::string& VoxelShape::typeName()
{
    static const std::string& s_typeName = *new std::string("VoxelShape");
    return s_typeName;
}

bool VoxelShape::isCastableTo(const std::string& in_type_name) const
{
    return in_type_name == typeName() || TreeShape3DBase::isCastableTo(in_type_name);
}

std::shared_ptr<VoxelLayout> VoxelShape::layoutPtr() const
{
    return std::static_pointer_cast<VoxelLayout>(TreeShape3DBase::layoutPtr());
}

VoxelLayout& VoxelShape::layout() const
{
    const std::shared_ptr<VoxelLayout> layout = layoutPtr();
    if (!layout) {
        throw std::runtime_error(
            "VoxelShape.layout(): layout==null. Did you fetch it from state server?");
    }
    return *layout;
}

void VoxelShape::setLayout(const std::shared_ptr<TreeLayout3DBase>& in_layout)
{
    if (in_layout && in_layout->typeMeta()->typeName() != VoxelLayout::typeName()) {
        throw std::runtime_error("VoxelShape::setLayout() : in_layout is not a VoxelLayout");
    }
    TreeShape3DBase::setLayout(in_layout);
}

unsigned long long VoxelShape::numVoxels() const
{
    const std::shared_ptr<VoxelLayout> layout = layoutPtr();
    return layout ? static_cast<unsigned long long>(layout->numVoxels()) : 0;
}

unsigned long long VoxelShape::numVoxels(int in_depth) const
{
    const std::shared_ptr<VoxelLayout> layout = layoutPtr();
    return layout ? static_cast<unsigned long long>(kTileSize) * layout->numNodes(in_depth) : 0;
}

unsigned long long VoxelShape::numElements(const TileIndex&) const
{
    return kTileSize;
}

vec3f VoxelShape::wsx(const vec3f& in_point, const VoxelOffsetType& in_offset, int in_depth) const
{
    const float width = static_cast<float>(VoxelLayout::cellWidth(in_depth));
    return wsx(in_point + kVoxelOffset[in_offset & 7] * width);
}

vec3f VoxelShape::tsx(const vec3f& in_point, const VoxelOffsetType& in_offset, int in_depth) const
{
    const float width = static_cast<float>(VoxelLayout::cellWidth(in_depth));
    return tsx(in_point) - kVoxelOffset[in_offset & 7] * width;
}

std::shared_ptr<TreeShape3DBase> VoxelShape::copy(bool in_copy_data, bool in_share) const
{
    const auto shape = std::make_shared<VoxelShape>();
    copyShapeInto(*shape, in_copy_data, in_share);
    return shape;
}

void VoxelShape::copyInto(const std::shared_ptr<TreeShape3DBase>& io_target, bool in_copy_data,
                          bool in_share) const
{
    requireClass(io_target, typeName());
    copyShapeInto(*io_target, in_copy_data, in_share);
}

}  // namespace Skelvar
