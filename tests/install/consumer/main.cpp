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
    // A store with one object: a tree of tiles, a shape on it, a channel of floats in the shape.
    const std::shared_ptr<VoxelState> state = StateServerManager::instance().createNewStateServer();
    std::string object = "smoke";
    std::shared_ptr<VoxelShape> shape;
    std::shared_ptr<VoxelLayout> layout;
    std::shared_ptr<VoxelChannel<float>> density;
    state->newObject(object);
    state->newVoxelLayout("smoke-tree", 0.1f);  // a cell is 0.1 world units wide
    state->newVoxelShape("smoke-volume", "smoke-tree", &object, shape);
    state->newVoxelChannel<float>("density", "smoke-volume", eOffsetCentre, 0.0f);
    state->voxelLayout("smoke-tree", layout, VoxelState::eHintDefault);
    state->voxelChannel<float>("density", shape, &density, VoxelState::eHintDefault);

    // A tile of 5 x 5 x 5 of the finest cells; the channel follows the tree.
    layout->addNode(0, 0, 0, 7);
    density->set(1.5f, 7, 7);  // on the depths 7 to 7, the finest

    std::string file;
    if (!kvfSave(*state, "out/smoke.@@@@.kvf", shape->name(), {"density"}, 1, eQualityLossless,
                 file)) {
        std::cerr << kvfLastError() << '\n';
        return 1;
    }
    std::string report;
    kvfInfo(file, report);
    std::cout << report;
}
