#pragma once

#include <skelvar/tree/Descent.h>
#include <skelvar/tree/NodeArray.h>
#include <skelvar/tree/RootMapLT.h>
#include <skelvar/tree/TreeLayout3DBase.h>
#include <skelvar/tree/VoxelLayoutNode.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Skelvar {

class ThreadVisitors;
class VoxelLayout;
class VoxelLayoutNodeVisitor;
template <typename Ref, typename LayoutPtr>
class SKELVAR_API_FORWARD NodeIteratorBase;

using NodeIterator = NodeIteratorBase<VoxelLayoutNode&, VoxelLayout*>;
using ConstNodeIterator = NodeIteratorBase<const VoxelLayoutNode&, const VoxelLayout*>;

/// The sparse adaptive tree: which tiles exist, over all depths. A forest, since any tile may be a
/// root; from a root down to each of its tiles the path has no gap. Holds no data of cells:
/// channels do, index for index with the arrays of nodes, and follow the events.
///
/// An edit belongs to one thread, and makes node references, iterators and samplers stale. Indices
/// of nodes hold until nodes are deleted. Any number of threads may read between edits.
class SKELVAR_API VoxelLayout : public TreeLayout3DBase {
public:
    class ConstAccessor;
    class Accessor;
    using NodeArray = Skelvar::NodeArray;
    using RootMap = std::map<TileId, TileIndex, RootMapLT>;

    /// A node at which lookups of points in it may start.
    struct Foothold {
        TileIndex index;
        int i = 0;  ///< corner
        int j = 0;
        int k = 0;
        unsigned side = 0;           ///< 0 if there is no node
        unsigned half_side = 0;      ///< of a node of depth 4 with child slots, else 0
        const int* slots = nullptr;  ///< of that node

        bool covers(int in_i, int in_j, int in_k) const { return isWithin(side, in_i, in_j, in_k); }
        bool coversHalf(int in_i, int in_j, int in_k) const
        {
            return isWithin(half_side, in_i, in_j, in_k);
        }
        /// Of a point that `coversHalf`.
        Detail::PointPath lowerPath(int in_i, int in_j, int in_k) const
        {
            return {static_cast<unsigned>(in_i - i), static_cast<unsigned>(in_j - j),
                    static_cast<unsigned>(in_k - k)};
        }
        /// `cellIndex` of such a point, for a depth of more than 4.
        template <bool exact>
        CellIndex find(const VoxelLayout& in_layout, const Detail::PointPath& in_path,
                       int in_depth) const
        {
            return Detail::descendInto<exact, Detail::PointPath::kHalfDepth>(
                in_layout.m_node_data->depths, index.first, slots, in_path, in_depth);
        }
        bool isWithin(unsigned in_side, int in_i, int in_j, int in_k) const
        {
            return static_cast<unsigned>(in_i) - static_cast<unsigned>(i) < in_side &&
                   static_cast<unsigned>(in_j) - static_cast<unsigned>(j) < in_side &&
                   static_cast<unsigned>(in_k) - static_cast<unsigned>(k) < in_side;
        }
    };

    /// The nodes, one array for each depth. Shared between layouts by a shallow copy.
    struct NodeData {
        NodeArray depths[kNumDepths] = {{}, {}, {}, {}, {}, {}, {}, NodeArray::ofLeaves()};
        /// Of a tree with one root the deepest node, down to depth 4, that holds all that lies
        /// below: the way from the root to it would be the same each time. Any live node would be
        /// right. It stands here so that no layout keeps one that a shallow copy has deleted.
        Foothold trunk;
    };

    /// The walks over nodes. With the orders by depth and all nodes, nodes are met in array order.
    enum LayoutTraversalType : int {
        BreadthFirstTopDown = 0,      ///< serial, shallow depths first
        BreadthFirstBottomUp = 1,     ///< serial, deep depths first
        DepthFirst = 2,               ///< serial, branch by branch
        ParallelByDepthTopDown = 3,   ///< one parallel loop after the other, shallow depths first
        ParallelByDepthBottomUp = 4,  ///< the same, deep depths first
        ParallelBranches = 5,         ///< tasks over branches, a copy of the visitor per thread
        ParallelBranchesJoin = 6,     ///< the same, the copies joined at the end
        ReduceByDepthTopDown = 7,     ///< as 3, visitors copied and joined
        ReduceByDepthBottomUp = 8,    ///< as 4, visitors copied and joined
        ParallelDepths = 9,           ///< depths side by side
        ReduceDepths = 10,            ///< depths side by side, visitors copied and joined
    };

