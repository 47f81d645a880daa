#pragma once

#include <string>
#include <vector>

namespace Skelvar {

class KvfReader;

/// Where the compressed bytes of a channel stand in a file. Versions 2 and 3 have one chunk.
struct ChannelBody {
    struct Chunk {
        unsigned long long offset = 0;      ///< of the zlib stream in the file
        unsigned long long size = 0;        ///< of its contents
        unsigned long long compressed = 0;  ///< of the zlib stream
    };

    unsigned long long offset = 0;  ///< of the body in the file
    unsigned long long size = 0;    ///< of the channel's serialised form: the sum over the chunks
    std::vector<Chunk> chunks;

    /// Reads all sizes of the body at the reader's position and leaves the reader behind the body.
    /// No size stays that the file cannot back. False with a note of the error, in which
    /// `in_channel` names the channel.
    bool read(KvfReader& io_reader, const std::string& in_channel);
};

}  // namespace Skelvar
