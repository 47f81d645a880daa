#include <skelvar/io/TileEncoder.h>

#include <algorithm>
#include <array>
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

using Planes = std::array<const unsigned char*, 4>;

void joinOne(const Planes& in_planes, long long in_n, float* out_values)
{
    const unsigned int bits = static_cast<unsigned int>(in_planes[0][in_n]) |
                              static_cast<unsigned int>(in_planes[1][in_n]) << 8 |
                              static_cast<unsigned int>(in_planes[2][in_n]) << 16 |
                              static_cast<unsigned int>(in_planes[3][in_n]) << 24;
    // no float on the way: a NaN keeps its bits
    std::memcpy(out_values + in_n, &bits, sizeof(bits));
}

/// Bytes that one instruction interleaves. Compilers leave the loop above at a fifth of the speed.
using Bytes = unsigned char __attribute__((vector_size(16)));

constexpr long long kWidth = sizeof(Bytes);

void joinSixteen(const Planes& in_planes, long long in_n, float* out_values)
{
    Bytes plane[4];
    for (int n = 0; n < 4; ++n) {
        std::memcpy(&plane[n], in_planes[n] + in_n, sizeof(Bytes));
    }
    // Bytes to the lower and the upper halves of values, 0 to 7 and 8 to 15; then halves to values.
    const auto first = [](Bytes in_a, Bytes in_b) {
        return __builtin_shufflevector(in_a, in_b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22,
                                       7, 23);
    };
    const auto last = [](Bytes in_a, Bytes in_b) {
        return __builtin_shufflevector(in_a, in_b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14,
                                       30, 15, 31);
    };
    const auto firstPairs = [](Bytes in_a, Bytes in_b) {
        return __builtin_shufflevector(in_a, in_b, 0, 1, 16, 17, 2, 3, 18, 19, 4, 5, 20, 21, 6, 7,
                                       22, 23);
    };
    const auto lastPairs = [](Bytes in_a, Bytes in_b) {
        return __builtin_shufflevector(in_a, in_b, 8, 9, 24, 25, 10, 11, 26, 27, 12, 13, 28, 29, 14,
                                       15, 30, 31);
    };
    const Bytes low = first(plane[0], plane[1]), low_last = last(plane[0], plane[1]);
    const Bytes high = first(plane[2], plane[3]), high_last = last(plane[2], plane[3]);
    const Bytes values[4] = {firstPairs(low, high), lastPairs(low, high),
                             firstPairs(low_last, high_last), lastPairs(low_last, high_last)};
    std::memcpy(out_values + in_n, values, sizeof(values));
}

void join(const Planes& in_planes, long long in_count, float* out_values)
{
    if (in_count < kWidth) {
        for (long long n = 0; n < in_count; ++n) {
            joinOne(in_planes, n, out_values);
        }
        return;
    }
    for (long long n = 0; n + kWidth <= in_count; n += kWidth) {
        joinSixteen(in_planes, n, out_values);
    }
    joinSixteen(in_planes, in_count - kWidth, out_values);  // the rest, and some before it again
}

}  // namespace

void splitIntoPlanes(const float* in_values, long long in_count, unsigned char* out_planes)
{
    split(in_values, in_count, out_planes, out_planes + in_count, out_planes + 2 * in_count,
          out_planes + 3 * in_count);
}

void joinPlanes(const unsigned char* in_planes, long long in_count, float* out_values)
{
    join({in_planes, in_planes + in_count, in_planes + 2 * in_count, in_planes + 3 * in_count},
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
    join({in_plane0.data(), in_plane1.data(), in_plane2.data(), in_plane3.data()},
         static_cast<long long>(in_count), io_tile.data());
}

}  // namespace Skelvar
