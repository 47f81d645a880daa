#include <skelvar/tree/NodeIteratorBase.h>

#include <algorithm>

namespace Skelvar {

template <typename Ref, typename LayoutPtr>
NodeIteratorBase<Ref, LayoutPtr>::NodeIteratorBase(LayoutPtr in_layout, int in_start_depth,
                                                   int in_end_depth, LayoutTraversalType in_order)
    : m_layout(in_layout),
      m_order(in_order),
      m_start_depth(std::max(in_start_depth, 0)),
      m_end_depth(std::min(in_end_depth, kMaxTileDepth)),
      m_depth(m_start_depth),
      m_next_root(in_layout->beginRoots())
{
    if (m_start_depth <= m_end_depth) {
        findNextNode();
    } else {
        standAtEnd();
    }
}

template <typename Ref, typename LayoutPtr>
void NodeIteratorBase<Ref, LayoutPtr>::standAt(const TileIndex& in_place)
{
    m_index = in_place.first;
    m_depth = in_place.second;
    m_size = m_layout->numNodes(m_depth);
    m_valid = true;
}

template <typename Ref, typename LayoutPtr>
void NodeIteratorBase<Ref, LayoutPtr>::standAtEnd()
{
    m_depth = kMaxTileDepth;
    m_index = m_size = m_layout->numNodes(kMaxTileDepth);
    m_valid = false;
    m_pending.clear();
    m_pending_after_node = 0;
    m_next_root = m_layout->endRoots();
}

template <typename Ref, typename LayoutPtr>
void NodeIteratorBase<Ref, LayoutPtr>::findNextNode()
{
    if (m_order == VoxelLayout::BreadthFirstTopDown) {
        findNextInArrays();
    } else {
        findNextInBranches();
    }
}

template <typename Ref, typename LayoutPtr>
void NodeIteratorBase<Ref, LayoutPtr>::findNextInArrays()
{
    int index = m_index + 1;
    for (int depth = m_depth; depth <= m_end_depth; ++depth, index = 0) {
        const int size = m_layout->numNodes(depth);
        while (index < size && !m_layout->node(index, depth).valid()) {
            ++index;
        }
        if (index < size) {
            standAt({index, depth});
            return;
        }
    }
    standAtEnd();
}

template <typename Ref, typename LayoutPtr>
void NodeIteratorBase<Ref, LayoutPtr>::findNextInBranches()
{
    while (true) {
        if (m_pending.empty()) {
            if (m_next_root == m_layout->endRoots()) {
                standAtEnd();
                return;
            }
            m_pending.push_back((m_next_root++)->second);
        }
        const TileIndex place = m_pending.back();
        m_pending.pop_back();
        m_pending_after_node = m_pending.size();
        if (place.second < m_end_depth) {
            pushChildren(m_layout->node(place));
        }
        // A root may lie below the last depth.
        if (place.second >= m_start_depth && place.second <= m_end_depth) {
            standAt(place);
            return;
        }
    }
}

/// The last slot first, so that the lowest comes next.
template <typename Ref, typename LayoutPtr>
void NodeIteratorBase<Ref, LayoutPtr>::pushChildren(const VoxelLayoutNode& in_node)
{
    const VoxelLayoutNode::ChildIterator end(false, &in_node, true);
    for (VoxelLayoutNode::ChildIterator child(true, &in_node, true); child != end; --child) {
        m_pending.push_back(*child);
    }
}

template <typename Ref, typename LayoutPtr>
void NodeIteratorBase<Ref, LayoutPtr>::stepToNextBranch()
{
    if (m_order == VoxelLayout::DepthFirst) {
        m_pending.resize(m_pending_after_node);
        findNextNode();
    }
}

template <typename Ref, typename LayoutPtr>
TileIndex NodeIteratorBase<Ref, LayoutPtr>::nodeNeighbourIndex(int in_di, int in_dj, int in_dk)
{
    const VoxelLayoutNode& node = m_layout->node(m_index, m_depth);
    const long long side = kTileSideLUT[m_depth];
    const long long place[3] = {node.i() + in_di * side, node.j() + in_dj * side,
                                node.k() + in_dk * side};
    for (const long long coordinate : place) {
        if (coordinate < -kTileOrigin || coordinate > kTileOrigin) {
            return kNoTileIndex;
        }
    }
    if (!m_accessor) {
        m_accessor.emplace(*m_layout);
    }
    return m_accessor->template nodeIndex<true>(static_cast<int>(place[0]),
                                                static_cast<int>(place[1]),
                                                static_cast<int>(place[2]), m_depth);
}

template class NodeIteratorBase<VoxelLayoutNode&, VoxelLayout*>;
template class NodeIteratorBase<const VoxelLayoutNode&, const VoxelLayout*>;

namespace {

template <typename Iterator, typename LayoutPtr>
std::shared_ptr<Iterator> makeBegin(LayoutPtr in_layout, int in_start_depth, int in_end_depth,
                                    VoxelLayout::LayoutTraversalType in_order)
{
    if (in_start_depth < 0 || in_start_depth > in_end_depth || in_end_depth < 1) {
        return std::make_shared<Iterator>(in_layout);
    }
    return std::make_shared<Iterator>(in_layout, in_start_depth, in_end_depth, in_order);
}

}  // namespace

NodeIterator VoxelLayout::beginNodes(int in_start_depth, int in_end_depth,
                                     LayoutTraversalType in_order)
{
    return NodeIterator(this, in_start_depth, in_end_depth, in_order);
}

ConstNodeIterator VoxelLayout::beginNodes(int in_start_depth, int in_end_depth,
                                          LayoutTraversalType in_order) const
{
    return ConstNodeIterator(this, in_start_depth, in_end_depth, in_order);
}

NodeIterator VoxelLayout::endNodes()
{
    return NodeIterator(this);
}

ConstNodeIterator VoxelLayout::endNodes() const
{
    return ConstNodeIterator(this);
}

std::shared_ptr<NodeIterator> VoxelLayout::createBeginIterator(int in_start_depth, int in_end_depth,
                                                               LayoutTraversalType in_order)
{
    return makeBegin<NodeIterator>(this, in_start_depth, in_end_depth, in_order);
}

std::shared_ptr<ConstNodeIterator> VoxelLayout::createBeginIterator(
    int in_start_depth, int in_end_depth, LayoutTraversalType in_order) const
{
    return makeBegin<ConstNodeIterator>(this, in_start_depth, in_end_depth, in_order);
}

std::shared_ptr<NodeIterator> VoxelLayout::createEndIterator()
{
    return std::make_shared<NodeIterator>(this);
}

std::shared_ptr<ConstNodeIterator> VoxelLayout::createEndIterator() const
{
    return std::make_shared<ConstNodeIterator>(this);
}

}  // namespace Skelvar
