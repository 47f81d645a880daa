#pragma once

#include <tests/support/Bytes.h>

#include <zlib.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

// A reader and a writer of files that know the table of bytes and nothing of the library: plain
// C++, one value at a time. What they cannot make sense of throws.
namespace Skelvar::Test {

using Testing::number;
using Testing::text;

/// Reads values one by one from a string of bytes.
class SlowBytes {
public:
    explicit SlowBytes(std::string in_bytes) : m_bytes(std::move(in_bytes)) {}

    std::string raw(std::uint64_t in_count)
    {
        if (in_count > m_bytes.size() - m_place) {
            throw std::runtime_error("SlowBytes: ended at " + std::to_string(m_place));
        }
        m_place += in_count;
        return m_bytes.substr(m_place - in_count, in_count);
    }
    std::uint64_t number(int in_size)
    {
        std::uint64_t value = 0;
        for (const char byte : raw(static_cast<std::uint64_t>(in_size))) {
            value = value * 256 + static_cast<unsigned char>(byte);
        }
        return value;
    }
    int signed32() { return static_cast<int>(static_cast<std::uint32_t>(number(4))); }
    std::string text() { return raw(number(4)); }
    bool atEnd() const { return m_place == m_bytes.size(); }
    std::size_t place() const { return m_place; }

private:
    std::string m_bytes;
    std::size_t m_place = 0;
};

/// All that a file says. Values of elements stay bytes as they lie in memory.
struct SlowFile {
    struct Record {
        std::string name;
        std::string type;
        int max_depth = 0;
        int num_tiles = 0;
        int num_elements = 0;
        unsigned creation_kind = 0;
    };
    struct Node {
        std::uint64_t id = 0;
        int i = 0, j = 0, k = 0, depth = 0, index = 0, parent = 0;
        std::uint64_t branch_size = 0;
        bool valid = false;
        std::string children;  ///< 500 bytes or none
    };
    struct Root {
        std::uint64_t id = 0;
        int index = 0, depth = 0;
    };
    struct Channel {
        std::string background;  ///< big-endian, as in the file
        std::string name, shape_name, custom_type;
        unsigned tag_word = 0;
        std::string tag_text, dictionary;
        int offset_type = 0;
        std::vector<std::string> tiles[8];
    };

    unsigned version = 0;
    int frame = 0;
    std::string shape_name, shape_type, object_name, layout_name;
    std::vector<Record> records;
    unsigned quality = 0;
    std::string dx;  ///< four bytes
    // The layout.
    std::string mvs;
    std::string payload_layout_name;
    bool compact = false;
    int num_nodes = 0, finest_root = 0;
    std::string root_counts;
    std::vector<Root> roots;
    std::vector<Node> nodes[8];
    std::string layout_dictionary;
    // The shape.
    std::string payload_shape_name, shape_layout_name, shape_object_name;
    std::string voxel_sizes, matrices, shape_dictionary;
    std::vector<Channel> channels;

