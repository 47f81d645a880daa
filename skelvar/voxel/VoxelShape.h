#pragma once

#include <skelvar/base/VoxelOffsetType.h>
#include <skelvar/voxel/TreeShape3DBase.h>

namespace Skelvar {

class VoxelLayout;

/// The shape whose channels are `VoxelChannel`s over a `VoxelLayout`.
class SKELVAR_API VoxelShape : public TreeShape3DBase {
public:
    using TreeShape3DBase::TreeShape3DBase;

    static const std::string& typeName();
    const TypeMetaBase* typeMeta() const override { return &m_typeMeta; }
    bool isCastableTo(const std::string& in_type_name) const override;

    /// The layout, or null if there is none or it is gone.
    std::shared_ptr<VoxelLayout> layoutPtr() const;
    /// Throws "VoxelShape.layout(): layout==null. Did you fetch it from state server?"
    VoxelLayout& layout() const;
    /// Throws "VoxelShape::setLayout() : in_layout is not a VoxelLayout" for any other layout.
    void setLayout(const std::shared_ptr<TreeLayout3DBase>& in_layout) override;

    /// Voxels of the layout, 125 a node; 0 without a layout.
    unsigned long long numVoxels() const;
    unsigned long long numVoxels(int in_depth) const;
    unsigned long long numElements() const override { return numVoxels(); }
    unsigned long long numElements(int in_depth) const override { return numVoxels(in_depth); }
    /// 125.
    unsigned long long numElements(const TileIndex& in_index) const override;

    using TreeShape3DBase::tsx;
    using TreeShape3DBase::wsx;
    /// World position of the value of the cell with minimum corner `in_point`, in a channel of this
    /// offset type: the offset is in cells of the depth.
    vec3f wsx(const vec3f& in_point, const VoxelOffsetType& in_offset, int in_depth) const;
    /// The inverse of that.
    vec3f tsx(const vec3f& in_point, const VoxelOffsetType& in_offset, int in_depth) const;

    std::shared_ptr<TreeShape3DBase> copy(bool in_copy_data, bool in_share) const override;
    void copyInto(const std::shared_ptr<TreeShape3DBase>& io_target, bool in_copy_data,
                  bool in_share) const override;
    static const TypeMeta<VoxelShape> m_typeMeta;
};

}  // namespace Skelvar
