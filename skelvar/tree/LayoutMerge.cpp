#include <skelvar/tree/LayoutMerge.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/tree/BulkLoop.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace Skelvar {

namespace {

/// In place of the index of a node here: it is to be made.
constexpr int kNewNode = -1;
/// It has no place here.
constexpr int kNoPlace = -3;

/// Nodes that one task handles.
constexpr long long kMergeChunk = 4096;

/// The nodes of a layout as a source of tiles.
struct LayoutSource {
    const VoxelLayout& layout;

    long long size(int in_depth) const { return layout.numNodes(in_depth); }
    bool exists(int in_depth, long long in_n) const { return layout.nodes(in_depth)[in_n].valid(); }
    TileId id(int in_depth, long long in_n) const { return layout.nodes(in_depth)[in_n].id(); }
    int parent(int in_depth, long long in_n) const { return layout.nodes(in_depth)[in_n].parent(); }
};

struct ForestSource {
    const TileForest& forest;

    long long size(int in_depth) const { return forest.depths[in_depth].ids.size(); }
    bool exists(int, long long) const { return true; }
    TileId id(int in_depth, long long in_n) const { return forest.depths[in_depth].ids[in_n]; }
    int parent(int in_depth, long long in_n) const
    {
        return in_depth == 0 ? kNoParent : forest.depths[in_depth].parents[in_n];
    }
};

/// What a piece of a depth has in store for the layout.
struct Piece {
    int new_nodes = 0;
    bool has_roots = false;
    bool has_bare_parents = false;  ///< without child slots, as old files may have them
};

/// The merge of one depth.
template <typename Source>
class DepthMerge {
public:
    DepthMerge(const Source& in_source, int in_depth, const array1<int>& in_above,
               VoxelLayout& io_layout)
        : m_source(in_source),
          m_depth(in_depth),
          m_above(in_above),
          m_layout(io_layout),
          m_here(in_source.size(in_depth))
    {
    }

    /// Finds for each tile its node here, or that it is to be made.
    Piece select(long long in_begin, long long in_end)
    {
        Piece piece;
        for (long long n = in_begin; n < in_end; ++n) {
            m_here[n] = m_source.exists(m_depth, n) ? find(n, piece) : kNoPlace;
            piece.new_nodes += m_here[n] == kNewNode;
        }
        return piece;
    }
    void giveParentsSlots()
    {
        for (long long n = 0; n < m_here.size() && m_depth > 0; ++n) {
            if (m_here[n] != kNewNode) {
                continue;
            }
            if (const int parent = parentHere(n); parent >= 0) {
                m_layout.node(parent, m_depth - 1).ensureChildSlots();
            }
        }
    }
    /// Writes the new nodes, in the order of the tiles, and links them to their parents.
    void make(long long in_begin, long long in_end, int in_first_index)
    {
        int index = in_first_index;
        for (long long n = in_begin; n < in_end; ++n) {
            if (m_here[n] == kNewNode) {
                makeNode(n, index);
                m_here[n] = index++;
            }
        }
    }
    /// For each tile the index of its node here, negative if it has none.
    array1<int>& here() { return m_here; }

private:
    int find(long long in_n, Piece& io_piece) const
    {
        const int parent = parentHere(in_n);
        if (parent >= 0) {
            const VoxelLayoutNode& node = m_layout.node(parent, m_depth - 1);
            io_piece.has_bare_parents |= !node.hasChildSlots();
            const int slot = tileDigit(m_source.id(m_depth, in_n), m_depth) - 1;
            return node.childExists(slot) ? node.child(slot) : kNewNode;
        }
        if (parent == kNoPlace) {
            return kNoPlace;
        }
        const TileId id = m_source.id(m_depth, in_n);
        const TileIndex found = m_layout.nodeIndex<true>(id);
        if (found.first >= 0) {
            return found.first;
        }
        if (m_layout.findRoot(id) != m_layout.endRoots()) {
            return kNoPlace;
        }
        io_piece.has_roots = true;
        return kNewNode;
    }
    int parentHere(long long in_n) const
    {
        const int parent = m_source.parent(m_depth, in_n);
        if (parent >= 0) {
            return m_above[parent];
        }
        if (m_depth == 0) {
            return kNoParent;
        }
        const TileId above = ancestorTile(m_source.id(m_depth, in_n), m_depth - 1);
        return std::max(m_layout.nodeIndex<true>(above).first, kNoParent);
    }
    void makeNode(long long in_n, int in_index)
    {
        const TileId id = m_source.id(m_depth, in_n);
        VoxelLayoutNode& node = m_layout.node(in_index, m_depth);
        const int parent_index = parentHere(in_n);
        if (parent_index < 0) {
            node.init(kNoParent, id, in_index, kTileSize, true);
            return;
        }
        VoxelLayoutNode& parent = m_layout.node(parent_index, m_depth - 1);
        const int slot = tileDigit(id, m_depth) - 1;
        const int side = kTileSideLUT[m_depth];
        parent.child(slot) = in_index;
        node.init(parent_index, id, parent.i() + slot % 5 * side, parent.j() + slot / 5 % 5 * side,
                  parent.k() + slot / 25 * side, m_depth, in_index, kTileSize, true);
    }

