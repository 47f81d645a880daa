#include <skelvar/tree/VoxelLayout.h>

#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <algorithm>
#include <type_traits>

namespace Skelvar {

const TypeMeta<VoxelLayout> VoxelLayout::m_typeMeta;

const std::string& VoxelLayout::typeName()
{
    static const std::string& s_typeName = *new std::string("VoxelLayout");
    return s_typeName;
}

VoxelLayout::VoxelLayout(const std::string& in_name, float in_mvs)
    : TreeLayout3DBase(in_name, in_mvs), m_node_data(std::make_shared<NodeData>())
{
}

VoxelLayout::~VoxelLayout() = default;

// Lookup

TileIndex VoxelLayout::rootAbove(TileId in_id) const
{
    const auto root = m_roots.find(in_id);
    // A root below the tile also compares equal to it.
    return root == m_roots.end() || isParentTile(in_id, root->first) ? kNoTileIndex : root->second;
}

template <bool exact>
TileIndex VoxelLayout::nodeIndex(TileId in_id) const
{
    if (in_id == kNoTile) {
        return kNoTileIndex;
    }
    const TileId id = in_id & ~kTileIdLowBits;
    const TileIndex& trunk = m_node_data->trunk.index;
    const bool is_below_trunk =
        m_node_data->trunk.side > 0 && ancestorTile(id, trunk.second) == node(trunk).id();
    const TileIndex start = is_below_trunk ? trunk : rootAbove(id);
    return start.first < 0 ? kNoTileIndex : Detail::descend<exact>(m_node_data->depths, start, id);
}

template <bool exact>
CellIndex VoxelLayout::cellIndexFromRoot(int in_i, int in_j, int in_k, int in_depth) const
{
    TileIndex start = m_node_data->trunk.index;
    if (in_depth < start.second || !m_node_data->trunk.covers(in_i, in_j, in_k)) {
        const TileId id =
            tileCoordsToFinestId(in_i, in_j, in_k, std::min(m_finest_root_depth, in_depth));
        start = id == kNoTile ? kNoTileIndex : rootAbove(id);
        if (start.first < 0) {
            return {};
        }
    }
    const auto path = Detail::PointPath::ofPoint(in_i, in_j, in_k);
    const auto from = [&]<int Depth>(std::integral_constant<int, Depth>) {
        return Detail::descendFrom<exact, Depth>(m_node_data->depths, start.first, path, in_depth);
    };
    switch (start.second) {
        case 0:
            return from(std::integral_constant<int, 0>{});
        case 1:
            return from(std::integral_constant<int, 1>{});
        case 2:
            return from(std::integral_constant<int, 2>{});
        case 3:
            return from(std::integral_constant<int, 3>{});
        case 4:
            return from(std::integral_constant<int, 4>{});
        case 5:
            return from(std::integral_constant<int, 5>{});
        case 6:
            return from(std::integral_constant<int, 6>{});
        default:
            return from(std::integral_constant<int, 7>{});
    }
}

template SKELVAR_API TileIndex VoxelLayout::nodeIndex<true>(TileId) const;
template SKELVAR_API TileIndex VoxelLayout::nodeIndex<false>(TileId) const;
template SKELVAR_API CellIndex VoxelLayout::cellIndexFromRoot<true>(int, int, int, int) const;
template SKELVAR_API CellIndex VoxelLayout::cellIndexFromRoot<false>(int, int, int, int) const;

void VoxelLayout::findTrunk()
{
    m_node_data->trunk = {};
    if (numRoots() != 1 || m_roots.begin()->second.second > Detail::PointPath::kHalfDepth) {
        return;
    }
    TileIndex index = m_roots.begin()->second;
    while (index.second < Detail::PointPath::kHalfDepth && node(index).numChildren() == 1) {
        index = *VoxelLayoutNode::ChildIterator(true, &node(index), false);
    }
    const VoxelLayoutNode& trunk = node(index);
    const unsigned side = kTileSideLUT[index.second];
    const bool is_half = index.second == Detail::PointPath::kHalfDepth && trunk.hasChildSlots();
    m_node_data->trunk = {index, trunk.i(),          trunk.j(), trunk.k(),
                          side,  is_half ? side : 0, nullptr};
    if (is_half) {
        m_node_data->trunk.slots = trunk.children();
    }
}

bool VoxelLayout::isLive(const TileIndex& in_index) const
{
    return static_cast<unsigned>(in_index.second) < static_cast<unsigned>(kNumDepths) &&
           in_index.first >= 0 && in_index.first < numNodes(in_index.second) &&
           node(in_index).valid();
}

bool VoxelLayout::isRoot(TileId in_id) const
{
    const auto root = m_roots.find(in_id);
    return root != m_roots.end() && root->first == in_id;
}

VoxelLayout::ConstAccessor VoxelLayout::accessor() const
{
    return ConstAccessor(*this);
}

VoxelLayout::Accessor VoxelLayout::accessor()
{
    return Accessor(*this);
}

// Geometry

namespace {

/// A box that grows around others. It writes its outputs only once it holds something.
class BoxAround {
public:
    void add(const VoxelLayoutNode& in_node)
    {
        vec3i lo;
        vec3i hi;
        in_node.bounds(lo, hi);
        for (int axis = 0; axis < 3; ++axis) {
            m_lo[axis] = m_empty ? lo[axis] : std::min(m_lo[axis], lo[axis]);
            m_hi[axis] = m_empty ? hi[axis] : std::max(m_hi[axis], hi[axis]);
        }
        m_empty = false;
    }
    void get(vec3i& out_min, vec3i& out_max) const
    {
        if (!m_empty) {
            out_min = m_lo;
            out_max = m_hi;
        }
    }

private:
    vec3i m_lo{};
    vec3i m_hi{};
    bool m_empty = true;
};

/// Appends the nodes of `in_depth` in the branch of `in_start` that pass `in_test`, as do all nodes
/// on the way to them.
template <typename Test>
void collectBranch(const VoxelLayout& in_layout, const TileIndex& in_start, int in_depth,
                   const Test& in_test, std::vector<TileIndex>& out_indices)
{
    const VoxelLayoutNode& node = in_layout.node(in_start);
    if (in_start.second > in_depth || !in_test(node)) {
        return;
    }
    if (in_start.second == in_depth) {
        out_indices.push_back(in_start);
        return;
    }
    const VoxelLayoutNode::ChildIterator end(false, &node, false);
    for (VoxelLayoutNode::ChildIterator child(true, &node, false); child != end; ++child) {
        collectBranch(in_layout, *child, in_depth, in_test, out_indices);
    }
}

}  // namespace

long long VoxelLayout::numVoxels() const
{
    long long cells = 0;
    for (const auto& [id, index] : m_roots) {
        cells += node(index).branchSize();
    }
    return cells;
}

void VoxelLayout::bounds(vec3i& out_min, vec3i& out_max) const
{
    BoxAround box;
    for (const auto& [id, index] : m_roots) {
        box.add(node(index));
    }
    box.get(out_min, out_max);
}

void VoxelLayout::bounds(int in_depth, vec3i& out_min, vec3i& out_max) const
{
    BoxAround box;
    for (const VoxelLayoutNode& node : nodes(in_depth)) {
        if (node.valid()) {
            box.add(node);
        }
    }
    box.get(out_min, out_max);
}

void VoxelLayout::nodeIndices(const vec3i& in_lo, const vec3i& in_hi,
                              std::vector<TileIndex>& out_indices, int in_depth) const
{
    for (const auto& [id, root] : m_roots) {
        nodeIndices(root, in_lo, in_hi, out_indices, in_depth);
    }
}

void VoxelLayout::nodeIndices(const TileIndex& in_start, const vec3i& in_lo, const vec3i& in_hi,
                              std::vector<TileIndex>& out_indices, int in_depth) const
{
    if (isLive(in_start)) {
        const auto touches = [&](const VoxelLayoutNode& node) {
            return node.intersects(in_lo, in_hi);
        };
        collectBranch(*this, in_start, in_depth, touches, out_indices);
    }
}

void VoxelLayout::nodeIndices(const TileIndex& in_start, std::vector<TileIndex>& out_indices,
                              int in_depth) const
{
    if (isLive(in_start)) {
        collectBranch(
            *this, in_start, in_depth, [](const VoxelLayoutNode&) { return true; }, out_indices);
    }
}

void VoxelLayout::tileIds(std::vector<TileId>* out_ids, int in_start_depth, int in_end_depth) const
{
    for (int depth = std::max(in_start_depth, 0); depth <= std::min(in_end_depth, kMaxTileDepth);
         ++depth) {
        for (const VoxelLayoutNode& node : nodes(depth)) {
            if (node.valid()) {
                out_ids->push_back(node.id());
            }
        }
    }
}

}  // namespace Skelvar
