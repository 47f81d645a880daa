// Haloed tiles, which samplers and kernels build where values alone do not do, and the making of
// samplers.

#include <bench/support/Harness.h>
#include <bench/support/Scene.h>

#include <skelvar/sampling/HaloedVoxelLayoutNodeVisitorHelper.h>
#include <skelvar/sampling/VoxelSamplerLinear.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Skelvar::kMaxTileDepth;

/// Haloed tiles of a scene's finest tiles, one after the other, of those whose number of neighbours
/// is selected: with all 26 they copy, with none they take all of the halo from the parent.
void addHaloJob(const std::string& in_variant, const Bench::Scene& (*in_scene)(),
                bool (*in_select)(int in_existing))
{
    const auto tiles = std::make_shared<std::vector<int>>();
    Bench::add({"halo." + in_variant + "/skelvar", 1, "Mtiles/s",
                [tiles] { return static_cast<double>(tiles->size()) * 1e-6; },
                [tiles, in_scene] {
                    const Bench::Scene& scene = in_scene();
                    auto accessor = std::as_const(*scene.layout).accessor();
                    auto cache = Skelvar::makeHaloCache<float>();
                    float sum = 0.0f;
                    for (const int tile : *tiles) {
                        const int place =
                            Skelvar::HaloedVoxelLayoutNodeVisitorHelper::updateHaloCache<float>(
                                tile, kMaxTileDepth, &cache, *scene.layout, accessor,
                                *scene.channel);
                        sum += cache[place].second(0);
                    }
                    Bench::keep(static_cast<double>(sum));
                },
                [tiles, in_scene, in_select] {
                    const Bench::Scene& scene = in_scene();
                    auto accessor = std::as_const(*scene.layout).accessor();
                    tiles->clear();
                    for (int n = 0; n < scene.layout->numNodes(kMaxTileDepth); ++n) {
                        int existing = 0;
                        Skelvar::Detail::forEachNeighbour(
                            scene.layout->node(n, kMaxTileDepth), *scene.layout, accessor,
                            [&](int, const Skelvar::TileIndex&) { ++existing; });
                        if (in_select(existing)) {
                            tiles->push_back(n);
                        }
                    }
                }});
}

/// Every third tile of depth 7 on each axis of a block.
const Bench::Scene& sparseScene()
{
    static const Bench::Scene s_scene = [] {
        Bench::Scene scene = Bench::makeEmptyScene(0.0f);
        scene.layout->addNode(0);
        for (int k = -300; k < 300; k += 15) {
            for (int j = -300; j < 300; j += 15) {
                for (int i = -300; i < 300; i += 15) {
                    scene.layout->addNode(i, j, k, kMaxTileDepth);
                }
            }
        }
        return scene;
    }();
    return s_scene;
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    addHaloJob("all", &Bench::bandScene, [](int in_existing) { return in_existing == 26; });
    addHaloJob("none", &sparseScene, [](int in_existing) { return in_existing == 0; });
    Bench::add({"sample.make/skelvar", 1, "Msamplers/s", [] { return 0.1; },
                [] {
                    for (int n = 0; n < 100000; ++n) {
                        const Skelvar::VoxelSamplerLinear<float, 1> sampler(
                            Skelvar::eTreeSpace, Bench::bandScene().channel.get());
                        Bench::keep(static_cast<double>(sampler.dataType()));
                    }
                },
                [] { Bench::bandScene(); }});
    return Bench::runAll(in_argc, in_argv);
}
