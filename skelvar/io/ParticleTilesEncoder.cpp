#include <skelvar/io/ParticleTilesEncoder.h>

#include <skelvar/tree/VoxelLayout.h>

#include <array>
#include <cmath>

namespace Skelvar {

namespace {

using PlaneBytes = std::vector<unsigned char>;
using PositionTiles = std::vector<DynamicParticleTile<vec3f>>;

static_assert(sizeof(vec3f) == 3 * sizeof(float), "elements are walked as rows of floats");

template <typename T>
constexpr unsigned long kComponents = sizeof(T) / sizeof(float);

bool writePlane(const PlaneBytes& in_plane, OutputStream& io_stream)
{
    const bool ok = io_stream.write(static_cast<unsigned long long>(in_plane.size()));
    return io_stream.writebytes(in_plane.size(), reinterpret_cast<const char*>(in_plane.data())) &&
           ok;
}

bool readPlane(InputStream& io_stream, PlaneBytes& out_plane)
{
    unsigned long long length = 0;
    if (!io_stream.read(length) || length > io_stream.length()) {
        return false;
    }
    out_plane.resize(length);
    return io_stream.readbytes(length, reinterpret_cast<char*>(out_plane.data()));
}

template <typename T>
bool encodePlanes(unsigned long in_count, const std::vector<DynamicParticleTile<T>>& in_tiles,
                  OutputStream& io_stream)
{
    PlaneBytes planes;
    bool ok = true;
    for (unsigned long n = 0; n < in_count; ++n) {
        const unsigned long length = kComponents<T> * in_tiles[n].size();
        planes.resize(4 * length);
        splitIntoPlanes(reinterpret_cast<const float*>(in_tiles[n].data()),
                        static_cast<long long>(length), planes.data());
        ok &= io_stream.write(static_cast<unsigned long long>(length));
        ok &= io_stream.writebytes(planes.size(), reinterpret_cast<const char*>(planes.data()));
    }
    return ok;
}

template <typename T>
bool decodePlanes(unsigned long in_count, std::vector<DynamicParticleTile<T>>& io_tiles,
                  InputStream& io_stream)
{
    PlaneBytes planes;
    std::vector<float> values;
    io_tiles.resize(in_count);
    for (DynamicParticleTile<T>& tile : io_tiles) {
        unsigned long long length = 0;
        if (!io_stream.read(length) || length > io_stream.length() / 4) {
            return false;
        }
        planes.resize(4 * length);
        if (!io_stream.readbytes(planes.size(), reinterpret_cast<char*>(planes.data()))) {
            return false;
        }
        tile.resizeForOverwrite(length / kComponents<T>);
        if (length % kComponents<T> == 0) {
            joinPlanes(planes.data(), static_cast<long long>(length),
                       reinterpret_cast<float*>(tile.data()));
        } else {
            values.resize(length);
            joinPlanes(planes.data(), static_cast<long long>(length), values.data());
            std::copy_n(values.data(), tile.size() * kComponents<T>,
                        reinterpret_cast<float*>(tile.data()));
        }
    }
    return true;
}

/// Where the positions of a tile count from, and how far.
struct TileFrame {
    vec3i corner;
    int side;
};

bool findFrame(const VoxelLayout& in_layout, int in_depth, std::size_t in_index,
               TileFrame& out_frame)
{
    if (in_index >= static_cast<std::size_t>(in_layout.numNodes(in_depth))) {
        return false;
    }
    out_frame.corner = in_layout.node(static_cast<int>(in_index), in_depth).corner();
    out_frame.side = kTileSideLUT[in_depth];
    return true;
}

float stepsOf(CompressionQuality in_quality)
{
    return in_quality == eQualityQuantised16 ? 65535.0f : 255.0f;
}

unsigned int codeOf(float in_position, int in_corner, int in_side, float in_steps)
{
    constexpr float kBound = 2147483648.0f;
    const double share = (static_cast<double>(in_position) - in_corner) / in_side;
    const float scaled = static_cast<float>(share) * in_steps;
    if (!(std::fabs(scaled) < kBound)) {
        return 0;
    }
    return static_cast<unsigned int>(static_cast<int>(scaled));
}

}  // namespace

void TileEncoder<ParticleTile<vec3f>>::decode3f(
    unsigned long in_count, ParticleTile<vec3f>& io_tile, const PlaneBytes& in_plane0,
    const PlaneBytes& in_plane1, const PlaneBytes& in_plane2, const PlaneBytes& in_plane3)
{
    const std::array<const PlaneBytes*, 4> planes = {&in_plane0, &in_plane1, &in_plane2,
                                                     &in_plane3};
    const auto byteOf = [&](int in_plane, unsigned long in_place) {
        const PlaneBytes& plane = *planes[in_plane];
        return in_place < plane.size() ? static_cast<unsigned int>(plane[in_place]) : 0u;
    };
    io_tile.resize(in_count);
    for (unsigned long n = 0; n < 3 * in_count; ++n) {
        const unsigned int bits =
            byteOf(3, n) << 24 | byteOf(2, n) << 16 | byteOf(1, n) << 8 | byteOf(0, n);
        io_tile[n / 3][static_cast<int>(n % 3)] = std::bit_cast<float>(bits);
    }
}

bool TilesEncoder<ParticleChannel<float>>::encodef(unsigned long in_count, const Tiles& in_tiles,
                                                   OutputStream& io_stream)
{
    return encodePlanes(in_count, in_tiles, io_stream);
}

bool TilesEncoder<ParticleChannel<float>>::decodef(unsigned long in_count, Tiles& io_tiles,
                                                   InputStream& io_stream)
{
    return decodePlanes(in_count, io_tiles, io_stream);
}

bool TilesEncoder<ParticleChannel<vec3f>>::encode3f(unsigned long in_count, const Tiles& in_tiles,
                                                    OutputStream& io_stream)
{
    return encodePlanes(in_count, in_tiles, io_stream);
}

bool TilesEncoder<ParticleChannel<vec3f>>::decode3f(unsigned long in_count, Tiles& io_tiles,
                                                    InputStream& io_stream)
{
    return decodePlanes(in_count, io_tiles, io_stream);
}

bool encodePositions(const VoxelLayout& in_layout, int in_depth, const PositionTiles& in_tiles,
                     OutputStream& io_stream)
{
    const bool is_wide = io_stream.quality() == eQualityQuantised16;
    const float steps = stepsOf(io_stream.quality());
    PlaneBytes low;
    PlaneBytes high;
    bool ok = true;
    for (std::size_t n = 0; n < in_tiles.size(); ++n) {
        TileFrame frame;
        if (!findFrame(in_layout, in_depth, n, frame)) {
            return false;
        }
        low.clear();
        high.clear();
        for (const vec3f& position : in_tiles[n]) {
            for (int a = 0; a < 3; ++a) {
                const unsigned int code = codeOf(position[a], frame.corner[a], frame.side, steps);
                low.push_back(static_cast<unsigned char>(code));
                if (is_wide) {
                    high.push_back(static_cast<unsigned char>(code >> 8));
                }
            }
        }
        ok &= writePlane(low, io_stream);
        ok &= writePlane(high, io_stream);
    }
    return ok;
}

bool decodePositions(const VoxelLayout& in_layout, int in_depth, PositionTiles& io_tiles,
                     InputStream& io_stream)
{
    const bool is_wide = io_stream.quality() == eQualityQuantised16;
    const float steps = stepsOf(io_stream.quality());
    PlaneBytes low;
    PlaneBytes high;
    for (std::size_t n = 0; n < io_tiles.size(); ++n) {
        TileFrame frame;
        if (!findFrame(in_layout, in_depth, n, frame) || !readPlane(io_stream, low) ||
            !readPlane(io_stream, high) || high.size() != (is_wide ? low.size() : 0)) {
            return false;
        }
        io_tiles[n].resizeForOverwrite(low.size() / 3);
        for (std::size_t place = 0; place < 3 * io_tiles[n].size(); ++place) {
            const int axis = static_cast<int>(place % 3);
            const unsigned int code = is_wide ? low[place] | high[place] << 8 : low[place];
            io_tiles[n][place / 3][axis] =
                static_cast<float>(code) / steps * static_cast<float>(frame.side) +
                static_cast<float>(frame.corner[axis]);
        }
    }
    return true;
}

}  // namespace Skelvar
