// Starts five saves into the folder of its argument and ends at once; with a second argument a
// thread starts five loads of the file of that name.

#include <skelvar/io/KvfJobs.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelShape.h>

#include <thread>

using namespace Skelvar;

int main(int in_argc, char** in_argv)
{
    if (in_argc > 2) {
        std::thread([&] {
            for (int n = 0; n < 5; ++n) {
                kvfLoadAsync(*StateServerManager::instance().createNewStateServer(), in_argv[2]);
            }
        }).join();
        return 0;
    }
    const auto state = StateServerManager::instance().createNewStateServer();
    std::string object = "ball";
    std::shared_ptr<VoxelShape> shape;
    state->newObject(object);
    state->newVoxelLayout("tree", 0.5f);
    state->newVoxelShape("volume", "tree", &object, shape);
    shape->layout().addNodes({-100, -100, -20}, {100, 100, 20}, 7);
    state->newVoxelChannel<float>("density", "volume", eOffsetCentre, 2.0f);
    for (int frame = 0; frame < 5; ++frame) {
        std::string resolved;
        const std::string path = in_argv[1] + std::string("/end.@.kvf");
        if (kvfSaveAsync(*state, path, frame % 2 == 0, "volume", {"density"}, frame,
                         eQualityLossless, resolved) != 2) {
            return 1;
        }
    }
}
