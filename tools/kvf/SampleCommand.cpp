#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <tools/kvf/ChannelValues.h>
#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Frames.h>
#include <tools/kvf/Points.h>
#include <tools/kvf/SamplerKind.h>
#include <tools/kvf/ShapeFile.h>

#include <charconv>
#include <memory>
#include <optional>
#include <string>

namespace Skelvar::Tool {

namespace {

struct SampleArguments {
    std::string file;
    FrameOptions frames;
    std::string channel;
    std::string at;
    std::string points;
    std::string line;
    std::optional<int> count;
    std::string kind = "linear";
    std::string space = "world";
    bool gradient = false;
};

std::vector<vec3f> pointsOf(const SampleArguments& in_arguments)
{
    const int ways = int(!in_arguments.at.empty()) + int(!in_arguments.points.empty()) +
                     int(!in_arguments.line.empty());
    if (ways != 1) {
        throw ToolError(eMisuse, "tell where to sample by one of --at, --points and --line");
    }
    if (in_arguments.count && in_arguments.line.empty()) {
        throw ToolError(eMisuse, "--count goes with --line");
    }
    if (!in_arguments.points.empty()) {
        return readPoints(in_arguments.points);
    }
    if (!in_arguments.at.empty()) {
        const std::vector<float> x = parseNumbers(in_arguments.at, 3, "--at");
        return {{x[0], x[1], x[2]}};
    }
    const std::vector<float> x = parseNumbers(in_arguments.line, 6, "--line");
    return pointsOnLine({x[0], x[1], x[2]}, {x[3], x[4], x[5]}, in_arguments.count.value_or(100));
}

/// Rows of numbers with commas between them, each in the fewest digits that give it back.
class Rows {
public:
    template <typename T>
    void add(const T& in_value)
    {
        if constexpr (ValueComponents<T>::kCount > 1) {
            for (int c = 0; c < ValueComponents<T>::kCount; ++c) {
                add(in_value[c]);
            }
        } else {
            char text[32];
            char* end = text;
            if constexpr (std::is_same_v<T, bool> || std::is_same_v<T, unsigned char>) {
                end = std::to_chars(text, text + sizeof(text), static_cast<int>(in_value)).ptr;
            } else {
                end = std::to_chars(text, text + sizeof(text), in_value).ptr;
            }
            m_text.append(text, end) += ',';
        }
    }
    /// After at least one number.
    void endRow() { m_text.back() = '\n'; }
    const std::string& text() const { return m_text; }

private:
    std::string m_text;
};

/// The rows of one file, each headed by the frame if there is one.
std::string sampleFile(const std::string& in_path, const std::optional<int>& in_frame,
                       const std::vector<vec3f>& in_points, const SampleArguments& in_arguments)
{
    const ShapeFile file = loadShapeFile(in_path);
    file.voxelShape();
    const auto channel = file.channel(in_arguments.channel);
    const auto sampler = makeSampler(*channel, in_arguments.kind,
                                     in_arguments.space == "world" ? eWorldSpace : eTreeSpace);
    Rows rows;
    visitVoxelChannel(*channel, [&]<typename T>(const VoxelChannel<T>&) {
        for (const vec3f& point : in_points) {
            if (in_frame) {
                rows.add(*in_frame);
            }
            rows.add(point);
            T value;
            if (in_arguments.gradient) {
                orvel::Math::vec<3, T> gradient;
                sampler->sampleGradient(point, &value, &gradient);
                rows.add(value);
                for (int axis = 0; axis < 3; ++axis) {
                    rows.add(gradient[axis]);
                }
            } else {
                sampler->sample(point, &value);
                rows.add(value);
            }
            rows.endRow();
        }
    });
    return rows.text();
}

ExitStatus run(const SampleArguments& in_arguments)
{
    const std::vector<vec3f> points = pointsOf(in_arguments);
    if (in_arguments.gradient && in_arguments.kind == "weno") {
        throw ToolError(eMisuse, "the kind weno has no gradient");
    }
    const bool is_sequence = isSequence(in_arguments.file, in_arguments.frames);
    const auto tasks = selectFrames(in_arguments.file, "", in_arguments.frames);
    return runFrames("sampling", tasks, in_arguments.frames, [&](const FrameTask& in_task) {
        const auto frame = is_sequence ? in_task.frame : std::nullopt;
        return FrameResult{sampleFile(in_task.input, frame, points, in_arguments)};
    });
}

}  // namespace

void addSampleCommand(Command& io_tool, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<SampleArguments>();
    Command command = io_tool.command(
        "sample",
        "Reads a channel at points, and prints rows x,y,z,value[,gradient], each headed by its "
        "frame for a sequence");
    command.option("FILE", arguments->file, "file to read").required();
    command.option("--channel", arguments->channel, "channel to read").required();
    command.option("--at", arguments->at, "one point, as x,y,z");
    command.option("--points", arguments->points,
                   "file of points: the first three columns of its rows");
    command.option("--line", arguments->line, "points on a line, as x0,y0,z0,x1,y1,z1");
    command.option("--count", arguments->count, "how many points on the line (100)")
        .inRange(1, 100000000);
    addKindOption(command, arguments->kind).showDefault();
    command.flag("--gradient", arguments->gradient,
                 "print the gradient too: by linear per finest cell, by qbspline per cell of "
                 "the tile");
    command.option("--space", arguments->space, "space of the points")
        .oneOf({"world", "tree"})
        .showDefault();
    addFrameOptions(command, false, arguments->frames);
    command.onRun([arguments, &out_status] { out_status = run(*arguments); });
}

}  // namespace Skelvar::Tool
