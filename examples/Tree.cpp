// Builds a tree that is fine near a point, deletes a part of it, and watches a channel follow.

#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <iostream>

using namespace Skelvar;

namespace {

void print(const char* in_what, const VoxelLayout& in_layout, const VoxelChannel<int>& in_channel)
{
    std::cout << in_what << ": " << in_layout.numNodes() << " nodes, " << in_layout.numRoots()
              << " root, tiles by depth";
    for (int depth = 4; depth <= 7; ++depth) {
        std::cout << " " << in_channel.numTiles(depth);
    }
    std::cout << "\n";
}

}  // namespace

int main()
{
    const auto state = StateServerManager::instance().createNewStateServer();
    state->newVoxelLayout("layout", 1.0f);
    std::shared_ptr<VoxelShape> shape;
    state->newVoxelShape("shape", "layout", nullptr, shape);
    state->newVoxelChannel<int>("shape/mark", "shape", eOffsetCentre, -1);
    std::shared_ptr<VoxelChannel<int>> mark;
    state->voxelChannel("shape/mark", shape, &mark, VoxelState::eHintDoNotCopy);
    VoxelLayout& layout = shape->layout();

    // One node: those between it and the root that is there are made too.
    layout.addNode(0, 0, 0, 4);
    layout.addNode(0, 0, 0, 7);
    print("one branch", layout, *mark);

    // Many at once, by their corners: 125 finest tiles, all children of one of depth 6.
    const TileIndex parent = layout.nodeIndex<true>(0, 0, 0, 6);
    vec3i lo, hi;
    layout.node(parent).bounds(lo, hi);
    layout.addNodes(lo, hi, 7);
    print("filled    ", layout, *mark);

    // A node goes with all that is below it; the channel's tiles move along.
    layout.deleteNode(parent);
    print("deleted   ", layout, *mark);

    // Any place is found in the finest tile that holds it.
    std::cout << "depth at the origin " << layout.nodeIndex<false>(0, 0, 0, 7).second << "\n";
}
