#include <skelvar/tree/CompactionMoves.h>

#include <skelvar/tree/BulkLoop.h>
#include <skelvar/tree/VoxelLayout.h>

#include <algorithm>

namespace Skelvar {

std::vector<TileIndex> compactionMoves(const std::vector<int>& in_deleted, int in_size)
{
    std::vector<TileIndex> moves;
    moves.reserve(in_deleted.size());
    int source = in_size - 1;
    auto last_deleted = in_deleted.rbegin();
    for (const int destination : in_deleted) {
        for (; last_deleted != in_deleted.rend() && *last_deleted == source; ++last_deleted) {
            --source;
        }
        if (destination >= source) {
            break;
        }
        moves.push_back({destination, source--});
    }
    return moves;
}

std::array<std::vector<TileIndex>, kNumDepths> compactionMoves(const std::vector<int>* in_deleted,
                                                               const TreeLayout3DBase& in_layout)
{
    std::array<std::vector<TileIndex>, kNumDepths> moves;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        const int deleted = static_cast<int>(in_deleted[depth].size());
        moves[depth] = compactionMoves(in_deleted[depth], in_layout.numNodes(depth) + deleted);
    }
    return moves;
}

/// Moves one node and turns the links that lead to it. Depths are closed from 0 up: the parent
/// stands at its final place, the children still at their old ones.
void VoxelLayout::moveNode(int in_destination, int in_source, int in_depth)
{
    VoxelLayoutNode& moved = node(in_destination, in_depth);
    moved = std::move(node(in_source, in_depth));
    moved.setIndex(in_destination);
    nodes(in_depth).noteChildSlots(in_destination, in_destination + 1LL);
    if (!moved.valid()) {
        return;  // a gap from before, which is not on the list: nothing leads to it or from it
    }
    if (!moved.isRoot()) {
        node(moved.parent(), in_depth - 1).child(tileDigit(moved.id(), in_depth) - 1) =
            in_destination;
    } else if (const auto root = m_roots.find(moved.id());
               root != m_roots.end() && root->first == moved.id()) {
        root->second.first = in_destination;
    }
    if (moved.hasChildSlots()) {
        const VoxelLayoutNode::ChildIterator end(false, &moved, false);
        for (VoxelLayoutNode::ChildIterator child(true, &moved, false); child != end; ++child) {
            node(*child).setParent(in_destination);
        }
    }
}

std::vector<TileIndex> VoxelLayout::closeGaps(const std::vector<int>& in_deleted, int in_depth)
{
    NodeArray& array = nodes(in_depth);
    std::vector<TileIndex> moves = compactionMoves(in_deleted, static_cast<int>(array.size()));
    Detail::bulkLoop(static_cast<long long>(moves.size()), [&](long long begin, long long end) {
        for (long long n = begin; n < end; ++n) {
            moveNode(moves[n].first, moves[n].second, in_depth);
        }
    });
    array.resize(array.size() - static_cast<long long>(in_deleted.size()));
    return moves;
}

void VoxelLayout::compactStorage(const std::vector<TileIndex>& in_deleted)
{
    std::vector<int> deleted[kNumDepths];
    for (const auto& [index, depth] : in_deleted) {
        deleted[depth].push_back(index);
    }
    for (int depth = 0; depth < kNumDepths; ++depth) {
        std::sort(deleted[depth].begin(), deleted[depth].end());
        closeGaps(deleted[depth], depth);
    }
    findTrunk();
    nodesDeleted(deleted);
}

void VoxelLayout::compactStorage(const std::vector<std::vector<int>>& in_deleted_by_depth)
{
    std::vector<TileIndex> moves[kNumDepths];
    for (int depth = 0; depth < kNumDepths; ++depth) {
        moves[depth] = closeGaps(in_deleted_by_depth[depth], depth);
    }
    findTrunk();
    nodesDeleted(moves);
}

}  // namespace Skelvar
