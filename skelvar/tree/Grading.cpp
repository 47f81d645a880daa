#include <skelvar/tree/Grading.h>

#include <skelvar/tree/BulkLoop.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_reduce.h>
#include <tbb/parallel_sort.h>

#include <algorithm>
#include <array>
#include <functional>
#include <ostream>

namespace Skelvar {

namespace {

/// A set of directions to the 26 places around a tile: bit (dz + 1) * 9 + (dy + 1) * 3 + (dx + 1)
/// stands for (dx, dy, dz).
using DirectionMask = unsigned;

/// The directions in which the child of a slot touches places outside its parent.
constexpr DirectionMask directionsOfSlot(int in_slot)
{
    const auto side = [](int in_position) { return in_position == 0 ? -1 : in_position / 4; };
    const int sx = side(in_slot % 5);
    const int sy = side(in_slot / 5 % 5);
    const int sz = side(in_slot / 25);
    DirectionMask mask = 0;
    for (const int dz : {0, sz}) {
        for (const int dy : {0, sy}) {
            for (const int dx : {0, sx}) {
                mask |= 1u << ((dz + 1) * 9 + (dy + 1) * 3 + dx + 1);
            }
        }
    }
    return mask & ~(1u << 13);
}

constexpr std::array<DirectionMask, kTileSize> kSlotDirections = [] {
    std::array<DirectionMask, kTileSize> directions{};
    for (int slot = 0; slot < kTileSize; ++slot) {
        directions[slot] = directionsOfSlot(slot);
    }
    return directions;
}();
static_assert(kSlotDirections[0] == 5659 && kSlotDirections[4] == 19510);

/// Directions in which a tile must have neighbours: those that its children touch.
DirectionMask demandedDirections(const VoxelLayoutNode& in_node)
{
    DirectionMask mask = 0;
    for (int slot = 0; slot < kTileSize && in_node.hasChildSlots(); ++slot) {
        mask |= in_node.child(slot) > kNoChild ? kSlotDirections[slot] : 0;
    }
    return mask;
}

/// Calls `in_visit(dx, dy, dz)` for each direction of a mask, dx fastest.
template <typename Visit>
void forDirections(DirectionMask in_mask, const Visit& in_visit)
{
    for (int bit = 0; bit < 27; ++bit) {
        if ((in_mask >> bit & 1u) != 0) {
            in_visit(bit % 3 - 1, bit / 3 % 3 - 1, bit / 9 - 1);
        }
    }
}

/// The tiles of a depth that are demanded and missing, by rising id.
std::vector<TileId> missingNeighbours(const VoxelLayout& in_layout, int in_depth)
{
    const int side = kTileSideLUT[in_depth];
    tbb::enumerable_thread_specific<std::vector<TileId>> found;
    Detail::bulkLoop(in_layout.numNodes(in_depth), [&](long long in_begin, long long in_end) {
        VoxelLayout::ConstAccessor accessor(in_layout);
        std::vector<TileId>& missing = found.local();
        for (long long n = in_begin; n < in_end; ++n) {
            const VoxelLayoutNode& node = in_layout.nodes(in_depth)[n];
            if (!node.valid()) {
                continue;
            }
            forDirections(demandedDirections(node), [&](int dx, int dy, int dz) {
                const int i = node.i() + dx * side;
                const int j = node.j() + dy * side;
                const int k = node.k() + dz * side;
                const TileId id = tileCoordsToId(i, j, k, in_depth);
                if (id != kNoTile && accessor.nodeIndex<true>(i, j, k, in_depth).first < 0) {
                    missing.push_back(id);
                }
            });
        }
    });
    std::vector<TileId> missing;
    for (const std::vector<TileId>& part : found) {
        missing.insert(missing.end(), part.begin(), part.end());
    }
    tbb::parallel_sort(missing.begin(), missing.end());
    missing.erase(std::unique(missing.begin(), missing.end()), missing.end());
    return missing;
}

/// Writes one violation. `in_found` is the node that covers the place, if any.
void report(const VoxelLayout& in_layout, const VoxelLayoutNode& in_node, const vec3i& in_direction,
            const TileIndex& in_found, std::ostream& out_report)
{
    if (in_found.first >= 0) {
        out_report << "non-graded at tile " << in_node.id() << " (depth " << in_node.depth()
                   << ") and neighbor " << in_layout.node(in_found).id() << " (depth "
                   << in_found.second << ")\n";
    } else {
        out_report << "non-graded at tile  " << in_node.id() << " (depth " << in_node.depth()
                   << ") - neighbor does not exist (" << in_direction[0] << "," << in_direction[1]
                   << "," << in_direction[2] << ")\n";
    }
}

/// Number of places around a node that are not covered as a graded layout demands.
long long countViolations(const VoxelLayout& in_layout, const VoxelLayoutNode& in_node,
                          VoxelLayout::ConstAccessor& io_accessor, std::ostream* out_report)
{
    if (!in_node.valid() || in_node.depth() < 2 || in_node.isRoot()) {
        return 0;
    }
    const int side = kTileSideLUT[in_node.depth()];
    long long violations = 0;
    for (int n = 0; n < 27; ++n) {
        const vec3i direction{n / 9 - 1, n / 3 % 3 - 1, n % 3 - 1};
        if (n == 13) {
            continue;
        }
        const vec3i place{in_node.i() + direction[0] * side, in_node.j() + direction[1] * side,
                          in_node.k() + direction[2] * side};
        const bool inside =
            isTileCoordinate(place[0]) && isTileCoordinate(place[1]) && isTileCoordinate(place[2]);
        const TileIndex found =
            inside ? io_accessor.nodeIndex<false>(place[0], place[1], place[2], in_node.depth())
                   : kNoTileIndex;
        if (found.first >= 0 && found.second >= in_node.depth() - 1) {
            continue;
        }
        ++violations;
        if (out_report != nullptr) {
            report(in_layout, in_node, direction, found, *out_report);
        }
    }
    return violations;
}

long long countViolations(const VoxelLayout& in_layout, int in_depth, std::ostream* out_report)
{
    using Range = tbb::blocked_range<long long>;
    const auto count = [&](const Range& in_range, long long in_sum) {
        VoxelLayout::ConstAccessor accessor(in_layout);
        for (long long n = in_range.begin(); n < in_range.end(); ++n) {
            in_sum +=
                countViolations(in_layout, in_layout.nodes(in_depth)[n], accessor, out_report);
        }
        return in_sum;
    };
    const Range all(0, in_layout.numNodes(in_depth));
    if (out_report != nullptr) {
        return count(all, 0);
    }
    tbb::task_group_context context;
    return tbb::parallel_reduce(all, 0LL, count, std::plus<long long>{}, tbb::auto_partitioner{},
                                context);
}

}  // namespace

void computeGradedTree(VoxelLayout* io_layout, std::vector<TileId>* out_added,
                       std::vector<TileId>* out_added_roots)
{
    VoxelLayout::Accessor accessor = io_layout->accessor();
    for (int depth = 6; depth >= 2; --depth) {
        for (const TileId id : missingNeighbours(*io_layout, depth)) {
            accessor.addNode(id, out_added, out_added_roots, nullptr);
        }
    }
}

bool isTreeGraded(const VoxelLayout* in_layout, std::ostream* out_report)
{
    long long violations = 0;
    for (int depth = 2; depth < kNumDepths; ++depth) {
        violations += countViolations(*in_layout, depth, out_report);
    }
    if (out_report != nullptr) {
        *out_report << "num_non_graded_nodes = " << violations;
    }
    return violations == 0;
}

}  // namespace Skelvar
