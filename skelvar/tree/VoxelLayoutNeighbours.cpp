#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <algorithm>

namespace Skelvar {

namespace {

/// The nodes around one node.
struct Neighbourhood {
    const VoxelLayout& m_layout;
    const VoxelLayoutNode& m_node;
    int m_start_depth;
    int m_end_depth;

    /// The node on one side, at most as deep as this one. `first < 0` if there is none.
    TileIndex beside(const vec3i& in_side) const
    {
        const vec3i p = m_node.corner() + in_side * kTileSideLUT[m_node.depth()];
        return m_layout.nodeIndex<false>(p[0], p[1], p[2], m_node.depth());
    }

    /// Appends a neighbour and, if it is as deep as this node, what touches this node below it.
    void add(const TileIndex& in_found, std::vector<TileIndex>& out_indices) const
    {
        if (in_found.second == m_node.depth() && in_found.first != m_node.index()) {
            addNeighboursRecursively(m_layout.node(in_found), out_indices);
        } else if (isWanted(in_found.second)) {
            out_indices.push_back(in_found);
        }
    }

private:
    bool isWanted(int in_depth) const
    {
        return in_depth >= m_start_depth && in_depth <= m_end_depth;
    }
    void addNeighboursRecursively(const VoxelLayoutNode& in_other,
                                  std::vector<TileIndex>& out_indices) const
    {
        vec3i lo;
        vec3i hi;
        m_node.bounds(lo, hi);
        if (in_other.depth() > m_end_depth || !in_other.intersects(lo, hi)) {
            return;
        }
        if (isWanted(in_other.depth())) {
            out_indices.push_back(in_other.tileIndex());
        }
        const VoxelLayoutNode::ChildIterator end(false, &in_other, false);
        for (VoxelLayoutNode::ChildIterator child(true, &in_other, false); child != end; ++child) {
            addNeighboursRecursively(m_layout.node(*child), out_indices);
        }
    }
};

}  // namespace

void VoxelLayout::ConstAccessor::nodeNeighbourIndices2(const TileIndex& in_index,
                                                       int in_start_depth, int in_end_depth,
                                                       std::vector<TileIndex>& out_indices) const
{
    if (!m_layout->isLive(in_index)) {
        return;
    }
    const Neighbourhood around{*m_layout, m_layout->node(in_index), in_start_depth, in_end_depth};
    TileIndex coarse[27];  // may stand on several sides
    int num_coarse = 0;
    for (int side = 0; side < 27; ++side) {
        const TileIndex found = around.beside({side % 3 - 1, side / 3 % 3 - 1, side / 9 - 1});
        if (found.first < 0) {
            continue;
        }
        if (found.second < in_index.second) {
            if (std::find(coarse, coarse + num_coarse, found) != coarse + num_coarse) {
                continue;
            }
            coarse[num_coarse++] = found;
        }
        around.add(found, out_indices);
    }
}

void VoxelLayout::ConstAccessor::nodeNeighbourIndices(int in_di, int in_dj, int in_dk,
                                                      const TileIndex& in_index,
                                                      std::vector<TileIndex>& out_indices,
                                                      const VoxelLayoutNode& in_node,
                                                      std::set<TileIndex>& io_visited) const
{
    const Neighbourhood around{*m_layout, in_node, 0, kMaxTileDepth};
    const TileIndex found = around.beside({in_di, in_dj, in_dk});
    std::vector<TileIndex> neighbours;
    if (found.first >= 0 && m_layout->isLive(in_index)) {
        around.add(found, neighbours);
    }
    std::copy_if(neighbours.begin(), neighbours.end(), std::back_inserter(out_indices),
                 [&](const TileIndex& index) { return io_visited.insert(index).second; });
}

}  // namespace Skelvar
