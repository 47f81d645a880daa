// A field that grows for 100 frames. Each frame is saved in the background, from a copy, while the
// next one is computed; at the end every file is read back.

#include <skelvar/io/Kvf.h>
#include <skelvar/io/KvfJobs.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <chrono>
#include <iostream>
#include <thread>

using namespace Skelvar;

int main()
{
    const auto state = StateServerManager::instance().createNewStateServer();
    std::string object = "fire";
    std::shared_ptr<VoxelShape> shape;
    std::shared_ptr<VoxelChannel<float>> heat;
    state->newObject(object);
    state->newVoxelLayout("fire-layout", 0.1f);
    state->newVoxelShape("fire-volume", "fire-layout", &object, shape);
    state->newVoxelChannel<float>("heat", "fire-volume", eOffsetCentre, 0.0f);
    state->voxelChannel("heat", shape, &heat, VoxelState::eHintDoNotCopy);

    std::vector<std::string> paths(100);
    std::vector<unsigned long long> jobs;
    for (int frame = 0; frame < 100; ++frame) {
        shape->layout().addNodes({5 * frame, 0, 0}, {5 * frame + 5, 100, 100}, 7);
        heat->set(static_cast<float>(frame), 0, 7);

        const auto start = std::chrono::steady_clock::now();
        unsigned long long job = 0;
        const unsigned int status =
            kvfSaveAsync(*state, "./frames/fire.#.kvf", true, "fire-volume", {"heat"}, frame,
                         eQualityLossless, paths[frame], job);
        const std::chrono::duration<double, std::milli> held =
            std::chrono::steady_clock::now() - start;
        const char* const names[] = {"saved by the caller", "failed", "saved in the background"};
        std::cout << "frame " << frame << ": " << names[status] << ", held up for " << held.count()
                  << " ms\n";
        if (status == 2) {
            jobs.push_back(job);
        }
    }
    for (const unsigned long long job : jobs) {
        for (KvfJobResult result; !kvfFetchResult(job, result);) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    int good = 0;
    for (int frame = 0; frame < 100; ++frame) {
        const auto loaded = StateServerManager::instance().createNewStateServer();
        std::shared_ptr<TreeChannel3DBase> channel;
        if (kvfLoad(*loaded, paths[frame]) &&
            loaded->channelRef("heat", channel) == kVoxelStateOk) {
            const auto& values = static_cast<const VoxelChannel<float>&>(*channel);
            const int tiles = values.numTiles(7);
            good += tiles == 400 * (frame + 1) &&
                    values.tile(tiles - 1, 7)(4, 4, 4) == static_cast<float>(frame);
        }
        StateServerManager::instance().removeStateServer(loaded->getId());
    }
    std::cout << good << " of 100 frames are as they were when they were saved\n";
    return good == 100 ? 0 : 1;
}
