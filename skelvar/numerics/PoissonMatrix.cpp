#include <skelvar/numerics/PoissonMatrix.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/numerics/StencilPatterns.h>
#include <skelvar/numerics/TileLoop.h>
#include <skelvar/tree/VoxelLayout.h>

#include <algorithm>
#include <array>
#include <span>
#include <tuple>
#include <vector>

namespace Skelvar {

namespace {

using Detail::kAxisStep;

/// Faces in the order of `PoissonDomain::sides`: twice the axis, plus 1 for the upper side.
constexpr int kNumFaces = 6;

/// The tile beyond a face of a tile: none, one of the same depth, or a coarser one, of which the
/// whole face touches one cell.
struct Neighbour {
    TileIndex tile = kNoTileIndex;
    int cell = -1;  ///< of a coarser tile
};

/// A face of a fine tile that touches a cell of a coarser one, for the coarser one.
struct Contact {
    TileIndex coarse;
    int cell;
    TileIndex fine;
    int face;  ///< of the fine tile

    friend bool operator<(const Contact& in_a, const Contact& in_b)
    {
        const auto key = [](const Contact& in_contact) {
            return std::tuple(in_contact.coarse.second, in_contact.coarse, in_contact.cell,
                              in_contact.fine, in_contact.face);
        };
        return key(in_a) < key(in_b);
    }
};

bool isAtFace(int in_cell, int in_face)
{
    const int place = in_cell / kAxisStep[in_face / 2] % kTileWidth;
    return place == (in_face % 2 == 0 ? 0 : kTileWidth - 1);
}

/// The step to the next cell through a face.
int stepThrough(int in_face)
{
    return in_face % 2 == 0 ? -kAxisStep[in_face / 2] : kAxisStep[in_face / 2];
}

class Assembly {
public:
    Assembly(const VoxelLayout& in_layout, const PoissonDomain& in_domain)
        : m_layout(in_layout), m_domain(in_domain)
    {
        for (int depth = firstDepth(); depth <= lastDepth(); ++depth) {
            m_neighbours[depth].resize(in_layout.numNodes(depth));
            Detail::forTiles(in_layout.numNodes(depth),
                             [&](int in_tile) { findNeighbours(in_tile, depth); });
            collectContacts(depth);
        }
        std::sort(m_contacts.begin(), m_contacts.end());
    }

    int firstDepth() const { return std::max(m_domain.min_depth, 0); }
    int lastDepth() const { return std::min(m_domain.max_depth, kMaxTileDepth); }

    /// The blocks of a tile's rows.
    void addRows(int in_tile, int in_depth, SparseMatrix<float>& io_A) const
    {
        if (!m_layout.node(in_tile, in_depth).valid()) {
            return;
        }
        const TileIndex tile{in_tile, in_depth};
        DynamicSparseMatrixRow<float> row;
        std::array<double, kTileSize> diagonal{};
        addContacts(tile, row, diagonal);
        addFaces(tile, row, diagonal);
        addCore(tile, row, diagonal);
        io_A.setBlocks(in_tile, in_depth, row);
    }

private:
    /// Whether the cell counts, as what it is told to be; with `in_kind`, whether it is that.
    bool is(PoissonCell in_kind, const TileIndex& in_tile, int in_cell) const
    {
        if (in_tile.second < lastDepth() && m_layout.node(in_tile).childExists(in_cell)) {
            return false;
        }
        const PoissonCell kind = m_domain.cells == nullptr
                                     ? ePoissonUnknown
                                     : static_cast<PoissonCell>(m_domain.cells->tileData(
                                           in_tile.first, in_tile.second)[in_cell]);
        return kind == in_kind;
    }

    TileIdentifier identifier(const TileIndex& in_tile) const
    {
        return {m_layout.node(in_tile).id(), in_tile.first, in_tile.second};
    }

