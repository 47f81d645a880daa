// The tree: making, finding, deleting and copying nodes.

#include <bench/support/Harness.h>
#include <bench/support/Inputs.h>
#include <bench/support/Memory.h>
#include <bench/support/Scene.h>
#include <bench/support/Tiles.h>

#include <skelvar/tree/TileId.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Bench::Scene;
using Bench::TileIds;
using Bench::TilesByDepth;
using Bench::vec3f;
using Bench::vec3i;
using Skelvar::kMaxTileDepth;
using Skelvar::TileIndex;
using Skelvar::VoxelLayout;

constexpr std::size_t kDeletedShare = 10;  ///< one tile in so many is deleted

// Inputs, each made once on first use.

const std::vector<vec3f>& points(bool in_ordered)
{
    static const std::vector<vec3f> s_random = Bench::shellPoints();
    static const std::vector<vec3f> s_ordered = Bench::orderedShellPoints();
    return in_ordered ? s_ordered : s_random;
}

const TileIds& shellIds()
{
    static const TileIds s_ids = Bench::tilesAround(points(true));
    return s_ids;
}

const TileIds& shuffledIds()
{
    static const TileIds s_ids = [] {
        TileIds ids = shellIds();
        std::shuffle(ids.begin(), ids.end(), std::mt19937(5));
        return ids;
    }();
    return s_ids;
}

const TilesByDepth& shellTiles()
{
    static const TilesByDepth s_tiles = Bench::withAncestors(shellIds());
    return s_tiles;
}

const std::vector<vec3i>& cells(bool in_walk)
{
    static const std::vector<vec3i> s_random = Bench::cellsOf(Bench::bandRandomPositions());
    static const std::vector<vec3i> s_walk = Bench::cellsOf(Bench::bandWalkPositions());
    return in_walk ? s_walk : s_random;
}

const TileIds& cellIds(bool in_walk)
{
    const auto make = [](bool in_of_walk) {
        TileIds ids;
        for (const vec3i& cell : cells(in_of_walk)) {
            ids.push_back(Skelvar::tileCoordsToId(cell[0], cell[1], cell[2], kMaxTileDepth));
        }
        return ids;
    };
    static const TileIds s_random = make(false);
    static const TileIds s_walk = make(true);
    return in_walk ? s_walk : s_random;
}

double million(std::size_t in_count)
{
    return static_cast<double>(in_count) * 1e-6;
}

/// Makes a layout of those tiles and drops it; with a channel that follows it, if wanted.
void buildTree(const TilesByDepth& in_tiles, bool in_channel)
{
    if (in_channel) {
        const Scene scene = Bench::makeEmptyScene(0.0f);
        scene.layout->addNodes(in_tiles, nullptr);
    } else {
        const auto layout = std::make_shared<VoxelLayout>();
        layout->addNodes(in_tiles, nullptr);
    }
}

// Jobs.

/// A tree of the tiles around points, from the points and from ready lists of tiles.
void addBulkJobs(bool in_channel)
{
    const std::string system = in_channel ? "/skelvar-channel" : "/skelvar";
    for (const int threads : {1, 2}) {
        for (const bool ordered : {false, true}) {
            const std::string job = ordered ? "topology.ordered" : "topology.random";
            const auto build = [=] {
                buildTree(Bench::withAncestors(Bench::tilesAround(points(ordered))), in_channel);
            };
            const auto prepare = [=] { points(ordered); };
            Bench::add({job + ".points" + system, threads, "Mpoints/s",
                        [=] { return million(points(ordered).size()); }, build, prepare});
            Bench::add({job + ".tiles" + system, threads, "Mtiles/s",
                        [] { return million(shellIds().size()); }, build, prepare});
        }
        Bench::add({"topology.addnodes" + system, threads, "Mtiles/s",
                    [] { return million(shellIds().size()); },
                    [=] { buildTree(shellTiles(), in_channel); }, [] { shellTiles(); }});
    }
}

