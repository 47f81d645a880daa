#pragma once

#include <skelvar/tree/VoxelLayout.h>

#include <compare>
#include <set>
#include <vector>

namespace Skelvar::Test {

/// A tile told by depth and corner, with slow arithmetic of its own.
struct Tile {
    int depth = 0;
    int i = 0;
    int j = 0;
    int k = 0;

    /// The tile of a depth that holds a point in range.
    static Tile at(const vec3i& in_point, int in_depth);

    int side() const;
    Tile above(int in_depth) const { return at({i, j, k}, in_depth); }
    bool isAbove(const Tile& in_other) const
    {
        return depth < in_other.depth && in_other.above(depth) == *this;
    }
    auto operator<=>(const Tile&) const = default;
};

/// The live tiles of a layout.
std::set<Tile> tilesOf(const VoxelLayout& in_layout);

/// The obvious layout: a set of tiles. It says which tiles a layout must have after an edit.
class LayoutModel {
public:
    void add(const Tile& in_tile);
    /// Bulk insertion; each depth sees the tree as it stood before it.
    void addBulk(const std::vector<std::vector<vec3i>>& in_points);
    void removeBranch(const Tile& in_tile);
    void clear() { m_tiles.clear(); }

    bool has(const Tile& in_tile) const { return m_tiles.count(in_tile) > 0; }
    bool isRoot(const Tile& in_tile) const;
    /// The deepest tile that is `in_tile` or lies above it; false if there is none.
    bool deepestAbove(const Tile& in_tile, Tile& out_tile) const;
    const std::set<Tile>& tiles() const { return m_tiles; }

private:
    void fillPath(const Tile& in_from, const Tile& in_to);

    std::set<Tile> m_tiles;
};

}  // namespace Skelvar::Test