    const Source& m_source;
    int m_depth;
    const array1<int>& m_above;
    VoxelLayout& m_layout;
    array1<int> m_here;
};

}  // namespace

template <typename Source>
void LayoutMerge::addAll(const Source& in_source)
{
    array1<int> above;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        DepthMerge<Source> merge(in_source, depth, above, m_layout);
        const long long count = in_source.size(depth);
        const long long num_chunks = (count + kMergeChunk - 1) / kMergeChunk;
        const auto for_chunks = [&](const auto& in_body) {
            tbb::task_group_context context;
            tbb::parallel_for(
                0LL, num_chunks,
                [&](long long chunk) {
                    in_body(chunk, chunk * kMergeChunk, std::min(count, (chunk + 1) * kMergeChunk));
                },
                tbb::auto_partitioner{}, context);
        };

        std::vector<Piece> pieces(num_chunks);
        for_chunks([&](long long chunk, long long begin, long long end) {
            const SkelvarProfiler::Scope event("MyStep1::operator()");
            pieces[chunk] = merge.select(begin, end);
        });

        VoxelLayout::NodeArray& nodes = m_layout.nodes(depth);
        const int old_size = static_cast<int>(nodes.size());
        std::vector<int> first_index(num_chunks);
        int new_size = old_size;
        Piece all;
        for (long long chunk = 0; chunk < num_chunks; ++chunk) {
            first_index[chunk] = new_size;
            new_size += pieces[chunk].new_nodes;
            all.has_roots |= pieces[chunk].has_roots;
            all.has_bare_parents |= pieces[chunk].has_bare_parents;
        }
        if (all.has_bare_parents) {
            merge.giveParentsSlots();
        }
        nodes.reserve_grow(new_size);
        nodes.resize(new_size);
        m_layout.m_num_nodes += new_size - old_size;
        for_chunks([&](long long chunk, long long begin, long long end) {
            const SkelvarProfiler::Scope event("MyStep2::operator()");
            merge.make(begin, end, first_index[chunk]);
        });

        std::vector<int>& indices = m_indices[depth];
        const auto first_new = indices.insert(indices.end(), new_size - old_size, 0);
        std::iota(first_new, indices.end(), old_size);
        for (int index = old_size; index < new_size && (all.has_roots || m_added != nullptr);
             ++index) {
            if (all.has_roots && nodes[index].isRoot()) {
                m_layout.addRoot(nodes[index].id(), index, depth);
            }
            if (m_added != nullptr) {
                m_added->push_back(nodes[index].id());
            }
        }
        above.swap(merge.here());
    }
}

void LayoutMerge::adoptRoots(std::vector<TileId> in_ids)
{
    // By rising id a root is followed by those below it.
    std::sort(in_ids.begin(), in_ids.end());
    TileId top = kNoTile;
    for (const TileId id : in_ids) {
        if (isParentTile(top, id)) {
            m_layout.addNode(top, m_added);
            m_layout.addNode(id, m_added);
            continue;
        }
        top = id;
        const TileIndex above = m_layout.nodeIndex<false>(id);
        const bool is_far_below = above.first >= 0 && depthFromId(id) - above.second >= 2;
        const bool is_above_root = above.first < 0 && m_layout.findRoot(id) != m_layout.endRoots();
        if (is_far_below || is_above_root) {
            m_layout.addNode(id, m_added);
        }
    }
}

void LayoutMerge::add(const std::vector<const VoxelLayout*>& in_others)
{
    std::vector<TileId> roots;
    for (const VoxelLayout* const other : in_others) {
        for (auto root = other->beginRoots(); root != other->endRoots(); ++root) {
            roots.push_back(root->first);
        }
    }
    adoptRoots(std::move(roots));
    for (const VoxelLayout* const other : in_others) {
        if (other->nodeDataPtr() != m_layout.nodeDataPtr()) {
            addAll(LayoutSource{*other});
        }
    }
}

void LayoutMerge::add(const TileForest& in_forest)
{
    if (!in_forest.depths[0].ids.empty()) {
        adoptRoots({0});
    }
    addAll(ForestSource{in_forest});
}

void LayoutMerge::finish()
{
    m_layout.setBranchSizes();
    m_layout.nodesAdded(m_indices);
}

void VoxelLayout::refine(const VoxelLayout& in_other, std::vector<int>* io_added_by_depth,
                         bool in_finish, std::vector<TileId>* out_added)
{
    const SkelvarProfiler::Scope event("VoxelLayout::refine");
    LayoutMerge merge(*this, out_added);
    merge.add({&in_other});
    for (int depth = 0; depth < kNumDepths && io_added_by_depth != nullptr; ++depth) {
        const std::vector<int>& added = merge.m_indices[depth];
        io_added_by_depth[depth].insert(io_added_by_depth[depth].end(), added.begin(), added.end());
    }
    if (in_finish) {
        merge.finish();
    }
}

void VoxelLayout::refine(const VoxelLayout& in_other, std::vector<TileId>* out_added)
{
    refine(in_other, nullptr, true, out_added);
}

void VoxelLayout::refine(const std::vector<const VoxelLayout*>& in_others,
                         std::vector<TileId>* out_added)
{
    const SkelvarProfiler::Scope event("VoxelLayout::refine");
    LayoutMerge merge(*this, out_added);
    merge.add(in_others);
    merge.finish();
}

}  // namespace Skelvar
