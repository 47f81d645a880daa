#include <skelvar/tree/LayoutConsistency.h>

#include <skelvar/tree/VoxelLayout.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_reduce.h>

#include <cstdlib>
#include <ostream>
#include <utility>

namespace Skelvar {

namespace {

bool isInRootMap(const VoxelLayout& in_layout, const VoxelLayoutNode& in_node)
{
    const auto root = in_layout.findRoot(in_node.id());
    return root != in_layout.endRoots() && root->first == in_node.id() &&
           root->second == in_node.tileIndex();
}

void checkParent(const VoxelLayout& in_layout, const VoxelLayoutNode& in_node,
                 LayoutConsistency& io_counts)
{
    if (in_node.isRoot()) {
        io_counts.stray_roots += !isInRootMap(in_layout, in_node);
        return;
    }
    const TileIndex parent{in_node.parent(), in_node.depth() - 1};
    const int slot = in_node.depth() == 0 ? -1 : tileDigit(in_node.id(), in_node.depth()) - 1;
    if (slot < 0 || slot >= kTileSize || !in_layout.isLive(parent) ||
        !in_layout.node(parent).childExists(slot) ||
        in_layout.node(parent).child(slot) != in_node.index()) {
        ++io_counts.broken_parents;
    }
}

void checkChildren(const VoxelLayout& in_layout, const VoxelLayoutNode& in_node,
                   LayoutConsistency& io_counts)
{
    // Unsigned, since sizes that are read may have any value.
    unsigned long long cells = kTileSize;
    for (int slot = 0; slot < kTileSize && in_node.hasChildSlots(); ++slot) {
        const TileIndex index = in_node.childTileIndex(slot);
        if (index.first < 0) {
            continue;
        }
        if (!in_layout.isLive(index) || in_layout.node(index).parent() != in_node.index() ||
            in_layout.node(index).id() != selectChild(in_node.id(), slot)) {
            ++io_counts.broken_children;
        } else {
            cells += static_cast<unsigned long long>(in_layout.node(index).branchSize());
        }
    }
    io_counts.wrong_branch_sizes += static_cast<unsigned long long>(in_node.branchSize()) != cells;
}

void checkNode(const VoxelLayout& in_layout, const TileIndex& in_place,
               LayoutConsistency& io_counts)
{
    const VoxelLayoutNode& node = in_layout.node(in_place);
    if (node.tileIndex() != in_place) {
        ++io_counts.misplaced_nodes;
        return;
    }
    int i = 0;
    int j = 0;
    int k = 0;
    int depth = 0;
    idToTileCoords(node.id(), i, j, k, depth);
    if (!isTileId(node.id()) || depth != node.depth() || node.corner() != vec3i{i, j, k}) {
        ++io_counts.bad_ids;
        return;
    }
    checkParent(in_layout, node, io_counts);
    checkChildren(in_layout, node, io_counts);
}

void checkRoots(const VoxelLayout& in_layout, LayoutConsistency& io_counts)
{
    for (auto root = in_layout.beginRoots(); root != in_layout.endRoots(); ++root) {
        if (!in_layout.isLive(root->second) || in_layout.node(root->second).id() != root->first ||
            !in_layout.node(root->second).isRoot() ||
            root->second.second > in_layout.finestRootDepth()) {
            ++io_counts.bad_root_entries;
        }
    }
}

}  // namespace

LayoutConsistency& LayoutConsistency::operator+=(const LayoutConsistency& in_other)
{
    misplaced_nodes += in_other.misplaced_nodes;
    bad_ids += in_other.bad_ids;
    broken_parents += in_other.broken_parents;
    broken_children += in_other.broken_children;
    stray_roots += in_other.stray_roots;
    bad_root_entries += in_other.bad_root_entries;
    wrong_branch_sizes += in_other.wrong_branch_sizes;
    miscounted_nodes += in_other.miscounted_nodes;
    return *this;
}

LayoutConsistency checkLayout(const VoxelLayout& in_layout)
{
    LayoutConsistency counts;
    checkRoots(in_layout, counts);
    long long live_nodes = 0;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        struct Sum {
            LayoutConsistency counts;
            long long live_nodes = 0;
        };
        tbb::task_group_context context;
        const Sum sum = tbb::parallel_reduce(
            tbb::blocked_range<int>(0, in_layout.numNodes(depth)), Sum{},
            [&](const tbb::blocked_range<int>& range, Sum sum) {
                for (int index = range.begin(); index < range.end(); ++index) {
                    if (in_layout.node(index, depth).valid()) {
                        ++sum.live_nodes;
                        checkNode(in_layout, {index, depth}, sum.counts);
                    }
                }
                return sum;
            },
            [](Sum left, const Sum& right) {
                left.counts += right.counts;
                left.live_nodes += right.live_nodes;
                return left;
            },
            tbb::auto_partitioner{}, context);
        counts += sum.counts;
        live_nodes += sum.live_nodes;
    }
    counts.miscounted_nodes = std::llabs(live_nodes - in_layout.numNodes());
    return counts;
}

bool isLayoutConsistent(const VoxelLayout& in_layout, std::ostream* out_report)
{
    const LayoutConsistency counts = checkLayout(in_layout);
    if (out_report != nullptr) {
        const std::pair<long long, const char*> kinds[] = {
            {counts.misplaced_nodes, "misplaced nodes"},
            {counts.bad_ids, "ids that are not those of their tile"},
            {counts.broken_parents, "broken links to parents"},
            {counts.broken_children, "broken links to children"},
            {counts.stray_roots, "roots that the root map lacks"},
            {counts.bad_root_entries, "entries of the root map without a root"},
            {counts.wrong_branch_sizes, "wrong branch sizes"},
            {counts.miscounted_nodes, "nodes more or less than counted"}};
        for (const auto& [count, kind] : kinds) {
            if (count > 0) {
                *out_report << count << " " << kind << "\n";
            }
        }
        *out_report << "num_violations = " << counts.total() << "\n";
    }
    return counts.total() == 0;
}

}  // namespace Skelvar
