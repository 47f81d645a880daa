#pragma once

#include <skelvar/io/TileEncoder.h>
#include <skelvar/io/TilesEncoder.h>
#include <skelvar/particles/ParticleTile.h>

#include <vector>

namespace Skelvar {

class VoxelLayout;
template <typename T>
class SKELVAR_API_FORWARD ParticleChannel;

/// The planes of one particle tile: those of all its components, element after element.
template <>
struct SKELVAR_API TileEncoder<ParticleTile<vec3f>> {
    /// Gives the tile `in_count` elements from planes of any length; components behind the end of
    /// the planes are 0.
    static void decode3f(unsigned long in_count, ParticleTile<vec3f>& io_tile,
                         const std::vector<unsigned char>& in_plane0,
                         const std::vector<unsigned char>& in_plane1,
                         const std::vector<unsigned char>& in_plane2,
                         const std::vector<unsigned char>& in_plane3);
};

/// The tiles of one depth of a particle channel in byte planes, which lose nothing: for each tile
/// the plane length (unsigned 64) and four planes. The number of tiles is written and read by the
/// channel. All give the logical and of the stream results. Reading gives the vector `in_count`
/// tiles; a length that the rest of the stream cannot hold is false.
template <>
struct SKELVAR_API TilesEncoder<ParticleChannel<float>> {
    using Tiles = std::vector<DynamicParticleTile<float>>;

    static bool encodef(unsigned long in_count, const Tiles& in_tiles, OutputStream& io_stream);
    static bool decodef(unsigned long in_count, Tiles& io_tiles, InputStream& io_stream);

    static bool encode(unsigned long in_count, const Tiles& in_tiles, OutputStream& io_stream)
    {
        return encodef(in_count, in_tiles, io_stream);
    }
    static bool decode(unsigned long in_count, Tiles& io_tiles, InputStream& io_stream)
    {
        return decodef(in_count, io_tiles, io_stream);
    }
};

/// The same with three components an element. A plane length that is no multiple of three drops
/// what is over.
template <>
struct SKELVAR_API TilesEncoder<ParticleChannel<vec3f>> {
    using Tiles = std::vector<DynamicParticleTile<vec3f>>;

    static bool encode3f(unsigned long in_count, const Tiles& in_tiles, OutputStream& io_stream);
    static bool decode3f(unsigned long in_count, Tiles& io_tiles, InputStream& io_stream);

    static bool encode(unsigned long in_count, const Tiles& in_tiles, OutputStream& io_stream)
    {
        return encode3f(in_count, in_tiles, io_stream);
    }
    static bool decode(unsigned long in_count, Tiles& io_tiles, InputStream& io_stream)
    {
        return decode3f(in_count, io_tiles, io_stream);
    }
};

/// Positions relative to their tiles, in 16 bits an axis at quality 2 and in 8 at quality 3, as two
/// planes for each tile, each with its length (unsigned 64): of 16 bits the low and the high bytes,
/// of 8 bits the codes and nothing. A code is (p - corner) / side, times 65535 or 255 in `float`,
/// cut to a whole number, of which the low bits are kept: a position outside of its tile wraps. A
/// position that is NaN or 2^31 and more has code 0. False if a tile has no node.
SKELVAR_API bool encodePositions(const VoxelLayout& in_layout, int in_depth,
                                 const std::vector<DynamicParticleTile<vec3f>>& in_tiles,
                                 OutputStream& io_stream);
/// The inverse of that, up to what the bits can hold. The vector is already sized. False if the
/// lengths of a tile's planes do not fit together.
SKELVAR_API bool decodePositions(const VoxelLayout& in_layout, int in_depth,
                                 std::vector<DynamicParticleTile<vec3f>>& io_tiles,
                                 InputStream& io_stream);

}  // namespace Skelvar
