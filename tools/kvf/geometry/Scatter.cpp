#include <tools/kvf/geometry/Scatter.h>

#include <tools/kvf/Progress.h>
#include <tools/kvf/ToolError.h>
#include <tools/kvf/geometry/SignedDistance.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace Skelvar::Tool {

namespace {

enum class CellKind : unsigned char { eOutside, eCut, eInside };

constexpr double kMostCells = 1e9;

/// Random numbers that depend on a seed and a place alone (the splitmix64 generator).
class Dice {
public:
    Dice(unsigned long long in_seed, long long in_place)
        : m_state(in_seed * 0x9E3779B97F4A7C15ull ^
                  static_cast<unsigned long long>(in_place) * 0xD1342543DE82EF95ull)
    {
        next();
    }
    unsigned long long next()
    {
        unsigned long long word = m_state += 0x9E3779B97F4A7C15ull;
        word = (word ^ (word >> 30)) * 0xBF58476D1CE4E5B9ull;
        word = (word ^ (word >> 27)) * 0x94D049BB133111EBull;
        return word ^ (word >> 31);
    }
    /// In [0, 1).
    float unit() { return static_cast<float>(next() >> 40) * (1.0f / 16777216.0f); }

private:
    unsigned long long m_state;
};

/// The cells around a mesh, and which of them the points belong into.
class CellGrid {
public:
    CellGrid(const TriangleMesh& in_mesh, const SignedDistance& in_distance,
             const ScatterOptions& in_options)
        : m_distance(in_distance), m_options(in_options)
    {
        vec3f low{}, high{};
        findBounds(in_mesh, low, high);
        const float cell = in_options.voxel_size;
        double size = 1.0;
        for (int a = 0; a < 3; ++a) {
            m_low[a] = std::floor(low[a] / cell) - 1.0f;
            const float count = std::floor(high[a] / cell) + 2.0f - m_low[a];
            size *= static_cast<double>(count);
            if (!(size <= kMostCells)) {
                throw ToolError(eDataSaysNo,
                                "the voxel size is too small: the mesh would span "
                                "more than a thousand million cells");
            }
            m_counts[a] = static_cast<int>(count);
        }
        m_kinds.resize(static_cast<std::size_t>(size));
        classify();
    }

    int numRows() const { return m_counts[1] * m_counts[2]; }
    long long numInside() const
    {
        return static_cast<long long>(m_kinds.size()) -
               std::count(m_kinds.begin(), m_kinds.end(), CellKind::eOutside);
    }

    /// Appends the points of a row of cells, `in_per_cell` tries each.
    void scatterRow(int in_row, int in_per_cell, std::vector<vec3f>& out_points) const
    {
        SignedDistance::Walker walker(m_distance);
        for (int i = 0; i < m_counts[0]; ++i) {
            const long long cell = 1LL * in_row * m_counts[0] + i;
            if (m_kinds[cell] == CellKind::eOutside) {
                continue;
            }
            Dice dice(m_options.seed, cell);
            for (int n = 0; n < in_per_cell; ++n) {
                const vec3f point = pointIn(cell, dice);
                if (m_kinds[cell] == CellKind::eInside || accepts(walker.at(point).distance)) {
                    out_points.push_back(point);
                }
            }
        }
    }
    /// Appends the points of a batch of tries all over the cells.
    void scatterBatch(const std::vector<long long>& in_cells, long long in_batch, int in_tries,
                      std::vector<vec3f>& out_points) const
    {
        SignedDistance::Walker walker(m_distance);
        Dice dice(m_options.seed, in_batch);
        for (int n = 0; n < in_tries; ++n) {
            const long long cell = in_cells[dice.next() % in_cells.size()];
            const vec3f point = pointIn(cell, dice);
            if (m_kinds[cell] == CellKind::eInside || accepts(walker.at(point).distance)) {
                out_points.push_back(point);
            }
        }
    }
    std::vector<long long> cells() const
    {
        std::vector<long long> cells;
        for (std::size_t n = 0; n < m_kinds.size(); ++n) {
            if (m_kinds[n] != CellKind::eOutside) {
                cells.push_back(static_cast<long long>(n));
            }
        }
        return cells;
    }

private:
    bool accepts(float in_distance) const
    {
        return m_options.shell ? std::fabs(in_distance) <= m_options.voxel_size
                               : in_distance < 0.0f;
    }
    vec3f place(long long in_cell, const vec3f& in_part) const
    {
        const int i = static_cast<int>(in_cell % m_counts[0]);
        const int j = static_cast<int>(in_cell / m_counts[0] % m_counts[1]);
        const int k = static_cast<int>(in_cell / m_counts[0] / m_counts[1]);
        return (m_low + vec3f{static_cast<float>(i), static_cast<float>(j), static_cast<float>(k)} +
                in_part) *
               m_options.voxel_size;
    }
    vec3f pointIn(long long in_cell, Dice& io_dice) const
    {
        const float x = io_dice.unit();
        const float y = io_dice.unit();
        return place(in_cell, {x, y, io_dice.unit()});
    }

