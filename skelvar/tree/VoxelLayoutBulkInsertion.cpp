#include <skelvar/tree/VoxelLayout.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/tree/BulkLoop.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <atomic>
#include <cassert>
#include <numeric>
#include <utility>

namespace Skelvar {

namespace {

/// In place of a parent: the point names no tile that is to be made.
constexpr int kSkipped = -3;

/// Points that one task handles with an accessor of its own.
constexpr long long kChunk = 1024;

/// Slot of the tile of `Depth` that holds a point, in its parent.
template <int Depth>
int slotInParent(const VoxelLayoutNode& in_parent, const vec3i& in_point)
{
    constexpr unsigned side = kTileSideLUT[Depth];
    const unsigned ci = static_cast<unsigned>(in_point[0] - in_parent.i()) / side;
    const unsigned cj = static_cast<unsigned>(in_point[1] - in_parent.j()) / side;
    const unsigned ck = static_cast<unsigned>(in_point[2] - in_parent.k()) / side;
    return static_cast<int>(ci + 5 * (cj + 5 * ck));
}

template <int Depth>
VoxelLayoutNode newNode(const VoxelLayoutNode& in_parent, int in_slot, int in_index)
{
    constexpr int side = kTileSideLUT[Depth];
    const TileId id = in_parent.id() | static_cast<TileId>(in_slot + 1) << tileDigitShift(Depth);
    VoxelLayoutNode node;
    node.initWithoutChildren(in_parent.index(), id, in_parent.i() + in_slot % 5 * side,
                             in_parent.j() + in_slot / 5 % 5 * side,
                             in_parent.k() + in_slot / 25 * side, Depth, in_index);
    return node;
}

/// What a chunk of points has in store for the tree.
struct ChunkSummary {
    int new_tiles = 0;
    bool has_roots = false;
    bool has_bare_parents = false;  ///< without child slots, as old files may have them
};

}  // namespace

struct VoxelLayout::BulkInsertion {
    VoxelLayout& m_layout;
    std::vector<TileId>* m_added;            ///< may be null
    std::vector<int> m_indices[kNumDepths];  ///< of the new nodes

