#include <skelvar/particles/ParticleBins.h>

#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/particles/TileBuffers.h>
#include <skelvar/particles/TileSort.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <tbb/parallel_reduce.h>
#include <tbb/parallel_sort.h>

#include <limits>
#include <stdexcept>

namespace Skelvar {

namespace {

/// False for a point that is outside of the domain or not a number. `out_cell` counts from the
/// lowest corner of the domain.
bool findCell(const vec3f& in_point, vec3i& out_cell)
{
    constexpr float kBound = static_cast<float>(kTileOrigin);
    for (int a = 0; a < 3; ++a) {
        if (!(in_point[a] >= -kBound && in_point[a] < kBound + 1.0f)) {
            return false;
        }
        const int whole = static_cast<int>(in_point[a]);
        out_cell[a] = kTileOrigin + whole - (static_cast<float>(whole) > in_point[a] ? 1 : 0);
    }
    return true;
}

TileId tileOf(const vec3i& in_cell, int in_depth)
{
    return tileCoordsToId(in_cell[0] - kTileOrigin, in_cell[1] - kTileOrigin,
                          in_cell[2] - kTileOrigin, in_depth);
}

/// A box of cells, both ends included.
struct CellBox {
    vec3i low = {std::numeric_limits<int>::max(), std::numeric_limits<int>::max(),
                 std::numeric_limits<int>::max()};
    vec3i high = {-1, -1, -1};

    void extend(const vec3i& in_low, const vec3i& in_high)
    {
        for (int a = 0; a < 3; ++a) {
            low[a] = std::min(low[a], in_low[a]);
            high[a] = std::max(high[a], in_high[a]);
        }
    }
};

CellBox boundsOf(const vec3f* in_points, long long in_count)
{
    return tbb::parallel_reduce(
        tbb::blocked_range<long long>(0, in_count, 4096), CellBox(),
        [&](const tbb::blocked_range<long long>& in_range, CellBox io_box) {
            vec3i cell{};
            for (long long n = in_range.begin(); n < in_range.end(); ++n) {
                if (findCell(in_points[n], cell)) {
                    io_box.extend(cell, cell);
                }
            }
            return io_box;
        },
        [](CellBox in_a, const CellBox& in_b) {
            in_a.extend(in_b.low, in_b.high);
            return in_a;
        });
}

}  // namespace

/// All tiles of one depth in a box, x fastest.
struct ParticleBins::Grid {
    vec3i low;  ///< lowest tile
    vec3i counts;
    int side;

    double per_side;

