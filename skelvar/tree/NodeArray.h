#pragma once

#include <skelvar/base/array1.h>
#include <skelvar/tree/VoxelLayoutNode.h>

#include <utility>

namespace Skelvar {

/// The nodes of one depth. Beside them stands for each where its child slots are, so that lookups
/// need not touch the nodes: a cache line each, they would push other things out of the cache.
class SKELVAR_API NodeArray : public array1<VoxelLayoutNode> {
public:
    NodeArray() = default;
    /// For the depth that has no children.
    static NodeArray ofLeaves()
    {
        NodeArray nodes;
        nodes.m_have_slots = false;
        return nodes;
    }

    void resize(long long in_size)
    {
        array1::resize(in_size);
        fitSlots();
    }
    void push_back(VoxelLayoutNode in_node)
    {
        array1::push_back(std::move(in_node));
        fitSlots();
    }

    /// The 125 child slots of a node above depth 7, all of them empty if it has none.
    const int* childSlots(long long in_index) const
    {
        const int* const slots = m_slots[in_index];
        return slots != nullptr ? slots : slotsOfNode(in_index);
    }
    /// Takes down where the child slots of some nodes are. Must be called when noted ones change
    /// their place; for new nodes it is a matter of speed.
    void noteChildSlots(long long in_begin, long long in_end);

    /// Bytes of the nodes with what stands beside them, and of the child slots if
    /// `in_with_children`.
    unsigned long long memUsage(MemUsage::Type in_type, bool in_with_children) const;

private:
    void fitSlots();
    const int* slotsOfNode(long long in_index) const;

    array1<const int*> m_slots;  ///< null where not noted, or none; not used at depth 7
    bool m_have_slots = true;
};

}  // namespace Skelvar
