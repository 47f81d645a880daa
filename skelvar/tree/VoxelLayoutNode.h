#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/MemUsage.h>
#include <skelvar/base/ValueTypes.h>
#include <skelvar/tree/TileId.h>
#include <skelvar/tree/TileIndex.h>

#include <atomic>
#include <utility>

namespace Skelvar {

class InputStream;
class OutputStream;

/// A child slot without a child. Any negative entry means the same.
inline constexpr int kNoChild = -2;
/// The parent of a root.
inline constexpr int kNoParent = -2;

namespace Detail {

/// A counted reference to the 125 child slots of a node, or to none. Copies share the slots.
class SKELVAR_API ChildSlots {
public:
    ChildSlots() = default;
    ChildSlots(const ChildSlots& in_other) : m_block(in_other.m_block)
    {
        if (m_block != nullptr) {
            m_block->references.fetch_add(1, std::memory_order_relaxed);
        }
    }
    ChildSlots(ChildSlots&& io_other) noexcept : m_block(std::exchange(io_other.m_block, nullptr))
    {
    }
    ChildSlots& operator=(ChildSlots in_other) noexcept
    {
        std::swap(m_block, in_other.m_block);
        return *this;
    }
    ~ChildSlots()
    {
        if (m_block != nullptr) {
            release();
        }
    }

    /// New slots, not shared and not written. Throws `std::runtime_error` without memory.
    static ChildSlots make();

    explicit operator bool() const { return m_block != nullptr; }
    int* data() { return m_block->entries; }
    const int* data() const { return m_block->entries; }

private:
    struct Block {
        int entries[kTileSize];
        std::atomic<int> references;
    };

    void release();

    Block* m_block = nullptr;
};

}  // namespace Detail

/// One tile of a layout: where it is, and its links to the tiles above and below it. Owned by its
/// layout's array, index for index with the tiles of channels. A copy by assignment shares the
/// child slots; `copyInto` duplicates them. Not guarded.
class SKELVAR_API VoxelLayoutNode final {
public:
    class ChildIterator;

    /// An invalid node: id `kNoTile`, depth and index -1, no parent, no child slots.
    VoxelLayoutNode() = default;

    /// Makes this the valid node of a tile, with new child slots unless the depth is 7. With
    /// `in_fill_children` false the caller writes all 125 entries.
    void init(int in_parent, TileId in_id, int in_index, long long in_branch_size,
              bool in_fill_children);
    /// The same with the tile's corner and depth given, which must be those of the id.
    void init(int in_parent, TileId in_id, int in_i, int in_j, int in_k, int in_depth, int in_index,
              long long in_branch_size, bool in_fill_children);
    /// The same without child slots; `ensureChildSlots` makes them. Cannot fail.
    void initWithoutChildren(int in_parent, TileId in_id, int in_i, int in_j, int in_k,
                             int in_depth, int in_index) noexcept;

    TileId id() const { return m_id; }
    /// Minimum corner, in coordinate units.
    int i() const { return m_i; }
    int j() const { return m_j; }
    int k() const { return m_k; }
    vec3i corner() const { return {m_i, m_j, m_k}; }
    int depth() const { return m_depth; }
    int index() const { return m_index; }
    TileIndex tileIndex() const { return {m_index, m_depth}; }
    /// Index of the parent in the array of depth - 1, negative for a root.
    int parent() const { return m_parent; }
    bool isRoot() const { return m_parent < 0; }
    /// Cells of the branch: 125 for the node itself and those of its children's branches.
    long long branchSize() const { return m_branch_size; }
    /// False for a node that was deleted and still takes up a place.
    bool valid() const { return m_valid; }

    void setIndex(int in_index) { m_index = in_index; }
    void setParent(int in_parent) { m_parent = in_parent; }
    void setBranchSize(long long in_cells) { m_branch_size = in_cells; }

