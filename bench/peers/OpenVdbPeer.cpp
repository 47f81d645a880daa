// The jobs of the other programs done with OpenVDB, and reading with NanoVDB where it is installed.
// The value of cell (i, j, k) stands at index coordinate (i, j, k); leaves have 8^3 cells.

#include <bench/support/Harness.h>
#include <bench/support/Inputs.h>

#include <openvdb/math/Stencils.h>
#include <openvdb/openvdb.h>
#include <openvdb/tools/Interpolation.h>
#include <openvdb/tree/LeafManager.h>
#include <openvdb/tree/NodeManager.h>

#ifdef SKELVAR_BENCH_HAS_NANOVDB
#include <nanovdb/NanoVDB.h>
#include <nanovdb/util/OpenToNanoVDB.h>
#include <nanovdb/util/SampleFromVoxels.h>
#endif

#include <tbb/blocked_range.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_reduce.h>

#include <atomic>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Bench::vec3f;
using Bench::vec3i;
using openvdb::Coord;
using openvdb::FloatTree;
using openvdb::MaskTree;
using Coords = std::vector<Coord>;
using Points = std::vector<vec3f>;

constexpr int kLeafWidth = 8;
constexpr int kLeafSize = 512;

// Inputs, each made once on first use.

const Points& randomPoints()
{
    static const Points s_points = Bench::shellPoints();
    return s_points;
}

const Points& orderedPoints()
{
    static const Points s_points = Bench::orderedShellPoints();
    return s_points;
}

Coords coordsOf(const Points& in_positions)
{
    Coords coords;
    for (const vec3i& cell : Bench::cellsOf(in_positions)) {
        coords.emplace_back(cell[0], cell[1], cell[2]);
    }
    return coords;
}

const Coords& randomCells()
{
    static const Coords s_cells = coordsOf(Bench::bandRandomPositions());
    return s_cells;
}

const Coords& walkCells()
{
    static const Coords s_cells = coordsOf(Bench::bandWalkPositions());
    return s_cells;
}

/// Calls `f(coord, value)` for each cell of the band.
template <typename F>
void forBandCells(F&& f)
{
    const int reach = static_cast<int>(Bench::kBandRadius + Bench::kBandReach) + 1;
    const double outer = Bench::kBandRadius + Bench::kBandReach;
    const double inner = Bench::kBandRadius - Bench::kBandReach;
    for (int i = -reach; i < reach; ++i) {
        for (int j = -reach; j < reach; ++j) {
            for (int k = -reach; k < reach; ++k) {
                const double square =
                    (i + 0.5) * (i + 0.5) + (j + 0.5) * (j + 0.5) + (k + 0.5) * (k + 0.5);
                if (square < inner * inner || square > outer * outer) {
                    continue;
                }
                const float value = Bench::bandDistance(vec3i{i, j, k});
                if (Bench::isInBand(value)) {
                    f(Coord(i, j, k), value);
                }
            }
        }
    }
}

openvdb::FloatGrid& band()
{
    static const openvdb::FloatGrid::Ptr s_grid = [] {
        const auto grid = openvdb::FloatGrid::create(Bench::kBandHalfWidth);
        auto accessor = grid->getAccessor();
        forBandCells(
            [&](const Coord& in_coord, float in_value) { accessor.setValue(in_coord, in_value); });
        return grid;
    }();
    return *s_grid;
}

double activeGigabytes()
{
    return static_cast<double>(band().activeVoxelCount()) * sizeof(float) * 1e-9;
}

// Topology.

template <typename Accessor>
void touchBox(Accessor& io_accessor, const vec3f& in_point)
{
    Coord low;
    Coord high;
    for (int a = 0; a < 3; ++a) {
        low[a] = static_cast<int>(std::floor(in_point[a] - 1.0f)) & ~(kLeafWidth - 1);
        high[a] = static_cast<int>(std::floor(in_point[a] + 1.0f));
    }
    for (int x = low[0]; x <= high[0]; x += kLeafWidth) {
        for (int y = low[1]; y <= high[1]; y += kLeafWidth) {
            for (int z = low[2]; z <= high[2]; z += kLeafWidth) {
                io_accessor.touchLeaf(Coord(x, y, z));
            }
        }
    }
}

