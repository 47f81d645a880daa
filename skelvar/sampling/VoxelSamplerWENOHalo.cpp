#include <skelvar/sampling/VoxelSamplerWENOHalo.h>

#include <algorithm>

namespace Skelvar::Detail {

template <typename T>
HalosWENO<T>::HalosWENO(const VoxelLayout::ConstAccessor& in_near,
                        const VoxelChannel<T>& in_channel)
    : m_near(&in_near), m_channel(&in_channel), m_offset(in_channel.offsetType())
{
}

template <typename T>
TileNeighbours<T>& HalosWENO<T>::neighbours(const TileIndex& in_tile)
{
    Entry& entry = m_entries[in_tile.second];
    if (entry.around.index() != in_tile.first) {
        fetchTile(m_channel->tile(in_tile));
        entry.around.enter(in_tile, m_near->layout(), *m_channel);
        entry.made.reset();
    }
    return entry.around;
}

template <typename T>
TileSet HalosWENO<T>::tilesOfStencil(const int (&in_cell)[3]) const
{
    int side[3];
    TileSet tiles = 0;
    for (int axis = 0; axis < 3; ++axis) {
        side[axis] = in_cell[axis] < 1 ? -1 : in_cell[axis] > 2 ? 1 : 0;
        if ((m_offset >> axis & 1) != 0 && in_cell[axis] < 2) {
            tiles |= 1U << tilePlace(axis == 0 ? -1 : 0, axis == 1 ? -1 : 0, axis == 2 ? -1 : 0);
        }
    }
    return tiles | kTilesToward[tilePlace(side[0], side[1], side[2])];
}

template <typename T>
void HalosWENO<T>::readBlock(const TileIndex& in_tile, const int (&in_cell)[3],
                             BlockWENO& out_block)
{
    TileNeighbours<T>& around = neighbours(in_tile);
    const auto is_inside = [](int in_c) { return in_c == 1 || in_c == 2; };
    if (!around.hasAll(tilesOfStencil(in_cell), *m_near, *m_channel)) {
        readMixed(in_tile, in_cell, out_block);
    } else if (is_inside(in_cell[0]) && is_inside(in_cell[1]) && is_inside(in_cell[2])) {
        readBlockWENO<5, 25>(&around.tile()(in_cell[0] - 1, in_cell[1] - 1, in_cell[2] - 1),
                             out_block);
    } else {
        readAcross(around.block(), in_cell, out_block);
    }
}

template <typename T>
void HalosWENO<T>::readAcross(const TileBlock<T>& in_block, const int (&in_cell)[3],
                              BlockWENO& out_block) const
{
    AxisTap x[4];
    for (int i = 0; i < 4; ++i) {
        x[i] = axisTap(in_cell[0] - 1 + i);
    }
    int row = 0;
    for (int k = -1; k <= 2; ++k) {
        const AxisTap z = axisTap(in_cell[2] + k);
        for (int j = -1; j <= 2; ++j, ++row) {
            const AxisTap y = axisTap(in_cell[1] + j);
            const VoxelTile<T, 0, 5>* const* const tiles = &in_block[tilePlace(0, y.side, z.side)];
            const int first = 5 * y.cell + 25 * z.cell;
            for (int i = 0; i < 4; ++i) {
                out_block[i][row] = (*tiles[x[i].side])(first + x[i].cell);
            }
        }
    }
}

template <typename T>
void HalosWENO<T>::readMixed(const TileIndex& in_tile, const int (&in_cell)[3],
                             BlockWENO& out_block)
{
    Entry& entry = m_entries[in_tile.second];
    Missing missing;
    float* place_of_missing[64];
    int row = 0;
    for (int z = in_cell[2] - 1; z <= in_cell[2] + 2; ++z) {
        for (int y = in_cell[1] - 1; y <= in_cell[1] + 2; ++y, ++row) {
            for (int i = 0; i < 4; ++i) {
                const int x = in_cell[0] - 1 + i;
                const TileSet tiles = tilesForValueWENO(m_offset, x, y, z);
                if (entry.around.hasAll(tiles, *m_near, *m_channel)) {
                    const AxisTap at[3] = {axisTap(x), axisTap(y), axisTap(z)};
                    const int holder = tilePlace(at[0].side, at[1].side, at[2].side);
                    out_block[i][row] =
                        (*entry.around.block()[holder])(at[0].cell, at[1].cell, at[2].cell);
                } else {
                    place_of_missing[missing.count] = &out_block[i][row];
                    missing.position[missing.count++] = {x, y, z};
                }
            }
        }
    }
    makeValues(in_tile, missing);
    for (int n = 0; n < missing.count; ++n) {
        const vec3i& at = missing.position[n];
        *place_of_missing[n] = entry.values(at[0], at[1], at[2]);
    }
}

template <typename T>
void HalosWENO<T>::makeValues(const TileIndex& in_tile, const Missing& in_missing)
{
    Entry& entry = m_entries[in_tile.second];
    if (!entry.around.hasParent()) {
        for (int n = 0; n < in_missing.count; ++n) {
            const vec3i& at = in_missing.position[n];
            entry.values(at[0], at[1], at[2]) = m_channel->backgroundValue();
        }
        return;
    }
    const vec3i& c = entry.around.placeInParent();
    int read_cell[3] = {-2, -2, -2};  // whose stencil `parent_block` holds; none yet
    BlockWENO parent_block;
    // The values lie in at most two of the parent's cells on each axis. One pass for each of these
    // eight at most, so that each stencil of the parent is read once.
    for (int first = 0; first < in_missing.count; ++first) {
        for (int n = first; n < in_missing.count; ++n) {
            const vec3i& at = in_missing.position[n];
            const int number = (at[0] + 2) + kSide * ((at[1] + 2) + kSide * (at[2] + 2));
            if (entry.made[number]) {
                continue;
            }
            int cell[3];
            float fraction[3];
            for (int axis = 0; axis < 3; ++axis) {
                const ParentPlaceWENO place =
                    parentPlaceWENO((m_offset >> axis & 1) != 0, c[axis], at[axis]);
                cell[axis] = place.cell;
                fraction[axis] = place.fraction;
            }
            if (n == first) {
                std::copy_n(cell, 3, read_cell);
                readBlock({entry.around.parentIndex(), in_tile.second - 1}, cell, parent_block);
            } else if (!std::equal(cell, cell + 3, read_cell)) {
                continue;
            }
            entry.values(number) =
                interpolateBlockWENO3(parent_block, fraction[0], fraction[1], fraction[2]);
            entry.made.set(number);
        }
    }
}

template class HalosWENO<float>;

}  // namespace Skelvar::Detail
