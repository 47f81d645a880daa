#include <skelvar/numerics/HaloMatrix.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/numerics/TileLoop.h>
#include <skelvar/sampling/HaloedTile.h>
#include <skelvar/tree/VoxelLayout.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace Skelvar {

namespace {

constexpr int kMiddle = 13;  ///< of a block of 27 tiles
constexpr int kHaloedWidth = kTileWidth + 2;
constexpr int kHaloedSize = kHaloedWidth * kHaloedWidth * kHaloedWidth;
/// Place of the parent among the sources, behind the 27 tiles.
constexpr int kParent = 27;
/// Sources that one run of the evaluator answers.
constexpr int kHaloLanes = 4;

/// A value that the haloed tile is made of: a cell of a tile of the block, or a position of the
/// parent's haloed tile.
struct Source {
    int tile;
    int cell;
};

/// The tile of the block in which a haloed position lies, and its cell there.
Source plainSource(int in_position)
{
    Source source{0, 0};
    for (int axis = 2; axis >= 0; --axis) {
        const int step = axis == 2 ? kHaloedWidth * kHaloedWidth : axis == 1 ? kHaloedWidth : 1;
        const int place = in_position / step % kHaloedWidth;
        const int side = place == 0 ? 0 : place == kHaloedWidth - 1 ? 2 : 1;
        source.tile = 3 * source.tile + side;
        source.cell = kTileWidth * source.cell + (place + kTileWidth - 1) % kTileWidth;
    }
    return source;
}

/// The tiles around a tile, by their indices; negative where there is none.
using BlockIndices = std::array<int, 27>;

BlockIndices findBlock(const VoxelLayout& in_layout, const VoxelLayoutNode& in_node)
{
    BlockIndices indices;
    const int side = VoxelLayout::nodeWidth(in_node.depth());
    for (int n = 0; n < 27; ++n) {
        const TileIndex found = in_layout.nodeIndex<true>(
            in_node.i() + (n % 3 - 1) * side, in_node.j() + (n / 3 % 3 - 1) * side,
            in_node.k() + (n / 9 - 1) * side, in_node.depth());
        indices[n] = found.first;
    }
    return indices;
}

/// Runs the evaluator on tiles that are 0 but for single values of 1.
class Impulses {
public:
    Impulses(const VoxelLayout& in_layout, const VoxelLayoutNode& in_node,
             const BlockIndices& in_block, VoxelOffsetType in_offset)
        : m_offset(in_offset), m_is_root(in_node.isRoot())
    {
        for (int n = 0; n < 27; ++n) {
            m_block[n] = in_block[n] >= 0 ? &m_tiles[n] : nullptr;
        }
        if (!m_is_root) {
            in_layout.node(in_node.parent(), in_node.depth() - 1)
                .childIJK(in_node, m_cell[0], m_cell[1], m_cell[2]);
        }
    }

    /// Calls `in_add(source, position, weight)` for all weights that are not 0.
    template <typename Add>
    void answer(const Add& in_add)
    {
        const std::vector<Source> sources = findSources();
        for (std::size_t first = 0; first < sources.size(); first += kHaloLanes) {
            const int count =
                static_cast<int>(std::min<std::size_t>(kHaloLanes, sources.size() - first));
            set(sources.data() + first, count, 1.0f);
            run();
            for (int position = 0; position < kHaloedSize; ++position) {
                for (int lane = 0; lane < count; ++lane) {
                    const float weight = m_out.data()[position][lane];
                    if (weight != 0.0f) {
                        in_add(sources[first + lane], position, weight);
                    }
                }
            }
            set(sources.data() + first, count, 0.0f);
        }
    }

private:
    /// All values that the evaluator may read.
    std::vector<Source> findSources() const
    {
        std::vector<Source> sources;
        for (int position = 0; position < kHaloedSize; ++position) {
            const Source plain = plainSource(position);
            if (plain.tile == kMiddle || (!m_is_root && m_block[plain.tile] != nullptr)) {
                sources.push_back(plain);
            }
            if (!m_is_root) {
                sources.push_back({kParent, position});
            }
        }
        return sources;
    }
    void set(const Source* in_sources, int in_count, float in_value)
    {
        for (int lane = 0; lane < in_count; ++lane) {
            const auto [tile, cell] = in_sources[lane];
            vec4f& value = tile == kParent ? m_parent.data()[cell] : m_tiles[tile].data()[cell];
            value[lane] = in_value;
        }
    }
    void run()
    {
        if (m_is_root) {
            evalContinuousHaloedRootTile<vec4f, 5>(m_offset, kZero, m_tiles[kMiddle], &m_out);
        } else {
            evalContinuousHaloedTile<vec4f, 5>(m_offset, m_parent, m_cell[0], m_cell[1], m_cell[2],
                                               m_block, &m_out);
        }
    }

