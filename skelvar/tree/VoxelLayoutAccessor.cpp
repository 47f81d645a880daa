#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <skelvar/tree/Descent.h>

#include <algorithm>

namespace Skelvar {

VoxelLayout::ConstAccessor::ConstAccessor(const VoxelLayout& in_layout) : m_layout(&in_layout)
{
    if (in_layout.numRoots() > 0) {
        remember(in_layout.beginRoots()->second);
    }
}

const VoxelLayoutNode& VoxelLayout::ConstAccessor::emptyAccessorNode()
{
    static const VoxelLayoutNode& s_node = *new VoxelLayoutNode;
    return s_node;
}

void VoxelLayout::ConstAccessor::remember(const TileIndex& in_index)
{
    const VoxelLayoutNode& node = m_layout->node(in_index);
    m_index = in_index;
    m_i = node.i();
    m_j = node.j();
    m_k = node.k();
    m_side = kTileSideLUT[in_index.second];
}

template <bool exact>
TileIndex VoxelLayout::ConstAccessor::nodeIndexImpl(int in_i, int in_j, int in_k, int in_depth)
{
    if (in_depth < 0) {
        return kNoTileIndex;
    }
    // Up to the first ancestor that holds the point, down from there.
    TileIndex above = m_index;
    while (above.first >= 0) {
        const VoxelLayoutNode& node = m_layout->node(above);
        if (above.second <= in_depth && node.contains(in_i, in_j, in_k)) {
            break;
        }
        above = {node.parent(), above.second - 1};
    }
    // The non-exact walk serves both forms: it also gives the node to remember.
    const TileIndex found =
        above.first >= 0
            ? Detail::descend<false>(*m_layout->m_node_data, above, in_i, in_j, in_k, in_depth)
            : m_layout->nodeIndex<false>(in_i, in_j, in_k, in_depth);
    if (found.first >= 0) {
        remember(found);
        if (exact && found.second != in_depth) {
            return kNoTileIndex;
        }
    }
    return found;
}

template <bool exact>
TileIndex VoxelLayout::ConstAccessor::nodeIndex(TileId in_id)
{
    const TileId id = in_id & ~kTileIdLowBits;
    if (in_id == kNoTile || !isTileId(id)) {
        return kNoTileIndex;
    }
    int i = 0;
    int j = 0;
    int k = 0;
    int depth = 0;
    idToTileCoords(id, i, j, k, depth);
    return nodeIndex<exact>(i, j, k, depth);
}

template SKELVAR_API TileIndex VoxelLayout::ConstAccessor::nodeIndex<true>(TileId);
template SKELVAR_API TileIndex VoxelLayout::ConstAccessor::nodeIndex<false>(TileId);
template SKELVAR_API TileIndex VoxelLayout::ConstAccessor::nodeIndexImpl<true>(int, int, int, int);
template SKELVAR_API TileIndex VoxelLayout::ConstAccessor::nodeIndexImpl<false>(int, int, int, int);

VoxelLayout::Accessor::Accessor(VoxelLayout& io_layout) : ConstAccessor(io_layout) {}

TileIndex VoxelLayout::Accessor::addNode(TileId in_id, std::vector<TileId>* out_added,
                                         std::vector<TileId>* out_added_roots,
                                         VoxelLayoutNodeVisitor* io_visitor)
{
    const TileId id = in_id & ~kTileIdLowBits;
    if (!isTileId(id)) {
        return {};
    }
    TileIndex above = m_index;
    while (above.first >= 0 && layout().node(above).id() != ancestorTile(id, above.second)) {
        above = {layout().node(above).parent(), above.second - 1};
    }
    if (above.first < 0) {
        above = layout().addNode(id, out_added, out_added_roots, io_visitor);
    } else {
        above = Detail::descend<false>(*m_layout->m_node_data, above, id);
        if (layout().node(above).id() != id) {
            above = layout().insertBelow(above, id, out_added, io_visitor);
        }
    }
    remember(above);
    return above;
}

TileIndex VoxelLayout::Accessor::addNode(int in_i, int in_j, int in_k, int in_depth,
                                         std::vector<TileId>* out_added,
                                         std::vector<TileId>* out_added_roots,
                                         VoxelLayoutNodeVisitor* io_visitor)
{
    if (in_depth == m_index.second && covers(in_i, in_j, in_k)) {
        return m_index;
    }
    return addNode(tileCoordsToId(in_i, in_j, in_k, in_depth), out_added, out_added_roots,
                   io_visitor);
}

TileIndex VoxelLayout::Accessor::addNode(const vec3i& in_lo, const vec3i& in_hi,
                                         std::vector<TileId>* out_added,
                                         std::vector<TileId>* out_added_roots,
                                         VoxelLayoutNodeVisitor* io_visitor)
{
    return addNode(commonTile(in_lo, in_hi), out_added, out_added_roots, io_visitor);
}

void VoxelLayout::Accessor::addNodes(const std::vector<TileId>& in_ids,
                                     std::vector<TileId>* out_added,
                                     std::vector<TileId>* out_added_roots,
                                     VoxelLayoutNodeVisitor* io_visitor)
{
    for (const TileId id : in_ids) {
        addNode(id, out_added, out_added_roots, io_visitor);
    }
}

void VoxelLayout::Accessor::addNodes(const vec3i& in_lo, const vec3i& in_hi, int in_depth,
                                     std::vector<TileId>* out_added,
                                     std::vector<TileId>* out_added_roots,
                                     VoxelLayoutNodeVisitor* io_visitor)
{
    if (in_depth < 0 || in_depth > kMaxTileDepth) {
        return;
    }
    // Only steps inside the range of coordinates can meet a tile; the box may be any.
    const long long side = kTileSideLUT[in_depth];
    long long first[3];
    long long last[3];
    for (int axis = 0; axis < 3; ++axis) {
        const long long lo = in_lo[axis];
        const long long steps_outside = std::max(0LL, (-kTileOrigin - lo + side - 1) / side);
        first[axis] = lo + steps_outside * side;
        last[axis] = std::min<long long>(in_hi[axis], kTileOrigin + 1);
    }
    for (long long i = first[0]; i < last[0]; i += side) {
        for (long long j = first[1]; j < last[1]; j += side) {
            for (long long k = first[2]; k < last[2]; k += side) {
                addNode(static_cast<int>(i), static_cast<int>(j), static_cast<int>(k), in_depth,
                        out_added, out_added_roots, io_visitor);
            }
        }
    }
}

}  // namespace Skelvar
