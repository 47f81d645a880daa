// Saves two fields under one path by turns, for ever, so that it can be killed at any moment. With
// a number N ahead of the path it saves field N once.

#include <tests/io/Scene.h>

int main(int in_argc, char** in_argv)
{
    using namespace Skelvar;
    const Test::Scene scene(60);
    std::shared_ptr<TreeChannel3DBase> made;
    scene.state().newChannel(VoxelChannel<float>::typeName(), "density", "volume", made);
    auto& density = static_cast<VoxelChannel<float>&>(*made);
    const auto save = [&](int in_field) {
        for (auto& tile : density.tiles(7)) {
            for (int n = 0; n < 125; ++n) {
                tile.data()[n] = static_cast<float>(in_field * 1000 + n * n % 89);
            }
        }
        std::string resolved;
        return kvfSave(scene.state(), in_argv[in_argc - 1], "volume", {"density"}, in_field,
                       eQualityLossless, resolved);
    };
    if (in_argc == 3) {
        return save(std::atoi(in_argv[1])) ? 0 : 1;
    }
    for (int n = 0; save(n % 2); ++n) {
    }
    return 1;
}