    static const TypeMeta<VoxelLayout> m_typeMeta;
    static const std::string& typeName();

    explicit VoxelLayout(const std::string& in_name = {}, float in_mvs = 1.0f);
    ~VoxelLayout() override;

    // Lookup. A failed one gives an index with `first < 0`: (-2, -1), or from an exact walk the
    // empty slot's entry and -1.

    /// The node, unchecked.
    VoxelLayoutNode& node(const TileIndex& in_index)
    {
        return node(in_index.first, in_index.second);
    }
    const VoxelLayoutNode& node(const TileIndex& in_index) const
    {
        return node(in_index.first, in_index.second);
    }
    VoxelLayoutNode& node(int in_index, int in_depth)
    {
        return m_node_data->depths[in_depth][in_index];
    }
    const VoxelLayoutNode& node(int in_index, int in_depth) const
    {
        return m_node_data->depths[in_depth][in_index];
    }
    /// The node of a tile that must exist.
    VoxelLayoutNode& node(TileId in_id) { return node(nodeIndex<true>(in_id)); }
    const VoxelLayoutNode& node(TileId in_id) const { return node(nodeIndex<true>(in_id)); }
    VoxelLayoutNode& node(int in_i, int in_j, int in_k, int in_depth)
    {
        return node(nodeIndex<true>(in_i, in_j, in_k, in_depth));
    }
    const VoxelLayoutNode& node(int in_i, int in_j, int in_k, int in_depth) const
    {
        return node(nodeIndex<true>(in_i, in_j, in_k, in_depth));
    }
    /// `exact`: that very tile. Else the deepest node on the path to it, itself included; none if
    /// no root covers the tile, also if roots lie below it.
    template <bool exact>
    TileIndex nodeIndex(TileId in_id) const;
    /// The same for the tile of a depth that holds a point. None if the depth is negative or the
    /// point out of range.
    template <bool exact>
    TileIndex nodeIndex(int in_i, int in_j, int in_k, int in_depth) const
    {
        return cellIndex<exact>(in_i, in_j, in_k, in_depth).tile;
    }
    /// The tile that `nodeIndex` gives, and its cell that holds the point.
    template <bool exact>
    CellIndex cellIndex(int in_i, int in_j, int in_k, int in_depth) const
    {
        if (in_depth > Detail::PointPath::kHalfDepth &&
            m_node_data->trunk.coversHalf(in_i, in_j, in_k)) [[likely]] {
            return m_node_data->trunk.find<exact>(
                *this, m_node_data->trunk.lowerPath(in_i, in_j, in_k), in_depth);
        }
        return Detail::atAskedDepth<exact>(cellIndexFromRoot<exact>(in_i, in_j, in_k, in_depth),
                                           in_depth);
    }
    bool nodeExists(TileId in_id) const { return nodeIndex<true>(in_id).first >= 0; }
    /// True if the index names a place of this layout, with a live node in it.
    bool isLive(const TileIndex& in_index) const;
    bool isRoot(TileId in_id) const;
    VoxelLayoutNode& child(const VoxelLayoutNode& in_node, int in_slot)
    {
        return node(in_node.childTileIndex(in_slot));
    }
    const VoxelLayoutNode& child(const VoxelLayoutNode& in_node, int in_slot) const
    {
        return node(in_node.childTileIndex(in_slot));
    }
    NodeArray& nodes(int in_depth) { return m_node_data->depths[in_depth]; }
    const NodeArray& nodes(int in_depth) const { return m_node_data->depths[in_depth]; }

    RootMap::const_iterator beginRoots() const { return m_roots.begin(); }
    RootMap::const_iterator endRoots() const { return m_roots.end(); }
    /// The root that is the tile, or lies above it, or one of those below it.
    RootMap::const_iterator findRoot(TileId in_id) const { return m_roots.find(in_id); }
    int numRoots() const { return static_cast<int>(m_roots.size()); }
    /// At least the greatest depth of a root.
    int finestRootDepth() const { return m_finest_root_depth; }

