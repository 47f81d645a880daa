#pragma once

namespace Skelvar {

/// Version of a stream's outer format. A class's `load` reads it to know which fields are there.
enum KvfVersion : int {
    kKvfVersion1 = 1,  ///< payloads without version fields of their own, channels plain
    kKvfVersion2 = 2,  ///< version fields; quality in the header; channels as one compressed stream
    kKvfVersion3 = 3,  ///< creation kind of each channel in the header
    kKvfVersion4 = 4,  ///< channels in compressed chunks; the version that is written
};

}  // namespace Skelvar
