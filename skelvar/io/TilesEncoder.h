#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/InputStream.h>
#include <skelvar/base/OutputStream.h>
#include <skelvar/base/ValueTypes.h>
#include <skelvar/base/array1.h>
#include <skelvar/voxel/VoxelTile.h>

namespace Skelvar {

template <typename T>
class SKELVAR_API_FORWARD VoxelChannel;

template <typename Channel>
struct TilesEncoder;

/// The tiles of one depth of a voxel channel, in bulk. The bytes are those of tile after tile; the
/// number of tiles is written and read by the channel. All give the logical and of the stream
/// results.
///
/// Reading decodes in parallel, straight from the memory of the library's own streams; the array is
/// already sized, and `in_count` is at most its size. On false the tiles are zero.
template <typename T>
struct SKELVAR_API PlainTilesEncoder {
    using Tile = VoxelTile<T, 0, 5>;

    /// The same bytes as `Tile::save` of each.
    static bool encode(unsigned long in_count, const array1<Tile>& in_tiles,
                       OutputStream& io_stream);
    /// The same result as `Tile::load` of each, in any version of the stream.
    static bool decode(unsigned long in_count, array1<Tile>& io_tiles, InputStream& io_stream);
};

template <typename T>
struct TilesEncoder<VoxelChannel<T>> : PlainTilesEncoder<T> {
};

/// Tiles of `float` also have a form in byte planes, which loses nothing: for each tile the plane
/// length 125, unsigned 64, and four planes.
template <>
struct SKELVAR_API TilesEncoder<VoxelChannel<float>> : PlainTilesEncoder<float> {
    static bool encodef(unsigned long in_count, const array1<Tile>& in_tiles,
                        OutputStream& io_stream);
    /// A plane length other than 125 is false.
    static bool decodef(unsigned long in_count, array1<Tile>& io_tiles, InputStream& io_stream);
};

#define SKELVAR_EXTERN(T) extern template struct PlainTilesEncoder<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
