// Bytes that claim to be a channel of a type that the input chooses, on a layout of a few tiles.
#include <fuzz/Editing.h>
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_size)
{
    Fuzz::Input input(in_data, in_size);
    int type = 0;
#define SKELVAR_TRY(T)                   \
    if (input.choice() % 13 == type++) { \
        tryChannel<T>(input);            \
    }
    SKELVAR_FOR_VOXEL_TYPES(SKELVAR_TRY)
#undef SKELVAR_TRY
    return 0;
}
