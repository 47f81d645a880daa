#include <skelvar/tree/NodeArray.h>

#include <algorithm>
#include <array>

namespace Skelvar {

namespace {

constexpr std::array<int, kTileSize> kEmptySlots = [] {
    std::array<int, kTileSize> slots{};
    slots.fill(kNoChild);
    return slots;
}();

}  // namespace

void NodeArray::fitSlots()
{
    if (m_have_slots) {
        const long long old_size = m_slots.size();
        m_slots.reserve_grow(size());
        m_slots.resize(size());
        std::fill(m_slots.begin() + std::min(old_size, size()), m_slots.end(), nullptr);
    }
}

void NodeArray::noteChildSlots(long long in_begin, long long in_end)
{
    for (long long n = in_begin; n < in_end && m_have_slots; ++n) {
        const VoxelLayoutNode& node = (*this)[n];
        m_slots[n] = node.hasChildSlots() ? node.children() : nullptr;
    }
}

unsigned long long NodeArray::memUsage(MemUsage::Type in_type, bool in_with_children) const
{
    unsigned long long bytes = m_slots.size() * sizeof(const int*);
    if (in_type == MemUsage::eMemAllocated) {
        bytes += (m_slots.capacity() - m_slots.size()) * sizeof(const int*);
        bytes += (capacity() - size()) * sizeof(VoxelLayoutNode);
    }
    for (const VoxelLayoutNode& node : *this) {
        bytes += node.memUsage(in_type, in_with_children);
    }
    return bytes;
}

const int* NodeArray::slotsOfNode(long long in_index) const
{
    const VoxelLayoutNode& node = (*this)[in_index];
    return node.hasChildSlots() ? node.children() : kEmptySlots.data();
}

}  // namespace Skelvar