    // Geometry

    static constexpr int tileWidth(int = 0) { return kTileWidth; }
    static constexpr int tileSize(int = 0) { return kTileSize; }
    int maxDepth() const override { return kMaxTileDepth; }
    /// Side of a tile of a depth, and of a cell of it, in coordinate units.
    static constexpr int nodeWidth(int in_depth) { return kTileSideLUT[in_depth]; }
    static constexpr int cellWidth(int in_depth) { return kTileSideLUT[in_depth + 1]; }
    int numNodes() const override { return m_num_nodes; }
    int numNodes(int in_depth) const override { return static_cast<int>(nodes(in_depth).size()); }
    int size() const { return m_num_nodes; }
    bool empty() const { return m_num_nodes == 0; }
    /// Cells of all nodes: the sum of the branch sizes of the roots.
    long long numVoxels() const;
    void bounds(vec3i& out_min, vec3i& out_max) const override;
    /// Box around the live nodes of a depth. Leaves the outputs alone if there are none.
    void bounds(int in_depth, vec3i& out_min, vec3i& out_max) const;
    /// Appends the nodes of a depth that intersect the box (touching counts), in depth-first order.
    void nodeIndices(const vec3i& in_lo, const vec3i& in_hi, std::vector<TileIndex>& out_indices,
                     int in_depth) const;
    /// The same, of one branch only.
    void nodeIndices(const TileIndex& in_start, const vec3i& in_lo, const vec3i& in_hi,
                     std::vector<TileIndex>& out_indices, int in_depth) const;
    /// Appends all nodes of a depth in one branch, the start itself included.
    void nodeIndices(const TileIndex& in_start, std::vector<TileIndex>& out_indices,
                     int in_depth) const;
    /// Appends the ids of the live nodes of the depths, both inclusive and cut to 0 to 7.
    void tileIds(std::vector<TileId>* out_ids, int in_start_depth, int in_end_depth) const;

    ConstAccessor accessor() const;
    Accessor accessor();

    // Walks. A visitor of a const layout has only the const forms of its `preVisit` and `postVisit`
    // called. What a visitor throws comes out of the walk, without `end`.

    /// Calls `begin`, then `preVisit`, `visit` for the 125 child positions (not at depth 7) and
    /// `postVisit` for each live node in the order of the walk, then `end`.
    ///
    /// `in_start` (-1, -1) means all nodes, in the depths from `in_start_depth` to `in_end_depth`
    /// (both inclusive, cut to 0 to 7; nothing if they are the wrong way round). The depths do not
    /// bound the orders by branches (2, 5, 6).
    /// Another start means its branch, in all depths: only for the orders by branches and for
    /// `BreadthFirstTopDown`, which then calls `preVisit` alone. A start that is no live node
    /// visits nothing.
    /// `in_grain`, cells: branches up to about so many are one task (5, 6).
    ///
    /// The visitor is shared by all threads in orders 3, 4 and 9, and copied in 5 to 8 and 10;
    /// copies are joined in 6, 7, 8 and 10, into visitors whose nodes come before those of the
    /// copy for 7, 8 and 10. The answer of `visit` counts in the orders by branches only. There,
    /// between `preVisit` and `postVisit` of a node a thread's visitor serves other branches, so a
    /// visitor keeps nothing like a stack.
    ///
    /// Throws `std::runtime_error` for an order that is none of the eleven or takes no start, after
    /// `begin`.
    void accept(VoxelLayoutNodeVisitor* io_visitor, LayoutTraversalType in_order,
                const TileIndex& in_start = {}, int in_start_depth = 0,
                int in_end_depth = kMaxTileDepth, unsigned long long in_grain = kTileSize);
    void accept(VoxelLayoutNodeVisitor* io_visitor, LayoutTraversalType in_order,
                const TileIndex& in_start = {}, int in_start_depth = 0,
                int in_end_depth = kMaxTileDepth, unsigned long long in_grain = kTileSize) const;
    /// The serial depth-first walk of one branch, or of several in turn, without `begin` and `end`.
    /// The forms with the visitors of threads take the calling thread's.
    void accept(VoxelLayoutNodeVisitor* io_visitor, const TileIndex& in_start);
    void accept(VoxelLayoutNodeVisitor* io_visitor, const TileIndex& in_start) const;
    void accept(VoxelLayoutNodeVisitor* io_visitor, const std::vector<TileIndex>& in_starts);
    void accept(VoxelLayoutNodeVisitor* io_visitor, const std::vector<TileIndex>& in_starts) const;
    void accept(ThreadVisitors& io_visitors, const TileIndex& in_start);
    void accept(ThreadVisitors& io_visitors, const TileIndex& in_start) const;
    void accept(ThreadVisitors& io_visitors, const std::vector<TileIndex>& in_starts);
    void accept(ThreadVisitors& io_visitors, const std::vector<TileIndex>& in_starts) const;
    /// The walk of branches by tasks, behind orders 5 and 6. A branch of at most `in_grain` cells
    /// is walked in one go; larger ones have tasks of their own, smaller ones share tasks that are
    /// full at `in_max_grain` cells. Returns when all is done.
    void acceptParallel(ThreadVisitors& io_visitors, const std::vector<TileIndex>& in_starts,
                        unsigned long long in_grain, unsigned long long in_max_grain);
    void acceptParallel(ThreadVisitors& io_visitors, const std::vector<TileIndex>& in_starts,
                        unsigned long long in_grain, unsigned long long in_max_grain) const;

