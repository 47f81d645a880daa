// A whole file, loaded into a server that holds other items.
#include <fuzz/Editing.h>
#include <fuzz/MemoryFile.h>
#include <skelvar/io/Kvf.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

using namespace Skelvar;

namespace {

/// Items that were there before, with a value that a load must leave alone.
std::shared_ptr<VoxelChannel<float>> addOtherItems(VoxelState& io_state)
{
    std::string object = "other";
    std::shared_ptr<VoxelShape> shape;
    std::shared_ptr<TreeLayout3DBase> layout;
    std::shared_ptr<TreeChannel3DBase> channel;
    io_state.newObject(object);
    io_state.newLayout("other-layout", 1.0f, layout);
    std::static_pointer_cast<VoxelLayout>(layout)->addNode(0, 0, 0, 7);
    io_state.newVoxelShape("other-volume", "other-layout", &object, shape);
    io_state.newVoxelChannel<float>("other-volume/density", "other-volume", eOffsetCentre, 4.0f);
    io_state.channelRef("other-volume/density", channel);
    return std::static_pointer_cast<VoxelChannel<float>>(channel);
}

bool isUntouched(const VoxelState& in_state, const std::shared_ptr<VoxelChannel<float>>& in_other)
{
    std::shared_ptr<TreeChannel3DBase> channel;
    in_state.channelRef("other-volume/density", channel);
    return channel == in_other && in_other->numTiles() == 1 && in_other->tile(0, 7)(124) == 4.0f;
}

/// Edits each layout that the load left, whatever it came to, and deletes what stands there.
void useAndDeleteAll(VoxelState& io_state)
{
    std::vector<std::string> names;
    io_state.layouts(names);
    for (const std::string& name : names) {
        std::shared_ptr<TreeLayout3DBase> layout;
        if (name != "other-layout" && io_state.layoutRef(name, layout) == kVoxelStateOk) {
            Fuzz::editAndCheck(static_cast<VoxelLayout&>(*layout));
        }
    }
    io_state.channels(names);
    for (const std::string& name : names) {
        std::shared_ptr<TreeChannel3DBase> channel;
        if (name != "other-volume/density" && io_state.channelRef(name, channel) == kVoxelStateOk) {
            channel->copy(true, false);
            io_state.deleteChannel(name, "");
        }
    }
    io_state.shapes(names);
    for (const std::string& name : names) {
        if (name != "other-volume") {
            io_state.deleteShape(name);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    return Fuzz::silenceStandardOutput();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_size)
{
    const Fuzz::MemoryFile file(in_data, in_size);
    const std::shared_ptr<VoxelState> state = StateServerManager::instance().createNewStateServer();
    const auto other = addOtherItems(*state);
    const bool ok = kvfLoad(*state, file.path());
    Fuzz::require(ok || !kvfLastError().empty(), "a refusal says why");
    Fuzz::require(isUntouched(*state, other), "other items as they were after the load");
    useAndDeleteAll(*state);
    Fuzz::require(isUntouched(*state, other), "other items as they were after the deletions");
    StateServerManager::instance().removeStateServer(state->getId());
    return 0;
}
