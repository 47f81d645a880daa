#include <skelvar/tree/RefineLayout.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/tree/LayoutMerge.h>

#include <tbb/blocked_range.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_sort.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace Skelvar::Detail {

namespace {

using Word = unsigned long long;

/// A tile whose children are wanted, with a bit for each child slot.
struct Block {
    Word key;                     ///< while collecting, the tile's place on three axes; then its id
    unsigned planes[kTileWidth];  ///< by z, x fastest
};

/// A set of tiles of one depth, kept as blocks: an open hash table that is at most half full.
/// Remembers the last block, so that boxes near each other cost no search.
class BlockSet {
public:
    /// The block, which holds no tile at first. Good until the next call.
    Block& block(Word in_key)
    {
        if (in_key != m_last_key) {
            m_last = find(in_key);
            m_last_key = in_key;
        }
        return m_table[m_last];
    }

    void appendTo(std::vector<Block>& io_blocks) const
    {
        std::copy_if(m_table.begin(), m_table.end(), std::back_inserter(io_blocks),
                     [](const Block& block) { return block.key != kNone; });
    }

private:
    static constexpr Word kNone = ~Word{0};
    static constexpr int kFirstBits = 12;

    std::size_t find(Word in_key)
    {
        std::size_t place = placeOf(in_key);
        if (m_table[place].key == kNone) {
            if (2 * (m_size + 1) > m_table.size()) {
                grow();
                place = placeOf(in_key);
            }
            m_table[place].key = in_key;
            ++m_size;
        }
        return place;
    }
    std::size_t placeOf(Word in_key) const
    {
        // Multiplicative hashing: the upper bits of the product depend on all bits of the key.
        std::size_t place = in_key * 0x9E3779B97F4A7C15ULL >> (64 - m_bits);
        while (m_table[place].key != in_key && m_table[place].key != kNone) {
            place = (place + 1) & (m_table.size() - 1);
        }
        return place;
    }
    void grow()
    {
        std::vector<Block> old(std::size_t{2} << m_bits, Block{kNone, {}});
        old.swap(m_table);
        ++m_bits;
        for (const Block& block : old) {
            if (block.key != kNone) {
                m_table[placeOf(block.key)] = block;
            }
        }
    }

    int m_bits = kFirstBits;  ///< binary logarithm of the size of the table
    std::vector<Block> m_table = std::vector<Block>(std::size_t{1} << kFirstBits, Block{kNone, {}});
    std::size_t m_size = 0;
    Word m_last_key = kNone;
    std::size_t m_last = 0;
};

constexpr int kAxisBits = 17;  ///< of the place of a block on an axis, 5^7 at most

/// The tiles that boxes meet, side by side, counted from the corner of the domain and cut to it.
/// Where a box meets none, `low` is above `high` on some axis.
struct TileSpans {
    int low[3][CellBoxes::kCapacity];
    int high[3][CellBoxes::kCapacity];
};

/// The greatest whole number that is not above a number.
inline int floorOf(float in_number)
{
    const int whole = static_cast<int>(in_number);
    return whole - (in_number < static_cast<float>(whole));
}

/// The tiles of `Depth` that hold the ends of boxes. Loops for the vector unit, one for each test:
/// of two tests in a row the compiler would make branches. What lies beyond the domain, and what is
/// not a number, counts as one cell beyond it on the side on which it meets nothing.
template <int Depth>
void findSpans(const CellBoxes& in_boxes, long long in_count, TileSpans& out_spans)
{
    constexpr unsigned side = kTileSideLUT[Depth];
    constexpr float first = -kTileOrigin;
    constexpr float last = kTileOrigin;
    float lo[CellBoxes::kCapacity];
    float hi[CellBoxes::kCapacity];
    for (int axis = 0; axis < 3; ++axis) {
        for (long long n = 0; n < in_count; ++n) {
            const float low_end = in_boxes.lo[axis][n];
            const float high_end = in_boxes.hi[axis][n];
            lo[n] = low_end < last + 1 ? low_end : last + 1;
            hi[n] = high_end > first - 1 ? high_end : first - 1;
        }
        for (long long n = 0; n < in_count; ++n) {
            lo[n] = lo[n] > first ? lo[n] : first;
            hi[n] = hi[n] < last ? hi[n] : last;
        }
        int* const low = out_spans.low[axis];
        int* const high = out_spans.high[axis];
        for (long long n = 0; n < in_count; ++n) {
            low[n] = static_cast<int>(static_cast<unsigned>(floorOf(lo[n]) + kTileOrigin) / side);
            // A tile more below, so that the division does not meet a negative number.
            high[n] = static_cast<int>((floorOf(hi[n]) + kTileOrigin + side) / side) - 1;
        }
    }
}

/// The tiles that a box meets along one axis.
struct Span {
    unsigned low;
    unsigned high;

