#pragma once

#include <skelvar/base/SamplerSpace.h>
#include <skelvar/sampling/SamplerPosition.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>
#include <skelvar/voxel/VoxelShape.h>

#include <algorithm>

namespace Skelvar::Detail {

/// A position in the tile that holds it.
struct TilePosition {
    TileIndex tile;
    vec3f cells;  ///< the position counted in the tile's cells from its corner
    float scale;  ///< side of a cell in coordinate units
};

/// Finds the tiles of positions, near ones fast. Belongs to one thread.
class TileFinder : private VoxelLayout::ConstAccessor {
public:
    /// Both must outlive the finder.
    TileFinder(SamplerSpace in_space, const VoxelShape& in_shape, const VoxelLayout& in_layout)
        : ConstAccessor(in_layout), m_shape(in_space == eWorldSpace ? &in_shape : nullptr)
    {
    }

    using ConstAccessor::layout;
    /// Stands at the tile last found.
    const VoxelLayout::ConstAccessor& accessor() const { return *this; }

    /// The deepest tile not deeper than `in_depth`. False, with nothing delivered, outside the tree
    /// and for NaN.
    bool find(const vec3f& in_position, int in_depth, TilePosition& out_position)
    {
        const vec3f p = m_shape == nullptr ? in_position : toTree(in_position);
        if (!isInDomain(p) || in_depth < 0) {
            return false;
        }
        const vec3i q = cellCoordinates(p);
        const TileIndex tile =
            nodeIndex<false>(q[0], q[1], q[2], std::min(in_depth, kMaxTileDepth));
        if (tile.first < 0) {
            return false;
        }
        const float scale = static_cast<float>(kTileSideLUT[tile.second + 1]);
        out_position.tile = tile;
        out_position.scale = scale;
        out_position.cells = {(p[0] - static_cast<float>(m_i)) / scale,
                              (p[1] - static_cast<float>(m_j)) / scale,
                              (p[2] - static_cast<float>(m_k)) / scale};
        return true;
    }

private:
    vec3f toTree(const vec3f& in_position) const
    {
        const vec3f p = orvel::Math::transformPoint(in_position, m_shape->toWorld().fromWorld);
        return p * (1.0f / layout().MVS());
    }

    const VoxelShape* m_shape;  ///< gives the way from the world; null for positions of the tree
};

}  // namespace Skelvar::Detail
