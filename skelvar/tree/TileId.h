#pragma once

#include <skelvar/base/ValueTypes.h>

#include <bit>

namespace Skelvar {

/// The lasting name of a tile: the path to it from the root tile. Seven digits of 7 bits, the digit
/// of depth d at bit (7 - d) * 7 + 15, and 15 low bits of zero. A digit is 0 below the tile's own
/// depth, else 1 + ci + 5 * (cj + 5 * ck), where ci, cj, ck, 0 to 4 each, is the tile's position in
/// its parent. The root tile is 0. An ancestor is numerically smaller than its descendants.
using TileId = unsigned long long;

/// No tile.
inline constexpr TileId kNoTile = ~0ULL;
/// The bits of an id that are always zero.
inline constexpr TileId kTileIdLowBits = 0x7FFF;

inline constexpr int kTileWidth = 5;   ///< cells, or children, of a tile along one axis
inline constexpr int kTileSize = 125;  ///< cells, or children, of a tile
inline constexpr int kMaxTileDepth = 7;
inline constexpr int kNumDepths = 8;
/// Coordinates run from -kTileOrigin to +kTileOrigin on each axis.
inline constexpr int kTileOrigin = 195312;

/// Side of a tile by depth, in coordinate units: 5^(8 - depth). The side of a cell of depth d is
/// entry d + 1, hence the ninth entry.
inline constexpr int kTileSideLUT[9] = {390625, 78125, 15625, 3125, 625, 125, 25, 5, 1};

/// Bit at which the digit of a depth, 1 to 7, starts.
constexpr int tileDigitShift(int in_depth)
{
    return (kMaxTileDepth - in_depth) * 7 + 15;
}

/// The digit of a depth, 1 to 7. 0 if the tile is less deep.
constexpr int tileDigit(TileId in_id, int in_depth)
{
    return static_cast<int>(in_id >> tileDigitShift(in_depth)) & 0x7F;
}

/// The id with all digits deeper than `in_depth`, 0 to 7, cleared.
constexpr TileId ancestorTile(TileId in_id, int in_depth)
{
    return in_depth == 0 ? 0 : in_id & (~0ULL << tileDigitShift(in_depth));
}

constexpr bool isTileCoordinate(int in_coordinate)
{
    return in_coordinate >= -kTileOrigin && in_coordinate <= kTileOrigin;
}

namespace Detail {

/// Adds the digit of `Depth` to the path and goes on to the next depth, down to `in_depth`.
/// The coordinates count from the corner of the tile that the path names so far.
template <int Depth>
constexpr TileId tilePath(unsigned in_x, unsigned in_y, unsigned in_z, int in_depth, TileId in_path)
{
    if constexpr (Depth <= kMaxTileDepth) {
        if (in_depth >= Depth) {
            constexpr unsigned side = kTileSideLUT[Depth];
            const unsigned ci = in_x / side;
            const unsigned cj = in_y / side;
            const unsigned ck = in_z / side;
            return tilePath<Depth + 1>(
                in_x - ci * side, in_y - cj * side, in_z - ck * side, in_depth,
                in_path | (1ULL + ci + 5 * (cj + 5 * ck)) << tileDigitShift(Depth));
        }
    }
    return in_path;
}

}  // namespace Detail

/// Id of the tile of a depth that holds the point. `kNoTile` if the depth is negative or a
/// coordinate is out of range; a depth above 7 counts as 7. For lookups whose depth is already
/// bounded.
constexpr TileId tileCoordsToFinestId(int in_i, int in_j, int in_k, int in_depth)
{
    if (in_depth < 0 || !isTileCoordinate(in_i) || !isTileCoordinate(in_j) ||
        !isTileCoordinate(in_k)) {
        return kNoTile;
    }
    return Detail::tilePath<1>(in_i + kTileOrigin, in_j + kTileOrigin, in_k + kTileOrigin, in_depth,
                               0);
}

/// Id of the tile of a depth that holds the point. `kNoTile` if the depth is outside 0 to 7 or a
/// coordinate is out of range.
constexpr TileId tileCoordsToId(int in_i, int in_j, int in_k, int in_depth)
{
    return in_depth > kMaxTileDepth ? kNoTile : tileCoordsToFinestId(in_i, in_j, in_k, in_depth);
}

/// Depth of the tile, found from its lowest digit that is not zero: 0 for the root.
constexpr int depthFromId(TileId in_id)
{
    const TileId digits = in_id >> 15;
    return digits == 0 ? 0 : kMaxTileDepth - std::countr_zero(digits) / 7;
}

/// Depth and minimum corner of the tile.
constexpr void idToTileCoords(TileId in_id, int& out_i, int& out_j, int& out_k, int& out_depth)
{
    out_i = out_j = out_k = -kTileOrigin;
    out_depth = depthFromId(in_id);
    for (int depth = out_depth; depth > 0; --depth) {
        const int slot = tileDigit(in_id, depth) - 1;
        out_i += slot % 5 * kTileSideLUT[depth];
        out_j += slot / 5 % 5 * kTileSideLUT[depth];
        out_k += slot / 25 * kTileSideLUT[depth];
    }
}

/// The child in a slot, 0 to 124. `kNoTile` for a tile of depth 7, which has no children.
constexpr TileId selectChild(TileId in_id, int in_slot)
{
    const int depth = depthFromId(in_id);
    if (depth == kMaxTileDepth) {
        return kNoTile;
    }
    return in_id | static_cast<TileId>(in_slot + 1) << tileDigitShift(depth + 1);
}

/// The child at a position, 0 to 4 on each axis.
constexpr TileId selectChild(TileId in_id, int in_ci, int in_cj, int in_ck)
{
    return selectChild(in_id, in_ci + 5 * (in_cj + 5 * in_ck));
}

/// The tile that holds this one, one depth up. `kNoTile` for the root.
constexpr TileId parentTile(TileId in_id)
{
    const int depth = depthFromId(in_id);
    return depth == 0 ? kNoTile : ancestorTile(in_id, depth - 1);
}

/// True if a is a proper ancestor of b, at any distance.
constexpr bool isParentTile(TileId in_a, TileId in_b)
{
    const int depth = depthFromId(in_a);
    return depth < depthFromId(in_b) && ancestorTile(in_b, depth) == ancestorTile(in_a, depth);
}

/// The smallest tile below the root tile that holds both points, else the root tile. `kNoTile` if a
/// coordinate is out of range.
constexpr TileId commonTile(const vec3i& in_a, const vec3i& in_b)
{
    const TileId a = tileCoordsToId(in_a[0], in_a[1], in_a[2], kMaxTileDepth);
    const TileId b = tileCoordsToId(in_b[0], in_b[1], in_b[2], kMaxTileDepth);
    if (a == kNoTile || b == kNoTile) {
        return kNoTile;
    }
    int depth = kMaxTileDepth;
    while (ancestorTile(a, depth) != ancestorTile(b, depth)) {
        --depth;
    }
    return ancestorTile(a, depth);
}

/// True if the word is the id of a tile: low bits zero, digits 1 to 125 from the top without a gap.
constexpr bool isTileId(TileId in_id)
{
    if ((in_id & kTileIdLowBits) != 0) {
        return false;
    }
    const int tile_depth = depthFromId(in_id);
    for (int depth = 1; depth <= tile_depth; ++depth) {
        const int digit = tileDigit(in_id, depth);
        if (digit < 1 || digit > kTileSize) {
            return false;
        }
    }
    return true;
}

}  // namespace Skelvar
