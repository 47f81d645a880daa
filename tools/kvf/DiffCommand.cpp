#include <skelvar/particles/ParticleShape.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/ChannelDiff.h>
#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Format.h>
#include <tools/kvf/Frames.h>
#include <tools/kvf/ParticleDiff.h>
#include <tools/kvf/ShapeFile.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <set>

namespace Skelvar::Tool {

namespace {

struct DiffArguments {
    std::string file_a;
    std::string file_b;
    FrameOptions frames;
    Tolerance tolerance;
    std::string id = "id";
};

/// Tiles of one layout that the other has not.
long long numOnlyIn(const VoxelLayout& in_layout, const VoxelLayout& in_other)
{
    long long count = 0;
    for (int depth = 0; depth <= kMaxTileDepth; ++depth) {
        for (int n = 0; n < in_layout.numNodes(depth); ++n) {
            const VoxelLayoutNode& node = in_layout.node(n, depth);
            if (node.valid()) {
                const TileIndex match = in_other.nodeIndex<true>(node.id());
                count += match.first >= 0 && match.second == depth ? 0 : 1;
            }
        }
    }
    return count;
}

bool standAlike(const TreeShape3DBase& in_a, const TreeShape3DBase& in_b)
{
    const vec3f points[] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    return std::all_of(std::begin(points), std::end(points), [&](const vec3f& in_point) {
        return in_a.wsx(in_point) == in_b.wsx(in_point);
    });
}

/// The lines on two files, and whether they differ.
class Comparison {
public:
    Comparison(const std::string& in_path_a, const std::string& in_path_b,
               const DiffArguments& in_arguments)
        : m_a(loadShapeFile(in_path_a)),
          m_b(loadShapeFile(in_path_b)),
          m_tolerance(in_arguments.tolerance)
    {
        if (m_a.info.shapeType != m_b.info.shapeType) {
            throw ToolError(eDataSaysNo, m_a.path + " holds a " + m_a.info.shapeType + ", " +
                                             m_b.path + " a " + m_b.info.shapeType);
        }
        compareTrees();
        if (m_a.shape->isCastableTo(ParticleShape::typeName())) {
            matchParticles(in_arguments.id);
        }
        const std::vector<std::string> names_a = m_a.channelNames();
        const std::vector<std::string> names_b = m_b.channelNames();
        std::set<std::string> names(names_a.begin(), names_a.end());
        names.insert(names_b.begin(), names_b.end());
        for (const std::string& name : names) {
            compareChannels(name);
        }
    }

    FrameResult result() const
    {
        return {
            m_a.path + " and " + m_b.path + (m_differ ? ": different\n" : ": the same\n") + m_text,
            m_differ ? eDataSaysNo : eDone};
    }

private:
    void note(const std::string& in_line)
    {
        m_text += "  " + in_line + "\n";
        m_differ = true;
    }

    void compareTrees()
    {
        if (!standAlike(*m_a.shape, *m_b.shape)) {
            note("the shapes stand differently in world space");
        }
        const VoxelLayout& a = m_a.layout();
        const VoxelLayout& b = m_b.layout();
        noteAlone("tiles", numOnlyIn(a, b), numOnlyIn(b, a));
    }

    void matchParticles(const std::string& in_id)
    {
        m_match.emplace(*m_a.particleShape(), *m_a.channel(in_id), *m_b.particleShape(),
                        *m_b.channel(in_id));
        noteAlone("particles", m_match->numOnlyInA(), m_match->numOnlyInB());
    }

    template <typename Count>
    void noteAlone(const std::string& in_things, Count in_only_a, Count in_only_b)
    {
        if (in_only_a > 0 || in_only_b > 0) {
            note(std::to_string(in_only_a) + " " + in_things + " only in the first, " +
                 std::to_string(in_only_b) + " only in the second");
        }
    }

    void compareChannels(const std::string& in_name)
    {
        const bool in_a = m_a.shape->hasChannel(in_name);
        if (!in_a || !m_b.shape->hasChannel(in_name)) {
            note(in_name + " is only in the " + (in_a ? "first" : "second"));
            return;
        }
        const auto a = m_a.shape->channelBasePtr(in_name);
        const auto b = m_b.shape->channelBasePtr(in_name);
        if (a->typeMeta()->typeName() != b->typeMeta()->typeName()) {
            note(in_name + " is a " + a->typeMeta()->typeName() + " in the first, a " +
                 b->typeMeta()->typeName() + " in the second");
            return;
        }
        const ChannelDiff diff =
            m_match ? m_match->diff(*a, *b, m_tolerance)
                    : diffChannels(*m_a.voxelShape(), *a, *m_b.voxelShape(), *b, m_tolerance);
        m_differ = m_differ || diff.num_different > 0;
        m_text += "  " + in_name + ": " + describe(diff) + "\n";
    }

