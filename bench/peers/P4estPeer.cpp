// Grading of the narrow band's tree with p4est: an octree over a cube of 2^8 tiles of 5 cells a
// side, fully balanced over faces, edges and corners. Started by `mpirun -np 2` it works on two
// processes, and its metrics say 2t.

#include <bench/support/Harness.h>
#include <bench/support/Inputs.h>
#include <bench/support/Tiles.h>

#include <skelvar/tree/TileId.h>

#include <mpi.h>
#include <p8est.h>
#include <p8est_extended.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kFinestLevel = 8;
constexpr int kFirstTile = -642;  ///< corner of the cube on each axis, and of tiles of depth 7

/// For each level one bit an octant: whether a tile of the band lies in it.
using Levels = std::vector<std::vector<bool>>;

std::size_t placeOf(unsigned in_x, unsigned in_y, unsigned in_z, int in_level)
{
    return (((std::size_t{in_z} << in_level) + in_y) << in_level) + in_x;
}

const Levels& bandLevels()
{
    static const Levels s_levels = [] {
        Levels levels;
        for (int level = 0; level <= kFinestLevel; ++level) {
            levels.emplace_back(std::size_t{1} << 3 * level);
        }
        const int reach = static_cast<int>(Bench::kBandRadius + Bench::kBandReach) + 1;
        const auto is_in_band = [](const Skelvar::vec3i& cell) { return Bench::isInBand(cell); };
        for (const unsigned long long id : Bench::tilesHolding(reach, is_in_band)) {
            int i = 0;
            int j = 0;
            int k = 0;
            int depth = 0;
            Skelvar::idToTileCoords(id, i, j, k, depth);
            const auto tile = [](int in_corner) {
                return static_cast<unsigned>(in_corner - kFirstTile) / Skelvar::kTileWidth;
            };
            for (int level = 0; level <= kFinestLevel; ++level) {
                const int up = kFinestLevel - level;
                levels[level][placeOf(tile(i) >> up, tile(j) >> up, tile(k) >> up, level)] = true;
            }
        }
        return levels;
    }();
    return s_levels;
}

/// Whether an octant is to be divided: p4est's answer is an int.
int holdsBand(p8est_t*, p4est_topidx_t, p8est_quadrant_t* in_octant)
{
    const int level = in_octant->level;
    const auto place = [=](p4est_qcoord_t in_coordinate) {
        return static_cast<unsigned>(in_coordinate) >> (P8EST_MAXLEVEL - level);
    };
    return static_cast<int>(level < kFinestLevel &&
                            bandLevels()[level][placeOf(place(in_octant->x), place(in_octant->y),
                                                        place(in_octant->z), level)]);
}

struct Forest {
    p8est_connectivity_t* cube = p8est_connectivity_new_unitcube();
    p8est_t* octants = p8est_new_ext(MPI_COMM_WORLD, cube, 0, 3, 1, 0, nullptr, nullptr);

    Forest()
    {
        p8est_refine(octants, 1, holdsBand, nullptr);
        p8est_partition(octants, 0, nullptr);
        MPI_Barrier(MPI_COMM_WORLD);
    }
    Forest(const Forest&) = delete;
    Forest& operator=(const Forest&) = delete;
    ~Forest()
    {
        p8est_destroy(octants);
        p8est_connectivity_destroy(cube);
    }
};

std::unique_ptr<Forest>& forest()
{
    static std::unique_ptr<Forest> s_forest;
    return s_forest;
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    MPI_Init(&in_argc, &in_argv);
    int processes = 1;
    int rank = 0;
    MPI_Comm_size(MPI_COMM_WORLD, &processes);
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    if (rank > 0 && std::freopen("/dev/null", "w", stdout) == nullptr) {
        return 1;
    }
    sc_init(MPI_COMM_WORLD, 0, 0, nullptr, SC_LP_SILENT);
    p4est_init(nullptr, SC_LP_SILENT);
    Bench::add({"tree.grade/p4est", processes, "Mtiles/s",
                [] { return static_cast<double>(forest()->octants->global_num_quadrants) * 1e-6; },
                [] {
                    p8est_balance(forest()->octants, P8EST_CONNECT_FULL, nullptr);
                    MPI_Barrier(MPI_COMM_WORLD);
                },
                [] {
                    forest() = nullptr;
                    forest() = std::make_unique<Forest>();
                }});
    const int status = Bench::runAll(in_argc, in_argv);
    forest() = nullptr;
    sc_finalize();
    MPI_Finalize();
    return status;
}
