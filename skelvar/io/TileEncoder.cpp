#include <skelvar/io/TileEncoder.h>

#include <algorithm>
#include <cstring>

namespace Skelvar {

namespace {

unsigned int bitsOf(float in_value)
{
    return std::bit_cast<unsigned int>(in_value);
}

void split(const float* __restrict in_values, long long in_count,
           unsigned char* __restrict out_plane0, unsigned char* __restrict out_plane1,
           unsigned char* __restrict out_plane2, unsigned char* __restrict out_plane3)
{
    for (long long n = 0; n < in_count; ++n) {
        const unsigned int bits = bitsOf(in_values[n]);
        out_plane0[n] = static_cast<unsigned char>(bits);
        out_plane1[n] = static_cast<unsigned char>(bits >> 8);
        out_plane2[n] = static_cast<unsigned char>(bits >> 16);
        out_plane3[n] = static_cast<unsigned char>(bits >> 24);
    }
}

void join(const unsigned char* in_plane0, const unsigned char* in_plane1,
          const unsigned char* in_plane2, const unsigned char* in_plane3, long long in_count,
          float* __restrict out_values)
{
    for (long long n = 0; n < in_count; ++n) {
        const unsigned int bits = static_cast<unsigned int>(in_plane0[n]) |
                                  static_cast<unsigned int>(in_plane1[n]) << 8 |
                                  static_cast<unsigned int>(in_plane2[n]) << 16 |
                                  static_cast<unsigned int>(in_plane3[n]) << 24;
        std::memcpy(out_values + n, &bits,
                    sizeof(bits));  // no float on the way: a NaN keeps its bits
    }
}

}  // namespace

void splitIntoPlanes(const float* in_values, long long in_count, unsigned char* out_planes)
{
    split(in_values, in_count, out_planes, out_planes + in_count, out_planes + 2 * in_count,
          out_planes + 3 * in_count);
}

void joinPlanes(const unsigned char* in_planes, long long in_count, float* out_values)
{
    join(in_planes, in_planes + in_count, in_planes + 2 * in_count, in_planes + 3 * in_count,
         in_count, out_values);
}

void TileEncoder<VoxelTile<float, 0, 5>>::encodef(unsigned long in_count,
                                                  const VoxelTile<float, 0, 5>& in_tile,
                                                  std::vector<unsigned char>& io_plane0,
                                                  std::vector<unsigned char>& io_plane1,
                                                  std::vector<unsigned char>& io_plane2,
                                                  std::vector<unsigned char>& io_plane3)
{
    for (unsigned long n = 0; n < in_count; ++n) {
        TileHelper::encodef(in_tile.data()[n], io_plane0, io_plane1, io_plane2, io_plane3);
    }
}

void TileEncoder<VoxelTile<float, 0, 5>>::decodef(unsigned long in_count,
                                                  VoxelTile<float, 0, 5>& io_tile,
                                                  const std::vector<unsigned char>& in_plane0,
                                                  const std::vector<unsigned char>& in_plane1,
                                                  const std::vector<unsigned char>& in_plane2,
                                                  const std::vector<unsigned char>& in_plane3)
{
    join(in_plane0.data(), in_plane1.data(), in_plane2.data(), in_plane3.data(),
         static_cast<long long>(in_count), io_tile.data());
}

}  // namespace Skelvar
