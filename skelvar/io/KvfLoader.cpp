#include <skelvar/io/KvfLoader.h>

#include <skelvar/io/ChannelBody.h>
#include <skelvar/io/ChunkStreamBuf.h>
#include <skelvar/io/Deflate.h>
#include <skelvar/io/KvfError.h>
#include <skelvar/io/KvfReader.h>
#include <skelvar/state/BObject.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/TreeLayout3DBase.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <cmath>
#include <exception>
#include <optional>

namespace Skelvar {

namespace {

constexpr unsigned long long kFreeBudget = 64ull * 1024 * 1024;
constexpr unsigned long long kParticleTileBytes = 64;  ///< of an empty one, or less
constexpr unsigned long long kVoxelsOfTile = 125;

bool isVoxelType(const std::string& in_type)
{
    return in_type.find("VoxelChannel") != std::string::npos;
}

/// Bytes of one value of a channel, or more.
unsigned long long bytesOfValue(const std::string& in_type)
{
    unsigned long long components = 1;
    for (const int n : {2, 3, 4}) {
        if (in_type.find("vec<" + std::to_string(n)) != std::string::npos) {
            components = static_cast<unsigned long long>(n);
        }
    }
    if (in_type.find("bool") != std::string::npos || in_type.find("int8") != std::string::npos) {
        return components;
    }
    const bool is_wide = in_type.find("int64") != std::string::npos;
    return components * (is_wide ? 8 : 4);
}

/// Bytes that a particle takes at least in the serialised form of a channel: positions of the two
/// upper qualities are stored in one or two bytes an axis.
unsigned long long leastStoredBytes(const std::string& in_type, unsigned long long in_value_bytes,
                                    unsigned int in_quality)
{
    const bool may_be_positions = in_type.find("vec<3,float>") != std::string::npos;
    return may_be_positions && in_quality == 3   ? 3
           : may_be_positions && in_quality == 2 ? 6
                                                 : in_value_bytes;
}

/// An exception is a failure like any other, so that what follows a load always runs.
bool loadCaught(Persistable& io_item, InputStream& io_stream)
{
    try {
        return io_item.load(io_stream);
    } catch (const std::exception&) {
        return false;
    }
}

// Each loads an item and puts back the names under which the state holds it: the file may hold
// others.

bool loadItem(TreeLayout3DBase& io_layout, InputStream& io_stream)
{
    const std::string name = io_layout.name();
    const bool ok = loadCaught(io_layout, io_stream);
    io_layout.setName(name);
    return ok;
}

bool loadItem(TreeShape3DBase& io_shape, InputStream& io_stream)
{
    const std::string name = io_shape.name();
    const std::string layout_name = io_shape.layoutName();
    const std::string object_name = io_shape.objectName();
    const bool ok = loadCaught(io_shape, io_stream);
    io_shape.setName(name);
    io_shape.setLayoutName(layout_name);
    io_shape.setObjectName(object_name);
    return ok;
}

bool loadItem(TreeChannel3DBase& io_channel, InputStream& io_stream)
{
    const std::string name = io_channel.name();
    const std::string shape_name = io_channel.shapeName();
    const bool ok = loadCaught(io_channel, io_stream);
    io_channel.setName(name);
    io_channel.setShapeName(shape_name);
    return ok;
}

bool hasTilesOfLayout(const TreeChannel3DBase& in_channel, const TreeLayout3DBase& in_layout)
{
    for (int depth = 0; depth <= in_channel.maxDepth(); ++depth) {
        if (in_channel.numTiles(depth) != in_layout.numNodes(depth)) {
            return false;
        }
    }
    return true;
}

/// Takes a shape off its layout for as long as it lives: a voxel channel that is made meanwhile has
/// no tiles, and none are filled that the file overwrites.
class OffLayout {
public:
    OffLayout(TreeShape3DBase& io_shape, const std::shared_ptr<TreeLayout3DBase>& in_layout)
        : m_shape(&io_shape), m_layout(in_layout), m_voxel_size(io_shape.voxelSize())
    {
        m_shape->setLayout(nullptr);
    }
    ~OffLayout()
    {
        m_shape->setLayout(m_layout);
        m_shape->TreeShape3DBase::dxChanged(m_voxel_size);
    }
    OffLayout(const OffLayout&) = delete;
    OffLayout& operator=(const OffLayout&) = delete;

private:
    TreeShape3DBase* m_shape;
    std::shared_ptr<TreeLayout3DBase> m_layout;
    float m_voxel_size;  ///< the shape's own, which may not be the layout's
};

}  // namespace

KvfLoader::KvfLoader(KvfReader& io_reader, VoxelState& io_state, const KVFInfo& in_info)
    : m_reader(io_reader),
      m_state(io_state),
      m_info(in_info),
      m_most(Deflate::mostInflated(io_reader.file().size()) + kFreeBudget),
      m_budget(m_most)
{
}

bool KvfLoader::load()
{
    if (!loadFrame()) {
        return false;
    }
    for (const KVFInfo::ChannelInfo& info : m_info.channels) {
        if (!loadChannel(info)) {
            return false;
        }
    }
    return true;
}

bool KvfLoader::loadFrame()
{
    return findObject() && loadLayout() && loadShape();
}

bool KvfLoader::findObject()
{
    std::shared_ptr<BObject> object;
    m_state.objectRef(m_info.objectName, object);
    if (!object && m_state.newObject(m_info.objectName) != kVoxelStateOk) {
        return fail("object \"" + m_info.objectName + "\" cannot be made: its name is taken");
    }
    return true;
}

bool KvfLoader::loadLayout()
{
    float dx = 0.0f;
    if (!m_reader.read(dx)) {
        return fail("the file ends ahead of the layout");
    }
    if (!std::isfinite(dx) || dx <= 0.0f) {
        return fail("voxel size " + std::to_string(dx) + " is not positive and finite");
    }
    m_state.newLayout(m_info.layoutName, dx, m_layout);
    if (!m_layout) {
        return fail("layout \"" + m_info.layoutName + "\" cannot be made: its name is taken");
    }
    return loadItem(*m_layout, m_reader) ||
           fail("layout \"" + m_info.layoutName + "\" is damaged or cut short here or before");
}

bool KvfLoader::loadShape()
{
    std::shared_ptr<BObject> object;
    m_state.objectRef(m_info.objectName, object);
    const bool had_shape = object && object->hasShape(m_info.shapeName);
    m_state.newShape(m_info.shapeType, m_info.shapeName, m_info.layoutName, m_info.objectName,
                     m_shape);
    if (!m_shape) {
        // A shape that the state refused may have entered an object that was there before.
        if (object && !had_shape && object->hasShape(m_info.shapeName)) {
            object->removeShape(m_info.shapeName);
        }
        KvfError::print("Shape creation error [" + m_info.shapeType + "] for shape [" +
                        m_info.shapeName + "]");
        return fail("shape \"" + m_info.shapeName + "\" of type \"" + m_info.shapeType +
                    "\" cannot be made: its name is taken or its type unknown");
    }
    return loadItem(*m_shape, m_reader) ||
           fail("shape \"" + m_info.shapeName + "\" is damaged or cut short here or before");
}

bool KvfLoader::loadChannel(const KVFInfo::ChannelInfo& in_info)
{
    const bool is_plain = m_reader.version() == kKvfVersion1;
    ChannelBody body;
    body.offset = m_reader.position();
    if (!is_plain && !body.read(m_reader, in_info.name)) {
        return false;
    }
    std::shared_ptr<TreeChannel3DBase> channel;
    if (!canBack(in_info, body.offset, is_plain ? m_reader.length() : body.size) ||
        !makeChannel(in_info, body.offset, channel)) {
        return false;
    }
    const bool ok = is_plain ? loadPlain(*channel) : loadPacked(*channel, body);
    if (hasTilesOfLayout(*channel, *m_layout)) {
        return ok;
    }
    matchLayout(*channel);
    return ok ? fail(body.offset, "channel \"" + in_info.name +
                                      "\" has not one tile for each node of the layout")
              : false;
}

/// Whether so many bytes of a channel's serialised form can back the memory that the channel takes
/// as soon as it is made. A voxel channel has a tile for each node, in its form too; a particle
/// channel may be short, so that all of a file's together are held against the file.
bool KvfLoader::canBack(const KVFInfo::ChannelInfo& in_info, unsigned long long in_offset,
                        unsigned long long in_size)
{
    unsigned long long needed = 0;
    for (int depth = 0; depth <= m_layout->maxDepth(); ++depth) {
        needed += static_cast<unsigned long long>(m_layout->numNodes(depth));
    }
    const unsigned long long value = bytesOfValue(in_info.type);
    const unsigned long long particles = m_shape->numElements();
    if (isVoxelType(in_info.type)) {
        needed *= kVoxelsOfTile * value;
    } else {
        // The channel's own counts, which its bytes tell only later, hold for those before it too.
        m_particle_bytes += value;
        const unsigned long long most_particles =
            in_size / leastStoredBytes(in_info.type, value, m_reader.quality());
        needed = particles <= m_budget / value && most_particles <= m_most / m_particle_bytes
                     ? needed * kParticleTileBytes + particles * value
                     : m_budget + 1;
    }
    if ((isVoxelType(in_info.type) && needed > in_size) || needed > m_budget) {
        return fail(in_offset, "the " + std::to_string(in_size) + " bytes of channel \"" +
                                   in_info.name + "\" cannot hold what stands on each node");
    }
    m_budget -= needed;
    return true;
}

bool KvfLoader::makeChannel(const KVFInfo::ChannelInfo& in_info, unsigned long long in_offset,
                            std::shared_ptr<TreeChannel3DBase>& out_channel)
{
    if (m_channel_names.insert(in_info.name).second) {
        std::optional<OffLayout> off_layout;
        if (isVoxelType(in_info.type) &&
            m_shape->inverseVoxelSize() == 1.0f / m_shape->voxelSize()) {
            off_layout.emplace(*m_shape, m_layout);
        }
        if (m_reader.version() < kKvfVersion3 || in_info.creationKind == 0) {
            m_state.deprecated_newChannel(in_info.type, in_info.name, m_shape->name(), out_channel);
        } else if (in_info.creationKind == 1) {
            m_state.newChannel(in_info.type, in_info.name, m_shape->name(), out_channel);
        }
    }
    if (!out_channel) {
        KvfError::print("Channel creation error [" + in_info.type + "] for channel [" +
                        in_info.name + "]");
        return fail(in_offset, "channel \"" + in_info.name + "\" of type \"" + in_info.type +
                                   "\" cannot be made: its name is taken, or it is of a type "
                                   "or way of creation that does not load");
    }
    return true;
}

bool KvfLoader::loadPlain(TreeChannel3DBase& io_channel)
{
    return loadItem(io_channel, m_reader) ||
           fail("channel \"" + io_channel.name() + "\" is damaged or cut short here or before");
}

bool KvfLoader::loadPacked(TreeChannel3DBase& io_channel, const ChannelBody& in_body)
{
    ChannelBodyReader stream(m_reader.file(), in_body);
    stream.setQuality(m_reader.quality());
    stream.setVersion(m_reader.version());
    const bool ok = loadItem(io_channel, stream);
    const unsigned long long reached = stream.buffer().position();
    stream.inflateRest();
    const long long damaged = stream.buffer().damagedChunk();
    if (damaged >= 0) {
        const ChannelBody::Chunk& chunk = in_body.chunks[static_cast<std::size_t>(damaged)];
        return fail(chunk.offset, "(channel \"" + io_channel.name() + "\", chunk " +
                                      std::to_string(damaged) + "): its " +
                                      std::to_string(chunk.compressed) +
                                      " compressed bytes do not inflate to " +
                                      std::to_string(chunk.size) + " bytes");
    }
    return ok || fail(in_body.offset, "channel \"" + io_channel.name() +
                                          "\" is damaged or cut short at or before byte " +
                                          std::to_string(reached) + " of its " +
                                          std::to_string(in_body.size) + " inflated bytes");
}

/// Gives the channel one tile for each node again; a channel for which that fails goes.
void KvfLoader::matchLayout(TreeChannel3DBase& io_channel)
{
    try {
        io_channel.resize(*m_layout);
    } catch (const std::exception&) {
        m_state.deleteChannel(io_channel.name(), m_shape->name());
    }
}

bool KvfLoader::fail(const std::string& in_text) const
{
    return fail(m_reader.position(), in_text);
}

bool KvfLoader::fail(unsigned long long in_offset, const std::string& in_text) const
{
    return KvfError::failAt(m_reader.path(), in_offset, in_text);
}

bool loadKvfFileV1(KvfReader& io_reader, VoxelState& io_state, KVFInfo& in_info)
{
    io_reader.setVersion(kKvfVersion1);
    return KvfLoader(io_reader, io_state, in_info).load();
}

bool loadKvfFileV2(KvfReader& io_reader, VoxelState& io_state, KVFInfo& in_info)
{
    io_reader.setVersion(kKvfVersion2);
    return KvfLoader(io_reader, io_state, in_info).load();
}

bool loadKvfFileV3(KvfReader& io_reader, VoxelState& io_state, KVFInfo& in_info)
{
    io_reader.setVersion(kKvfVersion3);
    return KvfLoader(io_reader, io_state, in_info).load();
}

bool loadKvfFileV4(KvfReader& io_reader, VoxelState& io_state, KVFInfo& in_info)
{
    io_reader.setVersion(kKvfVersion4);
    return KvfLoader(io_reader, io_state, in_info).load();
}

}  // namespace Skelvar
