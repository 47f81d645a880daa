#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/voxel/VoxelTile.h>

#include <bit>
#include <vector>

namespace Skelvar {

/// One value in byte planes: plane 0 has the lowest byte of each value, plane 3 the highest.
struct TileHelper {
    /// Appends the bytes of the value's bit pattern to the planes.
    static void encodef(const float& in_value, std::vector<unsigned char>& io_plane0,
                        std::vector<unsigned char>& io_plane1,
                        std::vector<unsigned char>& io_plane2,
                        std::vector<unsigned char>& io_plane3)
    {
        const unsigned int bits = std::bit_cast<unsigned int>(in_value);
        io_plane0.push_back(static_cast<unsigned char>(bits));
        io_plane1.push_back(static_cast<unsigned char>(bits >> 8));
        io_plane2.push_back(static_cast<unsigned char>(bits >> 16));
        io_plane3.push_back(static_cast<unsigned char>(bits >> 24));
    }
};

/// `in_count` floats into four planes of as many bytes, which follow each other in `out_planes`.
SKELVAR_API void splitIntoPlanes(const float* in_values, long long in_count,
                                 unsigned char* out_planes);
/// The inverse of that, bit for bit.
SKELVAR_API void joinPlanes(const unsigned char* in_planes, long long in_count, float* out_values);

template <typename Tile>
struct TileEncoder;

/// The planes of one voxel tile, in the order of its cells.
template <>
struct SKELVAR_API TileEncoder<VoxelTile<float, 0, 5>> {
    /// Appends the first `in_count` values, at most 125.
    static void encodef(unsigned long in_count, const VoxelTile<float, 0, 5>& in_tile,
                        std::vector<unsigned char>& io_plane0,
                        std::vector<unsigned char>& io_plane1,
                        std::vector<unsigned char>& io_plane2,
                        std::vector<unsigned char>& io_plane3);
    /// Sets the first `in_count` values, at most 125, from planes of at least as many bytes.
    static void decodef(unsigned long in_count, VoxelTile<float, 0, 5>& io_tile,
                        const std::vector<unsigned char>& in_plane0,
                        const std::vector<unsigned char>& in_plane1,
                        const std::vector<unsigned char>& in_plane2,
                        const std::vector<unsigned char>& in_plane3);
};

}  // namespace Skelvar