    static SlowFile read(const std::string& in_bytes);
    /// The bytes of another version of the format. Versions 1 to 3 lack some fields.
    std::string write(unsigned in_version) const;
};

namespace Slow {

inline std::size_t elementBytes(const std::string& in_type)
{
    const std::size_t vec = in_type.find("vec<");
    const std::size_t components =
        vec == std::string::npos ? 1 : static_cast<std::size_t>(in_type[vec + 4] - '0');
    return components * (in_type.find("int64") != std::string::npos ? 8 : 4);
}

inline bool inPlanes(const std::string& in_type, unsigned in_quality)
{
    return in_type == "VoxelChannel<float>" && in_quality >= 1;
}

inline std::string inflate(const std::string& in_compressed, std::uint64_t in_size)
{
    std::string out(in_size, '\0');
    uLongf size = in_size;
    if (::uncompress(reinterpret_cast<Bytef*>(out.data()), &size,
                     reinterpret_cast<const Bytef*>(in_compressed.data()),
                     in_compressed.size()) != Z_OK ||
        size != in_size) {
        throw std::runtime_error("Slow::inflate: damaged");
    }
    return out;
}

inline std::string deflateFrame(const std::string& in_bytes)
{
    std::string out(in_bytes.size() * 2 + 100, '\0');
    uLongf size = out.size();
    if (::compress(reinterpret_cast<Bytef*>(out.data()), &size,
                   reinterpret_cast<const Bytef*>(in_bytes.data()), in_bytes.size()) != Z_OK) {
        throw std::runtime_error("Slow::deflateFrame: failed");
    }
    return number(in_bytes.size(), 8) + number(size, 8) + out.substr(0, size);
}

inline void expect(bool in_true, const char* in_what)
{
    if (!in_true) {
        throw std::runtime_error(std::string("SlowFile: ") + in_what);
    }
}

inline SlowFile::Channel readChannel(const std::string& in_bytes, const std::string& in_type,
                                     unsigned in_quality)
{
    SlowBytes in(in_bytes);
    SlowFile::Channel channel;
    expect(in.number(2) == 4, "channel version");
    const std::size_t element = elementBytes(in_type);
    channel.background = in.raw(element);
    channel.name = in.text();
    channel.shape_name = in.text();
    channel.custom_type = in.text();
    expect(in.number(2) == 2, "channel base version");
    channel.tag_word = static_cast<unsigned>(in.number(2));
    channel.tag_text = in.text();
    channel.dictionary = in.text();
    channel.offset_type = static_cast<int>(in.number(1));
    expect(in.number(4) == 8, "depth arrays");
    for (auto& tiles : channel.tiles) {
        const std::uint64_t count = in.number(8);
        for (std::uint64_t n = 0; n < count; ++n) {
            std::string values(125 * element, '\0');
            if (inPlanes(in_type, in_quality)) {
                expect(in.number(8) == 125, "plane length");
                for (std::size_t plane = 0; plane < 4; ++plane) {
                    const std::string bytes = in.raw(125);
                    for (std::size_t v = 0; v < 125; ++v) {
                        values[4 * v + plane] = bytes[v];
                    }
                }
            } else {
                expect(in.number(2) == 2, "tile version");
                expect(in.number(4) == values.size(), "tile bytes");
                values = in.raw(values.size());
            }
            tiles.push_back(values);
        }
    }
    expect(in.atEnd(), "bytes behind the channel");
    return channel;
}

inline std::string writeChannel(const SlowFile::Channel& in_channel, unsigned in_version)
{
    std::string out;
    if (in_version >= 2) {
        out += number(in_version, 2);  // 2 without a custom type, 3 with one
    }
    out += in_channel.background + text(in_channel.name) + text(in_channel.shape_name);
    if (in_version >= 3) {
        out += text(in_channel.custom_type);
    }
    out += number(static_cast<unsigned>(in_channel.offset_type), 1) + number(8, 4);
    for (const auto& tiles : in_channel.tiles) {
        out += number(tiles.size(), 8);
        for (const std::string& tile : tiles) {
            out += (in_version >= 2 ? number(2, 2) : "") + number(tile.size(), 4) + tile;
        }
    }
    return out;
}

}  // namespace Slow

inline SlowFile SlowFile::read(const std::string& in_bytes)
{
    using Slow::expect;
    SlowFile file;
    SlowBytes in(in_bytes);
    expect(in.raw(4) == "\xbb\xee\xee\xff", "magic");
    file.version = static_cast<unsigned>(in.number(4));
    expect(file.version == 4, "version");
    file.frame = in.signed32();
    file.shape_name = in.text();
    file.shape_type = in.text();
    file.object_name = in.text();
    file.layout_name = in.text();
    file.records.resize(in.number(4));
    for (Record& record : file.records) {
        record.name = in.text();
        record.type = in.text();
        record.max_depth = in.signed32();
        record.num_tiles = in.signed32();
        record.num_elements = in.signed32();
        record.creation_kind = static_cast<unsigned>(in.number(2));
    }
    file.quality = static_cast<unsigned>(in.number(2));
    file.dx = in.raw(4);

    expect(in.number(2) == 3, "layout version");
    file.mvs = in.raw(4);
    file.payload_layout_name = in.text();
    file.compact = in.number(1) != 0;
    file.num_nodes = in.signed32();
    file.finest_root = in.signed32();
    expect(in.number(4) == 32, "root counts");
    file.root_counts = in.raw(32);
    file.roots.resize(in.number(8));
    for (Root& root : file.roots) {
        root.id = in.number(8);
        root.index = in.signed32();
        root.depth = in.signed32();
    }
    expect(in.number(4) == 8, "depths");
    for (auto& nodes : file.nodes) {
        nodes.resize(in.number(8));
        for (Node& node : nodes) {
            expect(in.number(2) == 2, "node version");
            node.id = in.number(8);
            for (int* field : {&node.i, &node.j, &node.k, &node.depth, &node.index, &node.parent}) {
                *field = in.signed32();
            }
            node.branch_size = in.number(8);
            node.valid = in.number(1) != 0;
            node.children = in.raw(in.number(4));
        }
    }
    file.layout_dictionary = in.text();

    expect(in.number(2) == 4, "shape version");
    file.payload_shape_name = in.text();
    file.shape_layout_name = in.text();
    file.shape_object_name = in.text();
    file.voxel_sizes = in.raw(8);
    file.matrices = in.raw(128);
    file.shape_dictionary = in.text();

    for (const Record& record : file.records) {
        const std::uint64_t size = in.number(8);
        const std::uint64_t chunks = in.number(8);
        std::string bytes;
        for (std::uint64_t n = 0; n < chunks; ++n) {
            const std::uint64_t chunk_size = in.number(8);
            bytes += Slow::inflate(in.raw(in.number(8)), chunk_size);
        }
        expect(bytes.size() == size, "sum of the chunks");
        file.channels.push_back(Slow::readChannel(bytes, record.type, file.quality));
    }
    expect(in.atEnd(), "bytes behind the last channel");
    return file;
}

inline std::string SlowFile::write(unsigned in_version) const
{
    const bool has_versions = in_version >= 2;
    std::string out = std::string("\xbb\xee\xee\xff") + number(in_version, 4) +
                      number(static_cast<std::uint32_t>(frame), 4);
    out += text(shape_name) + text(shape_type) + text(object_name) + text(layout_name) +
           number(records.size(), 4);
    for (const Record& record : records) {
        out += text(record.name) + text(record.type);
        for (const int field : {record.max_depth, record.num_tiles, record.num_elements}) {
            out += number(static_cast<std::uint32_t>(field), 4);
        }
        out += in_version >= 3 ? number(record.creation_kind, 2) : "";
    }
    out += has_versions ? number(0, 2) : "";  // quality
    out += dx;

    out += has_versions ? number(2, 2) : "";  // a layout without a dictionary
    out += mvs + text(payload_layout_name) + number(compact, 1);
    out += number(static_cast<std::uint32_t>(num_nodes), 4) +
           number(static_cast<std::uint32_t>(finest_root), 4) + number(32, 4) + root_counts +
           number(roots.size(), 8);
    for (const Root& root : roots) {
        out += number(root.id, 8) + number(static_cast<std::uint32_t>(root.index), 4) +
               number(static_cast<std::uint32_t>(root.depth), 4);
    }
    out += number(8, 4);
    for (const auto& depth_nodes : nodes) {
        out += number(depth_nodes.size(), 8);
        for (const Node& node : depth_nodes) {
            out += (has_versions ? number(2, 2) : "") + number(node.id, 8);
            for (const int field : {node.i, node.j, node.k, node.depth, node.index, node.parent}) {
                out += number(static_cast<std::uint32_t>(field), 4);
            }
            out += number(node.branch_size, 8) + number(node.valid, 1) +
                   number(node.children.size(), 4) + node.children;
        }
    }

    out += has_versions ? number(3, 2) : "";  // a shape without a dictionary
    out += text(payload_shape_name) + text(shape_layout_name) + text(shape_object_name) +
           voxel_sizes + matrices;
    for (const Channel& channel : channels) {
        const std::string bytes = Slow::writeChannel(channel, in_version);
        out += in_version == 1 ? bytes : Slow::deflateFrame(bytes);
    }
    return out;
}

}  // namespace Skelvar::Test