    static inline const vec4f kZero{0.0f, 0.0f, 0.0f, 0.0f};

    VoxelOffsetType m_offset;
    bool m_is_root;
    int m_cell[3] = {0, 0, 0};
    std::vector<VoxelTile<vec4f, 0, 5>> m_tiles{27, VoxelTile<vec4f, 0, 5>(kZero)};
    VoxelTile<vec4f, 1, 5> m_parent{kZero};
    TileBlock<vec4f> m_block{};
    VoxelTile<vec4f, 1, 5> m_out{kZero};
};

/// Adds `in_weight` times a row of the parent.
void addParentRow(const SparseMatrix<float>::Blocks& in_parent, int in_parent_row, int in_row,
                  float in_weight, DynamicSparseMatrixRow<float>& io_row)
{
    for (const SparseMatrixTile<float>& block : in_parent) {
        const unsigned short* const end = block.rowIds() + block.numRows();
        const unsigned short* const found = std::lower_bound(block.rowIds(), end, in_parent_row);
        if (found == end || *found != in_parent_row) {
            continue;
        }
        const long long row = found - block.rowIds();
        auto& gathered = io_row[TileIdentifier{block.tileId(), block.tileIndex(), block.depth()}];
        for (unsigned int n = block.rowStarts()[row]; n < block.rowStarts()[row + 1]; ++n) {
            gathered.add(in_row, block.columnIds()[n], in_weight * block.values()[n]);
        }
    }
}

}  // namespace

void makeInterpolationMatrixTile(const VoxelLayout& in_layout, int in_tile, int in_depth,
                                 VoxelOffsetType in_offset, bool in_with_halo, bool in_from_parent,
                                 SparseMatrix<float>* io_matrix)
{
    const VoxelLayoutNode& node = in_layout.node(in_tile, in_depth);
    if (!node.valid()) {
        return;
    }
    const BlockIndices block = findBlock(in_layout, node);
    DynamicSparseMatrixRow<float> row;
    const auto add = [&](const Source& in_source, int in_position, float in_weight) {
        if (in_source.tile == kParent) {
            addParentRow(io_matrix->blocks(node.parent(), in_depth - 1), in_source.cell,
                         in_position, in_weight, row);
            return;
        }
        const int tile = block[in_source.tile];
        row[TileIdentifier{in_layout.node(tile, in_depth).id(), tile, in_depth}].add(
            in_position, in_source.cell, in_weight);
    };
    const bool has_all = std::find_if(block.begin(), block.end(),
                                      [](int in_index) { return in_index < 0; }) == block.end();
    if (in_with_halo && in_from_parent && (node.isRoot() || !has_all)) {
        const auto impulses = std::make_unique<Impulses>(in_layout, node, block, in_offset);
        impulses->answer(add);
    } else {
        for (int position = 0; position < kHaloedSize; ++position) {
            const Source source = plainSource(position);
            if (source.tile == kMiddle || (in_with_halo && block[source.tile] >= 0)) {
                add(source, position, 1.0f);
            }
        }
    }
    io_matrix->setBlocks(in_tile, in_depth, row);
}

void makeCenterHaloSparseMatrix(const VoxelLayout& in_layout, bool in_with_halo,
                                bool in_from_parent, SparseMatrix<float>* out_matrix)
{
    const SkelvarProfiler::Scope scope("makeCenterHaloSparseMatrix");
    out_matrix->reset(&in_layout);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        Detail::forTiles(in_layout.numNodes(depth), [&](int in_tile) {
            makeInterpolationMatrixTile(in_layout, in_tile, depth, eOffsetCentre, in_with_halo,
                                        in_from_parent, out_matrix);
        });
    }
}

void makeCornerHaloSparseMatrix(const VoxelLayout& in_layout, SparseMatrix<float>* out_matrix)
{
    const SkelvarProfiler::Scope scope("makeCornerHaloSparseMatrix");

    out_matrix->reset(&in_layout);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        Detail::forTiles(in_layout.numNodes(depth), [&](int in_tile) {
            makeInterpolationMatrixTile(in_layout, in_tile, depth, eOffsetCorner, true, true,
                                        out_matrix);
        });
    }
}

}  // namespace Skelvar
