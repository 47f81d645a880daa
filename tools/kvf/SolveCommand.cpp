#include <skelvar/base/NameFunctions.h>
#include <skelvar/numerics/NullSpace.h>
#include <skelvar/numerics/PoissonMatrix.h>
#include <skelvar/numerics/SolvePCG.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Format.h>
#include <tools/kvf/Frames.h>
#include <tools/kvf/ShapeFile.h>
#include <tools/kvf/picture/ResidualPlot.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace Skelvar::Tool {

namespace {

using FloatChannel = VoxelChannel<float>;

struct SolveArguments {
    std::string file;
    FrameOptions frames;
    std::string rhs;
    std::string result;
    std::string sides = "dirichlet";
    float tolerance = 1e-5f;
    int max_iterations = 1000;
    std::string plot;
    std::string output;
    bool force = false;
};

/// The channel as one of float at the centres of cells. Throws `ToolError` if it is another.
std::shared_ptr<FloatChannel> floatChannel(const std::shared_ptr<TreeChannel3DBase>& in_channel)
{
    if (!in_channel->isCastableTo(FloatChannel::typeName())) {
        throw ToolError(eDataSaysNo, in_channel->name() + " is a " +
                                         in_channel->typeMeta()->typeName() + ", not a " +
                                         FloatChannel::typeName());
    }
    if (in_channel->offsetType() != eOffsetCentre) {
        throw ToolError(eDataSaysNo, in_channel->name() + " has its values on faces, edges or " +
                                         "corners, not at the centres of cells");
    }
    return std::static_pointer_cast<FloatChannel>(in_channel);
}

/// The channel for the result: a new one, or the one of that name.
std::shared_ptr<FloatChannel> resultChannel(const ShapeFile& in_file, const std::string& in_name)
{
    if (in_file.shape->hasChannel(in_name)) {
        return floatChannel(in_file.shape->channelBasePtr(in_name));
    }
    const std::string name =
        in_name.find('/') == std::string::npos ? in_file.shape->name() + "/" + in_name : in_name;
    if (NS::substitueBadChars(name, '_') != name) {
        throw ToolError(eMisuse, "no channel can be named " + name);
    }
    if (!in_file.shape->hasChannel(name)) {
        const QuietOutput quiet;
        in_file.state->newVoxelChannel<float>(name, in_file.shape->name(), eOffsetCentre, 0.0f);
    }
    if (!in_file.shape->hasChannel(name)) {
        throw ToolError(eDataSaysNo, "the channel " + name + " cannot be made");
    }
    return floatChannel(in_file.shape->channelBasePtr(name));
}

/// Calls `in_body(values of the tile, depth, tile)` for all tiles.
template <typename Body>
void forTiles(const VoxelLayout& in_layout, const Body& in_body)
{
    for (int depth = 0; depth <= kMaxTileDepth; ++depth) {
        for (int tile = 0; tile < in_layout.numNodes(depth); ++tile) {
            in_body(depth, tile);
        }
    }
}

/// Gives each cell with a tile below it the mean of that tile.
void averageUpwards(const VoxelLayout& in_layout, FloatChannel& io_channel)
{
    for (int depth = kMaxTileDepth - 1; depth >= 0; --depth) {
        for (int tile = 0; tile < in_layout.numNodes(depth); ++tile) {
            const VoxelLayoutNode& node = in_layout.node(tile, depth);
            for (int cell = 0; cell < kTileSize; ++cell) {
                if (node.childExists(cell)) {
                    const float* const fine = io_channel.tile(node.child(cell), depth + 1).data();
                    double sum = 0.0;
                    for (int n = 0; n < kTileSize; ++n) {
                        sum += double(fine[n]);
                    }
                    io_channel.tile(tile, depth).data()[cell] = float(sum / kTileSize);
                }
            }
        }
    }
}

struct Solution {
    bool solved = false;
    float residual = 0.0f;
    std::vector<float> residuals;  ///< after each pass
};

Solution solvePoisson(const VoxelLayout& in_layout, const FloatChannel& in_source,
                      const SolveArguments& in_arguments, FloatChannel& out_result)
{
    PoissonDomain domain;
    const bool closed = in_arguments.sides == "neumann";
    std::fill_n(domain.sides, 6, closed ? ePoissonNeumann : ePoissonDirichlet);
    SparseMatrix<float> A;
    makePoissonMatrix(in_layout, domain, &A);
    GenericDenseVector<float> b(in_layout, 0.0f);
    GenericDenseVector<float> x(in_layout, 0.0f);
    forTiles(in_layout, [&](int in_depth, int in_tile) {
        const double width = VoxelLayout::cellWidth(in_depth);
        const double scale = width * width * width * double(in_layout.MVS() * in_layout.MVS());
        const VoxelLayoutNode& node = in_layout.node(in_tile, in_depth);
        const float* const source = in_source.tile(in_tile, in_depth).data();
        float* const values = b.tileData(in_tile, in_depth);
        for (int cell = 0; cell < kTileSize; ++cell) {
            values[cell] = float(scale * double(source[cell]));
            if (!std::isfinite(values[cell]) && !node.childExists(cell)) {
                throw ToolError(eDataSaysNo, "channel " + in_source.name() +
                                                 " cannot be solved for: it holds " +
                                                 shortNumber(double(source[cell])));
            }
        }
    });
    GenericDenseVector<int> ids(in_layout, -1);
    array1<std::pair<int, int>> pairs;
    const int parts = closed ? findUnitNullSpace(A, &ids, &pairs) : 0;

    Solution solution;
    array1<float> history;
    int iterations = 0;
    solution.solved = solvePCG(A, b, &x, parts, &ids, &pairs, nullptr, in_arguments.max_iterations,
                               in_arguments.tolerance, &iterations, &solution.residual, history);
    solution.residuals.assign(history.begin(), history.end());
    forTiles(in_layout, [&](int in_depth, int in_tile) {
        std::copy_n(x.tileData(in_tile, in_depth), kTileSize,
                    out_result.tile(in_tile, in_depth).data());
    });
    averageUpwards(in_layout, out_result);
    return solution;
}

FrameResult solveFile(const FrameTask& in_task, const SolveArguments& in_arguments)
{
    checkMayWrite(in_task.output, in_arguments.force || in_task.output == in_task.input);
    const ShapeFile file = loadShapeFile(in_task.input);
    const int frame = in_task.frame.value_or(file.info.frame);
    const VoxelLayout& layout = file.voxelShape()->layout();
    const std::string plot =
        in_arguments.plot.empty() ? std::string() : framePath(in_arguments.plot, frame);
    if (!plot.empty()) {
        checkOutput(plot);
    }
    const auto source = floatChannel(file.channel(in_arguments.rhs));
    const auto result = resultChannel(file, in_arguments.result);
    const Solution solution = solvePoisson(layout, *source, in_arguments, *result);

    std::string text;
    for (std::size_t n = 0; n < solution.residuals.size(); ++n) {
        text += padLeft(std::to_string(n + 1), 6) + "  " +
                shortNumber(double(solution.residuals[n])) + "\n";
    }
    if (!plot.empty()) {
        writePicture(drawResiduals(
                         solution.residuals, in_arguments.tolerance,
                         "Relative residual by pass, " + in_arguments.rhs + " of " + in_task.input),
                     plot);
        text += plot + "\n";
    }
    if (!solution.solved) {
        return {text, eDataSaysNo,
                "not solved: the relative residual is " + shortNumber(double(solution.residual)) +
                    " after " + std::to_string(solution.residuals.size()) +
                    " passes; nothing was saved"};
    }
    const std::string written =
        saveShapeFile(*file.state, in_task.output, file.shape->name(), file.channelNames(), frame,
                      kvfQuality(file.info.quality));
    return {text + written + ": " + result->name() + "\n"};
}

ExitStatus run(const SolveArguments& in_arguments)
{
    const bool in_place = in_arguments.output.empty();
    if (in_place && in_arguments.frames.skip_existing) {
        throw ToolError(eMisuse, "--skip-existing goes with -o: without it FILE is written itself");
    }
    if (isSequence(in_arguments.file, in_arguments.frames) && !in_arguments.plot.empty() &&
        !hasFramePattern(in_arguments.plot)) {
        throw ToolError(eMisuse, "every frame's plot would go to " + in_arguments.plot +
                                     "; give it a frame pattern, as in name.#.png");
    }
    const auto tasks = selectFrames(
        in_arguments.file, in_place ? in_arguments.file : in_arguments.output, in_arguments.frames);
    return runFrames("solving", tasks, in_arguments.frames,
                     [&](const FrameTask& in_task) { return solveFile(in_task, in_arguments); });
}

void addPoisson(Command& io_command, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<SolveArguments>();
    Command command = io_command.command(
        "poisson",
        "Solves -div grad u = f on the finest cells, in world units, with u = 0 one "
        "cell beyond the tree or nothing flowing out of it");
    command.option("FILE", arguments->file, "file to read, and to add u to").required();
    command.option("--rhs", arguments->rhs, "channel with f").required();
    command.option("--out", arguments->result, "channel for u, made if it is not there").required();
    command.option("--tolerance", arguments->tolerance, "relative residual to reach")
        .notNegative()
        .showDefault();
    command.option("--max-iterations", arguments->max_iterations, "most passes")
        .notNegative()
        .showDefault();
    command.option("--sides", arguments->sides, "what the tree ends with")
        .oneOf({"dirichlet", "neumann"})
        .showDefault();
    command.option("--plot", arguments->plot, "picture of the residuals to write").endingIn(".png");
    command.option("-o", arguments->output, "file to write instead of FILE");
    command.flag("-f,--force", arguments->force, "overwrite the file of -o if it is there");
    addFrameOptions(command, true, arguments->frames);
    command.onRun([arguments, &out_status] { out_status = run(*arguments); });
}

}  // namespace

void addSolveCommand(Command& io_tool, ExitStatus& out_status)
{
    Command command =
        io_tool.command("solve", "Solves an equation and adds the result to the file");
    command.requireCommand();
    addPoisson(command, out_status);
}

}  // namespace Skelvar::Tool