    void classify()
    {
        const float reach = 0.8661f * m_options.voxel_size;  // from the middle to a corner
        Progress progress("Sorting cells", numRows());
        tbb::parallel_for(tbb::blocked_range<int>(0, numRows()), [&](const auto& in_rows) {
            SignedDistance::Walker walker(m_distance);
            for (int row = in_rows.begin(); row != in_rows.end(); ++row) {
                for (int i = 0; i < m_counts[0]; ++i) {
                    const long long cell = 1LL * row * m_counts[0] + i;
                    const float distance = walker.at(place(cell, {0.5f, 0.5f, 0.5f})).distance;
                    const float depth =
                        m_options.shell ? std::fabs(distance) - m_options.voxel_size : distance;
                    m_kinds[cell] = depth > reach    ? CellKind::eOutside
                                    : depth < -reach ? CellKind::eInside
                                                     : CellKind::eCut;
                }
            }
            progress.advance(in_rows.end() - in_rows.begin());
        });
    }

    const SignedDistance& m_distance;
    const ScatterOptions& m_options;
    vec3f m_low{};     ///< lowest corner, in cells
    vec3i m_counts{};  ///< cells on each axis
    std::vector<CellKind> m_kinds;
};

void append(const std::vector<std::vector<vec3f>>& in_parts, std::vector<vec3f>& io_points)
{
    for (const std::vector<vec3f>& part : in_parts) {
        io_points.insert(io_points.end(), part.begin(), part.end());
    }
}

/// Refuses what the machine cannot hold, before it starts to swap.
void checkMemory(double in_points)
{
    constexpr double kBytesOfPoint = 150.0;
    const double there = double(sysconf(_SC_PHYS_PAGES)) * double(sysconf(_SC_PAGESIZE));
    if (!(in_points < 4e9 && in_points * kBytesOfPoint < 0.8 * there)) {
        throw ToolError(eDataSaysNo, "about " + std::to_string(in_points) +
                                         " particles do not fit into this machine");
    }
}

std::vector<vec3f> scatterByCell(const CellGrid& in_grid, int in_per_cell)
{
    checkMemory(static_cast<double>(in_grid.numInside()) * in_per_cell);
    std::vector<std::vector<vec3f>> rows(static_cast<std::size_t>(in_grid.numRows()));
    Progress progress("Scattering", in_grid.numRows());
    tbb::parallel_for(tbb::blocked_range<int>(0, in_grid.numRows()), [&](const auto& in_rows) {
        for (int row = in_rows.begin(); row != in_rows.end(); ++row) {
            in_grid.scatterRow(row, in_per_cell, rows[static_cast<std::size_t>(row)]);
        }
        progress.advance(in_rows.end() - in_rows.begin());
    });
    std::vector<vec3f> points;
    append(rows, points);
    return points;
}

std::vector<vec3f> scatterCount(const CellGrid& in_grid, long long in_count)
{
    constexpr int kTries = 4096;
    constexpr long long kMostBatches = 256;
    constexpr int kMostFailures = 64;
    checkMemory(static_cast<double>(in_count));
    const std::vector<long long> cells = in_grid.cells();
    std::vector<vec3f> points;
    Progress progress("Scattering", in_count);
    long long batch = 0;
    int failures = 0;
    while (static_cast<long long>(points.size()) < in_count && !cells.empty() &&
           failures < kMostFailures) {
        const long long missing = in_count - static_cast<long long>(points.size());
        const long long batches = std::clamp(missing / kTries, 1LL, kMostBatches);
        std::vector<std::vector<vec3f>> parts(static_cast<std::size_t>(batches));
        tbb::parallel_for(0LL, batches, [&](long long n) {
            in_grid.scatterBatch(cells, batch + n, kTries, parts[static_cast<std::size_t>(n)]);
        });
        const std::size_t old_size = points.size();
        append(parts, points);
        failures = points.size() == old_size ? failures + 1 : 0;
        batch += batches;
        progress.advance(static_cast<long long>(points.size() - old_size));
    }
    if (static_cast<long long>(points.size()) > in_count) {
        points.resize(static_cast<std::size_t>(in_count));
    }
    return points;
}

}  // namespace

std::vector<vec3f> scatterPoints(TriangleMesh in_mesh, const ScatterOptions& in_options)
{
    orientOutward(in_mesh);
    const MeshTopology topology = findTopology(in_mesh);
    if (!in_options.shell && !topology.isClosed()) {
        throw ToolError(eDataSaysNo,
                        "the mesh is not closed (" +
                            std::to_string(topology.boundary_edges + topology.inconsistent_edges) +
                            " edges are open or disagree), so it has no inside to fill; --shell "
                            "puts particles around its surface");
    }
    const TriangleBvh tree(in_mesh);
    const SignedDistance distance(tree, topology.isClosed());
    const CellGrid grid(in_mesh, distance, in_options);
    std::vector<vec3f> points = in_options.count ? scatterCount(grid, *in_options.count)
                                                 : scatterByCell(grid, in_options.per_cell);
    if (points.empty() && in_options.count.value_or(1) > 0) {
        throw ToolError(eDataSaysNo, "the mesh encloses no room at this voxel size");
    }
    return points;
}

}  // namespace Skelvar::Tool