    void findNeighbours(int in_tile, int in_depth)
    {
        const VoxelLayoutNode& node = m_layout.node(in_tile, in_depth);
        for (int face = 0; node.valid() && face < kNumFaces; ++face) {
            vec3i beyond = node.corner();
            beyond[face / 2] += face % 2 == 0 ? -1 : VoxelLayout::nodeWidth(in_depth);
            const TileIndex found =
                m_layout.nodeIndex<false>(beyond[0], beyond[1], beyond[2], in_depth);
            if (found.first < 0 || found.second < firstDepth()) {
                continue;
            }
            Neighbour& neighbour = m_neighbours[in_depth][in_tile][face];
            neighbour.tile = found;
            if (found.second < in_depth) {
                int c[3];
                m_layout.node(found).childIJK(beyond[0], beyond[1], beyond[2], c[0], c[1], c[2]);
                neighbour.cell = c[0] * kAxisStep[0] + c[1] * kAxisStep[1] + c[2] * kAxisStep[2];
            }
        }
    }

    void collectContacts(int in_depth)
    {
        for (int tile = 0; tile < m_layout.numNodes(in_depth); ++tile) {
            for (int face = 0; face < kNumFaces; ++face) {
                const Neighbour& neighbour = m_neighbours[in_depth][tile][face];
                if (neighbour.cell >= 0) {
                    m_contacts.push_back({neighbour.tile, neighbour.cell, {tile, in_depth}, face});
                }
            }
        }
    }

    /// The finer faces that touch the tile's cells.
    std::span<const Contact> contactsOf(const TileIndex& in_tile) const
    {
        const auto of_tile = [](const Contact& in_contact) {
            return std::pair(in_contact.coarse.second, in_contact.coarse.first);
        };
        const auto before = [&](const Contact& in_contact, const std::pair<int, int>& in_key) {
            return of_tile(in_contact) < in_key;
        };
        const std::pair<int, int> key(in_tile.second, in_tile.first);
        const auto first = std::lower_bound(m_contacts.begin(), m_contacts.end(), key, before);
        const auto last = std::find_if(first, m_contacts.end(), [&](const Contact& in_contact) {
            return of_tile(in_contact) != key;
        });
        return {first, last};
    }

    /// Couplings of the tile's cells with finer ones.
    void addContacts(const TileIndex& in_tile, DynamicSparseMatrixRow<float>& io_row,
                     std::array<double, kTileSize>& io_diagonal) const
    {
        for (const Contact& contact : contactsOf(in_tile)) {
            if (!is(ePoissonUnknown, in_tile, contact.cell)) {
                continue;
            }
            const float weight = poissonWeight(VoxelLayout::cellWidth(in_tile.second),
                                               VoxelLayout::cellWidth(contact.fine.second));
            for (int cell = 0; cell < kTileSize; ++cell) {
                if (isAtFace(cell, contact.face)) {
                    couple(contact.cell, weight, contact.fine, cell, io_row, io_diagonal);
                }
            }
        }
    }

    /// What of each cell's face is the domain's side: all but what roots of greater depths cover.
    std::array<double, kTileSize> freeShares(const TileIndex& in_tile, int in_face) const
    {
        std::array<double, kTileSize> shares;
        shares.fill(1.0);
        for (const Contact& contact : contactsOf(in_tile)) {
            if (contact.face == (in_face ^ 1)) {
                const double ratio = double(VoxelLayout::nodeWidth(contact.fine.second)) /
                                     VoxelLayout::cellWidth(in_tile.second);
                shares[contact.cell] -= ratio * ratio;
            }
        }
        return shares;
    }