    static std::string describe(const ChannelDiff& in_diff)
    {
        const std::string of_all = " of " + std::to_string(in_diff.num_values) + " values differ";
        if (in_diff.largest == 0.0) {
            return "0" + of_all;
        }
        const auto number = [](double in_value) { return shortNumber(in_value, 7); };
        const auto coordinate = [&](int in_axis) { return number(double(in_diff.place[in_axis])); };
        return std::to_string(in_diff.num_different) + of_all + ", largest " +
               number(in_diff.largest) + " at (" + coordinate(0) + ", " + coordinate(1) + ", " +
               coordinate(2) + "), depth " + std::to_string(in_diff.depth) + ", where " +
               number(in_diff.value_a) + " meets " + number(in_diff.value_b) + ", mean " +
               number(in_diff.mean);
    }

    ShapeFile m_a;
    ShapeFile m_b;
    std::optional<ParticleMatch> m_match;  ///< for shapes of particles
    Tolerance m_tolerance;
    std::string m_text;
    bool m_differ = false;
};

/// Tells of the frames that only one of two sequences has, and takes them off the steps. Gives
/// whether there are any.
bool tellUnpaired(const DiffArguments& in_arguments, std::vector<FrameTask>& io_tasks)
{
    std::set<int> in_a;
    std::set<int> in_b;
    for (const FrameFile& file : findFrames(in_arguments.file_a)) {
        in_a.insert(file.frame);
    }
    for (const FrameFile& file : findFrames(in_arguments.file_b)) {
        in_b.insert(file.frame);
    }
    bool is_any = false;
    const auto tellIfAlone = [&](int in_frame, const std::set<int>& in_others,
                                 const std::string& in_sequence) {
        if (in_others.count(in_frame) != 0) {
            return false;
        }
        printOutput("frame " + std::to_string(in_frame) + " is only in " + in_sequence + "\n");
        is_any = true;
        return true;
    };
    std::erase_if(io_tasks, [&](const FrameTask& in_task) {
        return tellIfAlone(*in_task.frame, in_b, in_arguments.file_a);
    });
    const std::string& frames = in_arguments.frames.frames;
    const FrameRange range = frames.empty() ? FrameRange() : parseFrameRange(frames);
    for (const int frame : in_b) {
        if (frames.empty() || range.holds(frame)) {
            tellIfAlone(frame, in_a, in_arguments.file_b);
        }
    }
    return is_any;
}

ExitStatus run(const DiffArguments& in_arguments)
{
    // A pattern in the second path is to the first as an output to its input: the same frame in its
    // place. Without one all frames are held against the one file.
    const std::string& b = in_arguments.file_b;
    auto tasks =
        selectFrames(in_arguments.file_a, hasFramePattern(b) ? b : "", in_arguments.frames);
    for (FrameTask& task : tasks) {
        task.output = task.output.empty() ? b : task.output;
    }
    const bool are_sequences =
        hasFramePattern(b) && isSequence(in_arguments.file_a, in_arguments.frames);
    const bool is_unpaired = are_sequences && tellUnpaired(in_arguments, tasks);
    const ExitStatus status =
        runFrames("comparing", tasks, in_arguments.frames, [&](const FrameTask& in_task) {
            return Comparison(in_task.input, in_task.output, in_arguments).result();
        });
    return std::max(status, is_unpaired ? eDataSaysNo : eDone);
}

}  // namespace

void addDiffCommand(Command& io_tool, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<DiffArguments>();
    Command command = io_tool.command(
        "diff",
        "Compares two files: tiles by place in the tree, particles by id, and for each channel the "
        "largest and the mean difference, and where. Status 1 if they differ");
    command.option("A", arguments->file_a, "first file, or sequence").required();
    command.option("B", arguments->file_b, "second file, or sequence").required();
    command.option("--abs", arguments->tolerance.absolute, "difference that does not count")
        .notNegative()
        .showDefault();
    command
        .option("--rel", arguments->tolerance.relative,
                "the same, times the larger of the two numbers; both add up")
        .notNegative()
        .showDefault();
    command.option("--id", arguments->id, "channel with the ids of particles").showDefault();
    addFrameOptions(command, false, arguments->frames);
    command.onRun([arguments, &out_status] { out_status = run(*arguments); });
}

}  // namespace Skelvar::Tool
