// The jobs of the particles done with OpenVDB's point grids: leaves of 8^3 cells, plain codecs.

#include <bench/support/Harness.h>
#include <bench/support/Inputs.h>

#include <openvdb/openvdb.h>
#include <openvdb/points/PointAttribute.h>
#include <openvdb/points/PointConversion.h>
#include <openvdb/points/PointDelete.h>
#include <openvdb/points/PointGroup.h>
#include <openvdb/points/PointMove.h>
#include <openvdb/tools/PointIndexGrid.h>

#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

namespace points = openvdb::points;
using Bench::vec3f;
using openvdb::Vec3f;
using PointGrid = points::PointDataGrid;
using IndexTree = openvdb::tools::PointIndexTree;

struct Source {
    std::vector<Vec3f> positions;
    std::vector<Vec3f> velocities;
    std::vector<int> ids;

    explicit Source(std::size_t in_count)
    {
        for (const vec3f& p : Bench::particles(in_count)) {
            const vec3f v = Bench::displacement(p);
            positions.emplace_back(p[0], p[1], p[2]);
            velocities.emplace_back(v[0], v[1], v[2]);
            ids.push_back(static_cast<int>(ids.size()));
        }
    }
};

const Source& source(std::size_t in_count)
{
    static std::map<std::size_t, std::unique_ptr<Source>> s_sources;
    std::unique_ptr<Source>& entry = s_sources[in_count];
    if (!entry) {
        entry = std::make_unique<Source>(in_count);
    }
    return *entry;
}

template <typename T>
void addAttribute(PointGrid& io_grid, const IndexTree& in_index, const std::string& in_name,
                  const std::vector<T>& in_values)
{
    const points::PointAttributeVector<T> values(in_values);
    points::appendAttribute<T>(io_grid.tree(), in_name);
    points::populateAttribute<points::PointDataTree, IndexTree, points::PointAttributeVector<T>>(
        io_grid.tree(), in_index, in_name, values);
}

PointGrid::Ptr makeGrid(std::size_t in_count)
{
    const Source& from = source(in_count);
    const auto transform = openvdb::math::Transform::createLinearTransform(1.0);
    const points::PointAttributeVector<Vec3f> positions(from.positions);
    const auto index =
        openvdb::tools::createPointIndexGrid<openvdb::tools::PointIndexGrid>(positions, *transform);
    auto grid =
        points::createPointDataGrid<points::NullCodec, PointGrid>(*index, positions, *transform);
    addAttribute(*grid, index->tree(), "velocity", from.velocities);
    addAttribute(*grid, index->tree(), "id", from.ids);
    return grid;
}

/// Moves each point one step.
struct Step {
    template <typename Leaf>
    void reset(const Leaf&, std::size_t)
    {
    }
    template <typename Iterator>
    void apply(openvdb::Vec3d& io_position, const Iterator&) const
    {
        const vec3f way = Bench::displacement({static_cast<float>(io_position[0]),
                                               static_cast<float>(io_position[1]),
                                               static_cast<float>(io_position[2])});
        io_position += openvdb::Vec3d(way[0], way[1], way[2]);
    }
};

void addJobs(std::size_t in_count, const std::string& in_size, int in_threads)
{
    static PointGrid::Ptr s_grid;
    const auto work = [=] { return static_cast<double>(in_count) * 1e-6; };
    const auto job = [&](const std::string& in_name) {
        return "particles." + in_name + ".posvelid." + in_size + "/openvdb";
    };
    Bench::add({job("build"), in_threads, "Mpoints/s", work,
                [=] { Bench::keep(static_cast<double>(makeGrid(in_count)->tree().leafCount())); },
                [=] { s_grid = nullptr, source(in_count); }, 3});
    Bench::add({job("move"), in_threads, "Mpoints/s", work,
                [] {
                    Step step;
                    points::movePoints(*s_grid, step);
                },
                [=] { s_grid = makeGrid(in_count); }, 3});
    Bench::add({job("delete10pct"), in_threads, "Mpoints/s", work,
                [] { points::deleteFromGroup(s_grid->tree(), "gone", false, true); },
                [=] {
                    using Filter = points::RandomLeafFilter<points::PointDataTree, std::mt19937>;
                    s_grid = makeGrid(in_count);
                    points::appendGroup(s_grid->tree(), "gone");
                    points::setGroupByFilter(s_grid->tree(), "gone",
                                             Filter(s_grid->tree(), in_count / 10, 7));
                },
                3});
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    openvdb::initialize();
    addJobs(1000000, "1e6", 2);
    addJobs(8000000, "8e6", 2);
    return Bench::runAll(in_argc, in_argv);
}