    unsigned lowBlock() const { return low / kTileWidth; }
    unsigned highBlock() const { return high / kTileWidth; }
    /// The part in one block, counted from its corner.
    Span inBlock(unsigned in_block) const
    {
        const unsigned first = in_block * kTileWidth;
        return {std::max(low, first) - first, std::min(high - first, kTileWidth - 1U)};
    }
    /// A bit for each tile.
    unsigned bits() const { return (2U << high) - (1U << low); }
};

/// For the bits of a span on y those of the slots with x = 0: times the bits of a span on x, all
/// slots of the two.
constexpr std::array<unsigned, 1 << kTileWidth> kRows = [] {
    std::array<unsigned, 1 << kTileWidth> rows{};
    for (unsigned bits = 0; bits < rows.size(); ++bits) {
        for (int y = 0; y < kTileWidth; ++y) {
            rows[bits] |= (bits >> y & 1U) << kTileWidth * y;
        }
    }
    return rows;
}();

/// Adds the tiles of a box as children of blocks one depth above. Without loops over tiles: most
/// boxes meet one or two on an axis, which a processor cannot foresee.
void addBox(const TileSpans& in_spans, long long in_n, BlockSet& io_tiles)
{
    Span spans[3];
    for (int axis = 0; axis < 3; ++axis) {
        if (in_spans.low[axis][in_n] > in_spans.high[axis][in_n]) {
            return;
        }
        spans[axis] = {static_cast<unsigned>(in_spans.low[axis][in_n]),
                       static_cast<unsigned>(in_spans.high[axis][in_n])};
    }
    const auto& [on_x, on_y, on_z] = spans;
    for (unsigned z = on_z.lowBlock(); z <= on_z.highBlock(); ++z) {
        const Span planes = on_z.inBlock(z);
        for (unsigned y = on_y.lowBlock(); y <= on_y.highBlock(); ++y) {
            const unsigned rows = kRows[on_y.inBlock(y).bits()];
            const Word row = Word{z} << 2 * kAxisBits | Word{y} << kAxisBits;
            for (unsigned x = on_x.lowBlock(); x <= on_x.highBlock(); ++x) {
                const unsigned slots = rows * on_x.inBlock(x).bits();
                Block& block = io_tiles.block(row | x);
                block.planes[planes.low] |= slots;
                block.planes[planes.high] |= slots;
                for (unsigned plane = planes.low + 1; plane < planes.high; ++plane) {
                    block.planes[plane] |= slots;
                }
            }
        }
    }
}

/// The id of a block of that depth from its place.
TileId blockId(Word in_key, int in_depth)
{
    const Word mask = (Word{1} << kAxisBits) - 1;
    const auto corner = [&](int in_axis) {
        const int place = static_cast<int>(in_key >> in_axis * kAxisBits & mask);
        return place * kTileSideLUT[in_depth] - kTileOrigin;
    };
    return tileCoordsToId(corner(0), corner(1), corner(2), in_depth);
}

/// The blocks of all threads by rising id, each once.
template <typename TileSets>
std::vector<Block> gatherBlocks(const TileSets& in_sets, int in_depth)
{
    std::vector<Block> blocks;
    for (const BlockSet& set : in_sets) {
        set.appendTo(blocks);
    }
    tbb::parallel_for(std::size_t{0}, blocks.size(),
                      [&](std::size_t n) { blocks[n].key = blockId(blocks[n].key, in_depth); });
    tbb::parallel_sort(blocks.begin(), blocks.end(),
                       [](const Block& a, const Block& b) { return a.key < b.key; });
    std::size_t count = 0;
    for (const Block& block : blocks) {
        if (count > 0 && blocks[count - 1].key == block.key) {
            for (int z = 0; z < kTileWidth; ++z) {
                blocks[count - 1].planes[z] |= block.planes[z];
            }
        } else {
            blocks[count++] = block;
        }
    }
    blocks.resize(count);
    return blocks;
}

/// The tiles of the depth below the blocks.
void listChildren(const std::vector<Block>& in_blocks, int in_block_depth,
                  TileForest::Depth& out_tiles)
{
    std::vector<long long> first(in_blocks.size() + 1);
    for (std::size_t n = 0; n < in_blocks.size(); ++n) {
        first[n + 1] = first[n];
        for (const unsigned plane : in_blocks[n].planes) {
            first[n + 1] += std::popcount(plane);
        }
    }
    out_tiles.ids.resize(first.back());
    out_tiles.parents.resize(first.back());
    const int shift = tileDigitShift(in_block_depth + 1);
    tbb::parallel_for(std::size_t{0}, in_blocks.size(), [&](std::size_t n) {
        long long place = first[n];
        for (int z = 0; z < kTileWidth; ++z) {
            for (unsigned plane = in_blocks[n].planes[z]; plane != 0; plane &= plane - 1) {
                const int slot = kTileWidth * kTileWidth * z + std::countr_zero(plane);
                out_tiles.ids[place] = in_blocks[n].key | static_cast<Word>(slot + 1) << shift;
                out_tiles.parents[place] = static_cast<int>(n);
                ++place;
            }
        }
    });
}

/// The parents of the tiles of a depth, each once.
void listParents(int in_depth, TileForest& io_forest)
{
    TileForest::Depth& tiles = io_forest.depths[in_depth];
    array1<TileId>& above = io_forest.depths[in_depth - 1].ids;
    tiles.parents.resize(tiles.ids.size());
    for (long long n = 0; n < tiles.ids.size(); ++n) {
        const TileId parent = ancestorTile(tiles.ids[n], in_depth - 1);
        if (above.empty() || above.back() != parent) {
            above.push_back(parent);
        }
        tiles.parents[n] = static_cast<int>(above.size()) - 1;
    }
}

/// A tree from the root tile down to the tiles that a set of each thread holds.
template <typename TileSets>
TileForest makeForest(const TileSets& in_sets, int in_depth)
{
    const std::vector<Block> blocks = gatherBlocks(in_sets, in_depth - 1);
    TileForest forest;
    listChildren(blocks, in_depth - 1, forest.depths[in_depth]);
    array1<TileId>& block_ids = forest.depths[in_depth - 1].ids;
    block_ids.resize(static_cast<long long>(blocks.size()));
    std::transform(blocks.begin(), blocks.end(), block_ids.begin(),
                   [](const Block& block) { return block.key; });
    for (int depth = in_depth - 1; depth > 0; --depth) {
        listParents(depth, forest);
    }
    return forest;
}

template <int Depth>
TileForest collectTiles(long long in_count, const CellBoxSource& in_boxes, const char* in_label)
{
    constexpr long long kBatch = CellBoxes::kCapacity;
    tbb::enumerable_thread_specific<BlockSet> sets;
    tbb::parallel_for(tbb::blocked_range<long long>(0, in_count, 4 * kBatch),
                      [&](const tbb::blocked_range<long long>& range) {
                          const SkelvarProfiler::Scope event(in_label);
                          BlockSet& tiles = sets.local();
                          CellBoxes boxes;
                          TileSpans spans;
                          for (long long n = range.begin(); n < range.end(); n += kBatch) {
                              const long long count = std::min(kBatch, range.end() - n);
                              in_boxes(n, n + count, boxes);
                              findSpans<Depth>(boxes, count, spans);
                              for (long long b = 0; b < count; ++b) {
                                  addBox(spans, b, tiles);
                              }
                          }
                      });
    return makeForest(sets, Depth);
}

TileForest collectTiles(long long in_count, const CellBoxSource& in_boxes, int in_depth,
                        const char* in_label)
{
    switch (in_depth) {
        case 1:
            return collectTiles<1>(in_count, in_boxes, in_label);
        case 2:
            return collectTiles<2>(in_count, in_boxes, in_label);
        case 3:
            return collectTiles<3>(in_count, in_boxes, in_label);
        case 4:
            return collectTiles<4>(in_count, in_boxes, in_label);
        case 5:
            return collectTiles<5>(in_count, in_boxes, in_label);
        case 6:
            return collectTiles<6>(in_count, in_boxes, in_label);
        case 7:
            return collectTiles<7>(in_count, in_boxes, in_label);
        default: {
            // The root tile, if anything of the domain is wanted: its children tell.
            TileForest forest = collectTiles<1>(in_count, in_boxes, in_label);
            forest.depths[1] = {};
            return forest;
        }
    }
}

}  // namespace

