#include <skelvar/io/ChannelCompressor.h>
#include <skelvar/io/KvfError.h>
#include <skelvar/io/KvfFormat.h>
#include <skelvar/io/KvfWriter.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/TreeLayout3DBase.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

namespace Skelvar {

namespace {

bool writeBody(KvfWriter& io_writer, const ChannelCompressor::Entry& in_entry)
{
    bool ok = io_writer.write(in_entry.size);
    ok &= io_writer.write(static_cast<unsigned long long>(in_entry.chunks.size()));
    for (const ChannelCompressor::ChunkData& chunk : in_entry.chunks) {
        ok &= io_writer.write(static_cast<unsigned long long>(chunk.size));
        ok &= io_writer.write(static_cast<unsigned long long>(chunk.compressed.size()));
        ok &= io_writer.writebytes(chunk.compressed.size(),
                                   reinterpret_cast<const char*>(chunk.compressed.data()));
    }
    return ok;
}

}  // namespace

bool saveKvfFile(KvfWriter& io_writer, const VoxelState& in_state, KVFInfo& io_info)
{
    std::shared_ptr<TreeShape3DBase> shape;
    in_state.shapeRef(io_info.shapeName, shape);
    const std::shared_ptr<TreeLayout3DBase> layout = shape ? shape->layoutPtr() : nullptr;
    if (!layout) {
        return KvfError::fail(io_writer.path(),
                              "shape \"" + io_info.shapeName + "\" is not there or has no layout");
    }
    if (!io_writer.write(layout->MVS()) || !layout->save(io_writer) || !shape->save(io_writer)) {
        return KvfError::fail(io_writer.path(), "cannot write the layout and the shape");
    }
    ChannelCompressor compressor(*shape, io_info.channels, io_writer.quality(),
                                 io_writer.version());
    compressor.run();
    for (const std::unique_ptr<ChannelCompressor::Entry>& entry : compressor.entries()) {
        const std::string& name = entry->channel->name();
        if (!entry->success) {
            return KvfError::fail(io_writer.path(), "channel \"" + name + "\" cannot be packed");
        }
        if (!writeBody(io_writer, *entry)) {
            return KvfError::fail(io_writer.path(), "cannot write channel \"" + name + "\"");
        }
    }
    return true;
}

}  // namespace Skelvar
