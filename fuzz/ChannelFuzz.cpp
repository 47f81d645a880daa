// Bytes that claim to be a channel of a type that the input chooses, of voxels or particles, on a
// layout of a few tiles.
#include <fuzz/Editing.h>
#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/particles/ReblockByPosition.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

using namespace Skelvar;

namespace {

template <typename T>
void tryChannel(Fuzz::Input& io_input)
{
    const auto layout = std::make_shared<VoxelLayout>("layout");
    layout->addNodes(vec3i{0, 0, 0}, vec3i{15, 5, 5}, 7);
    const auto shape = std::make_shared<VoxelShape>("shape");
    shape->setLayout(layout);
    const auto channel = std::make_shared<VoxelChannel<T>>("channel", shape, T{}, eOffsetCentre);
    shape->addChannel(channel);

    if (channel->load(io_input.stream()) && channel->checkAllocatedSizes()) {
        VoxelChannel<T> again;
        Fuzz::require(Fuzz::survivesRoundTrip(*channel, again), "save and load again");
    }
    channel->resize(*layout);
    channel->setShape(shape);
    Fuzz::require(channel->checkAllocatedSizes(), "the size of the layout after a resize");
    Fuzz::editAndCheck(*layout);
    Fuzz::require(channel->checkAllocatedSizes(), "the size of the layout after its edits");
    const auto copy = channel->copy(true, false);
    Fuzz::require(copy->numElements() == channel->numElements(), "a copy of the same size");
    channel->set(T{}, 0, 7);
    channel->offset();
}

/// The same for particles, in step with a sibling through all of it.
template <typename T>
void tryParticles(Fuzz::Input& io_input)
{
    const auto layout = std::make_shared<VoxelLayout>("layout");
    layout->addNodes(vec3i{0, 0, 0}, vec3i{15, 5, 5}, 7);
    const auto shape = std::make_shared<ParticleShape>("shape");
    shape->setLayout(layout);
    // The name of a channel whose positions are quantised.
    const auto channel = std::make_shared<ParticleChannel<T>>("position", shape, T{});
    const auto sibling = std::make_shared<ParticleChannel<float>>("sibling", shape, 1.0f);
    shape->addChannel(channel);
    shape->addChannel(sibling);
    const auto check = [&](const char* in_what) {
        for (int depth = 0; depth < kNumDepths; ++depth) {
            Fuzz::require(channel->numTiles(depth) == layout->numNodes(depth), in_what);
            Fuzz::require(channel->numElements(depth) == shape->numElements(depth), in_what);
            Fuzz::require(sibling->numElements(depth) == shape->numElements(depth), in_what);
        }
    };
    channel->load(io_input.stream());
    check("the shape's counts after a load");
    if constexpr (std::is_same_v<T, vec3f>) {
        reblockByPosition(*channel);
        check("the shape's counts after a reblock");
    }
    Fuzz::editAndCheck(*layout);
    check("the shape's counts after edits of the layout");
    channel->copy(true, false);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_size)
{
    Fuzz::Input input(in_data, in_size);
    int type = 0;
#define SKELVAR_TRY(T)                   \
    if (input.choice() % 32 == type++) { \
        tryChannel<T>(input);            \
    }
    SKELVAR_FOR_VOXEL_TYPES(SKELVAR_TRY)
#undef SKELVAR_TRY
    type = 13;
#define SKELVAR_TRY(T)                   \
    if (input.choice() % 32 == type++) { \
        tryParticles<T>(input);          \
    }
    SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_TRY)
#undef SKELVAR_TRY
    return 0;
}
