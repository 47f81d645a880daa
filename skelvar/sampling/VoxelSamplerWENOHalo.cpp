#include <skelvar/sampling/VoxelSamplerWENOHalo.h>

#include <algorithm>

namespace Skelvar::Detail {

template <typename T>
HalosWENO<T>::HalosWENO(TileFinder& io_finder, const VoxelChannel<T>& in_channel)
    : m_finder(&io_finder), m_channel(&in_channel), m_offset(in_channel.offsetType())
{
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
void HalosWENO<T>::readBlock(TileNeighbours& io_around, const int (&in_cell)[3],
                             BlockWENO& out_block)
{
    if (m_finder->hasAll(io_around, tilesOfStencil(in_cell))) {
        readBlockWENO(valuesAround<T, 4>(io_around, in_cell, 1, tilesOf(io_around)), out_block);
    } else {
        readMixed(io_around, in_cell, out_block);
    }
}

template <typename T>
void HalosWENO<T>::readMixed(TileNeighbours& io_around, const int (&in_cell)[3],
                             BlockWENO& out_block)
{
    const VoxelTile<T, 0, 5>* const tiles = tilesOf(io_around);
    Missing missing;
    for (int k = 0; k < 4; ++k) {
        for (int j = 0; j < 4; ++j) {
            for (int i = 0; i < 4; ++i) {
                const int x = in_cell[0] - 1 + i;
                const int y = in_cell[1] - 1 + j;
                const int z = in_cell[2] - 1 + k;
                if (m_finder->hasAll(io_around, tilesForValueWENO(m_offset, x, y, z))) {
                    const AxisTap at[3] = {axisTap(x), axisTap(y), axisTap(z)};
                    const int holder = tilePlace(at[0].side, at[1].side, at[2].side);
                    const VoxelTile<T, 0, 5>& tile = tiles[io_around.neighbour(holder)];
                    out_block.set(i, j, k, tile(at[0].cell, at[1].cell, at[2].cell));
                } else {
                    missing.position[missing.count++] = {x, y, z};
                }
            }
        }
    }
    makeValues(io_around, missing);
    const Entry& entry = m_entries[io_around.depth()];
    for (int n = 0; n < missing.count; ++n) {
        const vec3i& at = missing.position[n];
        out_block.set(at[0] - in_cell[0] + 1, at[1] - in_cell[1] + 1, at[2] - in_cell[2] + 1,
                      entry.values(at[0], at[1], at[2]));
    }
}

template <typename T>
void HalosWENO<T>::makeValues(const TileNeighbours& in_around, const Missing& in_missing)
{
    Entry& entry = m_entries[in_around.depth()];
    if (entry.tile != in_around.index()) {
        entry.tile = in_around.index();
        entry.made.reset();
    }
    if (!in_around.hasParent()) {
        for (int n = 0; n < in_missing.count; ++n) {
            const vec3i& at = in_missing.position[n];
            entry.values(at[0], at[1], at[2]) = m_channel->backgroundValue();
        }
        return;
    }
    const vec3i c = in_around.placeInParent();
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
                readBlock(m_finder->at({in_around.parentIndex(), in_around.depth() - 1}), cell,
                          parent_block);
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