    /// Couplings through the tile's faces.
    void addFaces(const TileIndex& in_tile, DynamicSparseMatrixRow<float>& io_row,
                  std::array<double, kTileSize>& io_diagonal) const
    {
        const int width = VoxelLayout::cellWidth(in_tile.second);
        for (int face = 0; face < kNumFaces; ++face) {
            const Neighbour& neighbour = m_neighbours[in_tile.second][in_tile.first][face];
            const bool outside = neighbour.tile.first < 0;
            const float weight = poissonWeight(
                width, outside ? width : VoxelLayout::cellWidth(neighbour.tile.second));
            const auto free_shares = outside && m_domain.sides[face] == ePoissonDirichlet
                                         ? freeShares(in_tile, face)
                                         : std::array<double, kTileSize>();
            for (int cell = 0; cell < kTileSize; ++cell) {
                if (!isAtFace(cell, face) || !is(ePoissonUnknown, in_tile, cell)) {
                    continue;
                }
                if (outside) {
                    io_diagonal[cell] += weight * free_shares[cell];
                } else {
                    const int across = cell - (kTileWidth - 1) * stepThrough(face);
                    couple(cell, weight, neighbour.tile,
                           neighbour.cell >= 0 ? neighbour.cell : across, io_row, io_diagonal);
                }
            }
        }
    }

    /// A cell of the row tile with one of another tile.
    void couple(int in_cell, float in_weight, const TileIndex& in_other, int in_other_cell,
                DynamicSparseMatrixRow<float>& io_row,
                std::array<double, kTileSize>& io_diagonal) const
    {
        if (is(ePoissonUnknown, in_other, in_other_cell)) {
            io_row[identifier(in_other)].add(in_cell, in_other_cell, -in_weight);
            io_diagonal[in_cell] += in_weight;
        } else if (is(ePoissonDirichlet, in_other, in_other_cell)) {
            io_diagonal[in_cell] += in_weight;
        }
    }

    /// Couplings inside the tile, and the diagonal, row by row in order of the columns.
    void addCore(const TileIndex& in_tile, DynamicSparseMatrixRow<float>& io_row,
                 std::array<double, kTileSize>& io_diagonal) const
    {
        constexpr int kLowerFaces[] = {4, 2, 0};
        constexpr int kUpperFaces[] = {1, 3, 5};
        const int width = VoxelLayout::cellWidth(in_tile.second);
        const float weight = poissonWeight(width, width);
        std::array<bool, kTileSize> is_unknown;
        std::array<bool, kTileSize> is_given;
        for (int cell = 0; cell < kTileSize; ++cell) {
            is_unknown[cell] = is(ePoissonUnknown, in_tile, cell);
            is_given[cell] = is(ePoissonDirichlet, in_tile, cell);
        }
        DynamicSparseMatrixTile<float>& block = io_row[identifier(in_tile)];
        block.reserve(Detail::kCoreEntries);
        for (int cell = 0; cell < kTileSize; ++cell) {
            if (!is_unknown[cell]) {
                continue;
            }
            for (int face = 0; face < kNumFaces; ++face) {
                const int other = cell + stepThrough(face);
                if (!isAtFace(cell, face) && (is_unknown[other] || is_given[other])) {
                    io_diagonal[cell] += weight;
                }
            }
            const auto add = [&](int in_face) {
                const int other = cell + stepThrough(in_face);
                if (!isAtFace(cell, in_face) && is_unknown[other]) {
                    block.add(cell, other, -weight);
                }
            };
            std::for_each(std::begin(kLowerFaces), std::end(kLowerFaces), add);
            block.add(cell, cell, static_cast<float>(io_diagonal[cell]));
            std::for_each(std::begin(kUpperFaces), std::end(kUpperFaces), add);
        }
    }

    const VoxelLayout& m_layout;
    const PoissonDomain& m_domain;
    std::vector<std::array<Neighbour, kNumFaces>> m_neighbours[kNumDepths];
    std::vector<Contact> m_contacts;  ///< sorted by the coarse tile
};

}  // namespace

void makePoissonMatrix(const VoxelLayout& in_layout, const PoissonDomain& in_domain,
                       SparseMatrix<float>* out_A)
{
    const SkelvarProfiler::Scope scope("makePoissonMatrix");
    const Assembly assembly(in_layout, in_domain);
    out_A->reset(&in_layout);
    for (int depth = assembly.firstDepth(); depth <= assembly.lastDepth(); ++depth) {
        Detail::forTiles(in_layout.numNodes(depth),
                         [&](int in_tile) { assembly.addRows(in_tile, depth, *out_A); });
    }
}

}  // namespace Skelvar
