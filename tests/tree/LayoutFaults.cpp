#include "LayoutFaults.h"

#include "LayoutModel.h"

#include <map>
#include <sstream>

namespace Skelvar::Test {

namespace {

class FaultFinder {
public:
    explicit FaultFinder(const VoxelLayout& in_layout) : m_layout(in_layout) {}

    std::string run()
    {
        collectNodes();
        for (const auto& [tile, node] : m_nodes) {
            checkNode(tile, *node);
        }
        checkRoots();
        expect(m_layout.numNodes() == static_cast<int>(m_nodes.size()), "number of nodes");
        return m_faults.str();
    }

private:
    void expect(bool in_true, const std::string& in_what)
    {
        if (!in_true) {
            m_faults << in_what << "\n";
        }
    }

    void collectNodes()
    {
        for (int depth = 0; depth < 8; ++depth) {
            for (int index = 0; index < m_layout.numNodes(depth); ++index) {
                const VoxelLayoutNode& node = m_layout.node(index, depth);
                if (!node.valid()) {
                    continue;
                }
                expect(node.depth() == depth && node.index() == index, "place of a node");
                const Tile tile{depth, node.i(), node.j(), node.k()};
                expect(tile == Tile::at(node.corner(), depth), "corner of a node");
                expect(tileCoordsToId(node.i(), node.j(), node.k(), depth) == node.id(), "id");
                expect(m_nodes.emplace(tile, &node).second, "tile of two nodes");
            }
        }
    }

    void checkNode(const Tile& in_tile, const VoxelLayoutNode& in_node)
    {
        const auto above =
            in_tile.depth == 0 ? m_nodes.end() : m_nodes.find(in_tile.above(in_tile.depth - 1));
        if (above == m_nodes.end()) {
            expect(in_node.parent() < 0, "parent of a root");
            ++m_num_roots;
        } else {
            expect(in_node.parent() == above->second->index(), "link to the parent");
        }
        long long cells = 125;
        for (int slot = 0; slot < 125 && in_tile.depth < 7; ++slot) {
            const int step = in_tile.side() / 5;
            const vec3i corner{in_tile.i + slot % 5 * step, in_tile.j + slot / 5 % 5 * step,
                               in_tile.k + slot / 25 * step};
            const auto child = m_nodes.find(Tile::at(corner, in_tile.depth + 1));
            if (child == m_nodes.end()) {
                expect(!in_node.childExists(slot), "slot without a child");
            } else {
                expect(in_node.childExists(slot) && in_node.child(slot) == child->second->index(),
                       "link to a child");
                cells += child->second->branchSize();
            }
        }
        expect(in_node.branchSize() == cells, "branch size");
    }

    void checkRoots()
    {
        for (auto root = m_layout.beginRoots(); root != m_layout.endRoots(); ++root) {
            const auto [index, depth] = root->second;
            expect(depth >= 0 && depth < 8 && index >= 0 && index < m_layout.numNodes(depth) &&
                       m_layout.node(index, depth).valid() &&
                       m_layout.node(index, depth).id() == root->first &&
                       m_layout.node(index, depth).parent() < 0,
                   "entry of the root map");
            expect(depth <= m_layout.finestRootDepth(), "finest root depth");
        }
        expect(m_layout.numRoots() == m_num_roots, "number of roots");
    }

    const VoxelLayout& m_layout;
    std::map<Tile, const VoxelLayoutNode*> m_nodes;
    int m_num_roots = 0;
    std::ostringstream m_faults;
};

}  // namespace

std::string layoutFaults(const VoxelLayout& in_layout)
{
    return FaultFinder(in_layout).run();
}

}  // namespace Skelvar::Test
