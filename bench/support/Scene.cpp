#include <bench/support/Scene.h>

#include <atomic>

namespace Bench {

namespace {

std::atomic<long long> s_band_cells{0};

Scene makeBand()
{
    Scene scene = makeEmptyScene(kBandHalfWidth);
    const int reach = static_cast<int>(kBandRadius + kBandReach);
    const auto holds = [](const vec3i& in_cell) { return isInBand(in_cell); };
    scene.layout->addNodes(withAncestors(tilesHolding(reach, holds)), nullptr);
    fillFinest(*scene.layout, *scene.channel, [](const vec3i& in_cell) {
        if (!isInBand(in_cell)) {
            return kBandHalfWidth;
        }
        s_band_cells.fetch_add(1, std::memory_order_relaxed);
        return bandDistance(in_cell);
    });
    return scene;
}

}  // namespace

Scene makeEmptyScene(float in_background)
{
    Scene scene;
    scene.layout = std::make_shared<Skelvar::VoxelLayout>();
    scene.shape = std::make_shared<Skelvar::VoxelShape>();
    scene.shape->setLayout(scene.layout);
    scene.channel = std::make_shared<Skelvar::VoxelChannel<float>>(
        "distance", scene.shape, in_background, Skelvar::eOffsetCentre);
    scene.shape->addChannel(scene.channel);
    return scene;
}

const Scene& bandScene()
{
    static const Scene s_scene = makeBand();
    return s_scene;
}

double bandCells()
{
    bandScene();
    return static_cast<double>(s_band_cells.load());
}

}  // namespace Bench