/// An empty layout but for the one tile that holds all of the shell: without it each tile would be
/// a root.
std::shared_ptr<VoxelLayout> makeTopTile()
{
    const auto layout = std::make_shared<VoxelLayout>();
    const TilesByDepth& tiles = shellTiles();
    const auto is_filled = [](const std::vector<vec3i>& in_tiles) { return !in_tiles.empty(); };
    const auto top = std::find_if(tiles.begin(), tiles.end(), is_filled);
    layout->addNodes(*top, static_cast<int>(top - tiles.begin()));
    return layout;
}

/// One node at a time, in random order.
void addSingleJobs()
{
    const auto work = [] { return million(shuffledIds().size()); };
    const auto prepare = [] { shuffledIds(), shellTiles(); };
    Bench::add({"topology.single/skelvar", 1, "Mtiles/s", work,
                [] {
                    const auto layout = makeTopTile();
                    for (const unsigned long long id : shuffledIds()) {
                        layout->addNode(id, nullptr, nullptr, nullptr);
                    }
                    Bench::keep(layout->numNodes());
                },
                prepare});
    Bench::add({"topology.single/skelvar-accessor", 1, "Mtiles/s", work,
                [] {
                    const auto layout = makeTopTile();
                    VoxelLayout::Accessor accessor = layout->accessor();
                    for (const unsigned long long id : shuffledIds()) {
                        accessor.addNode(id, nullptr, nullptr, nullptr);
                    }
                    Bench::keep(layout->numNodes());
                },
                prepare});
}

using Channel = Skelvar::VoxelChannel<float>;

float valueOf(const Channel& in_channel, const Skelvar::CellIndex& in_cell)
{
    return in_cell.tile.first < 0 ? in_channel.backgroundValue()
                                  : in_channel.tile(in_cell.tile).data()[in_cell.cell];
}

/// Sum of the values of the cells, each found through an accessor or the layout itself; absent ones
/// count as the background value.
template <typename Finder>
double sumOfValues(const std::vector<vec3i>& in_cells, Finder&& io_finder)
{
    const Channel& channel = *Bench::bandScene().channel;
    double sum = 0.0;
    for (const vec3i& cell : in_cells) {
        sum += valueOf(
            channel, io_finder.template cellIndex<true>(cell[0], cell[1], cell[2], kMaxTileDepth));
    }
    return sum;
}

/// The same, a block of cells found before any of them is read.
double sumOfValuesByBlocks(const std::vector<vec3i>& in_cells)
{
    constexpr std::size_t kBlock = 256;
    Skelvar::CellIndex found[kBlock];
    float values[kBlock];
    const Channel& channel = *Bench::bandScene().channel;
    VoxelLayout::ConstAccessor accessor(*Bench::bandScene().layout);
    double sum = 0.0;
    for (std::size_t first = 0; first < in_cells.size(); first += kBlock) {
        const std::size_t count = std::min(kBlock, in_cells.size() - first);
        accessor.cellIndices<true>(&in_cells[first], static_cast<long long>(count), kMaxTileDepth,
                                   found);
        channel.values(found, static_cast<long long>(count), values);
        for (std::size_t n = 0; n < count; ++n) {
            sum += values[n];
        }
    }
    return sum;
}