/// A tree of the leaves around the points: each thread touches those of its points in a tree of
/// its own, and the trees are merged. Gives the number of leaves.
template <typename Tree>
double buildTree(const Points& in_points)
{
    tbb::enumerable_thread_specific<std::unique_ptr<Tree>> trees;
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, in_points.size(), 4096),
                      [&](const tbb::blocked_range<std::size_t>& in_range) {
                          std::unique_ptr<Tree>& tree = trees.local();
                          if (!tree) {
                              tree = std::make_unique<Tree>();
                          }
                          openvdb::tree::ValueAccessor<Tree> accessor(*tree);
                          for (std::size_t n = in_range.begin(); n != in_range.end(); ++n) {
                              touchBox(accessor, in_points[n]);
                          }
                      });
    std::unique_ptr<Tree> whole;
    for (std::unique_ptr<Tree>& tree : trees) {
        if (whole) {
            whole->merge(*tree, openvdb::MERGE_NODES);
        } else {
            whole = std::move(tree);
        }
    }
    return whole->leafCount();
}

const Coords& shuffledLeaves()
{
    static const Coords s_leaves = [] {
        MaskTree tree;
        openvdb::tree::ValueAccessor<MaskTree> accessor(tree);
        for (const vec3f& point : orderedPoints()) {
            touchBox(accessor, point);
        }
        Coords leaves;
        for (auto leaf = tree.cbeginLeaf(); leaf; ++leaf) {
            leaves.push_back(leaf->origin());
        }
        std::shuffle(leaves.begin(), leaves.end(), std::mt19937(5));
        return leaves;
    }();
    return s_leaves;
}

template <typename Tree>
void addTopologyJobs(const std::string& in_system)
{
    for (const int threads : {1, 2}) {
        for (const bool ordered : {false, true}) {
            const Points& (*points)() = ordered ? &orderedPoints : &randomPoints;
            const std::string job = ordered ? "topology.ordered" : "topology.random";
            const auto leaves = std::make_shared<double>(0.0);
            const auto build = [points, leaves] { *leaves = buildTree<Tree>(points()); };
            const auto prepare = [points] { points(); };
            Bench::add({job + ".points" + in_system, threads, "Mpoints/s",
                        [points] { return points().size() * 1e-6; }, build, prepare});
            Bench::add({job + ".tiles" + in_system, threads, "Mtiles/s",
                        [leaves] { return *leaves * 1e-6; }, build, prepare});
        }
    }
    Bench::add({"topology.single" + in_system, 1, "Mtiles/s",
                [] { return shuffledLeaves().size() * 1e-6; },
                [] {
                    Tree tree;
                    openvdb::tree::ValueAccessor<Tree> accessor(tree);
                    for (const Coord& leaf : shuffledLeaves()) {
                        accessor.touchLeaf(leaf);
                    }
                    Bench::keep(tree.leafCount());
                },
                [] { shuffledLeaves(); }});
    static std::unique_ptr<Tree> s_shell;
    Bench::add({"tree.deepcopy" + in_system, 2, "Mtiles/s",
                [] { return shuffledLeaves().size() * 1e-6; },
                [] { Bench::keep(Tree(*s_shell).leafCount()); },
                [] {
                    if (!s_shell) {
                        s_shell = std::make_unique<Tree>();
                        for (const Coord& leaf : shuffledLeaves()) {
                            s_shell->touchLeaf(leaf);
                        }
                    }
                }});
}

/// Joins the leaves of the shell with those of the shell moved along x.
void addUnionJob()
{
    static std::unique_ptr<MaskTree> s_shell;
    static std::unique_ptr<MaskTree> s_moved;
    static std::unique_ptr<MaskTree> s_union;
    Bench::add({"topology.union/openvdb-mask", 2, "Mtiles/s",
                [] { return s_moved->leafCount() * 1e-6; },
                [] { s_union->topologyUnion(*s_moved); },
                [] {
                    if (!s_shell) {
                        s_shell = std::make_unique<MaskTree>();
                        s_moved = std::make_unique<MaskTree>();
                        openvdb::tree::ValueAccessor<MaskTree> shell(*s_shell);
                        openvdb::tree::ValueAccessor<MaskTree> moved(*s_moved);
                        for (vec3f point : randomPoints()) {
                            touchBox(shell, point);
                            point[0] += 40.0f;
                            touchBox(moved, point);
                        }
                    }
                    s_union = std::make_unique<MaskTree>(*s_shell);
                }});
}

