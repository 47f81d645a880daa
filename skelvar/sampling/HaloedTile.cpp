#include <skelvar/sampling/HaloedTile.h>

#include <skelvar/sampling/LevelTransfer.h>

namespace Skelvar {

namespace {

using Detail::difference;
using Detail::reflection;
using Detail::sum;

enum Side : int { eLow = 0, eHigh = 1 };

/// Strides of a haloed tile, of a stored tile and of a block of tiles.
constexpr int kHaloed[3] = {1, 7, 49};
constexpr int kStored[3] = {1, 5, 25};
constexpr int kBlock[3] = {1, 3, 9};

/// The axes other than `in_axis`, the lower one first.
constexpr int lowerOther(int in_axis)
{
    return in_axis == 0 ? 1 : 0;
}
constexpr int upperOther(int in_axis)
{
    return in_axis == 2 ? 1 : 2;
}

constexpr bool isStaggered(VoxelOffsetType in_offset, int in_axis)
{
    return ((in_offset >> in_axis) & 1) != 0;
}

/// Plane of the halo on a side, the step into the tile from there, and the cell of a neighbour on
/// that side that lies in the plane.
constexpr int haloPlane(int in_side)
{
    return in_side == eLow ? 0 : 6;
}
constexpr int stepIn(int in_side)
{
    return in_side == eLow ? 1 : -1;
}
constexpr int adjacentCell(int in_side)
{
    return in_side == eLow ? 4 : 0;
}
constexpr int blockStep(int in_side)
{
    return in_side == eLow ? -1 : 1;
}

/// Offsets from one value to some others, by doubling: each axis that joins lets all that are
/// there appear once more, one step further. The axis that joined first is fastest.
struct Offsets {
    int at[8] = {0};
    int count = 1;

    void join(int in_step)
    {
        for (int n = 0; n < count; ++n) {
            at[count + n] = at[n] + in_step;
        }
        count *= 2;
    }
};

template <typename T>
void copyPlane(const T* in_source, int in_s1, int in_s2, int in_t1, int in_t2, T* out_target)
{
    for (int c2 = 0; c2 < 5; ++c2) {
        for (int c1 = 0; c1 < 5; ++c1) {
            out_target[c1 * in_t1 + c2 * in_t2] = in_source[c1 * in_s1 + c2 * in_s2];
        }
    }
}

/// The halo of one tile, in the making.
template <typename T>
class HaloBuilder {
public:
    HaloBuilder(VoxelOffsetType in_offset, const T* in_parent, const int (&in_cell)[3],
                const TileBlock<T>& in_block, T* out_halo)
        : m_offset(in_offset), m_parent(in_parent), m_block(in_block), m_halo(out_halo)
    {
        for (int a = 0; a < 3; ++a) {
            m_own[a] = in_cell[a] + 1;
        }
    }

    void face(int in_axis, int in_side);
    /// The edge along an axis, on the sides given of the lower and of the upper other axis.
    void edge(int in_along, int in_side_a, int in_side_b);
    void corner(const int (&in_side)[3]);

private:
    bool isLowStaggered(int in_axis, int in_side) const
    {
        return in_side == eLow && isStaggered(m_offset, in_axis);
    }
    /// Moves to the parent's planes across an axis on a side: the pair that meets at the tile's
    /// boundary for a centred axis, whose sum counts, and the one on it for a staggered one.
    void across(int in_axis, int in_side, int& io_start, Offsets& io_terms) const
    {
        if (isStaggered(m_offset, in_axis)) {
            io_start += (m_own[in_axis] + (in_side == eLow ? 0 : 1)) * kHaloed[in_axis];
        } else {
            io_start += (m_own[in_axis] + (in_side == eLow ? -1 : 0)) * kHaloed[in_axis];
            io_terms.join(kHaloed[in_axis]);
        }
    }
    /// Moves to the first sample along an axis; the number of samples.
    int along(int in_axis, int& io_start) const
    {
        const bool staggered = isStaggered(m_offset, in_axis);
        io_start += (m_own[in_axis] - (staggered ? 0 : 1)) * kHaloed[in_axis];
        return staggered ? 2 : 3;
    }
    T parentSum(int in_at, const Offsets& in_terms) const
    {
        T value = m_parent[in_at + in_terms.at[0]];
        for (int n = 1; n < in_terms.count; ++n) {
            value = sum(value, m_parent[in_at + in_terms.at[n]]);
        }
        return value;
    }
    void faceFromParent(int in_axis, int in_side);
    void edgeFromParent(int in_along, int in_side_a, int in_side_b, T* out_line);

