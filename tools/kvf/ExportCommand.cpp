#include <skelvar/particles/ParticleShape.h>
#include <skelvar/particles/ReblockByPosition.h>
#include <skelvar/tree/PointDomain.h>
#include <skelvar/tree/VoxelLayout.h>

#include <tools/kvf/ChannelValues.h>
#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Format.h>
#include <tools/kvf/Frames.h>
#include <tools/kvf/ShapeFile.h>

#include <bit>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <type_traits>

namespace Skelvar::Tool {

namespace {

struct ExportArguments {
    std::string file;
    std::string output;
    FrameOptions frames;
};

/// One channel as columns of a table of particles.
class Column {
public:
    virtual ~Column() = default;
    /// Names of the components, separated by commas.
    virtual std::vector<std::string> names() const = 0;
    /// The word of the PLY format for a component.
    virtual const char* plyType() const = 0;
    virtual void appendText(const TileIndex& in_tile, unsigned long in_index,
                            std::string& io_line) const = 0;
    virtual void appendBytes(const TileIndex& in_tile, unsigned long in_index,
                             std::string& io_bytes) const = 0;
};

/// The place of a particle in the world, or any other channel as it is.
template <typename T>
class ColumnOf final : public Column {
public:
    ColumnOf(const ParticleChannel<T>& in_channel, const TreeShape3DBase* in_place)
        : m_channel(in_channel), m_place(in_place)
    {
    }
    std::vector<std::string> names() const override
    {
        const std::string& full = m_channel.name();
        const std::string name = full.substr(full.rfind('/') + 1);
        std::vector<std::string> names;
        for (int c = 0; c < Components::kCount; ++c) {
            std::string component = m_place != nullptr ? "" : name;
            if (Components::kCount > 1) {
                component += m_place != nullptr ? "" : "_";
                component += "xyzw"[c];
            }
            names.push_back(component);
        }
        return names;
    }
    const char* plyType() const override
    {
        return std::is_same_v<Number, float>           ? "float"
               : std::is_same_v<Number, int>           ? "int"
               : std::is_same_v<Number, unsigned int>  ? "uint"
               : std::is_same_v<Number, unsigned char> ? "uchar"
                                                       : "double";
    }
    void appendText(const TileIndex& in_tile, unsigned long in_index,
                    std::string& io_line) const override
    {
        const T element = value(in_tile, in_index);
        for (int c = 0; c < Components::kCount; ++c) {
            char text[40];
            if constexpr (std::is_same_v<Number, float>) {
                std::snprintf(text, sizeof(text), "%.9g", Components::get(element, c));
                io_line += text;
            } else {
                io_line += std::to_string(Components::at(element, c));
            }
            io_line += ',';
        }
    }
    void appendBytes(const TileIndex& in_tile, unsigned long in_index,
                     std::string& io_bytes) const override
    {
        static_assert(std::endian::native == std::endian::little);
        // The format has no whole numbers of 64 bits.
        using Stored = std::conditional_t<sizeof(Number) == 8, double, Number>;
        const T element = value(in_tile, in_index);
        for (int c = 0; c < Components::kCount; ++c) {
            const Stored stored = static_cast<Stored>(Components::at(element, c));
            io_bytes.append(reinterpret_cast<const char*>(&stored), sizeof(stored));
        }
    }

private:
    using Components = ValueComponents<T>;

    using Number = std::decay_t<decltype(Components::at(T{}, 0))>;

    T value(const TileIndex& in_tile, unsigned long in_index) const
    {
        const T& element = m_channel.tile(in_tile)[in_index];
        if constexpr (std::is_same_v<T, vec3f>) {
            return m_place != nullptr ? m_place->wsx(element) : element;
        } else {
            return element;
        }
    }

