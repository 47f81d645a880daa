#include <skelvar/io/ChannelCompressor.h>
#include <skelvar/io/KvfError.h>
#include <skelvar/io/KvfFormat.h>
#include <skelvar/io/KvfReader.h>
#include <skelvar/io/KvfWriter.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

namespace Skelvar {

namespace {

constexpr unsigned int kCurrentVersion = 4;
constexpr unsigned int kVersionWithQuality = 2;
constexpr unsigned int kVersionWithCreationKind = 3;
constexpr unsigned long kLeastChannelRecord = 20;  ///< two empty strings and three numbers

KVFInfo::ChannelInfo describe(const TreeChannel3DBase& in_channel)
{
    KVFInfo::ChannelInfo info;
    info.name = in_channel.name();
    info.type = in_channel.typeMeta()->typeName();
    info.maxDepth = in_channel.maxDepth();
    info.numTiles = in_channel.numTiles();
    info.numElements = static_cast<int>(in_channel.numElements());
    info.creationKind = in_channel.creationKind();
    return info;
}

bool writeChannelRecord(KvfWriter& io_writer, const KVFInfo::ChannelInfo& in_info)
{
    bool ok = io_writer.write(in_info.name);
    ok &= io_writer.write(in_info.type);
    ok &= io_writer.write(in_info.maxDepth);
    ok &= io_writer.write(in_info.numTiles);
    ok &= io_writer.write(in_info.numElements);
    ok &= io_writer.write(in_info.creationKind);
    return ok;
}

bool readChannelRecord(KvfReader& io_reader, unsigned int in_version,
                       KVFInfo::ChannelInfo& out_info)
{
    return io_reader.read(out_info.name) && io_reader.read(out_info.type) &&
           io_reader.read(out_info.maxDepth) && io_reader.read(out_info.numTiles) &&
           io_reader.read(out_info.numElements) &&
           (in_version < kVersionWithCreationKind || io_reader.read(out_info.creationKind));
}

/// Reads the channel count and the records.
bool readChannelRecords(KvfReader& io_reader, KVFInfo& io_info)
{
    const unsigned long long start = io_reader.position();
    unsigned int count = 0;
    if (!io_reader.read(count)) {
        return KvfError::failAt(io_reader.path(), start, "the file ends in its header");
    }
    const unsigned long left = io_reader.length();
    if (count > left / kLeastChannelRecord) {
        return KvfError::failAt(io_reader.path(), start,
                                "channel count " + std::to_string(count) +
                                    " cannot come from the " + std::to_string(left) +
                                    " bytes left");
    }
    for (unsigned int n = 0; n < count; ++n) {
        const unsigned long long record = io_reader.position();
        KVFInfo::ChannelInfo info;
        if (!readChannelRecord(io_reader, io_info.version, info)) {
            return KvfError::failAt(io_reader.path(), record,
                                    "the record of channel " + std::to_string(n) + " of " +
                                        std::to_string(count) + " is damaged or cut short");
        }
        io_info.channels.push_back(std::move(info));
    }
    return true;
}

}  // namespace

unsigned int kvfVersion()
{
    return kCurrentVersion;
}

bool saveKvfHeader(KvfWriter& io_writer, const VoxelState& in_state,
                   const std::string& in_shape_name,
                   const std::vector<std::string>& in_channel_names, int in_frame,
                   CompressionQuality in_quality, KVFInfo& out_info)
{
    std::shared_ptr<TreeShape3DBase> shape;
    in_state.shapeRef(in_shape_name, shape);
    if (!shape) {
        return KvfError::fail(io_writer.path(),
                              "there is no shape \"" + in_shape_name + "\" to be saved");
    }
    out_info.magic = kKvfMagic;
    out_info.version = kCurrentVersion;
    out_info.frame = in_frame;
    out_info.shapeName = shape->name();
    out_info.shapeType = shape->typeMeta()->typeName();
    out_info.objectName = shape->objectName();
    out_info.layoutName = shape->layoutName();
    out_info.quality = static_cast<unsigned int>(in_quality);
    out_info.channels.clear();

    bool ok = io_writer.write(out_info.magic);
    ok &= io_writer.write(out_info.version);
    ok &= io_writer.write(out_info.frame);
    ok &= io_writer.write(out_info.shapeName);
    ok &= io_writer.write(out_info.shapeType);
    ok &= io_writer.write(out_info.objectName);
    ok &= io_writer.write(out_info.layoutName);
    ok &= io_writer.write(static_cast<unsigned int>(in_channel_names.size()));
    for (const std::string& name : in_channel_names) {
        const std::shared_ptr<TreeChannel3DBase> channel = channelOrNull(*shape, name);
        if (!channel) {
            KvfError::print("Channel <" + name + "> doesn't exist in component <" + shape->name() +
                            "> and cannot be saved.\n");
            continue;
        }
        out_info.channels.push_back(describe(*channel));
        ok &= writeChannelRecord(io_writer, out_info.channels.back());
    }
    if (!in_channel_names.empty() && out_info.channels.empty()) {
        return KvfError::fail(io_writer.path(), "shape \"" + in_shape_name +
                                                    "\" has none of the channels to be saved");
    }
    ok &= io_writer.write(static_cast<unsigned short>(out_info.quality));
    io_writer.setQuality(kvfQuality(out_info.quality));
    io_writer.setVersion(static_cast<KvfVersion>(out_info.version));
    return ok;
}

bool loadKvfHeader(KvfReader& io_reader, KVFInfo& out_info)
{
    const std::string& path = io_reader.path();
    if (!io_reader.read(out_info.magic)) {
        return KvfError::failAt(path, 0, "the file ends in its header");
    }
    if (out_info.magic != kKvfMagic) {
        return KvfError::failAt(path, 0, "this is no KVF file: the first word is not bbeeeeff");
    }
    if (!io_reader.read(out_info.version) || !io_reader.read(out_info.frame) ||
        !io_reader.read(out_info.shapeName) || !io_reader.read(out_info.shapeType) ||
        !io_reader.read(out_info.objectName) || !io_reader.read(out_info.layoutName)) {
        return KvfError::failAt(path, io_reader.position(), "the file ends in its header");
    }
    out_info.channels.clear();
    if (!readChannelRecords(io_reader, out_info)) {
        return false;
    }
    out_info.quality = 0;
    unsigned short quality = 0;
    if (out_info.version >= kVersionWithQuality && !io_reader.read(quality)) {
        return KvfError::failAt(path, io_reader.position(), "the file ends in its header");
    }
    out_info.quality = quality;
    io_reader.setQuality(kvfQuality(out_info.quality));
    io_reader.setVersion(static_cast<KvfVersion>(out_info.version));
    return true;
}

}  // namespace Skelvar
