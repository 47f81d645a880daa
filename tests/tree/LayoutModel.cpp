#include "LayoutModel.h"

#include <cstdlib>

namespace Skelvar::Test {

namespace {

constexpr int kOrigin = 195312;

bool inRange(const vec3i& in_point)
{
    return std::abs(in_point[0]) <= kOrigin && std::abs(in_point[1]) <= kOrigin &&
           std::abs(in_point[2]) <= kOrigin;
}

int sideOf(int in_depth)
{
    int side = 1;
    for (int depth = in_depth; depth < 8; ++depth) {
        side *= 5;
    }
    return side;
}

int cornerOf(int in_coordinate, int in_side)
{
    return in_coordinate - (in_coordinate + kOrigin) % in_side;
}

}  // namespace

Tile Tile::at(const vec3i& in_point, int in_depth)
{
    const int side = sideOf(in_depth);
    return {in_depth, cornerOf(in_point[0], side), cornerOf(in_point[1], side),
            cornerOf(in_point[2], side)};
}

int Tile::side() const
{
    return sideOf(depth);
}

std::set<Tile> tilesOf(const VoxelLayout& in_layout)
{
    std::set<Tile> tiles;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (const VoxelLayoutNode& node : in_layout.nodes(depth)) {
            if (node.valid()) {
                tiles.insert({depth, node.i(), node.j(), node.k()});
            }
        }
    }
    return tiles;
}

void LayoutModel::fillPath(const Tile& in_from, const Tile& in_to)
{
    for (int depth = in_from.depth; depth < in_to.depth; ++depth) {
        m_tiles.insert(in_to.above(depth));
    }
}

void LayoutModel::add(const Tile& in_tile)
{
    Tile above;
    if (deepestAbove(in_tile, above)) {
        fillPath(above, in_tile);
    } else {
        std::vector<Tile> below;
        for (const Tile& tile : m_tiles) {
            if (in_tile.isAbove(tile) && isRoot(tile)) {
                below.push_back(tile);
            }
        }
        for (const Tile& root : below) {
            fillPath(in_tile, root);
        }
    }
    m_tiles.insert(in_tile);
}

void LayoutModel::addBulk(const std::vector<std::vector<vec3i>>& in_points)
{
    for (int depth = 0; depth < static_cast<int>(in_points.size()); ++depth) {
        std::vector<Tile> added;
        for (const vec3i& point : in_points[depth]) {
            if (!inRange(point)) {
                continue;
            }
            const Tile tile = Tile::at(point, depth);
            bool wanted = !has(tile);
            if (wanted && (depth == 0 || !has(tile.above(depth - 1)))) {
                Tile above;
                wanted = !deepestAbove(tile, above);
                for (const Tile& other : m_tiles) {
                    wanted = wanted && !tile.isAbove(other);
                }
            }
            if (wanted) {
                added.push_back(tile);
            }
        }
        m_tiles.insert(added.begin(), added.end());
    }
}

void LayoutModel::removeBranch(const Tile& in_tile)
{
    std::erase_if(m_tiles, [&](const Tile& tile) {
        return has(in_tile) && (tile == in_tile || in_tile.isAbove(tile)) && tile != in_tile;
    });
    m_tiles.erase(in_tile);
}

bool LayoutModel::isRoot(const Tile& in_tile) const
{
    return in_tile.depth == 0 || !has(in_tile.above(in_tile.depth - 1));
}

bool LayoutModel::deepestAbove(const Tile& in_tile, Tile& out_tile) const
{
    for (int depth = in_tile.depth; depth >= 0; --depth) {
        if (has(in_tile.above(depth))) {
            out_tile = in_tile.above(depth);
            return true;
        }
    }
    return false;
}

}  // namespace Skelvar::Test
