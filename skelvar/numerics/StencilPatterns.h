#pragma once

#include <skelvar/numerics/SparseMatrixTile.h>

namespace Skelvar::Detail {

/// Arrays of the pattern of a block, of `Rows` rows and `Entries` entries.
template <int Rows, int Entries>
struct StencilPattern {
    unsigned int row_starts[Rows + 1];
    unsigned short row_ids[Rows];
    unsigned short column_ids[Entries];
};

inline constexpr int kCoreRows = kTileSize;
/// Each cell, and twice each of the 3 * 100 faces between two cells.
inline constexpr int kCoreEntries = kTileSize + 6 * 100;
inline constexpr int kSideRows = kTileWidth * kTileWidth;

using CorePattern = StencilPattern<kCoreRows, kCoreEntries>;
using SidePattern = StencilPattern<kSideRows, kSideRows>;

/// Steps of the position along the axes.
inline constexpr int kAxisStep[3] = {1, kTileWidth, kTileWidth* kTileWidth};

constexpr CorePattern makeCorePattern()
{
    CorePattern pattern{};
    int entry = 0;
    for (int cell = 0; cell < kCoreRows; ++cell) {
        pattern.row_ids[cell] = static_cast<unsigned short>(cell);
        pattern.row_starts[cell] = entry;
        for (int axis = 2; axis >= 0; --axis) {
            if (cell / kAxisStep[axis] % kTileWidth > 0) {
                pattern.column_ids[entry++] = static_cast<unsigned short>(cell - kAxisStep[axis]);
            }
        }
        pattern.column_ids[entry++] = static_cast<unsigned short>(cell);
        for (int axis = 0; axis < 3; ++axis) {
            if (cell / kAxisStep[axis] % kTileWidth < kTileWidth - 1) {
                pattern.column_ids[entry++] = static_cast<unsigned short>(cell + kAxisStep[axis]);
            }
        }
    }
    pattern.row_starts[kCoreRows] = entry;
    return pattern;
}

/// The cells of one side of a tile, with the cells of the opposite side of the tile beyond.
constexpr SidePattern makeSidePattern(int in_axis, bool in_high)
{
    SidePattern pattern{};
    int entry = 0;
    const int across = (kTileWidth - 1) * kAxisStep[in_axis];
    for (int cell = 0; cell < kTileSize; ++cell) {
        if (cell / kAxisStep[in_axis] % kTileWidth == (in_high ? kTileWidth - 1 : 0)) {
            pattern.row_ids[entry] = static_cast<unsigned short>(cell);
            pattern.column_ids[entry] =
                static_cast<unsigned short>(in_high ? cell - across : cell + across);
            pattern.row_starts[entry] = entry;
            ++entry;
        }
    }
    pattern.row_starts[kSideRows] = entry;
    return pattern;
}

inline constexpr CorePattern kCorePattern = makeCorePattern();
inline constexpr SidePattern kSidePatterns[6] = {
    makeSidePattern(0, false), makeSidePattern(0, true),  makeSidePattern(1, false),
    makeSidePattern(1, true),  makeSidePattern(2, false), makeSidePattern(2, true)};

/// Steps along the axes among the cells of a tile with a rim of zeros: one place behind each line,
/// a line behind each slab, and a slab before and behind all.
inline constexpr int kRimStep[3] = {1, kTileWidth + 1, (kTileWidth + 1) * (kTileWidth + 1)};
inline constexpr int kRimPlaces = (kTileWidth + 2) * kRimStep[2];

constexpr int rimPlace(int in_cell)
{
    int place = kRimStep[2];
    for (int axis = 0; axis < 3; ++axis) {
        place += in_cell / kAxisStep[axis] % kTileWidth * kRimStep[axis];
    }
    return place;
}

/// Where a cell stands in its tile along an axis.
enum Place { eFirst, eInner, eLast };

template <int Rows, int Entries>
constexpr SparseMatrixPattern view(const StencilPattern<Rows, Entries>& in_pattern)
{
    return {in_pattern.row_starts, in_pattern.row_ids, in_pattern.column_ids};
}

}  // namespace Skelvar::Detail
