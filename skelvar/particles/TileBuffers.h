#pragma once

#include <skelvar/particles/ParticleTile.h>

#include <functional>
#include <span>
#include <type_traits>
#include <vector>

// Bulk work on the tiles of one depth, whatever the type of their elements, in parallel over tiles.
// `in_bytes` is the size of an element.
namespace Skelvar {

struct ParticleReblock;

namespace Detail {

using TileBuffers = std::span<TileBuffer>;
using ConstTileBuffers = std::span<const TileBuffer>;

/// The sizes of elements that `withElement` knows.
constexpr bool hasKernels(unsigned long in_bytes)
{
    return in_bytes == 1 || in_bytes == 4 || in_bytes == 8 || in_bytes == 12 || in_bytes == 16;
}

template <typename T>
TileBuffers buffersOf(std::vector<DynamicParticleTile<T>>& in_tiles)
{
    using Tile = DynamicParticleTile<T>;
    static_assert(sizeof(Tile) == sizeof(TileBuffer) && std::is_standard_layout_v<Tile>);
    static_assert(hasKernels(sizeof(T)), "withElement needs a case for elements of this size");
    return {reinterpret_cast<TileBuffer*>(in_tiles.data()), in_tiles.size()};
}
template <typename T>
ConstTileBuffers buffersOf(const std::vector<DynamicParticleTile<T>>& in_tiles)
{
    return buffersOf(const_cast<std::vector<DynamicParticleTile<T>>&>(in_tiles));
}

/// An element of any type of that size.
template <unsigned long Bytes>
struct Element {
    unsigned char bytes[Bytes];
};

/// Calls in_body with an element of that size: kernels are built for each size, not for each type.
template <typename Body>
void withElement(unsigned long in_bytes, const Body& in_body)
{
    switch (in_bytes) {
        case 1:
            return in_body(Element<1>{});
        case 4:
            return in_body(Element<4>{});
        case 8:
            return in_body(Element<8>{});
        case 12:
            return in_body(Element<12>{});
        default:
            return in_body(Element<16>{});
    }
}

/// Calls in_body(begin, end) on ranges that cover 0 to `in_count`.
void forTiles(long long in_count, const std::function<void(long long, long long)>& in_body);

unsigned long long numElements(ConstTileBuffers in_tiles);
std::vector<unsigned long long> countElements(ConstTileBuffers in_tiles);
/// Bytes of the tiles themselves not counted.
unsigned long long memUsage(ConstTileBuffers in_tiles, unsigned long in_bytes,
                            MemUsage::Type in_type);

/// Grows or cuts each tile to its count, 0 for those that have none; new elements are `in_value`.
void resizeTiles(const std::vector<unsigned long long>& in_counts, const void* in_value,
                 unsigned long in_bytes, TileBuffers io_tiles);
/// Tile by tile; `out_tiles` are as many, and new.
void copyTiles(ConstTileBuffers in_tiles, unsigned long in_bytes, TileBuffers out_tiles);
/// Moves elements from tile to tile, or drops them. The two depths may be the same.
void reblockTiles(const ParticleReblock& in_reblock, unsigned long in_bytes, TileBuffers io_sources,
                  TileBuffers io_targets);

}  // namespace Detail

}  // namespace Skelvar
