#include <skelvar/io/Kvf.h>

#include <skelvar/io/FileUtils.h>
#include <skelvar/io/KvfError.h>
#include <skelvar/io/KvfFormat.h>
#include <skelvar/io/KvfReader.h>
#include <skelvar/io/KvfWriter.h>

#include <exception>
#include <iomanip>
#include <sstream>

namespace Skelvar {

namespace {

constexpr int kNumberWidth = 35;

/// Runs the body; an exception counts as false and is noted.
template <typename Body>
bool withoutThrowing(const std::string& in_path, const Body& in_body)
{
    KvfError::clear();
    try {
        return in_body();
    } catch (const std::exception& error) {
        return KvfError::fail(in_path, std::string("given up: ") + error.what());
    }
}

bool refuseVersion(const std::string& in_path, unsigned int in_version)
{
    const std::string text = "File version " + std::to_string(in_version) + " is not supported";
    KvfError::print(text);
    return KvfError::failAt(in_path, 4, text);
}

bool writeFile(KvfWriter& io_writer, const VoxelState& in_state, const std::string& in_shape_name,
               const std::vector<std::string>& in_channel_names, int in_frame,
               CompressionQuality in_quality)
{
    try {
        KVFInfo info{};
        return saveKvfHeader(io_writer, in_state, in_shape_name, in_channel_names, in_frame,
                             in_quality, info) &&
               saveKvfFile(io_writer, in_state, info);
    } catch (const std::exception& error) {
        return KvfError::fail(io_writer.path(), std::string("given up: ") + error.what());
    }
}

bool loadFile(KvfReader& io_reader, VoxelState& io_state, KVFInfo& io_info)
{
    switch (io_info.version) {
        case 1:
            return loadKvfFileV1(io_reader, io_state, io_info);
        case 2:
            return loadKvfFileV2(io_reader, io_state, io_info);
        case 3:
            return loadKvfFileV3(io_reader, io_state, io_info);
        case 4:
            return loadKvfFileV4(io_reader, io_state, io_info);
        default:
            return refuseVersion(io_reader.path(), io_info.version);
    }
}

std::string formatReport(const KVFInfo& in_info)
{
    std::ostringstream out;
    out << "Version     " << in_info.version << "\n"
        << "Frame       " << in_info.frame << "\n"
        << "Quality       " << in_info.quality << "\n"
        << "Shape\n"
        << "   name     " << in_info.shapeName << "\n"
        << "   object   " << in_info.objectName << "\n"
        << "   type     " << in_info.shapeType << "\n"
        << "   layout   " << in_info.layoutName << "\n"
        << "   channels " << in_info.channels.size() << "\n";
    for (const KVFInfo::ChannelInfo& channel : in_info.channels) {
        out << "\nChannel\n"
            << "   name     " << channel.name << "\n"
            << "   type     " << channel.type << "\n"
            << "   tiles    " << std::setw(kNumberWidth) << channel.numTiles << "\n"
            << "   elements " << std::setw(kNumberWidth) << channel.numElements << "\n"
            << "   maxdepth " << std::setw(kNumberWidth) << channel.maxDepth << "\n";
    }
    return out.str();
}

}  // namespace

bool kvfSave(const VoxelState& in_state, const std::string& in_path,
             const std::string& in_shape_name, const std::vector<std::string>& in_channel_names,
             int in_frame, CompressionQuality in_quality, std::string& out_resolved_path)
{
    return withoutThrowing(in_path, [&] {
        KvfWriter writer;
        if (!writer.initBeside(in_path, in_frame)) {
            return false;
        }
        out_resolved_path = writer.path();
        if (writeFile(writer, in_state, in_shape_name, in_channel_names, in_frame, in_quality)) {
            return writer.commit();
        }
        writer.close();  // notes why a write failed, if one did
        writer.discard();
        return false;
    });
}

bool kvfLoad(VoxelState& io_state, const std::string& in_path)
{
    return withoutThrowing(in_path, [&] {
        KvfReader reader;
        KVFInfo info{};
        return reader.init(in_path) && loadKvfHeader(reader, info) &&
               loadFile(reader, io_state, info);
    });
}

bool kvfInfo(const std::string& in_path, KVFInfo& out_info)
{
    return withoutThrowing(in_path, [&] {
        KvfReader reader;
        return reader.init(in_path) && loadKvfHeader(reader, out_info);
    });
}

bool kvfInfo(const std::string& in_path, std::string& out_report)
{
    KVFInfo info{};
    if (!kvfInfo(in_path, info)) {
        return false;
    }
    out_report = formatReport(info);
    return true;
}

void kvfResolvePath(const std::string& in_path, int in_frame, std::string& out_resolved)
{
    out_resolved = FileUtils::buildFilename(in_path, in_frame);
}

}  // namespace Skelvar