/// Calls a function at each node of the band, shallow depths first.
void addVisitJob()
{
    Bench::add(
        {"tree.visitnodes/openvdb", 2, "Mnodes/s", [] { return band().tree().leafCount() * 1e-6; },
         [] {
             openvdb::tree::NodeManager<FloatTree> nodes(band().tree());
             std::atomic<std::size_t> count{0};
             nodes.foreachTopDown([&](auto&) { count.fetch_add(1, std::memory_order_relaxed); });
             Bench::keep(static_cast<double>(count.load()));
         },
         [] { band(); }, 15});
}

// Reading of values.

void addReadJob(const std::string& in_system, bool in_walk, const std::function<double()>& in_read,
                const std::function<void()>& in_prepare)
{
    Bench::add({(in_walk ? "access.walk/" : "access.random/") + in_system, 1, "Mreads/s",
                [] { return randomCells().size() * 1e-6; }, [in_read] { Bench::keep(in_read()); },
                in_prepare, Bench::kShortJobRepetitions});
}

template <typename Reader>
double sumOf(const Coords& in_cells, const Reader& in_reader)
{
    double sum = 0.0;
    for (const Coord& cell : in_cells) {
        sum += in_reader.getValue(cell);
    }
    return sum;
}

#ifdef SKELVAR_BENCH_HAS_NANOVDB
const nanovdb::FloatGrid& nanoBand()
{
    static const auto s_handle = nanovdb::openToNanoVDB(band());
    return *s_handle.grid<float>();
}

template <typename Reader>
double nanoSumOf(const Coords& in_cells, const Reader& in_reader)
{
    double sum = 0.0;
    for (const Coord& cell : in_cells) {
        sum += in_reader.getValue(nanovdb::Coord(cell[0], cell[1], cell[2]));
    }
    return sum;
}
#endif

void addReadJobs()
{
    for (const bool walk : {false, true}) {
        const Coords& (*cells)() = walk ? &walkCells : &randomCells;
        const auto prepare = [cells] { band(), cells(); };
        addReadJob(
            "openvdb-accessor", walk, [cells] { return sumOf(cells(), band().getConstAccessor()); },
            prepare);
        addReadJob(
            "openvdb-unsafeaccessor", walk,
            [cells] { return sumOf(cells(), band().getConstUnsafeAccessor()); }, prepare);
        addReadJob(
            "openvdb-noaccessor", walk, [cells] { return sumOf(cells(), band().tree()); }, prepare);
#ifdef SKELVAR_BENCH_HAS_NANOVDB
        const auto prepare_nano = [cells] { nanoBand(), cells(); };
        addReadJob(
            "nanovdb-accessor", walk,
            [cells] { return nanoSumOf(cells(), nanoBand().getAccessor()); }, prepare_nano);
        addReadJob(
            "nanovdb-noaccessor", walk, [cells] { return nanoSumOf(cells(), nanoBand().tree()); },
            prepare_nano);
#endif
    }
}

// Reading between the values.

const Points& positions(bool in_walk)
{
    static const Points s_random = Bench::bandRandomPositions();
    static const Points s_walk = Bench::bandWalkPositions();
    return in_walk ? s_walk : s_random;
}

/// `make_reader()` gives a function of an index coordinate, made anew for each piece of the work.
template <typename MakeReader>
void addSampleJobs(const std::string& in_job, const std::string& in_system,
                   const MakeReader& in_make_reader, const std::function<void()>& in_prepare)
{
    using Range = tbb::blocked_range<std::size_t>;
    for (const bool walk : {false, true}) {
        const auto sum_of = [=](const Range& in_range, double io_sum) {
            auto read = in_make_reader();
            const vec3f* const at = positions(walk).data();
            for (std::size_t n = in_range.begin(); n != in_range.end(); ++n) {
                io_sum += read(at[n] - vec3f{0.5f, 0.5f, 0.5f});
            }
            return io_sum;
        };
        for (const int threads : {1, 2}) {
            Bench::add({in_job + (walk ? ".walk/" : ".random/") + in_system, threads, "Msamples/s",
                        [=] { return positions(walk).size() * 1e-6; },
                        [=] {
                            Bench::keep(
                                tbb::parallel_reduce(Range(0, positions(walk).size(), 50000), 0.0,
                                                     sum_of, std::plus<double>()));
                        },
                        [=] { in_prepare(), positions(walk); }});
        }
    }
}

