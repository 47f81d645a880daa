// The tree: walking over it, refining it and grading it.

#include <bench/support/Harness.h>
#include <bench/support/Inputs.h>
#include <bench/support/Scene.h>
#include <bench/support/Tiles.h>

#include <skelvar/tree/Grading.h>
#include <skelvar/tree/NodeIteratorBase.h>
#include <skelvar/tree/RefineLayout.h>
#include <skelvar/tree/VoxelLayoutNodeVisitor.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using Bench::Scene;
using Bench::vec3f;
using Skelvar::kMaxTileDepth;
using Skelvar::VoxelLayout;
using Skelvar::VoxelLayoutNode;
using Skelvar::VoxelShape;

const std::vector<vec3f>& points(bool in_ordered)
{
    static const std::vector<vec3f> s_random = Bench::shellPoints();
    static const std::vector<vec3f> s_ordered = Bench::orderedShellPoints();
    return in_ordered ? s_ordered : s_random;
}

double million(double in_count)
{
    return in_count * 1e-6;
}

void refine(VoxelLayout& io_layout, const std::vector<vec3f>& in_points)
{
    Skelvar::refineLayout(&io_layout, static_cast<VoxelShape*>(nullptr), in_points.begin(),
                          in_points.end(), 1.0f, Skelvar::eOffsetCorner);
}

/// A tree of the tiles around points by `refineLayout`, made and dropped.
void addPointJobs(bool in_channel)
{
    for (const int threads : {1, 2}) {
        for (const bool ordered : {false, true}) {
            const std::string job = ordered ? "topology.ordered.points" : "topology.random.points";
            Bench::add({job + (in_channel ? "/skelvar-refine-channel" : "/skelvar-refine"), threads,
                        "Mpoints/s", [=] { return million(double(points(ordered).size())); },
                        [=] {
                            if (in_channel) {
                                const Scene scene = Bench::makeEmptyScene(0.0f);
                                refine(*scene.layout, points(ordered));
                            } else {
                                VoxelLayout layout;
                                refine(layout, points(ordered));
                            }
                        },
                        [=] { points(ordered); }});
        }
    }
}

/// The tiles of the shell and of the shell moved along x.
std::shared_ptr<VoxelLayout> makeShell(float in_shift)
{
    std::vector<vec3f> moved = points(false);
    for (vec3f& point : moved) {
        point[0] += in_shift;
    }
    auto layout = std::make_shared<VoxelLayout>();
    refine(*layout, moved);
    return layout;
}

void addUnionJob()
{
    static std::shared_ptr<VoxelLayout> s_shell;
    static std::shared_ptr<VoxelLayout> s_moved;
    static std::shared_ptr<VoxelLayout> s_union;
    Bench::add({"topology.union/skelvar", 2, "Mtiles/s",
                [] { return million(s_moved->numNodes(kMaxTileDepth)); },
                [] { s_union->refine(*s_moved); },
                [] {
                    if (!s_shell) {
                        s_shell = makeShell(0.0f);
                        s_moved = makeShell(40.0f);
                    }
                    s_union = std::static_pointer_cast<VoxelLayout>(s_shell->copy(true));
                }});
}

void addGradingJobs()
{
    static std::shared_ptr<VoxelLayout> s_band;
    const auto prepare = [] {
        s_band = std::static_pointer_cast<VoxelLayout>(Bench::bandScene().layout->copy(true));
    };
    const auto work = [] { return million(s_band->numNodes()); };
    for (const int threads : {1, 2}) {
        Bench::add({"tree.grade/skelvar", threads, "Mtiles/s", work,
                    [] { Skelvar::computeGradedTree(s_band.get()); }, prepare});
    }
    Bench::add({"tree.isgraded/skelvar", 2, "Mtiles/s", work,
                [] { Bench::keep(Skelvar::isTreeGraded(s_band.get())); }, prepare});
}

/// Does nothing at each node.
class EmptyVisitor : public Skelvar::VoxelLayoutNodeVisitor {
public:
    using VoxelLayoutNodeVisitor::postVisit;
    using VoxelLayoutNodeVisitor::preVisit;
    void preVisit(const VoxelLayoutNode*, const Skelvar::TileIndex&) override {}
    void postVisit(const VoxelLayoutNode*, const Skelvar::TileIndex&) override {}
    VoxelLayoutNodeVisitor* copy() const override { return new EmptyVisitor; }
    void join(const VoxelLayoutNodeVisitor&) override {}
    bool visitsChildren() const override { return false; }
};

void addWalkJobs()
{
    const auto band = []() -> const VoxelLayout& { return *Bench::bandScene().layout; };
    const auto work = [=] { return million(band().numNodes(kMaxTileDepth)); };
    const auto prepare = [] { Bench::bandScene(); };
    const auto accept = [=](int in_order) {
        EmptyVisitor visitor;
        band().accept(&visitor, static_cast<VoxelLayout::LayoutTraversalType>(in_order));
    };
    Bench::add({"tree.visitnodes/skelvar", 2, "Mnodes/s", work,
                [=] { accept(VoxelLayout::ParallelByDepthTopDown); }, prepare, 15});
    for (int order = 0; order <= 10; ++order) {
        Bench::add({"tree.walk.order" + std::to_string(order) + "/skelvar", order <= 2 ? 1 : 2,
                    "Mnodes/s", work, [=] { accept(order); }, prepare});
    }
    Bench::add({"tree.neighbours/skelvar", 1, "Mnodes/s",
                [=] { return million(band().numNodes(kMaxTileDepth)); },
                [=] {
                    VoxelLayout::ConstAccessor accessor(band());
                    std::vector<Skelvar::TileIndex> neighbours;
                    double count = 0.0;
                    for (int n = 0; n < band().numNodes(kMaxTileDepth); ++n) {
                        neighbours.clear();
                        accessor.nodeNeighbourIndices({n, kMaxTileDepth}, neighbours);
                        count += static_cast<double>(neighbours.size());
                    }
                    Bench::keep(count);
                },
                prepare});
    Bench::add({"tree.iterate/skelvar", 1, "Mnodes/s", work,
                [=] {
                    const VoxelLayout& layout = band();
                    double cells = 0.0;
                    for (auto it = layout.beginNodes(); it != layout.endNodes(); ++it) {
                        cells += static_cast<double>(it->branchSize());
                    }
                    Bench::keep(cells);
                },
                prepare});
    Bench::add({"tree.iterate/loop", 1, "Mnodes/s", work,
                [=] {
                    double cells = 0.0;
                    for (int depth = 0; depth <= kMaxTileDepth; ++depth) {
                        for (const VoxelLayoutNode& node : band().nodes(depth)) {
                            cells += node.valid() ? static_cast<double>(node.branchSize()) : 0.0;
                        }
                    }
                    Bench::keep(cells);
                },
                prepare});
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    addPointJobs(false);
    addPointJobs(true);
    addUnionJob();
    addGradingJobs();
    addWalkJobs();
    return Bench::runAll(in_argc, in_argv);
}
