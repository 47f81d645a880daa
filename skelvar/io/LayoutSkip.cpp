#include <skelvar/io/LayoutSkip.h>

#include <skelvar/base/KvfVersion.h>
#include <skelvar/io/KvfReader.h>
#include <skelvar/tree/TileId.h>

#include <algorithm>
#include <optional>
#include <string>

namespace Skelvar {

namespace {

using Offset = unsigned long long;

constexpr Offset kNodeBytes = 47;  ///< of a node without child slots
constexpr Offset kSlotBytes = 500;
constexpr Offset kLargestNode = kNodeBytes + kSlotBytes;
constexpr Offset kWindow = kLargestNode + kNodeBytes;  ///< holds a whole head, wherever it begins
constexpr Offset kMatrixBytes = 64;

unsigned int bigEndian32(const char* in_bytes)
{
    unsigned int value = 0;
    for (int n = 0; n < 4; ++n) {
        value = value << 8 | static_cast<unsigned char>(in_bytes[n]);
    }
    return value;
}

/// Where a node stands in the file.
struct Place {
    Offset offset = 0;
    Offset index = 0;  ///< among the nodes of its depth
    Offset size = 0;

    Offset end() const { return offset + size; }
};

/// The nodes of one depth, which follow each other in the file.
class NodeRun {
public:
    NodeRun(const FileStreamBuf& in_file, unsigned int in_depth, Offset in_count)
        : m_file(&in_file), m_depth(in_depth), m_count(in_count)
    {
    }

    /// Where the run that begins at `in_offset` ends. Bisects for the last node.
    std::optional<Offset> end(Offset in_offset) const
    {
        if (m_count == 0) {
            return in_offset;
        }
        std::optional<Place> known = find({in_offset, 0, 0}, 0, in_offset, 1);
        const Offset most =
            m_depth < static_cast<unsigned int>(kMaxTileDepth) ? kLargestNode : kNodeBytes;
        // The last node begins no further than this.
        Offset bound = known ? known->end() + most * (m_count - 1) : 0;
        for (Offset probe = bound - std::min(bound, most); known && known->index + 1 < m_count;) {
            const auto found =
                find(*known, known->index + 1, std::max(probe, known->end()), kWindow);
            if (found) {
                known = found;
            } else if (probe <= known->end()) {
                return std::nullopt;
            } else {
                bound = probe;
            }
            probe = known->end() + (bound - std::min(bound, known->end())) / 2;
        }
        return known ? std::optional<Offset>(known->end()) : std::nullopt;
    }

private:
    /// The first node that begins within `in_range` bytes from `in_from` on and may stand there, so
    /// far as can be told from a node known before it.
    std::optional<Place> find(const Place& in_known, Offset in_least, Offset in_from,
                              Offset in_range) const
    {
        char bytes[kWindow + kNodeBytes];
        const Offset left = m_file->size() > in_from ? m_file->size() - in_from : 0;
        const Offset count = std::min(in_range + kNodeBytes, left);
        if (count < kNodeBytes || !m_file->readAt(in_from, count, bytes)) {
            return std::nullopt;
        }
        for (Offset n = 0; n < in_range && n + kNodeBytes <= count; ++n) {
            const char* const head = bytes + n;
            const Offset index = bigEndian32(head + 26);
            const Offset slots = bigEndian32(head + 43);
            if (bigEndian32(head + 22) == m_depth && index >= in_least && index < m_count &&
                (slots == 0 || slots == kSlotBytes) && static_cast<unsigned char>(head[42]) < 2 &&
                canFollow(in_known, {in_from + n, index, 0})) {
                return Place{in_from + n, index, kNodeBytes + slots};
            }
        }
        return std::nullopt;
    }

    /// Whether the nodes between fill the bytes between, each with or without slots.
    static bool canFollow(const Place& in_known, const Place& in_next)
    {
        if (in_known.size == 0) {
            return true;
        }
        const Offset nodes = in_next.index - in_known.index - 1;
        const Offset least = in_known.end() + kNodeBytes * nodes;
        return in_next.offset >= least && (in_next.offset - least) % kSlotBytes == 0 &&
               (in_next.offset - least) / kSlotBytes <= nodes;
    }

    const FileStreamBuf* m_file;
    unsigned int m_depth;
    Offset m_count;
};

bool skipString(KvfReader& io_reader)
{
    unsigned int size = 0;
    return io_reader.read(size) && io_reader.skip(size);
}

bool skipNodes(KvfReader& io_reader)
{
    unsigned int num_depths = 0;
    if (!io_reader.read(num_depths) || num_depths > static_cast<unsigned int>(kNumDepths)) {
        return false;
    }
    for (unsigned int depth = 0; depth < num_depths; ++depth) {
        Offset count = 0;
        if (!io_reader.read(count) || count > io_reader.length() / kNodeBytes) {
            return false;
        }
        const Offset start = io_reader.position();
        const std::optional<Offset> end = NodeRun(io_reader.file(), depth, count).end(start);
        if (!end || !io_reader.skip(*end - start)) {
            return false;
        }
    }
    return true;
}

bool skipLayout(KvfReader& io_reader)
{
    constexpr Offset kFlagsAndRootCounts = 1 + 4 + 4 + 4 + 32;
    constexpr Offset kRootBytes = 16;
    unsigned short version = 0;
    Offset num_roots = 0;
    return io_reader.read(version) && io_reader.skip(4) && skipString(io_reader) &&
           io_reader.skip(kFlagsAndRootCounts) && io_reader.read(num_roots) &&
           num_roots <= io_reader.length() / kRootBytes && io_reader.skip(kRootBytes * num_roots) &&
           skipNodes(io_reader) &&
           (version < kLayoutVersionWithDictionary || skipString(io_reader));
}

bool skipShape(KvfReader& io_reader)
{
    unsigned short version = 0;
    return io_reader.read(version) && skipString(io_reader) && skipString(io_reader) &&
           skipString(io_reader) && io_reader.skip(4 + 4 + 2 * kMatrixBytes) &&
           (version < kShapeVersionWithDictionary || skipString(io_reader));
}

}  // namespace

bool skipLayoutAndShape(KvfReader& io_reader)
{
    constexpr Offset kVoxelSizeBytes = 4;
    return io_reader.skip(kVoxelSizeBytes) && skipLayout(io_reader) && skipShape(io_reader);
}

}  // namespace Skelvar
