// Reads a channel between its values: a sphere's distance, fine about the surface and coarse around
// it, along a line that crosses the steps in depth.

#include <skelvar/sampling/VoxelSamplerLinear.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <cmath>
#include <cstdio>

using namespace Skelvar;

int main()
{
    const auto state = StateServerManager::instance().createNewStateServer();
    state->newVoxelLayout("layout", 1.0f);
    std::shared_ptr<VoxelShape> shape;
    state->newVoxelShape("shape", "layout", nullptr, shape);
    state->newVoxelChannel<float>("shape/distance", "shape", eOffsetCentre, 0.0f);
    std::shared_ptr<VoxelChannel<float>> distance;
    state->voxelChannel("shape/distance", shape, &distance, VoxelState::eHintDoNotCopy);

    // Tiles of depth 5 all around, two depths finer in the half of positive x. One root: a field
    // ends at the faces of its roots.
    shape->layout().addNode(0, 0, 0, 4);
    shape->layout().addNodes(vec3i{-187, -187, -187}, vec3i{187, 187, 187}, 5);
    shape->layout().addNodes(vec3i{3, -12, -12}, vec3i{63, 13, 13}, 7);

    // Each value is the distance of its own place from a sphere of radius 50.
    for (auto value = distance->begin(); value != distance->end(); ++value) {
        const vec3f p = value.globalPos();
        value.write(std::sqrt(orvel::Math::dot(p, p)) - 50.0f);
    }

    // A sampler belongs to one thread. The finest tile at a position is read.
    const VoxelSamplerLinear<float, 1> sampler(eTreeSpace, distance.get());
    for (float x = -60.0f; x <= 60.0f; x += 30.0f) {
        vec3f gradient;
        const float value = sampler.sampleGradient({x, 0.0f, 0.0f}, &gradient);
        std::printf("x %3.0f: distance %5.1f, gradient %4.1f %4.1f %4.1f\n", x, value, gradient[0],
                    gradient[1], gradient[2]);
    }
}
