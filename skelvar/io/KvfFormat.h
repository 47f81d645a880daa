#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/CompressionQuality.h>

#include <string>
#include <vector>

namespace Skelvar {

class KvfReader;
class KvfWriter;
class VoxelState;

/// The header of a file: what it holds, and how. Value-initialise it before use. The strings stand
/// in the file in the order shape name, shape type, object name, layout name.
struct KVFInfo {
    struct ChannelInfo {
        std::string name;
        std::string type;  ///< as the channel's type record prints it
        int maxDepth = 0;
        int numTiles = 0;
        int numElements = 0;              ///< wraps above 2^31; for information only
        unsigned short creationKind = 0;  ///< 1: made by `newChannel`, 0: `deprecated_newChannel`
    };

    unsigned int magic = 0;
    unsigned int version = 0;
    int frame = 0;
    std::string shapeName;
    std::string objectName;
    std::string shapeType;
    std::string layoutName;
    std::vector<ChannelInfo> channels;
    unsigned int quality = 0;  ///< as it stands in the file; streams take 4 and above as 0
};

/// First word of every file.
inline constexpr unsigned int kKvfMagic = 0xbbeeeeff;

/// The version that is written: 4. Versions 1 to 4 are read.
SKELVAR_API unsigned int kvfVersion();

/// What streams take for a quality from a file or a caller: itself up to 3, else 0.
inline CompressionQuality kvfQuality(unsigned int in_quality)
{
    return in_quality < 4 ? static_cast<CompressionQuality>(in_quality) : eQualityPlain;
}

/// Fills the record from the shape and its channels and writes the header. A channel that is
/// missing is told on standard output and left out, though the count already written includes it.
/// False if the shape is not there, if names were given and none was found, or on a failed write.
/// Sets the writer's quality (4 and above as 0) and version.
SKELVAR_API bool saveKvfHeader(KvfWriter& io_writer, const VoxelState& in_state,
                               const std::string& in_shape_name,
                               const std::vector<std::string>& in_channel_names, int in_frame,
                               CompressionQuality in_quality, KVFInfo& out_info);

/// Reads a header of any version and sets the reader's quality and version. False on a wrong magic
/// or a short read; the record then holds what came before.
SKELVAR_API bool loadKvfHeader(KvfReader& io_reader, KVFInfo& out_info);

/// Writes all that follows the header. Compresses all channels at once before the first channel
/// body is written. The caller keeps others from changing the shape meanwhile.
SKELVAR_API bool saveKvfFile(KvfWriter& io_writer, const VoxelState& in_state, KVFInfo& io_info);

/// Each reads what follows the header of its version into the state: object, layout, shape and
/// channels, under the names of the header. The first failure ends the load; what was made before
/// stays in the state, safe to use and to delete.
SKELVAR_API bool loadKvfFileV1(KvfReader& io_reader, VoxelState& io_state, KVFInfo& in_info);
SKELVAR_API bool loadKvfFileV2(KvfReader& io_reader, VoxelState& io_state, KVFInfo& in_info);
SKELVAR_API bool loadKvfFileV3(KvfReader& io_reader, VoxelState& io_state, KVFInfo& in_info);
SKELVAR_API bool loadKvfFileV4(KvfReader& io_reader, VoxelState& io_state, KVFInfo& in_info);

}  // namespace Skelvar
