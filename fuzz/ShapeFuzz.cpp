// Bytes that claim to be a shape.
#include <fuzz/FuzzInput.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/voxel/DictionaryShape.h>
#include <skelvar/voxel/VoxelShape.h>

using namespace Skelvar;

namespace {

template <typename Shape>
void tryShape(Fuzz::Input& io_input)
{
    const auto shape = std::make_shared<Shape>("shape");
    if (shape->load(io_input.stream())) {
        Shape again("again");
        Fuzz::require(Fuzz::survivesRoundTrip(*shape, again), "save and load again");
    }
    shape->setName("renamed");
    shape->wsx(shape->tsx({1.0f, 2.0f, 3.0f}));
    shape->copy(true, false);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_size)
{
    Fuzz::Input input(in_data, in_size);
    if (input.choice() % 3 == 0) {
        tryShape<VoxelShape>(input);
    } else if (input.choice() % 3 == 1) {
        tryShape<ParticleShape>(input);
    } else {
        tryShape<DictionaryShape>(input);
    }
    return 0;
}
