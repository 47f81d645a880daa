#include <bench/support/Tiles.h>

#include <skelvar/tree/TileId.h>

#include <tbb/blocked_range.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_sort.h>

#include <algorithm>
#include <bitset>
#include <cmath>
#include <unordered_map>
#include <utility>

namespace Bench {

namespace {

using Skelvar::kMaxTileDepth;
using Skelvar::kNumDepths;
using Skelvar::kTileOrigin;
using Skelvar::kTileSize;
using Skelvar::kTileWidth;

/// The tiles in use of one depth-6 tile, one bit a slot.
using Slots = std::bitset<kTileSize>;

unsigned long long packed(unsigned int in_x, unsigned int in_y, unsigned int in_z)
{
    return (static_cast<unsigned long long>(in_z) << 40) |
           (static_cast<unsigned long long>(in_y) << 20) | in_x;
}

/// A set of depth-7 tiles in blocks of one depth-6 tile each; remembers the last block, so that
/// points near each other cost no search.
class TileSet {
public:
    void addBox(const vec3f& in_point)
    {
        unsigned int low[3];
        unsigned int high[3];
        for (int a = 0; a < 3; ++a) {
            low[a] = tileOf(in_point[a] - 1.0f);
            high[a] = tileOf(in_point[a] + 1.0f);
        }
        for (unsigned int z = low[2]; z <= high[2]; ++z) {
            for (unsigned int y = low[1]; y <= high[1]; ++y) {
                for (unsigned int x = low[0]; x <= high[0]; ++x) {
                    add(x, y, z);
                }
            }
        }
    }

    const std::unordered_map<unsigned long long, Slots>& blocks() const { return m_blocks; }

private:
    static unsigned int tileOf(float in_coordinate)
    {
        return static_cast<unsigned int>(static_cast<int>(std::floor(in_coordinate)) +
                                         kTileOrigin) /
               kTileWidth;
    }

    void add(unsigned int in_x, unsigned int in_y, unsigned int in_z)
    {
        const unsigned int x = in_x / kTileWidth;
        const unsigned int y = in_y / kTileWidth;
        const unsigned int z = in_z / kTileWidth;
        const unsigned long long key = packed(x, y, z);
        if (m_last == nullptr || key != m_last_key) {
            m_last = &m_blocks[key];
            m_last_key = key;
        }
        m_last->set((in_x - kTileWidth * x) +
                    kTileWidth * ((in_y - kTileWidth * y) + kTileWidth * (in_z - kTileWidth * z)));
    }

    std::unordered_map<unsigned long long, Slots> m_blocks;
    unsigned long long m_last_key = 0;
    Slots* m_last = nullptr;  ///< a value of the map, which never moves
};

unsigned long long blockId(unsigned long long in_packed)
{
    constexpr int kSide = kTileWidth * kTileWidth;
    const auto corner = [in_packed](int in_shift) {
        return static_cast<int>((in_packed >> in_shift) & 0xFFFFF) * kSide - kTileOrigin;
    };
    return Skelvar::tileCoordsToId(corner(0), corner(20), corner(40), kMaxTileDepth - 1);
}

using Blocks = std::vector<std::pair<unsigned long long, Slots>>;

/// The blocks of all sets by rising id, those of one id joined.
template <typename Sets>
Blocks joined(const Sets& in_sets)
{
    Blocks blocks;
    for (const TileSet& set : in_sets) {
        for (const auto& [key, slots] : set.blocks()) {
            blocks.emplace_back(blockId(key), slots);
        }
    }
    tbb::parallel_sort(blocks.begin(), blocks.end(),
                       [](const auto& in_a, const auto& in_b) { return in_a.first < in_b.first; });
    std::size_t count = 0;
    for (const auto& block : blocks) {
        if (count > 0 && blocks[count - 1].first == block.first) {
            blocks[count - 1].second |= block.second;
        } else {
            blocks[count++] = block;
        }
    }
    blocks.resize(count);
    return blocks;
}

bool holdsAny(const vec3i& in_corner, const std::function<bool(const vec3i&)>& in_holds)
{
    for (int n = 0; n < kTileSize; ++n) {
        if (in_holds({in_corner[0] + n % kTileWidth, in_corner[1] + n / kTileWidth % kTileWidth,
                      in_corner[2] + n / (kTileWidth * kTileWidth)})) {
            return true;
        }
    }
    return false;
}

std::vector<vec3i> corners(const TileIds& in_ids)
{
    std::vector<vec3i> corners(in_ids.size());
    tbb::parallel_for(std::size_t{0}, in_ids.size(), [&](std::size_t in_n) {
        int depth = 0;
        vec3i& corner = corners[in_n];
        Skelvar::idToTileCoords(in_ids[in_n], corner[0], corner[1], corner[2], depth);
    });
    return corners;
}

}  // namespace

TileIds tilesAround(const std::vector<vec3f>& in_points)
{
    tbb::enumerable_thread_specific<TileSet> sets;
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, in_points.size(), 16384),
                      [&](const tbb::blocked_range<std::size_t>& in_range) {
                          TileSet& set = sets.local();
                          for (std::size_t n = in_range.begin(); n != in_range.end(); ++n) {
                              set.addBox(in_points[n]);
                          }
                      });
    TileIds ids;
    for (const auto& [block, slots] : joined(sets)) {
        for (int slot = 0; slot < kTileSize; ++slot) {
            if (slots[slot]) {
                ids.push_back(Skelvar::selectChild(block, slot));
            }
        }
    }
    return ids;
}

TileIds tilesHolding(int in_reach, const std::function<bool(const vec3i&)>& in_holds)
{
    const int tiles = in_reach / kTileWidth + 1;
    const auto corner = [](int in_tile) { return in_tile * kTileWidth - kTileWidth / 2; };
    tbb::enumerable_thread_specific<TileIds> found;
    tbb::parallel_for(-tiles, tiles + 1, [&](int in_z) {
        for (int y = -tiles; y <= tiles; ++y) {
            for (int x = -tiles; x <= tiles; ++x) {
                const vec3i first{corner(x), corner(y), corner(in_z)};
                if (holdsAny(first, in_holds)) {
                    found.local().push_back(
                        Skelvar::tileCoordsToId(first[0], first[1], first[2], kMaxTileDepth));
                }
            }
        }
    });
    TileIds ids;
    for (const TileIds& part : found) {
        ids.insert(ids.end(), part.begin(), part.end());
    }
    tbb::parallel_sort(ids.begin(), ids.end());
    return ids;
}

TilesByDepth withAncestors(const TileIds& in_ids)
{
    TilesByDepth tiles(kNumDepths);
    TileIds ids = in_ids;
    for (int depth = kMaxTileDepth; depth >= 0 && !ids.empty(); --depth) {
        tiles[depth] = corners(ids);
        if (ids.size() == 1) {
            break;
        }
        std::transform(ids.begin(), ids.end(), ids.begin(), Skelvar::parentTile);
        ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    }
    return tiles;
}

long long countTiles(const TilesByDepth& in_tiles)
{
    long long count = 0;
    for (const std::vector<vec3i>& depth : in_tiles) {
        count += static_cast<long long>(depth.size());
    }
    return count;
}

}  // namespace Bench