void refineAroundBoxes(VoxelLayout& io_layout, long long in_count, const CellBoxSource& in_boxes,
                       int in_depth, const char* in_label, std::vector<TileId>* out_added)
{
    if (in_depth < 0 || in_depth > kMaxTileDepth || in_count <= 0) {
        return;
    }
    const TileForest forest = collectTiles(in_count, in_boxes, in_depth, in_label);
    if (forest.depths[0].ids.empty()) {
        return;
    }
    const SkelvarProfiler::Scope event("VoxelLayout::refine");
    LayoutMerge merge(io_layout, out_added);
    merge.add(forest);
    merge.finish();
}

void refineAroundPoints(VoxelLayout& io_layout, const vec3f* in_first, const vec3f* in_last,
                        float in_radius, VoxelOffsetType in_offset, int in_depth,
                        std::vector<TileId>* out_added)
{
    if (!(in_radius >= 0.0f) || !std::isfinite(in_radius)) {
        return;
    }
    const vec3f offset = kVoxelOffset[in_offset & 7];
    const auto boxes = [&](long long in_begin, long long in_end, CellBoxes& out_boxes) {
        for (int axis = 0; axis < 3; ++axis) {
            for (long long n = in_begin; n < in_end; ++n) {
                const float p = in_first[n][axis];
                out_boxes.lo[axis][n - in_begin] = p - in_radius - offset[axis];
                out_boxes.hi[axis][n - in_begin] = p + in_radius - offset[axis];
            }
        }
    };
    refineAroundBoxes(io_layout, in_last - in_first, boxes, in_depth, "Refine::refineLayouts_1",
                      out_added);
}

}  // namespace Skelvar::Detail
