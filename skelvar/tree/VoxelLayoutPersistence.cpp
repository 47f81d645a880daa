#include <skelvar/tree/VoxelLayout.h>

#include <skelvar/base/Dictionary.h>
#include <skelvar/base/InputStream.h>
#include <skelvar/base/KvfVersion.h>
#include <skelvar/base/OutputStream.h>
#include <skelvar/tree/LayoutConsistency.h>

#include <algorithm>
#include <limits>

namespace Skelvar {

namespace {

constexpr int kRootCountBytes = kNumDepths * static_cast<int>(sizeof(int));
constexpr unsigned long long kRootEntryBytes = 16;
/// The fields of a node without a version and without child slots.
constexpr unsigned long long kSmallestNodeBytes = 45;

}  // namespace

bool VoxelLayout::save(OutputStream& io_stream) const
{
    bool ok = io_stream.write(kLayoutVersion);
    ok &= TreeLayout3DBase::save(io_stream);
    ok &= io_stream.write(m_compact_on_delete);
    ok &= io_stream.write(m_num_nodes);
    ok &= io_stream.write(m_finest_root_depth);
    ok &= io_stream.write(kRootCountBytes);
    ok &= io_stream.writebytes(kRootCountBytes, reinterpret_cast<const char*>(m_root_counts));
    ok &= io_stream.write(static_cast<unsigned long long>(m_roots.size()));
    for (const auto& [id, index] : m_roots) {
        ok &= io_stream.write(id);
        ok &= io_stream.write(index.first);
        ok &= io_stream.write(index.second);
    }
    ok &= io_stream.write(static_cast<unsigned int>(kNumDepths));
    for (const NodeArray& array : m_node_data->depths) {
        ok &= io_stream.write(static_cast<unsigned long long>(array.size()));
        for (const VoxelLayoutNode& node : array) {
            ok &= node.save(io_stream);
        }
    }
    ok &= io_stream.write(m_dictionary->save());
    return ok;
}

bool VoxelLayout::load(InputStream& io_stream)
{
    VoxelLayout loaded;
    if (!loaded.loadContent(io_stream)) {
        return false;
    }
    m_mvs = loaded.m_mvs;
    m_name = loaded.m_name;
    *m_dictionary = *loaded.m_dictionary;
    m_node_data = loaded.m_node_data;
    m_num_nodes = loaded.m_num_nodes;
    m_roots.swap(loaded.m_roots);
    m_finest_root_depth = loaded.m_finest_root_depth;
    std::copy(std::begin(loaded.m_root_counts), std::end(loaded.m_root_counts), m_root_counts);
    m_compact_on_delete = loaded.m_compact_on_delete;
    return true;
}

bool VoxelLayout::loadContent(InputStream& io_stream)
{
    unsigned short version = 1;
    if (io_stream.version() >= kKvfVersion2 && !io_stream.read(version)) {
        return false;
    }
    int num_nodes = 0;  // told again by the nodes themselves
    int count_bytes = 0;
    return version <= kLayoutVersion && TreeLayout3DBase::load(io_stream) &&
           io_stream.read(m_compact_on_delete) && io_stream.read(num_nodes) &&
           io_stream.read(m_finest_root_depth) && m_finest_root_depth >= 0 &&
           m_finest_root_depth <= kMaxTileDepth && io_stream.read(count_bytes) &&
           count_bytes == kRootCountBytes &&
           io_stream.readbytes(kRootCountBytes, reinterpret_cast<char*>(m_root_counts)) &&
           *std::min_element(std::begin(m_root_counts), std::end(m_root_counts)) >= 0 &&
           loadRoots(io_stream) && loadNodes(io_stream) &&
           (version < kLayoutVersionWithDictionary || loadDictionary(io_stream)) && settle();
}

bool VoxelLayout::loadRoots(InputStream& io_stream)
{
    unsigned long long num_roots = 0;
    if (!io_stream.read(num_roots) || num_roots > io_stream.length() / kRootEntryBytes) {
        return false;
    }
    for (unsigned long long n = 0; n < num_roots; ++n) {
        TileId id = 0;
        TileIndex index;
        if (!io_stream.read(id) || !io_stream.read(index.first) || !io_stream.read(index.second) ||
            !isTileId(id) || depthFromId(id) != index.second || m_roots.count(id) > 0) {
            return false;
        }
        addRoot(id, index.first, index.second);
    }
    return true;
}

bool VoxelLayout::loadNodes(InputStream& io_stream)
{
    unsigned int num_depths = 0;
    if (!io_stream.read(num_depths) || num_depths > static_cast<unsigned int>(kNumDepths)) {
        return false;
    }
    for (unsigned int depth = 0; depth < num_depths; ++depth) {
        unsigned long long count = 0;
        if (!io_stream.read(count) || count > io_stream.length() / kSmallestNodeBytes ||
            count > static_cast<unsigned long long>(std::numeric_limits<int>::max())) {
            return false;
        }
        NodeArray& array = nodes(static_cast<int>(depth));
        array.resize(static_cast<long long>(count));
        for (VoxelLayoutNode& node : array) {
            if (!node.load(io_stream)) {
                return false;
            }
        }
    }
    return true;
}

bool VoxelLayout::loadDictionary(InputStream& io_stream)
{
    std::string text;
    return io_stream.read(text) && (text.empty() || m_dictionary->load(text));
}

/// Brings what follows from the nodes into step with them, and tells whether they form a tree.
bool VoxelLayout::settle()
{
    for (NodeArray& array : m_node_data->depths) {
        for (VoxelLayoutNode& node : array) {
            if (node.valid()) {
                ++m_num_nodes;
            } else {
                node.invalidate();
                node.setParent(kNoParent);
            }
        }
    }
    // Child slots at the last depth would have to lead below it.
    for (VoxelLayoutNode& node : nodes(kMaxTileDepth)) {
        if (node.hasChildSlots()) {
            return false;
        }
        node.setBranchSize(kTileSize);
    }
    repairRoots();
    LayoutConsistency counts = checkLayout(*this);
    counts.wrong_branch_sizes = 0;
    if (counts.total() > 0) {
        return false;
    }
    setBranchSizes();
    return true;
}

/// Older files hold places of roots from before a compaction; the id still tells which is meant.
void VoxelLayout::repairRoots()
{
    std::map<TileId, TileIndex> places;
    for (auto& [id, index] : m_roots) {
        if (isLive(index) && node(index).id() == id) {
            continue;
        }
        if (places.empty()) {
            for (const NodeArray& array : m_node_data->depths) {
                for (const VoxelLayoutNode& node : array) {
                    if (node.valid() && node.isRoot()) {
                        places.emplace(node.id(), node.tileIndex());
                    }
                }
            }
        }
        if (const auto place = places.find(id); place != places.end()) {
            index = place->second;
        }
    }
}

bool VoxelLayout::dump(OutputStream& io_stream) const
{
    bool ok = TreeLayout3DBase::dump(io_stream);
    ok &= io_stream.write("Nodes: ");
    ok &= io_stream.write(m_num_nodes);
    ok &= io_stream.write("Roots: ");
    ok &= io_stream.write(numRoots());
    return ok;
}

}  // namespace Skelvar
