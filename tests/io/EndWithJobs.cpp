// Starts five saves into the folder of its argument and ends at once; with a second argument a
// thread starts five loads of the file of that name.

#include <tests/io/Scene.h>

#include <skelvar/io/KvfJobs.h>

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
    const Test::Scene scene(0, StateServerManager::instance().createNewStateServer());
    scene.layout().addNodes({-100, -100, -20}, {100, 100, 20}, 7);
    scene.state().newVoxelChannel<float>("density", "volume", eOffsetCentre, 2.0f);
    for (int frame = 0; frame < 5; ++frame) {
        std::string resolved;
        const std::string path = in_argv[1] + std::string("/end.@.kvf");
        if (kvfSaveAsync(scene.state(), path, frame % 2 == 0, "volume", {"density"}, frame,
                         eQualityLossless, resolved) != 2) {
            return 1;
        }
    }
}
