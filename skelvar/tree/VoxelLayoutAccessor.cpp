#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <algorithm>

namespace Skelvar {

namespace {

constexpr int kDepthNeverAsked = -100;

/// How far a coordinate lies above the corner of its tile of a depth.
int aboveCorner(int in_coordinate, int in_depth)
{
    const unsigned place = in_coordinate + kTileOrigin;
    // A constant divisor where it matters.
    return static_cast<int>(in_depth == kMaxTileDepth ? place % kTileWidth
                                                      : place % kTileSideLUT[in_depth]);
}

VoxelLayoutNode makeEmptyNode()
{
    VoxelLayoutNode node;
    node.initWithoutChildren(kNoParent, kNoTile, 0, 0, 0, kDepthNeverAsked, -1);
    node.invalidate();
    return node;
}

}  // namespace

const VoxelLayoutNode VoxelLayout::ConstAccessor::emptyAccessorNode = makeEmptyNode();

template <bool exact>
inline CellIndex VoxelLayout::ConstAccessor::findCell(int in_i, int in_j, int in_k, int in_depth)
{
    const CellIndex found = m_layout->cellIndex<exact>(in_i, in_j, in_k, in_depth);
    if (found.tile.first >= 0) {
        const int depth = found.tile.second;
        m_index = found.tile;
        m_i = in_i - aboveCorner(in_i, depth);
        m_j = in_j - aboveCorner(in_j, depth);
        m_k = in_k - aboveCorner(in_k, depth);
        m_side = kTileSideLUT[depth];
    }
    return found;
}

template <bool exact>
TileIndex VoxelLayout::ConstAccessor::nodeIndexImpl(int in_i, int in_j, int in_k, int in_depth)
{
    return findCell<exact>(in_i, in_j, in_k, in_depth).tile;
}

template <bool exact>
CellIndex VoxelLayout::ConstAccessor::cellIndexImpl(int in_i, int in_j, int in_k, int in_depth)
{
    if (in_depth == kMaxTileDepth) {
        const CellIndex above = m_layout->cellIndex<true>(in_i, in_j, in_k, Block::kDepth);
        if (above.tile.first >= 0) {
            const auto place = [](int in_coordinate) {
                return aboveCorner(in_coordinate, kMaxTileDepth);
            };
            const int cell = place(in_i) + kTileWidth * (place(in_j) + kTileWidth * place(in_k));
            return cellBelow<exact>(above, cell, in_i, in_j, in_k);
        }
    }
    return findCell<exact>(in_i, in_j, in_k, in_depth);
}

template <bool exact>
void VoxelLayout::ConstAccessor::cellIndices(const vec3i* in_points, long long in_count,
                                             int in_depth, CellIndex* out_cells)
{
    long long n = 0;
    while (n < in_count) {
        const vec3i& p = in_points[n];
        if (in_depth == kMaxTileDepth && m_block.covers(p[0], p[1], p[2])) {
            n += m_block.findRun<exact>(in_points + n, in_count - n, out_cells + n);
        } else {
            out_cells[n++] = cellIndex<exact>(p[0], p[1], p[2], in_depth);
        }
    }
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

#define SKELVAR_INSTANTIATE(exact)                                                                 \
    template SKELVAR_API TileIndex VoxelLayout::ConstAccessor::nodeIndex<exact>(TileId);           \
    template SKELVAR_API TileIndex VoxelLayout::ConstAccessor::nodeIndexImpl<exact>(int, int, int, \
                                                                                    int);          \
    template SKELVAR_API CellIndex VoxelLayout::ConstAccessor::cellIndexImpl<exact>(int, int, int, \
                                                                                    int);          \
    template SKELVAR_API void VoxelLayout::ConstAccessor::cellIndices<exact>(                      \
        const vec3i*, long long, int, CellIndex*);
SKELVAR_INSTANTIATE(true)
SKELVAR_INSTANTIATE(false)
#undef SKELVAR_INSTANTIATE

VoxelLayout::Accessor::Accessor(VoxelLayout& io_layout) : ConstAccessor(io_layout) {}

TileIndex VoxelLayout::Accessor::addNode(TileId in_id, std::vector<TileId>* out_added,
                                         std::vector<TileId>* out_added_roots,
                                         VoxelLayoutNodeVisitor* io_visitor)
{
    const TileId id = in_id & ~kTileIdLowBits;
    if (!isTileId(id)) {
        return {};
    }
    const TileIndex index = layout().addNode(id, out_added, out_added_roots, io_visitor);
    remember(index);
    return index;
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