    /// The live nodes of the depths, both inclusive and cut to 0 to 7: in array order with
    /// `BreadthFirstTopDown`, branch by branch with any other order. See NodeIteratorBase.h.
    NodeIterator beginNodes(int in_start_depth = 0, int in_end_depth = kMaxTileDepth,
                            LayoutTraversalType in_order = BreadthFirstTopDown);
    ConstNodeIterator beginNodes(int in_start_depth = 0, int in_end_depth = kMaxTileDepth,
                                 LayoutTraversalType in_order = BreadthFirstTopDown) const;
    NodeIterator endNodes();
    ConstNodeIterator endNodes() const;
    /// The same for callers that cannot hold the type itself. An end iterator unless
    /// 0 <= `in_start_depth` <= `in_end_depth` and 1 <= `in_end_depth`.
    std::shared_ptr<NodeIterator> createBeginIterator(int in_start_depth, int in_end_depth,
                                                      LayoutTraversalType in_order);
    std::shared_ptr<ConstNodeIterator> createBeginIterator(int in_start_depth, int in_end_depth,
                                                           LayoutTraversalType in_order) const;
    std::shared_ptr<NodeIterator> createEndIterator();
    std::shared_ptr<ConstNodeIterator> createEndIterator() const;

    // Insertion. `out_added` and `out_added_roots`, which may be null, get the ids of new nodes and
    // of new roots appended; `io_visitor`, which may be null, has its `preVisit` called on them and
    // on the nodes on the way. Coordinates out of range change nothing and give (-1, -1).