void addReadJobs(bool in_walk)
{
    const std::string variant = in_walk ? "walk" : "random";
    const auto work = [=] { return million(cells(in_walk).size()); };
    const auto prepare = [=] { Bench::bandScene(), cellIds(in_walk); };
    const VoxelLayout& (*band)() = []() -> const VoxelLayout& {
        return *Bench::bandScene().layout;
    };
    Bench::add({"access." + variant + "/skelvar-accessor", 1, "Mreads/s", work,
                [=] { Bench::keep(sumOfValues(cells(in_walk), band().accessor())); }, prepare,
                Bench::kShortJobRepetitions});
    Bench::add({"access." + variant + "/skelvar-noaccessor", 1, "Mreads/s", work,
                [=] { Bench::keep(sumOfValues(cells(in_walk), band())); }, prepare,
                Bench::kShortJobRepetitions});
    Bench::add({"access." + variant + "/skelvar-blocks", 1, "Mreads/s", work,
                [=] { Bench::keep(sumOfValuesByBlocks(cells(in_walk))); }, prepare,
                Bench::kShortJobRepetitions});
    Bench::add({"lookup.position." + variant + "/skelvar", 1, "Mlookups/s", work,
                [=] {
                    const VoxelLayout& layout = band();
                    double sum = 0.0;
                    for (const vec3i& cell : cells(in_walk)) {
                        sum +=
                            layout.nodeIndex<true>(cell[0], cell[1], cell[2], kMaxTileDepth).first;
                    }
                    Bench::keep(sum);
                },
                prepare, Bench::kShortJobRepetitions});
    Bench::add({"lookup.id." + variant + "/skelvar", 1, "Mlookups/s", work,
                [=] {
                    const VoxelLayout& layout = band();
                    double sum = 0.0;
                    for (const unsigned long long id : cellIds(in_walk)) {
                        sum += layout.nodeIndex<true>(id).first;
                    }
                    Bench::keep(sum);
                },
                prepare, Bench::kShortJobRepetitions});
}

/// Deletion of every tenth tile with a channel observing, and a plain copy of as many bytes as
/// must move to close the gaps: a node and a tile for each deleted one that is not at the end.
void addDeleteJobs()
{
    static Scene s_scene;
    static std::vector<std::vector<int>> s_deleted;
    static Bench::MemoryBlock s_from;
    static Bench::MemoryBlock s_to;
    const auto moved_bytes = [] {
        const std::size_t count = shellIds().size();
        const std::size_t moved = count / kDeletedShare * (kDeletedShare - 1) / kDeletedShare;
        return moved * (sizeof(Skelvar::VoxelLayoutNode) + Skelvar::kTileSize * sizeof(float));
    };
    const auto work = [=] { return static_cast<double>(moved_bytes()) * 1e-9; };
    Bench::add({"tree.delete/skelvar-channel", 2, "GB/s", work,
                [] { s_scene.layout->deleteNodes(s_deleted, nullptr); },
                [] {
                    s_scene = Bench::makeEmptyScene(0.0f);
                    s_scene.layout->addNodes(shellTiles(), nullptr);
                    s_deleted.assign(kMaxTileDepth + 1, {});
                    for (std::size_t n = 0; n < shellIds().size(); n += kDeletedShare) {
                        s_deleted[kMaxTileDepth].push_back(static_cast<int>(n));
                    }
                }});
    Bench::add({"tree.delete/memcpy", 2, "GB/s", work,
                [=] { Bench::copyParallel(s_from, s_to, moved_bytes()); },
                [] {
                    // As large as all the tiles, so that the copied part is not in a cache.
                    const std::size_t bytes =
                        shellIds().size() * Skelvar::kTileSize * sizeof(float);
                    s_from.resize(bytes);
                    s_to.resize(bytes);
                    Bench::fillParallel(s_from, 1);
                    Bench::fillParallel(s_to, 2);
                    s_scene = {};
                },
                9});
}

void addCopyJob()
{
    static std::shared_ptr<VoxelLayout> s_shell;
    Bench::add({"tree.deepcopy/skelvar", 2, "Mtiles/s", [] { return million(shellIds().size()); },
                [] { Bench::keep(s_shell->copy(true)->numNodes()); },
                [] {
                    if (!s_shell) {
                        s_shell = std::make_shared<VoxelLayout>();
                        s_shell->addNodes(shellTiles(), nullptr);
                    }
                }});
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    addBulkJobs(false);
    addBulkJobs(true);
    addSingleJobs();
    addReadJobs(false);
    addReadJobs(true);
    addDeleteJobs();
    addCopyJob();
    return Bench::runAll(in_argc, in_argv);
}
