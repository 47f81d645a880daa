#pragma once

namespace Skelvar {

/// How a channel encodes its payload before compression. Files store the number.
enum CompressionQuality : int {
    eQualityPlain = 0,        ///< tile by tile, as the values lie in memory
    eQualityLossless = 1,     ///< float data in byte planes; nothing is lost
    eQualityQuantised16 = 2,  ///< as 1, and particle positions in 16 bits an axis
    eQualityQuantised8 = 3,   ///< as 1, and particle positions in 8 bits an axis
};

}  // namespace Skelvar