template <typename Sampler>
auto openvdbReader()
{
    return [accessor = band().getConstUnsafeAccessor()](const vec3f& in_at) mutable {
        float value;
        Sampler::sample(accessor, openvdb::Vec3R(in_at[0], in_at[1], in_at[2]), value);
        return value;
    };
}

auto openvdbGradientReader()
{
    return [stencil =
                openvdb::math::BoxStencil<openvdb::FloatGrid>(band())](const vec3f& in_at) mutable {
        const openvdb::math::Vec3<float> at(in_at[0], in_at[1], in_at[2]);
        stencil.moveTo(openvdb::Coord::floor(at));
        const auto gradient = stencil.gradient(at);
        return stencil.interpolation(at) + gradient[0] + gradient[1] + gradient[2];
    };
}

#ifdef SKELVAR_BENCH_HAS_NANOVDB
template <int Order, bool Gradient>
auto nanovdbReader()
{
    // The sampler keeps a reference to the accessor.
    const auto accessor =
        std::make_shared<nanovdb::DefaultReadAccessor<float>>(nanoBand().getAccessor());
    return [accessor, sampler = nanovdb::createSampler<Order>(*accessor)](const vec3f& in_at) {
        const nanovdb::Vec3f at(in_at[0], in_at[1], in_at[2]);
        if constexpr (Gradient) {
            const auto gradient = sampler.gradient(at);
            return sampler(at) + gradient[0] + gradient[1] + gradient[2];
        } else {
            return sampler(at);
        }
    };
}
#endif

void addSampleJobs()
{
    const auto prepare = [] { band(); };
    addSampleJobs("sample.linear", "openvdb", &openvdbReader<openvdb::tools::BoxSampler>, prepare);
    addSampleJobs("sample.quadratic", "openvdb", &openvdbReader<openvdb::tools::QuadraticSampler>,
                  prepare);
    addSampleJobs("sample.gradient", "openvdb", &openvdbGradientReader, prepare);
#ifdef SKELVAR_BENCH_HAS_NANOVDB
    const auto prepare_nano = [] { nanoBand(); };
    addSampleJobs("sample.linear", "nanovdb", &nanovdbReader<1, false>, prepare_nano);
    addSampleJobs("sample.quadratic", "nanovdb", &nanovdbReader<2, false>, prepare_nano);
    addSampleJobs("sample.gradient", "nanovdb", &nanovdbReader<1, true>, prepare_nano);
    addSampleJobs("sample.cubic64", "nanovdb", &nanovdbReader<3, false>, prepare_nano);
#endif
}

// Bulk work on the values of the band; bytes count active cells, once.

void addBulkJobs()
{
    using Leaves = openvdb::tree::LeafManager<FloatTree>;
    static std::unique_ptr<FloatTree> s_copy;
    const auto prepare = [] {
        if (!s_copy) {
            s_copy = std::make_unique<FloatTree>(band().tree());
        }
    };
    Bench::add({"bulk.fill/openvdb", 2, "GB/s", activeGigabytes,
                [] {
                    Leaves(*s_copy).foreach (
                        [](auto& io_leaf, std::size_t) { io_leaf.buffer().fill(1.5f); });
                },
                prepare, 9});
    Bench::add({"bulk.scale/openvdb", 2, "GB/s", activeGigabytes,
                [] {
                    Leaves(*s_copy).foreach ([](auto& io_leaf, std::size_t) {
                        float* const values = io_leaf.buffer().data();
                        for (int n = 0; n < kLeafSize; ++n) {
                            values[n] = values[n] * 1.0001f + 0.5f;
                        }
                    });
                },
                prepare, 9});
    Bench::add({"bulk.deepcopy/openvdb", 2, "GB/s",
                [] {
                    Bench::print("tree.memory.bytespercell/openvdb/1t",
                                 static_cast<double>(band().memUsage()) /
                                     static_cast<double>(band().activeVoxelCount()),
                                 "bytes/cell");
                    return activeGigabytes();
                },
                [] { Bench::keep(FloatTree(band().tree()).background()); }, [] { band(); }, 9});
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    openvdb::initialize();
    addTopologyJobs<MaskTree>("/openvdb-mask");
    addTopologyJobs<FloatTree>("/openvdb-float");
    addUnionJob();
    addVisitJob();
    addReadJobs();
    addSampleJobs();
    addBulkJobs();
    return Bench::runAll(in_argc, in_argv);
}