    VoxelOffsetType m_offset;
    const T* m_parent;
    int m_own[3];  ///< the parent's plane above the tile, on each axis
    const TileBlock<T>& m_block;
    T* m_halo;
};

template <typename T>
void HaloBuilder<T>::face(int in_axis, int in_side)
{
    const auto* const neighbour = m_block[13 + blockStep(in_side) * kBlock[in_axis]];
    if (neighbour == nullptr) {
        faceFromParent(in_axis, in_side);
        return;
    }
    const int b = lowerOther(in_axis);
    const int c = upperOther(in_axis);
    copyPlane(neighbour->data() + adjacentCell(in_side) * kStored[in_axis], kStored[b], kStored[c],
              kHaloed[b], kHaloed[c],
              m_halo + haloPlane(in_side) * kHaloed[in_axis] + kHaloed[b] + kHaloed[c]);
}

template <typename T>
void HaloBuilder<T>::faceFromParent(int in_axis, int in_side)
{
    const int b = lowerOther(in_axis);
    const int c = upperOther(in_axis);
    const int stride = kHaloed[in_axis];
    Offsets terms;
    int start = 0;
    across(in_axis, in_side, start, terms);
    const int count_b = along(b, start);
    const int count_c = along(c, start);
    T samples[9];
    for (int n = 0; n < count_b * count_c; ++n) {
        samples[n] = parentSum(start + n % count_b * kHaloed[b] + n / count_b * kHaloed[c], terms);
    }

    // To the plane on the tile's boundary of a staggered axis, else to that of the halo.
    const bool low_staggered = isLowStaggered(in_axis, in_side);
    T* const plane = m_halo + haloPlane(in_side) * stride + kHaloed[b] + kHaloed[c];
    T* const inner = plane + stepIn(in_side) * stride;
    T* const target = low_staggered ? inner : plane;
    if (count_b == 2) {
        count_c == 2 ? Detail::interpolateFace<2, 2>(samples, kHaloed[b], kHaloed[c], target)
                     : Detail::interpolateFace<2, 3>(samples, kHaloed[b], kHaloed[c], target);
    } else {
        count_c == 2 ? Detail::interpolateFace<3, 2>(samples, kHaloed[b], kHaloed[c], target)
                     : Detail::interpolateFace<3, 3>(samples, kHaloed[b], kHaloed[c], target);
    }
    if (isStaggered(m_offset, in_axis) && !low_staggered) {
        return;
    }
    for (int n = 0; n < 25; ++n) {
        const int at = n % 5 * kHaloed[b] + n / 5 * kHaloed[c];
        plane[at] = low_staggered ? reflection(inner[at], inner[at + stride])
                                  : difference(plane[at], inner[at]);
    }
}

template <typename T>
void HaloBuilder<T>::edge(int in_along, int in_side_a, int in_side_b)
{
    const int a = lowerOther(in_along);
    const int b = upperOther(in_along);
    const int stride = kHaloed[in_along];
    T* const line =
        m_halo + haloPlane(in_side_a) * kHaloed[a] + haloPlane(in_side_b) * kHaloed[b] + stride;
    const int to_a = blockStep(in_side_a) * kBlock[a];
    const int to_b = blockStep(in_side_b) * kBlock[b];
    const auto* const diagonal = m_block[13 + to_a + to_b];
    if (diagonal != nullptr && m_block[13 + to_a] != nullptr && m_block[13 + to_b] != nullptr) {
        const T* const source = diagonal->data() + adjacentCell(in_side_a) * kStored[a] +
                                adjacentCell(in_side_b) * kStored[b];
        for (int c = 0; c < 5; ++c) {
            line[c * stride] = source[c * kStored[in_along]];
        }
    } else if (isLowStaggered(a, in_side_a) || isLowStaggered(b, in_side_b)) {
        const int inward = stepIn(in_side_a) * kHaloed[a] + stepIn(in_side_b) * kHaloed[b];
        for (int c = 0; c < 5; ++c) {
            T* const value = line + c * stride;
            *value = reflection(value[inward], value[2 * inward]);
        }
    } else {
        edgeFromParent(in_along, in_side_a, in_side_b, line);
    }
}

template <typename T>
void HaloBuilder<T>::edgeFromParent(int in_along, int in_side_a, int in_side_b, T* out_line)
{
    const int a = lowerOther(in_along);
    const int b = upperOther(in_along);
    const int stride = kHaloed[in_along];
    Offsets terms;
    int start = 0;
    across(a, in_side_a, start, terms);
    across(b, in_side_b, start, terms);
    const int count = along(in_along, start);
    T samples[3];
    for (int n = 0; n < count; ++n) {
        samples[n] = parentSum(start + n * stride, terms);
    }

    const auto transfer = [&](const auto*... in_inner) {
        count == 2 ? Detail::transferEdge<2>(samples, stride, out_line, in_inner...)
                   : Detail::transferEdge<3>(samples, stride, out_line, in_inner...);
    };
    const T* const inner_a = out_line + stepIn(in_side_a) * kHaloed[a];
    const T* const inner_b = out_line + stepIn(in_side_b) * kHaloed[b];
    const bool staggered_a = isStaggered(m_offset, a);
    const bool staggered_b = isStaggered(m_offset, b);
    if (staggered_a && staggered_b) {
        transfer();
    } else if (staggered_a) {
        transfer(inner_b);
    } else if (staggered_b) {
        transfer(inner_a);
    } else {
        const T* const inner_both = inner_b + stepIn(in_side_a) * kHaloed[a];
        transfer(inner_b, inner_a, inner_both);
    }
}

template <typename T>
void HaloBuilder<T>::corner(const int (&in_side)[3])
{
    int at = 0;
    int cell = 0;
    int inward = 0;
    int start = 0;
    bool low_staggered = false;
    Offsets terms;   // of the parent
    Offsets block;   // of the voxels that share the corner
    Offsets around;  // of the tiles that touch it
    for (int a = 0; a < 3; ++a) {
        const int step = stepIn(in_side[a]) * kHaloed[a];
        at += haloPlane(in_side[a]) * kHaloed[a];
        cell += adjacentCell(in_side[a]) * kStored[a];
        inward += step;
        low_staggered = low_staggered || isLowStaggered(a, in_side[a]);
        across(a, in_side[a], start, terms);
        if (!isStaggered(m_offset, a)) {
            block.join(step);
        }
        around.join(blockStep(in_side[a]) * kBlock[a]);
    }
    bool all_exist = true;
    for (const int tile : around.at) {
        all_exist = all_exist && m_block[13 + tile] != nullptr;
    }

    T& value = m_halo[at];
    if (all_exist) {
        value = m_block[13 + around.at[7]]->data()[cell];
    } else if (low_staggered) {
        value = reflection(m_halo[at + inward], m_halo[at + 2 * inward]);
    } else {
        value = parentSum(start, terms);
        for (int n = block.count - 1; n > 0; --n) {
            value = difference(value, m_halo[at + block.at[n]]);
        }
    }
}

}  // namespace

template <typename T, int WIDTH>
void evalContinuousHaloedRootTile(VoxelOffsetType in_offset, const T& in_background,
                                  const VoxelTile<T, 0, WIDTH>& in_tile,
                                  VoxelTile<T, 1, WIDTH>* out_tile)
{
    static_assert(WIDTH == 5);
    out_tile->fillCore(in_tile);
    T* const halo = out_tile->data();
    for (int a = 0; a < 3; ++a) {
        const int s1 = kHaloed[lowerOther(a)];
        const int s2 = kHaloed[upperOther(a)];
        const int s = kHaloed[a];
        for (int n = 0; n < 25; ++n) {
            T* const row = halo + (1 + n % 5) * s1 + (1 + n / 5) * s2;
            if (isStaggered(in_offset, a)) {
                row[0] = row[s] = row[6 * s] = in_background;
            } else {
                row[0] = reflection(in_background, row[s]);
                row[6 * s] = reflection(in_background, row[5 * s]);
            }
        }
    }
    for (int along = 2; along >= 0; --along) {
        const int a = lowerOther(along);
        const int b = upperOther(along);
        const bool staggered = isStaggered(in_offset, a) || isStaggered(in_offset, b);
        for (int n = 0; n < 20; ++n) {
            const int side_a = n & 1;
            const int side_b = n >> 1 & 1;
            T* const value = halo + haloPlane(side_a) * kHaloed[a] +
                             haloPlane(side_b) * kHaloed[b] + (1 + n / 4) * kHaloed[along];
            *value = staggered ? in_background
                               : value[stepIn(side_a) * kHaloed[a] + stepIn(side_b) * kHaloed[b]];
        }
    }
    for (int n = 0; n < 8; ++n) {
        int at = 0;
        int inward = 0;
        for (int a = 0; a < 3; ++a) {
            at += haloPlane(n >> a & 1) * kHaloed[a];
            inward += stepIn(n >> a & 1) * kHaloed[a];
        }
        halo[at] = in_offset != eOffsetCentre ? in_background
                                              : reflection(in_background, halo[at + inward]);
    }
}

template <typename T, int WIDTH>
void evalContinuousHaloedTile(VoxelOffsetType in_offset, const VoxelTile<T, 1, WIDTH>& in_parent,
                              int in_ci, int in_cj, int in_ck, const TileBlock<T>& in_block,
                              VoxelTile<T, 1, WIDTH>* out_tile)
{
    static_assert(WIDTH == 5);
    out_tile->fillCore(*in_block[13]);
    HaloBuilder<T> builder(in_offset, in_parent.data(), {in_ci, in_cj, in_ck}, in_block,
                           out_tile->data());
    for (int n = 0; n < 6; ++n) {
        builder.face(n / 2, n % 2);
    }
    for (int along = 2; along >= 0; --along) {
        for (int n = 0; n < 4; ++n) {
            builder.edge(along, n & 1, n >> 1);
        }
    }
    for (int n = 0; n < 8; ++n) {
        builder.corner({n & 1, n >> 1 & 1, n >> 2});
    }
}

#define SKELVAR_INSTANTIATE(T)                                                                    \
    template void evalContinuousHaloedRootTile<T, 5>(                                             \
        VoxelOffsetType, const T&, const VoxelTile<T, 0, 5>&, VoxelTile<T, 1, 5>*);               \
    template void evalContinuousHaloedTile<T, 5>(VoxelOffsetType, const VoxelTile<T, 1, 5>&, int, \
                                                 int, int, const TileBlock<T>&,                   \
                                                 VoxelTile<T, 1, 5>*);
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
