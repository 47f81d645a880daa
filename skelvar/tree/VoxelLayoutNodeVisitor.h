#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/tree/TileIndex.h>

namespace Skelvar {

class VoxelLayoutNode;

/// What a walk over the nodes of a layout does at each. The traversal type of the walk says which
/// operations are called on several threads at once, and which work on copies.
class SKELVAR_API VoxelLayoutNodeVisitor {
public:
    virtual ~VoxelLayoutNodeVisitor() = default;

    /// Called once, before and after the walk.
    virtual void begin() {}
    virtual void end() {}
    /// A visitor for another thread or part of the walk; the caller deletes it. Throws
    /// `std::runtime_error` unless overridden.
    virtual VoxelLayoutNodeVisitor* copy() const;
    /// Called before, and after, the children of a node. Forward to the const forms.
    virtual void preVisit(VoxelLayoutNode* io_node, const TileIndex& in_index);
    virtual void postVisit(VoxelLayoutNode* io_node, const TileIndex& in_index);
    /// Called for each of the 125 child positions of the node last given to `preVisit`, i fastest,
    /// also where no child exists. False keeps a depth-first walk out of that child.
    virtual bool visit(int in_i, int in_j, int in_k);
    virtual void preVisit(const VoxelLayoutNode* in_node, const TileIndex& in_index);
    virtual void postVisit(const VoxelLayoutNode* in_node, const TileIndex& in_index);
    /// Takes over what a copy has gathered. Throws `std::runtime_error` unless overridden.
    virtual void join(const VoxelLayoutNodeVisitor& in_other);
    /// Whether `visit` is of use. False saves its 125 calls a node, as if each had said true.
    virtual bool visitsChildren() const { return true; }
};

}  // namespace Skelvar
