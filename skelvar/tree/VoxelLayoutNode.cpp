#include <skelvar/tree/VoxelLayoutNode.h>

#include <skelvar/base/InputStream.h>
#include <skelvar/base/OutputStream.h>
#include <skelvar/base/array1.h>

#include <algorithm>
#include <new>

namespace Skelvar {

namespace {

constexpr unsigned short kNodeVersion = 2;
constexpr int kChildBytes = kTileSize * static_cast<int>(sizeof(int));
constexpr unsigned long kFieldBytes = 45;  ///< of a node in a file, without version and child slots

template <typename T>
void putBigEndian(T in_value, unsigned char*& io_bytes)
{
    const auto bits = static_cast<unsigned long long>(in_value);
    for (int n = static_cast<int>(sizeof(T)) - 1; n >= 0; --n) {
        *io_bytes++ = static_cast<unsigned char>(bits >> 8 * n);
    }
}

template <typename T>
void getBigEndian(const unsigned char*& io_bytes, T& out_value)
{
    unsigned long long bits = 0;
    for (std::size_t n = 0; n < sizeof(T); ++n) {
        bits = bits << 8 | *io_bytes++;
    }
    out_value = static_cast<T>(bits);
}

}  // namespace

namespace Detail {

ChildSlots ChildSlots::make()
{
    ChildSlots slots;
    slots.m_block = static_cast<Block*>(allocateArray(1, sizeof(Block)));
    new (&slots.m_block->references) std::atomic<int>(1);
    return slots;
}

void ChildSlots::release()
{
    if (m_block->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        releaseArray(m_block);
    }
}

}  // namespace Detail

void VoxelLayoutNode::init(int in_parent, TileId in_id, int in_index, long long in_branch_size,
                           bool in_fill_children)
{
    int i = 0;
    int j = 0;
    int k = 0;
    int depth = 0;
    idToTileCoords(in_id, i, j, k, depth);
    init(in_parent, in_id, i, j, k, depth, in_index, in_branch_size, in_fill_children);
}

void VoxelLayoutNode::init(int in_parent, TileId in_id, int in_i, int in_j, int in_k, int in_depth,
                           int in_index, long long in_branch_size, bool in_fill_children)
{
    initWithoutChildren(in_parent, in_id, in_i, in_j, in_k, in_depth, in_index);
    m_branch_size = in_branch_size;
    if (in_fill_children) {
        ensureChildSlots();
    } else if (in_depth < kMaxTileDepth) {
        m_children = Detail::ChildSlots::make();
    }
}

void VoxelLayoutNode::initWithoutChildren(int in_parent, TileId in_id, int in_i, int in_j, int in_k,
                                          int in_depth, int in_index) noexcept
{
    m_id = in_id;
    m_i = in_i;
    m_j = in_j;
    m_k = in_k;
    m_depth = in_depth;
    m_index = in_index;
    m_parent = in_parent;
    m_children = {};
    m_branch_size = kTileSize;
    m_valid = true;
}

void VoxelLayoutNode::ensureChildSlots()
{
    if (!m_children && m_depth < kMaxTileDepth) {
        m_children = Detail::ChildSlots::make();
        std::fill_n(children(), kTileSize, kNoChild);
    }
}

int VoxelLayoutNode::numChildren() const
{
    return m_children ? static_cast<int>(std::count_if(children(), children() + kTileSize,
                                                       [](int entry) { return entry >= 0; }))
                      : 0;
}

void VoxelLayoutNode::bounds(vec3i& out_min, vec3i& out_max) const
{
    const int side = kTileSideLUT[m_depth];
    out_min = corner();
    out_max = out_min + vec3i{side, side, side};
}

bool VoxelLayoutNode::intersects(const vec3i& in_lo, const vec3i& in_hi) const
{
    vec3i lo;
    vec3i hi;
    bounds(lo, hi);
    for (int axis = 0; axis < 3; ++axis) {
        if (std::min(hi[axis], in_hi[axis]) < std::max(lo[axis], in_lo[axis])) {
            return false;
        }
    }
    return true;
}

bool VoxelLayoutNode::isContainedWithin(const vec3i& in_lo, const vec3i& in_hi) const
{
    vec3i lo;
    vec3i hi;
    bounds(lo, hi);
    for (int axis = 0; axis < 3; ++axis) {
        if (lo[axis] < in_lo[axis] || hi[axis] > in_hi[axis]) {
            return false;
        }
    }
    return true;
}

void VoxelLayoutNode::copyInto(VoxelLayoutNode& out_other) const
{
    if (&out_other == this) {
        return;
    }
    Detail::ChildSlots slots;
    if (m_children) {
        slots = Detail::ChildSlots::make();
        std::copy_n(children(), kTileSize, slots.data());
    }
    out_other = *this;
    out_other.m_children = std::move(slots);
}

void VoxelLayoutNode::invalidate()
{
    m_valid = false;
    m_children = {};
}

unsigned long long VoxelLayoutNode::memUsage(MemUsage::Type, bool in_with_children) const
{
    return sizeof(*this) + (in_with_children && m_children ? kChildBytes : 0);
}

bool VoxelLayoutNode::save(OutputStream& io_stream) const
{
    // There are many nodes: their fields go through the stream as one piece.
    unsigned char fields[kFieldBytes];
    unsigned char* bytes = fields;
    putBigEndian(m_id, bytes);
    for (const int value : {m_i, m_j, m_k, m_depth, m_index, m_parent}) {
        putBigEndian(value, bytes);
    }
    putBigEndian(m_branch_size, bytes);
    putBigEndian(m_valid, bytes);
    putBigEndian(m_children ? kChildBytes : 0, bytes);
    bool ok = io_stream.write(kNodeVersion);
    ok &= io_stream.writebytes(kFieldBytes, reinterpret_cast<const char*>(fields));
    if (m_children) {
        ok &= io_stream.writebytes(kChildBytes, reinterpret_cast<const char*>(children()));
    }
    return ok;
}

bool VoxelLayoutNode::load(InputStream& io_stream)
{
    m_children = {};
    unsigned short version = 1;
    unsigned char fields[kFieldBytes];
    if ((io_stream.version() >= kKvfVersion2 && !io_stream.read(version)) ||
        !io_stream.readbytes(kFieldBytes, reinterpret_cast<char*>(fields))) {
        return false;
    }
    const unsigned char* bytes = fields;
    getBigEndian(bytes, m_id);
    for (int* const value : {&m_i, &m_j, &m_k, &m_depth, &m_index, &m_parent}) {
        getBigEndian(bytes, *value);
    }
    getBigEndian(bytes, m_branch_size);
    getBigEndian(bytes, m_valid);
    int child_bytes = 0;
    getBigEndian(bytes, child_bytes);
    if (child_bytes < 1) {
        return true;
    }
    if (child_bytes != kChildBytes) {
        return false;
    }
    m_children = Detail::ChildSlots::make();
    return io_stream.readbytes(kChildBytes, reinterpret_cast<char*>(children()));
}

bool VoxelLayoutNode::dump(OutputStream&) const
{
    return true;
}

VoxelLayoutNode::ChildIterator::ChildIterator(bool in_begin, const VoxelLayoutNode* in_node,
                                              bool in_reverse)
    : m_slot(in_reverse == in_begin ? kTileSize : -1),
      m_children(in_node->hasChildSlots() ? in_node->children() : nullptr),
      m_depth(in_node->depth())
{
    if (in_begin && in_reverse) {
        --*this;
    } else if (in_begin) {
        ++*this;
    }
}

VoxelLayoutNode::ChildIterator& VoxelLayoutNode::ChildIterator::operator++()
{
    do {
        ++m_slot;
    } while (m_slot < kTileSize && (m_children == nullptr || m_children[m_slot] < 0));
    return *this;
}

VoxelLayoutNode::ChildIterator& VoxelLayoutNode::ChildIterator::operator--()
{
    do {
        --m_slot;
    } while (m_slot >= 0 && (m_children == nullptr || m_children[m_slot] < 0));
    return *this;
}

}  // namespace Skelvar
