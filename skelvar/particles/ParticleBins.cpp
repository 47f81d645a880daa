#include <skelvar/particles/ParticleBins.h>

#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/particles/TileBuffers.h>
#include <skelvar/particles/TileSort.h>
#include <skelvar/tree/PointDomain.h>
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
    for (int a = 0; a < 3; ++a) {
        if (!isInCells(in_point[a])) {
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

/// Bounds of points, in rows of four points, which compare at once.
struct PointBounds {
    static constexpr int kRow = 12;
    static constexpr float kBound = static_cast<float>(kTileOrigin);
    float low[kRow];
    float high[kRow];

    PointBounds()
    {
        std::fill_n(low, kRow, kBound);
        std::fill_n(high, kRow, -kBound);
    }
    void extend(int in_place, float in_low, float in_high)
    {
        low[in_place] = std::min(low[in_place], in_low);
        high[in_place] = std::max(high[in_place], in_high);
    }
    /// Coordinates outside of the domain are left out.
    void add(int in_place, float in_value)
    {
        const bool is_inside = isInCells(in_value);
        extend(in_place, is_inside ? in_value : kBound, is_inside ? in_value : -kBound);
    }
    void add(const PointBounds& in_other, int in_shift)
    {
        for (int m = 0; m < kRow; ++m) {
            const int other = (m + in_shift) % kRow;
            extend(m, in_other.low[other], in_other.high[other]);
        }
    }
};

/// The lowest and the highest cell. False if no point is in the domain.
bool findBounds(const vec3f* in_points, long long in_count, vec3i& out_low, vec3i& out_high)
{
    constexpr int kRow = PointBounds::kRow;
    const auto* const values = reinterpret_cast<const float*>(in_points);
    PointBounds bounds = tbb::parallel_reduce(
        tbb::blocked_range<long long>(0, in_count, 4096), PointBounds(),
        [&](const tbb::blocked_range<long long>& in_range, PointBounds io_bounds) {
            long long n = 3 * in_range.begin();
            for (; n + kRow <= 3 * in_range.end(); n += kRow) {
                for (int m = 0; m < kRow; ++m) {
                    io_bounds.add(m, values[n + m]);
                }
            }
            for (; n < 3 * in_range.end(); ++n) {
                io_bounds.add(static_cast<int>(n % 3), values[n]);
            }
            return io_bounds;
        },
        [](PointBounds in_a, const PointBounds& in_b) {
            in_a.add(in_b, 0);
            return in_a;
        });
    bounds.add(PointBounds(bounds), 3);
    bounds.add(PointBounds(bounds), 6);
    return findCell({bounds.low[0], bounds.low[1], bounds.low[2]}, out_low) &&
           findCell({bounds.high[0], bounds.high[1], bounds.high[2]}, out_high) &&
           out_low[0] <= out_high[0] && out_low[1] <= out_high[1] && out_low[2] <= out_high[2];
}

}  // namespace

/// All tiles of one depth in a box, x fastest.
struct ParticleBins::Grid {
    vec3i low;  ///< lowest tile
    vec3i counts;
    int side;

    double per_side;

    /// `in_low`, `in_high`: cells, both included.
    Grid(const vec3i& in_low, const vec3i& in_high, int in_depth)
        : side(kTileSideLUT[in_depth]), per_side(1.0 / side)
    {
        for (int a = 0; a < 3; ++a) {
            low[a] = in_low[a] / side;
            counts[a] = in_high[a] / side - low[a] + 1;
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
    vec3i low{};
    vec3i high{};
    if (!findBounds(in_points, count, low, high)) {
        m_num_strays = in_count;
    } else if (const Grid grid(low, high, in_depth); grid.size() <= std::max(kGridOfFew, count)) {
        sortInGrid(in_points, count, grid);
    } else {
        sortById(in_points, count);
    }
}

void ParticleBins::sortInGrid(const vec3f* in_points, long long in_count, const Grid& in_grid)
{
    const unsigned stray_key = static_cast<unsigned>(in_grid.size());
    const auto key = [&](long long n) {
        vec3i cell{};
        return findCell(in_points[n], cell) ? in_grid.keyOf(cell) : stray_key;
    };
    sortByKey(in_count, stray_key, key);
    for (const unsigned key : m_tile_keys) {
        m_tiles.push_back(tileOf(in_grid.cellOf(key), m_depth));
    }
}

void ParticleBins::sortById(const vec3f* in_points, long long in_count)
{
    const auto tileOfPoint = [&](long long n) {
        vec3i cell{};
        return findCell(in_points[n], cell) ? tileOf(cell, m_depth) : kNoTile;
    };
    m_tiles.resize(static_cast<std::size_t>(in_count));
    Detail::bulkLoop(in_count, [&](long long in_begin, long long in_end) {
        for (long long n = in_begin; n < in_end; ++n) {
            m_tiles[n] = tileOfPoint(n);
        }
    });
    tbb::parallel_sort(m_tiles.begin(), m_tiles.end());
    m_tiles.erase(std::unique(m_tiles.begin(), m_tiles.end()), m_tiles.end());
    if (m_tiles.back() == kNoTile) {
        m_tiles.pop_back();
    }
    sortByKey(in_count, static_cast<long long>(m_tiles.size()), [&](long long n) {
        return std::lower_bound(m_tiles.begin(), m_tiles.end(), tileOfPoint(n)) - m_tiles.begin();
    });
}

template <typename Key>
void ParticleBins::sortByKey(long long in_count, long long in_stray_key, const Key& in_key)
{
    const std::shared_ptr<unsigned[]> keys(new unsigned[static_cast<std::size_t>(in_count)]);
    m_sort = std::make_shared<Detail::TileSort>(in_count, in_stray_key + 1, [&](long long n) {
        return keys[n] = static_cast<unsigned>(in_key(n));
    });
    m_keys = keys;
    const std::vector<long long>& begins = m_sort->begins();
    for (long long key = 0; key < in_stray_key; ++key) {
        if (begins[key] < begins[key + 1]) {
            m_tile_keys.push_back(static_cast<unsigned>(key));
        }
    }
    m_num_strays = static_cast<unsigned long long>(in_count - begins[in_stray_key]);
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

/// Reads the values in their order: a line of memory for each tile that is being filled stays in
/// the cache where the values themselves would not.
void ParticleBins::appendValues(const void* in_values, unsigned long in_bytes,
                                const std::vector<TileIndex>& in_tiles,
                                Detail::TileBuffers io_tiles) const
{
    const std::vector<long long>& begins = m_sort->begins();
    const long long num_tiles = static_cast<long long>(in_tiles.size());
    std::vector<unsigned long> old_sizes(in_tiles.size());
    Detail::forTiles(num_tiles, [&](long long in_first, long long in_end) {
        for (long long n = in_first; n < in_end; ++n) {
            const unsigned key = m_tile_keys[n];
            Detail::TileBuffer& tile = io_tiles[in_tiles[n].first];
            old_sizes[n] = tile.size;
            tile.size += static_cast<unsigned long>(begins[key + 1] - begins[key]);
            tile.reserve(tile.size, in_bytes);
        }
    });
    const auto appendPiece = [&]<typename E>(long long in_piece, long long in_first,
                                             long long in_end, E) {
        const E* const values = static_cast<const E*>(in_values);
        const unsigned* const keys = m_keys.get();
        std::vector<E*> next(begins.size() - 1);  // of each key; strays have none
        for (long long n = 0; n < num_tiles; ++n) {
            const unsigned key = m_tile_keys[n];
            next[key] = static_cast<E*>(io_tiles[in_tiles[n].first].data) + old_sizes[n] +
                        (m_sort->places(in_piece)[key] - begins[key]);
        }
        for (long long n = in_first; n < in_end; ++n) {
            E*& place = next[keys[n]];
            if (place != nullptr) {
                *place++ = values[n];
            }
        }
    };
    m_sort->forPieces([&](long long in_piece, long long in_first, long long in_end) {
        Detail::withElement(in_bytes, [&](auto in_element) {
            appendPiece(in_piece, in_first, in_end, in_element);
        });
    });
}

template <typename T>
void ParticleBins::append(const T* in_values, ParticleChannel<T>& io_channel) const
{
    const std::shared_ptr<ParticleShape> shape = io_channel.particleShapePtr();
    if (!shape) {
        throw std::runtime_error("ParticleBins::append: channel " + io_channel.name() +
                                 " has no shape");
    }
    if (!m_tiles.empty()) {
        appendValues(in_values, sizeof(T), findTiles(shape->layout()),
                     Detail::buffersOf(io_channel.tiles(m_depth)));
    }
}

#define SKELVAR_INSTANTIATE(T) \
    template void ParticleBins::append<T>(const T*, ParticleChannel<T>&) const;
SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