    const ParticleChannel<T>& m_channel;
    const TreeShape3DBase* m_place;  ///< of the particles, null for other channels
};

using Columns = std::vector<std::unique_ptr<Column>>;

/// The places first, then the other channels in the order of their names.
Columns makeColumns(const ShapeFile& in_file, const ParticleShape& in_shape)
{
    const auto position = positionChannel(in_shape);
    if (!position) {
        throw ToolError(eDataSaysNo, in_file.path + " has no channel of positions");
    }
    Columns columns;
    const auto add = [&](const std::string& in_name, const TreeShape3DBase* in_place) {
        visitParticleChannel(*in_shape.channelBasePtr(in_name), [&](const auto& in_channel) {
            using T = typename std::decay_t<decltype(in_channel)>::value_type;
            columns.push_back(std::make_unique<ColumnOf<T>>(in_channel, in_place));
        });
    };
    add(position->name(), &in_shape);
    for (const std::string& name : in_file.channelNames()) {
        if (name != position->name()) {
            add(name, nullptr);
        }
    }
    return columns;
}

/// Calls `in_body(tile, index)` for each particle that has a place.
template <typename Body>
void forEachParticle(const ParticleShape& in_shape, const Body& in_body)
{
    const auto positions = positionChannel(in_shape);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int n = 0; n < in_shape.layout().numNodes(depth); ++n) {
            const TileIndex tile{n, depth};
            for (unsigned long index = 0; index < in_shape.numElements(tile); ++index) {
                if (isInCells(positions->tile(tile)[index])) {
                    in_body(tile, index);
                }
            }
        }
    }
}

unsigned long long countParticles(const ParticleShape& in_shape)
{
    unsigned long long count = 0;
    forEachParticle(in_shape, [&](const TileIndex&, unsigned long) { ++count; });
    return count;
}

void writeCsv(const ParticleShape& in_shape, const Columns& in_columns, std::ostream& io_file)
{
    std::string line;
    for (const auto& column : in_columns) {
        for (const std::string& name : column->names()) {
            line += name + ",";
        }
    }
    const auto flush = [&] {
        line.back() = '\n';
        io_file << line;
        line.clear();
    };
    flush();
    forEachParticle(in_shape, [&](const TileIndex& in_tile, unsigned long in_index) {
        for (const auto& column : in_columns) {
            column->appendText(in_tile, in_index, line);
        }
        flush();
    });
}

void writePly(const ParticleShape& in_shape, unsigned long long in_count, const Columns& in_columns,
              std::ostream& io_file)
{
    io_file << "ply\nformat binary_little_endian 1.0\nelement vertex " << in_count << "\n";
    for (const auto& column : in_columns) {
        for (const std::string& name : column->names()) {
            io_file << "property " << column->plyType() << " " << name << "\n";
        }
    }
    io_file << "end_header\n";
    std::string bytes;
    forEachParticle(in_shape, [&](const TileIndex& in_tile, unsigned long in_index) {
        bytes.clear();
        for (const auto& column : in_columns) {
            column->appendBytes(in_tile, in_index, bytes);
        }
        io_file << bytes;
    });
}

FrameResult exportFile(const FrameTask& in_task, bool in_as_ply)
{
    checkOutput(in_task.output);
    const ShapeFile file = loadShapeFile(in_task.input);
    const std::shared_ptr<ParticleShape> shape = file.particleShape();
    const Columns columns = makeColumns(file, *shape);
    const unsigned long long count = countParticles(*shape);
    OutputFile output(in_task.output);
    std::ofstream stream(output.path(), std::ios::binary);
    if (stream) {
        if (in_as_ply) {
            writePly(*shape, count, columns, stream);
        } else {
            writeCsv(*shape, columns, stream);
        }
        stream.close();
    }
    if (!stream) {
        throw ToolError(eFileUnreadable, in_task.output + " cannot be written");
    }
    output.commit();
    const unsigned long long strays = shape->numParticles() - count;
    const std::string note = strays == 0 ? "" : leftOutNote(strays);
    return {note + in_task.output + ": " + std::to_string(count) + " particles\n"};
}

ExitStatus run(const ExportArguments& in_arguments)
{
    const std::string extension = std::filesystem::path(in_arguments.output).extension().string();
    if (extension != ".ply" && extension != ".csv") {
        throw ToolError(eMisuse, "the output must end in .ply or .csv");
    }
    const auto tasks = selectFrames(in_arguments.file, in_arguments.output, in_arguments.frames);
    return runFrames("exporting", tasks, in_arguments.frames, [&](const FrameTask& in_task) {
        return exportFile(in_task, extension == ".ply");
    });
}

}  // namespace

void addExportCommand(Command& io_tool, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<ExportArguments>();
    Command command =
        io_tool.command("export", "Writes particles as points with all channels, as PLY or CSV");
    command.option("FILE", arguments->file, "file to read").required();
    command.option("OUT", arguments->output, "file to write, ending in .ply or .csv").required();
    addFrameOptions(command, true, arguments->frames);
    command.onRun([arguments, &out_status] { out_status = run(*arguments); });
}

}  // namespace Skelvar::Tool