    Grid(const CellBox& in_box, int in_depth) : side(kTileSideLUT[in_depth]), per_side(1.0 / side)
    {
        for (int a = 0; a < 3; ++a) {
            low[a] = in_box.low[a] / side;
            counts[a] = in_box.high[a] / side - low[a] + 1;
        }
    }
    long long size() const { return 1LL * counts[0] * counts[1] * counts[2]; }
    unsigned keyOf(const vec3i& in_cell) const
    {
        // Half a cell inside, so that rounding cannot reach the next tile: no slow division.
        const auto tile = [&](int a) {
            return static_cast<int>((in_cell[a] + 0.5) * per_side) - low[a];
        };
        return static_cast<unsigned>(tile(0) + counts[0] * (tile(1) + counts[1] * tile(2)));
    }
    vec3i cellOf(long long in_key) const
    {
        const int x = static_cast<int>(in_key % counts[0]);
        const int y = static_cast<int>(in_key / counts[0] % counts[1]);
        const int z = static_cast<int>(in_key / counts[0] / counts[1]);
        return (low + vec3i{x, y, z}) * side;
    }
};

ParticleBins::ParticleBins(const vec3f* in_points, std::size_t in_count, int in_depth)
    : m_depth(in_depth)
{
    constexpr long long kGridOfFew = 1 << 16;
    if (in_count > std::numeric_limits<unsigned int>::max()) {
        throw std::runtime_error("ParticleBins: too many points: " + std::to_string(in_count));
    }
    const long long count = static_cast<long long>(in_count);
    const CellBox box = boundsOf(in_points, count);
    if (box.high[0] < 0) {
        m_num_strays = in_count;
    } else if (const Grid grid(box, in_depth); grid.size() <= std::max(kGridOfFew, count)) {
        sortInGrid(in_points, count, grid);
    } else {
        sortById(in_points, count);
    }
    m_begins.push_back(static_cast<long long>(m_points.size()));
}

void ParticleBins::sortInGrid(const vec3f* in_points, long long in_count, const Grid& in_grid)
{
    const unsigned stray_key = static_cast<unsigned>(in_grid.size());
    std::vector<unsigned> keys(static_cast<std::size_t>(in_count));
    Detail::bulkLoop(in_count, [&](long long in_begin, long long in_end) {
        vec3i cell{};
        for (long long n = in_begin; n < in_end; ++n) {
            keys[n] = findCell(in_points[n], cell) ? in_grid.keyOf(cell) : stray_key;
        }
    });
    const auto key = [&](long long n) { return keys[n]; };
    Detail::TileSort sort(in_count, stray_key + 1LL, key);
    const std::vector<long long>& begins = sort.begins();
    m_points.resize(static_cast<std::size_t>(begins[stray_key]));
    sort.place([&](long long in_place, long long n) {
        if (in_place < begins[stray_key]) {
            m_points[in_place] = static_cast<unsigned int>(n);
        }
    });
    for (long long key = 0; key < stray_key; ++key) {
        if (begins[key] < begins[key + 1]) {
            m_tiles.push_back(tileOf(in_grid.cellOf(key), m_depth));
            m_begins.push_back(begins[key]);
        }
    }
    m_num_strays = static_cast<unsigned long long>(in_count - begins[stray_key]);
}

void ParticleBins::sortById(const vec3f* in_points, long long in_count)
{
    using Entry = std::pair<TileId, unsigned int>;
    std::vector<Entry> entries(static_cast<std::size_t>(in_count));
    Detail::bulkLoop(in_count, [&](long long in_begin, long long in_end) {
        vec3i cell{};
        for (long long n = in_begin; n < in_end; ++n) {
            entries[n] = {findCell(in_points[n], cell) ? tileOf(cell, m_depth) : kNoTile,
                          static_cast<unsigned int>(n)};
        }
    });
    tbb::parallel_sort(entries.begin(), entries.end());
    for (const auto& [tile, point] : entries) {
        if (tile == kNoTile) {
            break;
        }
        if (m_tiles.empty() || m_tiles.back() != tile) {
            m_tiles.push_back(tile);
            m_begins.push_back(static_cast<long long>(m_points.size()));
        }
        m_points.push_back(point);
    }
    m_num_strays = static_cast<unsigned long long>(in_count) - m_points.size();
}

void ParticleBins::addTiles(VoxelLayout& io_layout) const
{
    if (!m_tiles.empty()) {
        io_layout.addNode(TileId(0));
        io_layout.addNodes(m_tiles);
    }
}

std::vector<TileIndex> ParticleBins::findTiles(const VoxelLayout& in_layout) const
{
    std::vector<TileIndex> found;
    found.reserve(m_tiles.size());
    VoxelLayout::ConstAccessor accessor(in_layout);
    for (const TileId tile : m_tiles) {
        found.push_back(accessor.nodeIndex<true>(tile));
        if (found.back().first < 0) {
            throw std::runtime_error("ParticleBins::append: the layout lacks the tile " +
                                     std::to_string(tile));
        }
    }
    return found;
}

namespace {

/// Appends to each of the tiles the values of its points.
void appendAll(const ParticleBins& in_bins, const void* in_values, unsigned long in_bytes,
               const std::vector<TileIndex>& in_tiles, Detail::TileBuffers io_tiles)
{
    const std::vector<long long>& begins = in_bins.begins();
    const unsigned int* const points = in_bins.points().data();
    const auto appendRange = [&]<typename E>(long long in_first, long long in_end, E) {
        const E* const values = static_cast<const E*>(in_values);
        for (long long n = in_first; n < in_end; ++n) {
            Detail::TileBuffer& tile = io_tiles[in_tiles[n].first];
            tile.reserve(tile.size + static_cast<unsigned long>(begins[n + 1] - begins[n]),
                         in_bytes);
            E* const elements = static_cast<E*>(tile.data);
            for (long long p = begins[n]; p < begins[n + 1]; ++p) {
                elements[tile.size++] = values[points[p]];
            }
        }
    };
    Detail::forTiles(
        static_cast<long long>(in_tiles.size()), [&](long long in_first, long long in_end) {
            Detail::withElement(
                in_bytes, [&](auto in_element) { appendRange(in_first, in_end, in_element); });
        });
}

}  // namespace

template <typename T>
void ParticleBins::append(const T* in_values, ParticleChannel<T>& io_channel) const
{
    const std::shared_ptr<ParticleShape> shape = io_channel.particleShapePtr();
    if (!shape) {
        throw std::runtime_error("ParticleBins::append: channel " + io_channel.name() +
                                 " has no shape");
    }
    appendAll(*this, in_values, sizeof(T), findTiles(shape->layout()),
              Detail::buffersOf(io_channel.tiles(m_depth)));
}

#define SKELVAR_INSTANTIATE(T) \
    template void ParticleBins::append<T>(const T*, ParticleChannel<T>&) const;
SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