    /// Enters a root in the map; makes no node. Does nothing if another root lies above or below.
    void addRoot(TileId in_id, int in_index, int in_depth);
    /// Makes the tile and what is missing between it and its nearest ancestor or the roots below
    /// it. The tile's index; no event if it exists.
    TileIndex addNode(TileId in_id, std::vector<TileId>* out_added = nullptr,
                      std::vector<TileId>* out_added_roots = nullptr,
                      VoxelLayoutNodeVisitor* io_visitor = nullptr);
    TileIndex addNode(int in_i, int in_j, int in_k, int in_depth,
                      std::vector<TileId>* out_added = nullptr,
                      std::vector<TileId>* out_added_roots = nullptr,
                      VoxelLayoutNodeVisitor* io_visitor = nullptr);
    /// Adds the smallest tile below the root tile that holds both points; the root tile if none.
    TileIndex addNode(const vec3i& in_lo, const vec3i& in_hi,
                      std::vector<TileId>* out_added = nullptr,
                      std::vector<TileId>* out_added_roots = nullptr,
                      VoxelLayoutNodeVisitor* io_visitor = nullptr);
    void addNodes(const std::vector<TileId>& in_ids, std::vector<TileId>* out_added = nullptr,
                  std::vector<TileId>* out_added_roots = nullptr,
                  VoxelLayoutNodeVisitor* io_visitor = nullptr);
    /// One node for each step of a tile's side, from lo up to but not including hi; z fastest.
    void addNodes(const vec3i& in_lo, const vec3i& in_hi, int in_depth,
                  std::vector<TileId>* out_added = nullptr,
                  std::vector<TileId>* out_added_roots = nullptr,
                  VoxelLayoutNodeVisitor* io_visitor = nullptr);
    /// Bulk insertion of the tiles of each depth that hold the points, in list order, with one
    /// event. Points out of range and tiles that exist are passed over. A list names no tile twice.
    /// Makes no missing ancestors and adopts no roots: a tile without its parent becomes a root, or
    /// is passed over if it lies above or below a root, where it could not be found.
    void addNodes(const std::vector<std::vector<vec3i>>& in_coords_by_depth,
                  std::vector<TileId>* out_added = nullptr);
    void addNodes(const std::vector<vec3i>& in_coords, int in_depth,
                  std::vector<TileId>* out_added = nullptr);
    /// Copies `in_node` of another layout, with its whole branch, below the node `in_parent` of
    /// this one, which must be its parent tile (else nothing happens). Tiles that exist stay.
    /// Raises `nodeAdded` for each new node.
    void addBranch(const TileIndex& in_parent, const VoxelLayoutNode& in_node,
                   const VoxelLayout& in_other);
    /// The same for the node of `in_other` at which an iterator stands, below its parent tile here.
    void addBranch(const ConstNodeIterator& in_node, const VoxelLayout& in_other);
    /// Adds every live node of other layouts that this one lacks, with one `nodesAdded` for all.
    /// A root there that lies above a root here, or more than one depth below a node here, is first
    /// added as by `addNode`, with an event for each node that this makes. `out_added` may be null
    /// and gets the ids of all new nodes appended.
    void refine(const VoxelLayout& in_other, std::vector<TileId>* out_added = nullptr);
    void refine(const std::vector<const VoxelLayout*>& in_others,
                std::vector<TileId>* out_added = nullptr);
    /// The same of one layout, which also appends the new indices to eight lists, those of nodes
    /// told by `nodeAdded` left out. With `in_finish` false, branch sizes and the event are left to
    /// the caller: `setBranchSizes()`, then `nodesAdded` with the lists.
    void refine(const VoxelLayout& in_other, std::vector<int>* io_added_by_depth, bool in_finish,
                std::vector<TileId>* out_added);

    // Deletion. Indices and ids of no live node are passed over. `out_deleted_ids` and
    // `out_deleted_indices`, which may be null, get the deleted nodes appended.

    /// Deletes the whole branch; closes the gaps at once unless `compactOnDelete` is false.
    void deleteNode(const TileIndex& in_index, std::vector<TileId>* out_deleted_ids = nullptr,
                    std::vector<TileIndex>* out_deleted_indices = nullptr);
    void deleteNode(TileId in_id, std::vector<TileId>* out_deleted_ids = nullptr,
                    std::vector<TileIndex>* out_deleted_indices = nullptr);
    /// Deletes the branches and closes the gaps once; `compactOnDelete` is true after that.
    void deleteNodes(const std::vector<TileId>& in_ids,
                     std::vector<TileId>* out_deleted_ids = nullptr);
    void deleteNodes(const std::vector<TileIndex>& in_indices,
                     std::vector<TileId>* out_deleted_ids = nullptr);
    /// The same in parallel, for one list of indices a depth. The lists come to hold all deleted
    /// indices, sorted.
    void deleteNodes(std::vector<std::vector<int>>& io_indices_by_depth,
                     std::vector<TileId>* out_deleted_ids = nullptr);
    void update(const std::vector<TileId>& in_to_add, const std::vector<TileId>& in_to_delete);
    /// Takes a root out of the map; the node stays.
    void removeRoot(TileId in_id);
    /// Closes the gaps that deleted nodes left and raises `nodesDeleted`: with the indices for the
    /// first form, with the moves for the second, which takes eight sorted lists. What is listed
    /// are places of deleted nodes, each once.
    void compactStorage(const std::vector<TileIndex>& in_deleted);
    void compactStorage(const std::vector<std::vector<int>>& in_deleted_by_depth);
    void clear();
    bool compactOnDelete() const { return m_compact_on_delete; }
    void setCompactOnDelete(bool in_on) { m_compact_on_delete = in_on; }

