#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/CompressionQuality.h>

#include <string>
#include <vector>

namespace Skelvar {

struct KVFInfo;
class VoxelState;

/// Saves a shape with its object's name, its layout and the named channels. `in_path` may hold a
/// frame pattern and must have a folder part; `out_resolved_path` receives the path of the file.
/// The folder is made if it is missing. The file appears under its name whole or not at all: it is
/// written beside it and renamed at the end, so a failure leaves a file that stood there as it was.
/// (A device or a pipe is written directly.) False on failure, with `kvfLastError` set. Never
/// throws. The caller keeps others from changing the shape meanwhile.
/// Channels of `bool` and `unsigned char` are written like all others, but a load fails at the
/// first of them, as no text names them to a factory: copy what is to be loaded into one of `int`.
SKELVAR_API bool kvfSave(const VoxelState& in_state, const std::string& in_path,
                         const std::string& in_shape_name,
                         const std::vector<std::string>& in_channel_names, int in_frame,
                         CompressionQuality in_quality, std::string& out_resolved_path);

/// Loads a file of any version into the state. The path is taken as it stands, without frame
/// patterns. False on failure, with `kvfLastError` set; other items of the state are untouched, and
/// those of the file that were made before stay, safe to use and to delete. Never throws. Takes no
/// more memory than the bytes of the file can back.
SKELVAR_API bool kvfLoad(VoxelState& io_state, const std::string& in_path);

/// Reads the header of a file. Loads nothing.
SKELVAR_API bool kvfInfo(const std::string& in_path, KVFInfo& out_info);
/// The same as a text for a person. On failure the text is left alone.
SKELVAR_API bool kvfInfo(const std::string& in_path, std::string& out_report);

/// The path of one frame of a path that may hold a frame pattern (`FileUtils::buildFilename`).
SKELVAR_API void kvfResolvePath(const std::string& in_path, int in_frame,
                                std::string& out_resolved);

/// What failed last in the file layer on the calling thread, in one line for a person: the path,
/// the byte at which it happened, what was expected and what was found. Empty if nothing failed.
SKELVAR_API const std::string& kvfLastError();

/// Where the body of a channel stands in a file, and how large it is.
struct KvfChannelSize {
    std::string name;
    std::string type;
    unsigned long long offset = 0;       ///< of the first byte of the body in the file
    unsigned long long diskBytes = 0;    ///< of the whole body with its sizes and counts
    unsigned long long memoryBytes = 0;  ///< of the channel's serialised form
    unsigned long long chunks = 0;       ///< compressed streams; 0 in a file of version 1
};

/// The sizes of each channel of a file, in its order, without inflating any (a file of version 1
/// has to be parsed). False on failure; `out_sizes` then holds the channels before it. `out_end`,
/// if it is not null, is how many bytes of the file all that it holds takes, from its start.
SKELVAR_API bool kvfChannelSizes(const std::string& in_path, std::vector<KvfChannelSize>& out_sizes,
                                 unsigned long long* out_end = nullptr);

}  // namespace Skelvar
