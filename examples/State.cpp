// Makes a state, saves it, loads it into another one, and reads a value back.

#include <skelvar/io/Kvf.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <iostream>

using namespace Skelvar;

int main()
{
    // A server holds everything by name: here an object, a layout, a shape and a channel.
    const auto state = StateServerManager::instance().createNewStateServer();
    std::string object = "smoke";
    state->newObject(object);
    state->newVoxelLayout("smoke-layout", 0.1f);  // finest cells are 0.1 units wide
    std::shared_ptr<VoxelShape> shape;
    state->newVoxelShape("smoke-volume", "smoke-layout", &object, shape);
    state->newVoxelChannel<float>("smoke-volume/density", "smoke-volume", eOffsetCentre, 0.0f);

    // Tiles of 5 x 5 x 5 cells: a coarse one and, inside of it, a finest one. Channels follow.
    VoxelLayout& layout = shape->layout();
    layout.addNode(0, 0, 0, 6);
    const TileIndex finest = layout.addNode(0, 0, 0, 7);
    std::shared_ptr<VoxelChannel<float>> density;
    state->voxelChannel("smoke-volume/density", shape, &density, VoxelState::eHintDoNotCopy);
    density->tile(finest)(2, 2, 2) = 1.5f;

    // One file holds one frame of a shape. "#" stands for the frame in four digits.
    std::string path;
    if (!kvfSave(*state, "./smoke.#.kvf", "smoke-volume", {"smoke-volume/density"}, 7,
                 eQualityLossless, path)) {
        std::cerr << kvfLastError() << "\n";
        return 1;
    }

    const auto other = StateServerManager::instance().createNewStateServer();
    if (!kvfLoad(*other, path)) {
        std::cerr << kvfLastError() << "\n";
        return 1;
    }
    std::shared_ptr<TreeShape3DBase> loaded;
    other->shapeRef("smoke-volume", loaded);
    const VoxelLayout& tree = static_cast<VoxelShape&>(*loaded).layout();
    const auto channel = std::static_pointer_cast<VoxelChannel<float>>(
        loaded->channelBasePtr("smoke-volume/density"));
    const TileIndex at = tree.nodeIndex<true>(0, 0, 0, 7);
    std::cout << path << ": " << tree.numNodes() << " tiles, density in the middle "
              << channel->tile(at)(2, 2, 2) << "\n";
}