    template <int Depth>
    void addTiles(const std::vector<vec3i>& in_points);

private:
    template <int Depth>
    ChunkSummary selectTiles(const vec3i* in_points, long long in_count, int* out_parents) const;
    template <int Depth>
    void makeTiles(const vec3i* in_points, const int* in_parents, long long in_count,
                   int in_first_index) const;
    bool touchesRoot(TileId in_id) const { return m_layout.m_roots.count(in_id) > 0; }
};

/// Step one: for each point the index of its tile's parent, `kNoParent` if the tile will be a root,
/// `kSkipped` if it is not to be made.
template <int Depth>
ChunkSummary VoxelLayout::BulkInsertion::selectTiles(const vec3i* in_points, long long in_count,
                                                     int* out_parents) const
{
    ChunkSummary summary;
    ConstAccessor accessor(m_layout);
    for (long long n = 0; n < in_count; ++n) {
        const vec3i& p = in_points[n];
        out_parents[n] = kSkipped;
        const TileIndex parent =
            Depth == 0 ? kNoTileIndex : accessor.nodeIndex<true>(p[0], p[1], p[2], Depth - 1);
        if (parent.first >= 0) {
            const VoxelLayoutNode& node = m_layout.node(parent);
            if (node.childExists(slotInParent<Depth>(node, p))) {
                continue;
            }
            out_parents[n] = parent.first;
            summary.has_bare_parents |= !node.hasChildSlots();
        } else {
            const TileId id = tileCoordsToId(p[0], p[1], p[2], Depth);
            if (id == kNoTile || touchesRoot(id)) {
                continue;
            }
            out_parents[n] = kNoParent;
            summary.has_roots = true;
        }
        ++summary.new_tiles;
    }
    return summary;
}

/// Step two: writes the new nodes, in the order of the points, and links them to their parents.
template <int Depth>
void VoxelLayout::BulkInsertion::makeTiles(const vec3i* in_points, const int* in_parents,
                                           long long in_count, int in_first_index) const
{
    VoxelLayoutNode* const nodes = m_layout.nodes(Depth).data();
    int index = in_first_index;
    for (long long n = 0; n < in_count; ++n) {
        const vec3i& p = in_points[n];
        if (in_parents[n] == kSkipped) {
            continue;
        }
        if (in_parents[n] < 0) {
            nodes[index].init(kNoParent, tileCoordsToId(p[0], p[1], p[2], Depth), index, kTileSize,
                              true);
        } else if constexpr (Depth > 0) {
            VoxelLayoutNode& parent = m_layout.node(in_parents[n], Depth - 1);
            const int slot = slotInParent<Depth>(parent, p);
            assert(parent.child(slot) < 0 && "a list names a tile twice");
            parent.child(slot) = index;
            nodes[index] = newNode<Depth>(parent, slot, index);
            nodes[index].ensureChildSlots();
        }
        ++index;
    }
    m_layout.nodes(Depth).noteChildSlots(in_first_index, index);
}

template <int Depth>
void VoxelLayout::BulkInsertion::addTiles(const std::vector<vec3i>& in_points)
{
    const long long count = static_cast<long long>(in_points.size());
    const long long chunk_size = count <= Detail::kSerialItems ? count : kChunk;
    const long long num_chunks = count == 0 ? 0 : (count + chunk_size - 1) / chunk_size;
    const auto for_chunks = [&](const auto& body) {
        tbb::task_group_context context;
        tbb::parallel_for(
            0LL, num_chunks,
            [&](long long chunk) {
                const long long begin = chunk * chunk_size;
                body(chunk, begin, std::min(chunk_size, count - begin));
            },
            tbb::auto_partitioner{}, context);
    };

    array1<int> parents(count);
    std::vector<ChunkSummary> chunks(num_chunks);
    for_chunks([&](long long chunk, long long begin, long long size) {
        chunks[chunk] = selectTiles<Depth>(&in_points[begin], size, parents.data() + begin);
    });

    NodeArray& nodes = m_layout.nodes(Depth);
    const int old_size = static_cast<int>(nodes.size());
    std::vector<int> first_index(num_chunks);
    int new_size = old_size;
    bool has_roots = false;
    bool has_bare_parents = false;
    for (long long chunk = 0; chunk < num_chunks; ++chunk) {
        first_index[chunk] = new_size;
        new_size += chunks[chunk].new_tiles;
        has_roots |= chunks[chunk].has_roots;
        has_bare_parents |= chunks[chunk].has_bare_parents;
    }
    if constexpr (Depth > 0) {
        for (long long n = 0; n < count && has_bare_parents; ++n) {
            if (parents[n] >= 0) {
                m_layout.node(parents[n], Depth - 1).ensureChildSlots();
            }
        }
    }
    nodes.reserve_grow(new_size);
    nodes.resize(new_size);
    m_layout.m_num_nodes += new_size - old_size;

    for_chunks([&](long long chunk, long long begin, long long size) {
        makeTiles<Depth>(&in_points[begin], parents.data() + begin, size, first_index[chunk]);
    });

    m_indices[Depth].resize(new_size - old_size);
    std::iota(m_indices[Depth].begin(), m_indices[Depth].end(), old_size);
    for (int index = old_size; index < new_size && (has_roots || m_added != nullptr); ++index) {
        if (nodes[index].isRoot()) {
            m_layout.addRoot(nodes[index].id(), index, Depth);
        }
        if (m_added != nullptr) {
            m_added->push_back(nodes[index].id());
        }
    }
    m_layout.findTrunk();
}

void VoxelLayout::addNodes(const std::vector<std::vector<vec3i>>& in_coords_by_depth,
                           std::vector<TileId>* out_added)
{
    const SkelvarProfiler::Scope event("VoxelLayout::addNodes");
    BulkInsertion insertion{*this, out_added, {}};
    const auto add_depth = [&]<int Depth>(std::integral_constant<int, Depth>) {
        if (Depth < static_cast<int>(in_coords_by_depth.size())) {
            insertion.addTiles<Depth>(in_coords_by_depth[Depth]);
        }
    };
    [&]<int... Depth>(std::integer_sequence<int, Depth...>)
    {
        (add_depth(std::integral_constant<int, Depth>{}), ...);
    }
    (std::make_integer_sequence<int, kNumDepths>{});
    setBranchSizes();
    nodesAdded(insertion.m_indices);
}

void VoxelLayout::addNodes(const std::vector<vec3i>& in_coords, int in_depth,
                           std::vector<TileId>* out_added)
{
    if (in_depth < 0 || in_depth > kMaxTileDepth) {
        return;
    }
    std::vector<std::vector<vec3i>> coords_by_depth(kNumDepths);
    coords_by_depth[in_depth] = in_coords;
    addNodes(coords_by_depth, out_added);
}

}  // namespace Skelvar
