#pragma once

namespace Skelvar::MemUsage {

/// What a memory figure counts. All figures are in bytes.
enum Type : int {
    eMemUsed = 0,       ///< elements in use
    eMemAllocated = 1,  ///< also the unused capacity of containers
};

}  // namespace Skelvar::MemUsage
