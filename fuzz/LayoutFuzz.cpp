// Bytes that claim to be a layout.
#include <fuzz/Editing.h>

using namespace Skelvar;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_size)
{
    Fuzz::Input input(in_data, in_size);
    const auto layout = std::make_shared<VoxelLayout>();
    if (layout->load(input.stream())) {
        // Not byte by byte: the bounds of the root counts rise with each load.
        VoxelLayout again;
        Fuzz::survivesRoundTrip(*layout, again);
        Fuzz::require(
            again.numNodes() == layout->numNodes() && again.numRoots() == layout->numRoots(),
            "save and load again");
    } else {
        Fuzz::require(layout->empty() && layout->numRoots() == 0, "a refused layout is empty");
    }
    Fuzz::editAndCheck(*layout);
    return 0;
}
