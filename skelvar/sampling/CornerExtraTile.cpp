#include <skelvar/sampling/CornerExtraTile.h>

#include <skelvar/voxel/VoxelChannel.h>

#include <algorithm>

namespace Skelvar {

namespace {

/// Bit a of `in_n`: whether place n of the eight is on the high side of axis a.
constexpr int bit(int in_n, int in_axis)
{
    return in_n >> in_axis & 1;
}

/// The tiles of a depth at a tile and on its high sides, null where there is none.
void highSide(const VoxelLayoutNode& in_node, VoxelLayout::ConstAccessor& io_accessor,
              const VoxelChannel<float>& in_channel, const VoxelTile<float, 0, 5>* (&out_tiles)[8])
{
    const int side = kTileSideLUT[in_node.depth()];
    for (int n = 0; n < 8; ++n) {
        const TileIndex found = io_accessor.nodeIndex<true>(
            in_node.i() + bit(n, 0) * side, in_node.j() + bit(n, 1) * side,
            in_node.k() + bit(n, 2) * side, in_node.depth());
        out_tiles[n] = found.first >= 0 ? &in_channel.tile(found) : nullptr;
    }
}

/// The field one depth up at the eight corners of a tile's box, x fastest.
void boxCorners(const VoxelLayoutNode& in_node, const VoxelLayout& in_layout,
                VoxelLayout::ConstAccessor& io_accessor, const VoxelChannel<float>& in_channel,
                float (&out_corners)[8])
{
    std::fill_n(out_corners, 8, in_channel.backgroundValue());
    if (in_node.isRoot()) {
        return;
    }
    const VoxelLayoutNode& parent = in_layout.node(in_node.parent(), in_node.depth() - 1);
    const VoxelTile<float, 0, 5>* tiles[8];
    highSide(parent, io_accessor, in_channel, tiles);
    int own[3];
    parent.childIJK(in_node, own[0], own[1], own[2]);
    for (int n = 0; n < 8; ++n) {
        int cell[3];
        int tile = 0;
        for (int a = 0; a < 3; ++a) {
            cell[a] = own[a] + bit(n, a);
            tile |= cell[a] / kTileWidth << a;
            cell[a] %= kTileWidth;
        }
        if (tiles[tile] != nullptr) {
            out_corners[n] = (*tiles[tile])(cell[0], cell[1], cell[2]);
        }
    }
}

/// The value between the corners of the box: at a corner itself, on a line or on a plane.
float between(const float (&in_corners)[8], const int (&in_at)[3])
{
    int along[3];
    int num_along = 0;
    int low = 0;  // the corner of low coordinates on the axes along which is interpolated
    for (int a = 0; a < 3; ++a) {
        if (in_at[a] == kTileWidth) {
            low |= 1 << a;
        } else if (in_at[a] != 0) {
            along[num_along++] = a;
        }
    }
    if (num_along == 0) {
        return in_corners[low];
    }
    if (num_along == 1) {
        const int c = in_at[along[0]];
        return (static_cast<float>(kTileWidth - c) * in_corners[low] +
                static_cast<float>(c) * in_corners[low | 1 << along[0]]) /
               5.0f;
    }
    const int step_a = 1 << along[0];
    const int step_b = 1 << along[1];
    const float ta = static_cast<float>(in_at[along[0]]) / 5.0f;
    const float tb = static_cast<float>(in_at[along[1]]) / 5.0f;
    const float below = (1.0f - ta) * in_corners[low] + ta * in_corners[low | step_a];
    const float above =
        (1.0f - ta) * in_corners[low | step_b] + ta * in_corners[low | step_a | step_b];
    return (1.0f - tb) * below + tb * above;
}

}  // namespace

void evalCornerExtraTile(int in_tile_index, int in_depth, const VoxelLayout& in_layout,
                         VoxelLayout::ConstAccessor* io_accessor,
                         const VoxelChannel<float>& in_channel, VoxelTile<float, 0, 6>* out_tile)
{
    const VoxelLayoutNode& node = in_layout.node(in_tile_index, in_depth);
    const VoxelTile<float, 0, 5>* tiles[8];
    float corners[8];
    highSide(node, *io_accessor, in_channel, tiles);
    boxCorners(node, in_layout, *io_accessor, in_channel, corners);
    for (int n = 0; n < out_tile->size(); ++n) {
        const int at[3] = {n % 6, n / 6 % 6, n / 36};
        int tile = 0;
        for (int a = 0; a < 3; ++a) {
            tile |= at[a] / kTileWidth << a;
        }
        (*out_tile)(n) = tiles[tile] != nullptr ? (*tiles[tile])(at[0] % 5, at[1] % 5, at[2] % 5)
                                                : between(corners, at);
    }
}

}  // namespace Skelvar
