#include <skelvar/particles/ReblockByPosition.h>

#include <skelvar/base/array1.h>
#include <skelvar/particles/NearbyTiles.h>
#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/particles/PointBox.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <array>
#include <span>
#include <vector>

namespace Skelvar {

namespace {

using Positions = ParticleChannel<vec3f>;
using MoveList = array1<ParticleToFrom>;

constexpr int kStrays = kNumDepths;  ///< in place of a depth

/// Moves out of the tiles of one depth: a list for each depth of the destinations, and the strays.
using MoveLists = std::array<MoveList, kNumDepths + 1>;

/// What need not move out of a tile: nothing if there are others in it.
PointBox stayingIn(const VoxelLayoutNode& in_node)
{
    if (in_node.numChildren() > 0) {
        return {};
    }
    const float side = static_cast<float>(kTileSideLUT[in_node.depth()]);
    const vec3i corner = in_node.corner();
    const vec3f low = {static_cast<float>(corner[0]), static_cast<float>(corner[1]),
                       static_cast<float>(corner[2])};
    return {low, low + vec3f{side, side, side}};
}

/// Appends the moves out of one tile. `io_leaving` is memory that lasts from tile to tile.
void findMoves(const ParticleTile<vec3f>& in_points, const VoxelLayoutNode& in_node,
               NearbyTiles& io_nearby, std::vector<unsigned long>& io_leaving, MoveLists& io_moves)
{
    const PointBox box = stayingIn(in_node);
    if (box.holdsAll(in_points)) {
        return;
    }
    const unsigned long num_leaving = box.findOutside(in_points, io_leaving);
    const TileIndex here = in_node.tileIndex();
    io_nearby.moveTo(here);
    for (unsigned long m = 0; m < num_leaving; ++m) {
        const unsigned long n = io_leaving[m];
        const TileIndex there = io_nearby.find(in_points[n]);
        if (there.first < 0) {
            io_moves[kStrays].push_back({-1, here.first, n});
        } else if (there != here) {
            io_moves[there.second].push_back({there.first, here.first, n});
        }
    }
}

/// The moves out of all tiles of a depth, in lists of neighbouring tiles, each list sorted.
std::vector<MoveLists> findMoves(const Positions& in_position, const VoxelLayout& in_layout,
                                 int in_depth)
{
    constexpr int kTilesOfPiece = 64;
    const int num_tiles = std::min(in_position.numTiles(in_depth), in_layout.numNodes(in_depth));
    const int num_pieces = (num_tiles + kTilesOfPiece - 1) / kTilesOfPiece;
    std::vector<MoveLists> pieces(static_cast<std::size_t>(num_pieces));
    tbb::parallel_for(
        tbb::blocked_range<int>(0, num_pieces), [&](const tbb::blocked_range<int>& in_range) {
            NearbyTiles nearby(in_layout);
            std::vector<unsigned long> leaving;
            for (int piece = in_range.begin(); piece < in_range.end(); ++piece) {
                const int end = std::min((piece + 1) * kTilesOfPiece, num_tiles);
                for (int n = piece * kTilesOfPiece; n < end; ++n) {
                    findMoves(in_position.tile(n, in_depth), in_layout.node(n, in_depth), nearby,
                              leaving, pieces[piece]);
                }
            }
        });
    return pieces;
}

/// How many go to each depth.
std::array<unsigned long long, kNumDepths + 1> countMoves(const std::vector<MoveLists>& in_moves)
{
    std::array<unsigned long long, kNumDepths + 1> counts{};
    for (const MoveLists& piece : in_moves) {
        for (int n = 0; n <= kNumDepths; ++n) {
            counts[n] += static_cast<unsigned long long>(piece[n].size());
        }
    }
    return counts;
}

std::vector<std::span<const ParticleToFrom>> movesTo(int in_destination,
                                                     const std::vector<MoveLists>& in_moves)
{
    std::vector<std::span<const ParticleToFrom>> lists;
    lists.reserve(in_moves.size());
    for (const MoveLists& piece : in_moves) {
        lists.emplace_back(piece[in_destination].begin(), piece[in_destination].end());
    }
    return lists;
}

}  // namespace

std::shared_ptr<Positions> positionChannel(const ParticleShape& in_shape)
{
    std::shared_ptr<TreeChannel3DBase> found;
    for (const auto& [name, channel] : in_shape.channels()) {
        const bool is_plain = name.substr(name.rfind('/') + 1) == "position";
        if (channel && channel->isCastableTo(Positions::typeName()) &&
            (is_plain || (!found && name.find("position") != std::string::npos))) {
            found = channel;
            if (is_plain) {
                break;
            }
        }
    }
    return std::static_pointer_cast<Positions>(found);
}

ReblockResult reblockByPosition(Positions& io_position, StrayParticles in_strays)
{
    ReblockResult result;
    const std::shared_ptr<ParticleShape> shape = io_position.particleShapePtr();
    const std::shared_ptr<VoxelLayout> layout = shape ? shape->layoutPtr() : nullptr;
    if (!layout || !io_position.blockDataPtr()) {
        return result;
    }
    Positions::Accessor accessor = io_position.accessor();
    for (int depth = 0; depth < kNumDepths; ++depth) {
        // One destination depth at a time: each step changes the places of those that stay.
        bool is_first = true;
        for (bool goes_on = true; goes_on; is_first = false) {
            const std::vector<MoveLists> moves = findMoves(io_position, *layout, depth);
            const std::array<unsigned long long, kNumDepths + 1> counts = countMoves(moves);
            if (is_first) {
                result.strays += counts[kStrays];
            }
            const int num_depths = in_strays == eStraysGo ? kNumDepths + 1 : kNumDepths;
            const auto end = counts.begin() + num_depths;
            const auto first = std::find_if(counts.begin(), end, [](auto n) { return n > 0; });
            if (first == end) {
                break;
            }
            const int destination = static_cast<int>(first - counts.begin());
            accessor.reblock(movesTo(destination, moves), depth,
                             destination < kStrays ? destination : depth);
            result.moved += destination < kStrays ? *first : 0;
            goes_on = std::any_of(first + 1, end, [](auto n) { return n > 0; });
        }
    }
    return result;
}

}  // namespace Skelvar
