#pragma once

#include <skelvar/sampling/FineTiles.h>

namespace Skelvar::Detail {

/// On each axis the parts that a value `in_step` above the place's cell has in the number of its
/// tile, of the eight, and in that of the cell there.
[[gnu::always_inline]] inline void tapsOf(const StencilPlace& in_place, int in_step,
                                          AxisInts& out_tile, AxisInts& out_cell)
{
    const AxisInts cell = in_place.cell + in_step;
    const AxisInts is_below = cell < 0;
    const AxisInts is_above = cell >= kTileWidth;
    out_tile = (in_place.reaches_below + is_below - is_above) * AxisInts{1, 2, 4, 0};
    out_cell = (cell + (is_below & kTileWidth) - (is_above & kTileWidth)) * AxisInts{1, 5, 25, 0};
}

/// The first value of each of the eight tiles of a place, of any other tile if that does not exist.
/// True if all exist.
template <typename T>
[[gnu::always_inline]] inline bool firstValues(const StencilPlace& in_place,
                                               const VoxelTile<T, 0, 5>* in_tiles,
                                               const T* (&out_first)[8])
{
    int indices = 0;
    for (int n = 0; n < 8; ++n) {
        const int index = *in_place.slot[n];
        indices |= index;
        out_first[n] = in_tiles[index & ~(index >> 31)].data();
    }
    return indices >= 0;
}

/// The N^3 values of a stencil, 2 to 4 on each axis, in the tiles of its place. Where a tile does
/// not exist any other stands in for it. Stale as soon as the tile is left. Holds of each place
/// along x the addresses in the first rows of its four tiles, so that a value is two loads.
template <typename T, int N>
class StencilAcross {
public:
    /// Takes up the values from `in_before` cells below the place's; `in_tiles` are those of its
    /// depth.
    [[gnu::always_inline]] void enter(const StencilPlace& in_place, int in_before,
                                      const VoxelTile<T, 0, 5>* in_tiles)
    {
        const T* first[8];
        m_exist = firstValues(in_place, in_tiles, first);
        for (int n = 0; n < N; ++n) {
            AxisInts tile;
            tapsOf(in_place, n - in_before, tile, m_cell[n]);
            m_pair[n] = tile >> 1;
            for (int pair = 0; pair < 4; ++pair) {
                m_rows[n][pair] = first[tile[0] + 2 * pair] + m_cell[n][0];
            }
        }
    }
    /// True if all eight tiles of the place exist.
    bool exist() const { return m_exist; }
    /// Has the values on their way, but for the middle of a row, which hardly ever has a line of
    /// its own. Inline, or the compiler drops the call as one without effect.
    [[gnu::always_inline]] void fetch() const
    {
        for (int n = 0; n < N * N; ++n) {
            __builtin_prefetch(&(*this)(0, n % N, n / N));
            __builtin_prefetch(&(*this)(N - 1, n % N, n / N));
        }
    }
    const T& operator()(int in_i, int in_j, int in_k) const
    {
        return m_rows[in_i][m_pair[in_j][1] + m_pair[in_k][2]][m_cell[in_j][1] + m_cell[in_k][2]];
    }

private:
    const T* m_rows[N][4];  ///< the tiles with y fastest
    AxisInts m_pair[N];     ///< of each value and axis, its part of the number of the tile there
    AxisInts m_cell[N];     ///< and of the cell there
    bool m_exist;
};

/// The same of eight values: all of them by their address.
template <typename T>
class StencilAcross<T, 2> {
public:
    [[gnu::always_inline]] void enter(const StencilPlace& in_place, int in_before,
                                      const VoxelTile<T, 0, 5>* in_tiles)
    {
        AxisInts tile[2];
        AxisInts cell[2];
        for (int n = 0; n < 2; ++n) {
            tapsOf(in_place, n - in_before, tile[n], cell[n]);
        }
        const EightSums tiles(tile[0], tile[1]);
        const EightSums cells(cell[0], cell[1]);
        const T* first[8];
        m_exist = firstValues(in_place, in_tiles, first);
        for (int n = 0; n < 8; ++n) {
            m_values[n] = first[tiles[n]] + cells[n];
        }
    }
    bool exist() const { return m_exist; }
    [[gnu::always_inline]] void fetch() const
    {
        for (const T* value : m_values) {
            __builtin_prefetch(value);
        }
    }
    const T& operator()(int in_i, int in_j, int in_k) const
    {
        return *m_values[in_i + 2 * in_j + 4 * in_k];
    }

private:
    const T* m_values[8];  ///< x fastest
    bool m_exist;
};

/// The place of a stencil, from `in_before` below its cell to `in_after` above, among tiles that
/// are known to exist.
template <typename T, int N>
inline StencilAcross<T, N> valuesAround(const TileNeighbours& in_around, const int (&in_cell)[3],
                                        int in_before, const VoxelTile<T, 0, 5>* in_tiles)
{
    constexpr AxisInts kStride = {1, 3, 9, 0};
    StencilPlace place;
    place.cell = AxisInts{in_cell[0], in_cell[1], in_cell[2], 0};
    const AxisInts is_below = place.cell < in_before;
    const AxisInts is_above = place.cell + (N - 1 - in_before) >= kTileWidth;
    place.reaches_below = -is_below;
    const EightSums tiles(is_below * kStride, -is_above * kStride);
    for (int n = 0; n < 8; ++n) {
        place.slot[n] = &in_around.neighbour(tilePlace(0, 0, 0) + tiles[n]);
    }
    StencilAcross<T, N> values;
    values.enter(place, in_before, in_tiles);
    return values;
}

}  // namespace Skelvar::Detail