    /// False at depth 7, and for a node that was loaded without child slots.
    bool hasChildSlots() const { return static_cast<bool>(m_children); }
    /// Makes the slots, all empty, if there are none and the depth is above 7.
    void ensureChildSlots();
    /// The 125 entries. There must be child slots.
    int* children() { return m_children.data(); }
    const int* children() const { return m_children.data(); }
    /// The entry of a slot: the child's index at depth + 1, or negative. There must be child slots.
    int& child(int in_slot) { return m_children.data()[in_slot]; }
    const int& child(int in_slot) const { return m_children.data()[in_slot]; }
    bool childExists(int in_slot) const { return m_children && child(in_slot) >= 0; }
    bool childExists(int in_ci, int in_cj, int in_ck) const
    {
        return childExists(in_ci + 5 * (in_cj + 5 * in_ck));
    }
    /// The entry, not tested, with depth + 1.
    TileIndex childTileIndex(int in_slot) const { return {child(in_slot), m_depth + 1}; }
    TileIndex childTileIndex(int in_ci, int in_cj, int in_ck) const
    {
        return childTileIndex(in_ci + 5 * (in_cj + 5 * in_ck));
    }
    /// Position of a child, or of a corner at depth + 1, inside this tile.
    void childIJK(const VoxelLayoutNode& in_child, int& out_ci, int& out_cj, int& out_ck) const
    {
        childIJK(in_child.m_i, in_child.m_j, in_child.m_k, out_ci, out_cj, out_ck);
    }
    void childIJK(const int& in_i, const int& in_j, const int& in_k, int& out_ci, int& out_cj,
                  int& out_ck) const
    {
        const int side = kTileSideLUT[m_depth + 1];
        out_ci = (in_i - m_i) / side;
        out_cj = (in_j - m_j) / side;
        out_ck = (in_k - m_k) / side;
    }
    int numChildren() const;

    bool contains(int in_i, int in_j, int in_k) const
    {
        const unsigned side = kTileSideLUT[m_depth];
        return static_cast<unsigned>(in_i) - static_cast<unsigned>(m_i) < side &&
               static_cast<unsigned>(in_j) - static_cast<unsigned>(m_j) < side &&
               static_cast<unsigned>(in_k) - static_cast<unsigned>(m_k) < side;
    }
    /// The box [corner, corner + side).
    void bounds(vec3i& out_min, vec3i& out_max) const;
    /// True also if the box only touches a face of the tile.
    bool intersects(const vec3i& in_lo, const vec3i& in_hi) const;
    bool isContainedWithin(const vec3i& in_lo, const vec3i& in_hi) const;

    /// Deep copy, with slots of its own.
    void copyInto(VoxelLayoutNode& out_other) const;
    /// Marks the node deleted and lets go of the child slots.
    void invalidate();
    /// Bytes of the node and of its child slots, if `in_with_children`.
    unsigned long long memUsage(MemUsage::Type in_type, bool in_with_children) const;

    virtual bool save(OutputStream& io_stream) const;
    /// False, with the node partly read, if the stream is short or the child slots are not 500
    /// bytes. The links are not checked.
    virtual bool load(InputStream& io_stream);
    /// Writes nothing and gives true.
    virtual bool dump(OutputStream& io_stream) const;

private:
    TileId m_id = kNoTile;
    int m_i = 0;
    int m_j = 0;
    int m_k = 0;
    int m_depth = -1;
    int m_index = -1;
    int m_parent = kNoParent;
    Detail::ChildSlots m_children;
    long long m_branch_size = 0;
    bool m_valid = false;
};

static_assert(sizeof(VoxelLayoutNode) == 64, "a node fills one cache line");

/// Walks the children of one node by slot. Forward from begin to end with ++; in reverse, begin is
/// the last child, end stands before slot 0, and the walk uses --. Iterators of one node are equal
/// if they stand at the same slot. Stale after an edit of the layout.
class SKELVAR_API VoxelLayoutNode::ChildIterator {
public:
    ChildIterator(bool in_begin, const VoxelLayoutNode* in_node, bool in_reverse);

    /// To the next higher, or lower, slot with a child, whatever the direction of the walk.
    ChildIterator& operator++();
    ChildIterator& operator--();
    TileIndex operator*() const { return {m_children[m_slot], m_depth + 1}; }
    int slot() const { return m_slot; }
    bool operator==(const ChildIterator& in_other) const { return m_slot == in_other.m_slot; }

private:
    int m_slot;
    const int* m_children;  ///< null without child slots
    int m_depth;            ///< of the node
};

}  // namespace Skelvar
