#pragma once

namespace Skelvar {

/// Version of a stream's outer format. A class's `load` reads it to know which fields are there.
enum KvfVersion : int {
    kKvfVersion1 = 1,  ///< payloads without version fields of their own, channels plain
    kKvfVersion2 = 2,  ///< version fields; quality in the header; channels as one compressed stream
    kKvfVersion3 = 3,  ///< creation kind of each channel in the header
    kKvfVersion4 = 4,  ///< channels in compressed chunks; the version that is written
};

/// Versions of the records within, which go their own way: the one that is written, and the first
/// with a dictionary.
inline constexpr unsigned short kLayoutVersion = 3;
inline constexpr unsigned short kLayoutVersionWithDictionary = 3;
inline constexpr unsigned short kShapeVersion = 4;
inline constexpr unsigned short kShapeVersionWithDictionary = 4;

}  // namespace Skelvar
