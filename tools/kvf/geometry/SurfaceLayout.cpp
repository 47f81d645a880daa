#include <tools/kvf/geometry/SurfaceLayout.h>

#include <skelvar/tree/TileId.h>

#include <tools/kvf/ToolError.h>

#include <tbb/parallel_for.h>

#include <algorithm>
#include <bitset>
#include <cmath>
#include <cstdio>

namespace Skelvar::Tool {

namespace {

/// Position of a cell or of a child in its tile.
vec3i slotOffset(int in_slot)
{
    return {in_slot % kTileWidth, in_slot / kTileWidth % kTileWidth,
            in_slot / (kTileWidth * kTileWidth)};
}

/// Decides which tiles are near the surface. All its lengths are world units.
class NearTest {
public:
    NearTest(const TriangleBvh& in_surface, float in_voxel_size, float in_band)
        : m_surface(in_surface), m_voxel_size(in_voxel_size), m_band(in_band)
    {
    }

    /// True if the tile holds a cell whose centre is within the band of cells of its own depth.
    /// `io_guess` is a triangle nearby, or -1.
    bool isNear(const vec3i& in_corner, int in_depth, int& io_guess) const
    {
        const float cell = m_voxel_size * static_cast<float>(kTileSideLUT[in_depth + 1]);
        const float reach = m_band * cell;
        const vec3f middle = centre(in_corner, in_depth);
        const auto hit = m_surface.closest(middle, io_guess);
        io_guess = hit.triangle;
        if (hit.distance <= reach) {
            return true;
        }
        if (hit.distance > reach + 2.0f * std::sqrt(3.0f) * cell * 1.00001f) {
            return false;  // no cell centre of the tile is further from its middle than that
        }
        // The cell nearest to the surface's closest point usually settles it.
        vec3f nearest;
        for (int a = 0; a < 3; ++a) {
            float point = 0.0f;
            for (int c = 0; c < 3; ++c) {
                point += hit.weights[c] * m_surface.triangle(hit.triangle).corner[c][a];
            }
            const float steps = std::round((point - middle[a]) / cell);
            nearest[a] = middle[a] + std::clamp(steps, -2.0f, 2.0f) * cell;
        }
        return isWithin(nearest, reach, io_guess) ||
               isAnyCellWithin(in_corner, in_depth, reach, io_guess);
    }

private:
    /// The middle of a tile, or of a cell as a tile of the next depth.
    vec3f centre(const vec3i& in_corner, int in_depth) const
    {
        const float half = 0.5f * static_cast<float>(kTileSideLUT[in_depth]);
        vec3f point;
        for (int a = 0; a < 3; ++a) {
            point[a] = (static_cast<float>(in_corner[a]) + half) * m_voxel_size;
        }
        return point;
    }

    bool isWithin(const vec3f& in_point, float in_reach, int in_guess) const
    {
        return m_surface.closest(in_point, in_guess).distance <= in_reach;
    }

    bool isAnyCellWithin(const vec3i& in_corner, int in_depth, float in_reach, int in_guess) const
    {
        for (int slot = 0; slot < kTileSize; ++slot) {
            const vec3i cell = in_corner + slotOffset(slot) * kTileSideLUT[in_depth + 1];
            if (isWithin(centre(cell, in_depth + 1), in_reach, in_guess)) {
                return true;
            }
        }
        return false;
    }

    const TriangleBvh& m_surface;
    float m_voxel_size;
    float m_band;
};

/// The near ones of the tiles' children, which are of `in_depth`, in order of parent and slot.
std::vector<vec3i> refine(const std::vector<vec3i>& in_parents, int in_depth,
                          const NearTest& in_test)
{
    const auto child = [&](std::size_t in_parent, int in_slot) {
        return in_parents[in_parent] + slotOffset(in_slot) * kTileSideLUT[in_depth];
    };
    std::vector<std::bitset<kTileSize>> kept(in_parents.size());
    tbb::parallel_for(std::size_t(0), in_parents.size(), [&](std::size_t in_parent) {
        int guess = -1;
        for (int slot = 0; slot < kTileSize; ++slot) {
            kept[in_parent][slot] = in_test.isNear(child(in_parent, slot), in_depth, guess);
        }
    });
    std::vector<vec3i> children;
    for (std::size_t parent = 0; parent < in_parents.size(); ++parent) {
        for (int slot = 0; slot < kTileSize; ++slot) {
            if (kept[parent][slot]) {
                children.push_back(child(parent, slot));
            }
        }
    }
    return children;
}

/// The box of finest cells around the surface and its band. Throws if it reaches out of the tree.
void findCellBounds(const TriangleBvh& in_surface, float in_voxel_size, float in_band,
                    vec3i& out_lo, vec3i& out_hi)
{
    double furthest = 0.0;
    for (int a = 0; a < 3; ++a) {
        double lo = double(in_surface.triangle(0).corner[0][a]), hi = lo;
        for (int t = 0; t < in_surface.numTriangles(); ++t) {
            for (const vec3f& corner : in_surface.triangle(t).corner) {
                lo = std::min(lo, double(corner[a]));
                hi = std::max(hi, double(corner[a]));
            }
        }
        furthest = std::max({furthest, -lo, hi});
        const double room = kTileOrigin;
        out_lo[a] = static_cast<int>(
            std::max(std::floor(lo / double(in_voxel_size) - double(in_band)), -room));
        out_hi[a] = static_cast<int>(
            std::min(std::ceil(hi / double(in_voxel_size) + double(in_band)), room));
    }
    const double room = kTileOrigin - double(in_band) - 1.0;
    if (!(furthest / double(in_voxel_size) <= room)) {
        char text[200];
        std::snprintf(text, sizeof text,
                      "the mesh reaches %g from the origin, %.0f cells of size %g, and the tree "
                      "holds %d: use a voxel size of at least %.3g",
                      furthest, furthest / double(in_voxel_size), double(in_voxel_size),
                      kTileOrigin, furthest / room * 1.001);
        throw ToolError(eDataSaysNo, text);
    }
}

/// The deepest tile that holds both points.
TileId commonTile(const vec3i& in_lo, const vec3i& in_hi)
{
    TileId tile = 0;
    for (int depth = 1; depth <= kMaxTileDepth; ++depth) {
        const TileId next = tileCoordsToId(in_lo[0], in_lo[1], in_lo[2], depth);
        if (next != tileCoordsToId(in_hi[0], in_hi[1], in_hi[2], depth)) {
            break;
        }
        tile = next;
    }
    return tile;
}

}  // namespace

TilesByDepth findSurfaceTiles(const TriangleBvh& in_surface, float in_voxel_size, float in_band)
{
    vec3i lo, hi, root;
    findCellBounds(in_surface, in_voxel_size, in_band, lo, hi);
    int depth = 0;
    idToTileCoords(commonTile(lo, hi), root[0], root[1], root[2], depth);

    const NearTest test(in_surface, in_voxel_size, in_band);
    TilesByDepth tiles(kNumDepths);
    tiles[depth].push_back(root);
    for (++depth; depth <= kMaxTileDepth; ++depth) {
        tiles[depth] = refine(tiles[depth - 1], depth, test);
    }
    return tiles;
}

long long countTiles(const TilesByDepth& in_tiles)
{
    long long count = 0;
    for (const std::vector<vec3i>& tiles : in_tiles) {
        count += static_cast<long long>(tiles.size());
    }
    return count;
}

}  // namespace Skelvar::Tool
