#include <skelvar/sampling/Sampler3D.h>
#include <skelvar/voxel/TreeShape3DBase.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <tools/kvf/ChannelValues.h>
#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Frames.h>
#include <tools/kvf/Output.h>
#include <tools/kvf/Points.h>
#include <tools/kvf/SamplerKind.h>
#include <tools/kvf/ShapeFile.h>

#include <tbb/parallel_for.h>

#include <algorithm>
#include <charconv>
#include <functional>
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

constexpr std::size_t kPointsOfBlock = 4096;    ///< sampled and written by one thread
constexpr std::size_t kPointsOfBatch = 262144;  ///< whose values are held at a time

/// Calls `in_body(begin, end)` for blocks of [0, in_count), side by side if that is allowed, else
/// in order.
template <typename Body>
void forBlocks(std::size_t in_count, bool in_parallel, const Body& in_body)
{
    const std::size_t blocks = (in_count + kPointsOfBlock - 1) / kPointsOfBlock;
    const auto block = [&](std::size_t in_block) {
        in_body(in_block * kPointsOfBlock, std::min(in_count, (in_block + 1) * kPointsOfBlock));
    };
    if (in_parallel) {
        tbb::parallel_for(std::size_t(0), blocks, block);
    } else {
        for (std::size_t n = 0; n < blocks; ++n) {
            block(n);
        }
    }
}

using RowSink = std::function<void(const std::string&)>;

/// Samples a channel at points and writes their rows, a batch after the other.
template <typename T>
class RowSampler {
public:
    RowSampler(const VoxelChannel<T>& in_channel, const std::optional<int>& in_frame,
               const SampleArguments& in_arguments)
        : m_channel(in_channel), m_frame(in_frame), m_arguments(in_arguments), m_series(sampler())
    {
    }

    /// Hands the rows to `in_write`, a batch at a time.
    void sample(const std::vector<vec3f>& in_points, const RowSink& in_write)
    {
        const std::size_t most = std::min(in_points.size(), kPointsOfBatch);
        m_values = std::make_unique<T[]>(most);
        m_gradients = std::make_unique<Gradient[]>(m_arguments.gradient ? most : 0);
        for (std::size_t begin = 0; begin < in_points.size(); begin += kPointsOfBatch) {
            const std::size_t count = std::min(in_points.size() - begin, kPointsOfBatch);
            samplePoints(&in_points[begin], count);
            in_write(rowsOf(&in_points[begin], count));
        }
    }

private:
    using Gradient = orvel::Math::vec<3, T>;

    std::shared_ptr<Sampler3D<T>> sampler() const
    {
        return std::static_pointer_cast<Sampler3D<T>>(makeSampler(
            m_channel, m_arguments.kind, m_arguments.space == "world" ? eWorldSpace : eTreeSpace));
    }

    void samplePoints(const vec3f* in_points, std::size_t in_count)
    {
        // What qbspline gives may depend on what it gave before: it has one series of points.
        const bool in_parallel = m_arguments.kind != "qbspline";
        forBlocks(in_count, in_parallel, [&](std::size_t in_begin, std::size_t in_end) {
            const auto reader = in_parallel ? sampler() : m_series;
            const long long count = static_cast<long long>(in_end - in_begin);
            if (m_arguments.gradient) {
                reader->sampleGradient(in_points + in_begin, count, &m_values[in_begin],
                                       &m_gradients[in_begin]);
            } else {
                reader->sample(in_points + in_begin, count, &m_values[in_begin]);
            }
        });
    }

    std::string rowsOf(const vec3f* in_points, std::size_t in_count) const
    {
        std::vector<Rows> blocks((in_count + kPointsOfBlock - 1) / kPointsOfBlock);
        forBlocks(in_count, true, [&](std::size_t in_begin, std::size_t in_end) {
            Rows& rows = blocks[in_begin / kPointsOfBlock];
            for (std::size_t n = in_begin; n < in_end; ++n) {
                if (m_frame) {
                    rows.add(*m_frame);
                }
                rows.add(in_points[n]);
                rows.add(m_values[n]);
                for (int axis = 0; m_arguments.gradient && axis < 3; ++axis) {
                    rows.add(m_gradients[n][axis]);
                }
                rows.endRow();
            }
        });
        std::string text;
        for (const Rows& rows : blocks) {
            text += rows.text();
        }
        return text;
    }

    const VoxelChannel<T>& m_channel;
    const std::optional<int>& m_frame;
    const SampleArguments& m_arguments;
    std::shared_ptr<Sampler3D<T>> m_series;  ///< for points in order
    std::unique_ptr<T[]> m_values;           ///< of a batch, as is the next
    std::unique_ptr<Gradient[]> m_gradients;
};

/// Writes the rows of one file, each headed by the frame if there is one.
void sampleFile(const std::string& in_path, const std::optional<int>& in_frame,
                const std::vector<vec3f>& in_points, const SampleArguments& in_arguments,
                const RowSink& in_write)
{
    const ShapeFile file = loadShapeFile(in_path);
    file.voxelShape();
    const auto channel = file.channel(in_arguments.channel);
    visitVoxelChannel(*channel, [&]<typename T>(const VoxelChannel<T>& in_channel) {
        RowSampler<T>(in_channel, in_frame, in_arguments).sample(in_points, in_write);
    });
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
        // Frames wait for those before them; the rows of a lone one, which may be many, need not.
        FrameResult result;
        sampleFile(in_task.input, frame, points, in_arguments, [&](const std::string& in_rows) {
            if (tasks.size() == 1) {
                printOutput(in_rows);
            } else {
                result.text += in_rows;
            }
        });
        return result;
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