    /// Recomputes all branch sizes.
    void setBranchSizes();

    using TreeLayout3DBase::copyInto;
    void copyInto(const std::shared_ptr<TreeLayout3DBase>& io_target, bool in_deep) const override;
    std::shared_ptr<TreeLayout3DBase> copy(bool in_deep) const override;
    const void* nodeDataPtr() const override { return m_node_data.get(); }
    const TypeMetaBase* typeMeta() const override { return &m_typeMeta; }
    unsigned long long memUsage(MemUsage::Type in_type, bool in_with_children) const override;

    bool save(OutputStream& io_stream) const override;
    /// Replaces the content. False, with the layout as it was, if the stream is short or what it
    /// holds is no tree. Raises no event: observers subscribe afterwards.
    bool load(InputStream& io_stream) override;
    bool dump(OutputStream& io_stream) const override;

private:
    struct BulkInsertion;
    friend class LayoutMerge;  // a private class that makes nodes in bulk

    /// The root that is the tile or an ancestor of it.
    TileIndex rootAbove(TileId in_id) const;
    /// `cellIndex` for points and depths for which the trunk is of no use as a short cut.
    template <bool exact>
    CellIndex cellIndexFromRoot(int in_i, int in_j, int in_k, int in_depth) const;
    /// Sets the trunk anew.
    void findTrunk();
    /// Appends a node that is not linked yet and raises `nodeAdded`.
    TileIndex appendNode(int in_parent, TileId in_id, int in_depth);
    /// Makes the tile below the deepest node on the path to it.
    TileIndex insertBelow(const TileIndex& in_ancestor, TileId in_id,
                          std::vector<TileId>* out_added, VoxelLayoutNodeVisitor* io_visitor);
    /// Makes the tile as a root and takes the roots below it under it.
    TileIndex insertRoot(TileId in_id, std::vector<TileId>* out_added,
                         std::vector<TileId>* out_added_roots, VoxelLayoutNodeVisitor* io_visitor);
    /// Links a node under an ancestor, with the nodes that are missing between the two.
    void link(const TileIndex& in_ancestor, const TileIndex& in_target,
              std::vector<TileId>* out_added, VoxelLayoutNodeVisitor* io_visitor);
    /// Adds to the branch size of a node and of all above it.
    void addToBranches(TileIndex in_index, long long in_cells);
    template <typename Key>
    void deleteEach(const std::vector<Key>& in_keys, std::vector<TileId>* out_deleted_ids);
    /// The moves done.
    std::vector<TileIndex> closeGaps(const std::vector<int>& in_deleted, int in_depth);
    void moveNode(int in_destination, int in_source, int in_depth);
    /// Into a new layout, of which the content is good for nothing on false.
    bool loadContent(InputStream& io_stream);
    bool loadRoots(InputStream& io_stream);
    bool loadNodes(InputStream& io_stream);
    bool loadDictionary(InputStream& io_stream);
    bool settle();
    void repairRoots();

    std::shared_ptr<NodeData> m_node_data;
    int m_num_nodes = 0;  ///< live ones
    RootMap m_roots;
    int m_finest_root_depth = 0;         ///< an upper bound
    int m_root_counts[kNumDepths] = {};  ///< upper bounds, but for the finest root depth
    bool m_compact_on_delete = true;
};

extern template SKELVAR_API TileIndex VoxelLayout::nodeIndex<true>(TileId) const;
extern template SKELVAR_API TileIndex VoxelLayout::nodeIndex<false>(TileId) const;
extern template SKELVAR_API CellIndex VoxelLayout::cellIndexFromRoot<true>(int, int, int,
                                                                           int) const;
extern template SKELVAR_API CellIndex VoxelLayout::cellIndexFromRoot<false>(int, int, int,
                                                                            int) const;

}  // namespace Skelvar
