#include <skelvar/sampling/VoxelSamplerQBSplineTile.h>

#include <skelvar/sampling/VoxelSamplerQBSplineHalo.h>

#include <algorithm>
#include <bit>

namespace Skelvar {

namespace Detail {

namespace {

constexpr int kHaloStride[3] = {1, 7, 49};

/// The side, -1, 0 or 1, of a region on an axis.
constexpr int sideOf(int in_region, int in_axis)
{
    return (in_axis == 0 ? in_region : in_axis == 1 ? in_region / 3 : in_region / 9) % 3 - 1;
}

/// A box of values of a haloed tile, counted from 0 to 6.
struct HaloBox {
    int begin[3];
    int end[3];
};

constexpr HaloBox boxOf(int in_region)
{
    HaloBox box{};
    for (int axis = 0; axis < 3; ++axis) {
        const int side = sideOf(in_region, axis);
        box.begin[axis] = side < 0 ? 0 : side == 0 ? 2 : 5;
        box.end[axis] = side < 0 ? 2 : side == 0 ? 5 : 7;
    }
    return box;
}

/// Calls in_visit(x, y, z, value) for each value of a box.
template <typename T, typename Visit>
void forEachValue(const HaloBox& in_box, VoxelTile<T, 1, 5>& io_tile, const Visit& in_visit)
{
    for (int z = in_box.begin[2]; z < in_box.end[2]; ++z) {
        for (int y = in_box.begin[1]; y < in_box.end[1]; ++y) {
            for (int x = in_box.begin[0]; x < in_box.end[0]; ++x) {
                in_visit(x, y, z, io_tile(x + 7 * y + 49 * z));
            }
        }
    }
}

template <typename T>
void copyRegion(const HaloBox& in_box, const TileBlock<T>& in_block, VoxelTile<T, 1, 5>& io_tile)
{
    forEachValue(in_box, io_tile, [&](int in_x, int in_y, int in_z, T& out_value) {
        const AxisTap x = axisTap(in_x - 1);
        const AxisTap y = axisTap(in_y - 1);
        const AxisTap z = axisTap(in_z - 1);
        out_value = (*in_block[tilePlace(x.side, y.side, z.side)])(x.cell, y.cell, z.cell);
    });
}

/// The parent's values that a region is made of: the two planes beside the tile's boundary on an
/// axis with a side, and three around the tile's place on one without. x fastest, in `out_values`.
template <typename T>
void readParent(int in_region, const QBSplineBlock<T>& in_parent, T* out_values)
{
    HaloBox box{};
    for (int axis = 0; axis < 3; ++axis) {
        const int side = sideOf(in_region, axis);
        box.begin[axis] = side > 0 ? 1 : 0;
        box.end[axis] = side < 0 ? 2 : 3;
    }
    for (int z = box.begin[2]; z < box.end[2]; ++z) {
        for (int y = box.begin[1]; y < box.end[1]; ++y) {
            for (int x = box.begin[0]; x < box.end[0]; ++x) {
                *out_values++ = in_parent(x, y, z);
            }
        }
    }
}

template <typename T>
void fillFace(const HaloBox& in_box, int in_axis, const T (&in_samples)[18],
              VoxelTile<T, 1, 5>& io_tile)
{
    // The kernels count voxels from the tile's first, the box's position 1.
    int first[3] = {1, 1, 1};
    first[in_axis] = in_box.begin[in_axis];
    T* const low = io_tile.data() + first[0] + 7 * first[1] + 49 * first[2];
    T* const high = low + kHaloStride[in_axis];
    const int b = in_axis == 0 ? 1 : 0;
    const int c = in_axis == 2 ? 1 : 2;
    constexpr int kAlong[3][2] = {{2, 6}, {1, 6}, {1, 3}};
    constexpr int kAcross[3] = {1, 3, 9};
    interpolateQBSplineFace(in_samples, kAcross[in_axis], kAlong[in_axis],
                            {kHaloStride[b], kHaloStride[c]}, low, high, 1, 4);
}

template <typename T>
void fillEdge(const HaloBox& in_box, int in_along, const T (&in_values)[12],
              VoxelTile<T, 1, 5>& io_tile)
{
    // Strides of the values, along the edge and across it.
    const int values_along = in_along == 0 ? 1 : in_along == 1 ? 2 : 4;
    const int values_a = in_along == 0 ? 3 : 1;
    const int values_b = in_along == 2 ? 2 : 6;
    T samples[12];
    for (int n = 0; n < 12; ++n) {
        samples[n] =
            in_values[(n & 1) * values_a + (n >> 1 & 1) * values_b + (n >> 2) * values_along];
    }
    int first[3] = {in_box.begin[0], in_box.begin[1], in_box.begin[2]};
    first[in_along] = 1;
    T* const out = io_tile.data() + first[0] + 7 * first[1] + 49 * first[2];
    const int a = kHaloStride[in_along == 0 ? 1 : 0];
    const int b = kHaloStride[in_along == 2 ? 1 : 2];
    interpolateQBSplineEdge(samples, kHaloStride[in_along], {out, out + a, out + b, out + a + b}, 1,
                            4);
}

template <typename T>
void fillCorner(const HaloBox& in_box, const T (&in_values)[8], VoxelTile<T, 1, 5>& io_tile)
{
    using Traits = ValueTraits<T>;
    for (int m = 0; m < Traits::kMembers; ++m) {
        typename Traits::Member members[8];
        for (int n = 0; n < 8; ++n) {
            members[n] = Traits::member(in_values[n], m);
        }
        drawToMean(members);
        int n = 0;
        forEachValue(in_box, io_tile, [&](int, int, int, T& out_value) {
            Traits::member(out_value, m) = members[n++];
        });
    }
}

/// Writes one region of a tile, with the parent's values around its cell there.
template <typename T>
void fillRegion(int in_region, const QBSplineBlock<T>& in_parent, VoxelTile<T, 1, 5>& io_tile)
{
    const HaloBox box = boxOf(in_region);
    int sided = 0;
    int sided_axes = 0;  // of a face, its axis; of an edge, the sum of its two
    for (int axis = 0; axis < 3; ++axis) {
        if (sideOf(in_region, axis) != 0) {
            ++sided;
            sided_axes += axis;
        }
    }
    if (sided == 1) {
        T values[18];
        readParent(in_region, in_parent, values);
        fillFace(box, sided_axes, values, io_tile);
    } else if (sided == 2) {
        T values[12];
        readParent(in_region, in_parent, values);
        fillEdge(box, 3 - sided_axes, values, io_tile);
    } else {
        T values[8];
        readParent(in_region, in_parent, values);
        fillCorner(box, values, io_tile);
    }
}

/// A value of the haloed form of a tile without parent.
template <typename T>
const T& rootValue(int in_x, int in_y, int in_z, const T& in_background,
                   const VoxelTile<T, 0, 5>& in_tile)
{
    const auto is_inner = [](int in_place) { return in_place >= 2 && in_place <= 4; };
    return is_inner(in_x) && is_inner(in_y) && is_inner(in_z)
               ? in_tile(in_x - 1, in_y - 1, in_z - 1)
               : in_background;
}

}  // namespace

template <typename T>
void QBSplineHalos<T>::readAround(TileNeighbours& io_around, const vec3i& in_cell,
                                  QBSplineBlock<T>& out_block)
{
    const VoxelTile<T, 0, 5>* const tiles = m_channel->tilePtr(0, io_around.depth());
    const int i = in_cell[0];
    const int j = in_cell[1];
    const int k = in_cell[2];
    if (!io_around.hasParent()) {
        const T background = m_channel->backgroundValue();
        const VoxelTile<T, 0, 5>& tile = tiles[io_around.index()];
        for (int n = 0; n < 9; ++n) {
            const auto value = [&](int in_z) {
                return rootValue(i + n % 3, j + n / 3, k + in_z, background, tile);
            };
            out_block.setLine(n % 3, n / 3, value(0), value(1), value(2));
        }
        return;
    }
    const RegionSet touched = kTilesToward[regionOfCell(i, j, k)];
    const bool has_all = m_finder->hasAll(io_around, touched);
    out_block.take(valuesAround<T, 3>(io_around, {i, j, k}, 1, tiles));
    if (!has_all) {
        const ChildTile child = {{io_around.index(), io_around.depth()},
                                 io_around.parentIndex(),
                                 io_around.slotInParent()};
        readFromParent(child, in_cell, regionsFromParent(touched, io_around.present()), out_block);
    }
}

template <typename T>
void QBSplineHalos<T>::readFromParent(const ChildTile& in_child, const vec3i& in_cell,
                                      RegionSet in_regions, QBSplineBlock<T>& io_block)
{
    const auto [index, depth] = in_child.tile;
    Entry& entry = m_entries[depth];
    if (entry.tile != index) {
        entry.tile = index;
        entry.filled = 0;
    }
    const RegionSet wanted = in_regions & ~entry.filled;
    if (wanted != 0 && entry.filled == 0) {
        const int slot = in_child.slot;
        readAround(m_finder->at({in_child.parent, depth - 1}), {slot % 5, slot / 5 % 5, slot / 25},
                   entry.parent);
    }
    entry.filled |= wanted;
    for (RegionSet left = in_regions; left != 0; left &= left - 1) {
        const int region = std::countr_zero(left);
        if ((wanted >> region & 1) != 0) {
            fillRegion(region, entry.parent, entry.values);
        }
        HaloBox box = boxOf(region);
        for (int axis = 0; axis < 3; ++axis) {
            box.begin[axis] = std::max(box.begin[axis], in_cell[axis]);
            box.end[axis] = std::min(box.end[axis], in_cell[axis] + 3);
        }
        forEachValue(box, entry.values, [&](int in_x, int in_y, int in_z, const T& in_value) {
            io_block.set(in_x - in_cell[0], in_y - in_cell[1], in_z - in_cell[2], in_value);
        });
    }
}

#define SKELVAR_INSTANTIATE(T) template class QBSplineHalos<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Detail

template <typename T, int WIDTH>
void evalQBSplineHaloedRootTile(const T& in_background, const VoxelTile<T, 0, WIDTH>& in_tile,
                                VoxelTile<T, 1, WIDTH>* out_tile)
{
    const Detail::HaloBox all = {{0, 0, 0}, {7, 7, 7}};
    Detail::forEachValue(all, *out_tile, [&](int in_x, int in_y, int in_z, T& out_value) {
        out_value = Detail::rootValue(in_x, in_y, in_z, in_background, in_tile);
    });
}

template <typename T, int WIDTH>
void evalQBSplineHaloedTile(const VoxelTile<T, 1, WIDTH>& in_parent, int in_ci, int in_cj,
                            int in_ck, const TileBlock<T>& in_block,
                            VoxelTile<T, 1, WIDTH>* out_tile)
{
    Detail::TileSet present = 0;
    for (int n = 0; n < 27; ++n) {
        present |= in_block[n] != nullptr ? 1U << n : 0U;
    }
    constexpr Detail::RegionSet kAll = (1U << 27) - 1;
    const Detail::RegionSet from_parent = Detail::regionsFromParent(kAll, present);
    Detail::QBSplineBlock<T> parent;
    parent.template take<7, 49>(&in_parent(in_ci, in_cj, in_ck));
    for (int region = 0; region < 27; ++region) {
        if ((from_parent >> region & 1) != 0) {
            Detail::fillRegion(region, parent, *out_tile);
        } else {
            Detail::copyRegion(Detail::boxOf(region), in_block, *out_tile);
        }
    }
}

#define SKELVAR_INSTANTIATE(T)                                                           \
    template void evalQBSplineHaloedRootTile<T, 5>(const T&, const VoxelTile<T, 0, 5>&,  \
                                                   VoxelTile<T, 1, 5>*);                 \
    template void evalQBSplineHaloedTile<T, 5>(const VoxelTile<T, 1, 5>&, int, int, int, \
                                               const TileBlock<T>&, VoxelTile<T, 1, 5>*);
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
