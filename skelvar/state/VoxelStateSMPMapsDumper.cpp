#include <skelvar/mesh/Mesh.h>
#include <skelvar/state/BObject.h>
#include <skelvar/state/ToHumanUnits.h>
#include <skelvar/state/ValueRange.h>
#include <skelvar/state/VoxelStateSMPMaps.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <algorithm>
#include <iterator>
#include <ostream>

namespace Skelvar {

using Maps = VoxelStateSMP::Maps;
using Lock = std::lock_guard<std::recursive_mutex>;

namespace {

const std::string& keyOfEntry(const std::string& in_key)
{
    return in_key;
}

template <typename T>
const std::string& keyOfEntry(const std::pair<const std::string, T>& in_entry)
{
    return in_entry.first;
}

/// Compares the keys of one table with the names that the walk has met.
template <typename Container>
class NamesChecker {
public:
    NamesChecker(const Container& in_container, const char* in_label, std::ostream& io_stream)
        : m_container(in_container), m_label(in_label), m_stream(io_stream)
    {
    }

    /// A name that the walk came by; tells if it is no key.
    bool meet(const std::string& in_name, const std::string& in_indent)
    {
        m_met.insert(in_name);
        if (m_container.contains(in_name)) {
            return true;
        }
        m_stream << in_indent << "ERROR: Unregistered name in " << m_label << ":" << in_name
                 << "\n";
        return false;
    }
    /// The same, and tells if the key holds another item.
    template <typename T>
    void meet(const std::string& in_name, const T* in_item, const std::string& in_indent)
    {
        if (meet(in_name, in_indent) && m_container.find(in_name)->second.get() != in_item) {
            m_stream << in_indent << "ERROR: Registration mismatch in" << m_label << ":" << in_name
                     << "\n";
        }
    }
    /// Tells the keys that the walk has not met.
    void checkNames(const std::string& in_indent) const
    {
        const NS::NameSuffixCompare less;
        std::vector<std::string> keys;
        for (const auto& entry : m_container) {
            keys.push_back(keyOfEntry(entry));
        }
        std::sort(keys.begin(), keys.end(), less);
        std::vector<std::string> left;
        std::set_difference(keys.begin(), keys.end(), m_met.begin(), m_met.end(),
                            std::back_inserter(left), less);
        for (const std::string& name : left) {
            m_stream << in_indent << "ERROR - Unreferenced name in " << m_label << ":" << name
                     << "\n";
        }
    }

private:
    const Container& m_container;
    const char* m_label;
    std::ostream& m_stream;
    std::set<std::string, NS::NameSuffixCompare> m_met;
};

}  // namespace

/// Prints what the tables hold and what is wrong with it. Lives while the lock is held.
class Maps::Dumper {
public:
    Dumper(const Maps& in_maps, std::ostream& io_stream, int in_detail)
        : m_maps(in_maps),
          m_stream(io_stream),
          m_detail(in_detail),
          m_names(in_maps.m_names, "m_names", io_stream),
          m_objects(in_maps.m_objects, "m_objects", io_stream),
          m_shapes(in_maps.m_shapes, "m_shapes", io_stream),
          m_layouts(in_maps.m_layouts, "m_layouts", io_stream),
          m_channels(in_maps.m_channels, "m_channels", io_stream),
          m_meshes(in_maps.m_meshes, "m_meshes", io_stream)
    {
    }

    void dump(int in_indent);

private:
    void dumpObject(const std::string& in_key, const BObject& in_object, int in_indent);
    void dumpShapes(const BObject& in_object, const char* in_type, const char* in_elements,
                    int in_indent);
    void dumpShape(const TreeShape3DBase& in_shape, const BObject& in_object,
                   const char* in_elements, int in_indent);
    void dumpLayout(const TreeShape3DBase& in_shape, int in_indent);
    void dumpChannel(const std::string& in_name, const TreeChannel3DBase* in_channel,
                     const TreeShape3DBase& in_shape, int in_indent);
    void dumpMesh(const std::string& in_key, const Mesh& in_mesh, int in_indent);
    void dumpTotalMemUsage(int in_indent);
    /// The counts of the depths 0 to 7.
    template <typename Count>
    void dumpDepths(const Count& in_count);
    void checkChannelKey(const std::string& in_name, const TreeChannel3DBase& in_channel,
                         const TreeShape3DBase& in_shape, const std::string& in_indent);

    const Maps& m_maps;
    std::ostream& m_stream;
    int m_detail;
    NamesChecker<std::set<std::string, NS::NameSuffixCompare>> m_names;
    NamesChecker<Table<BObject>> m_objects;
    NamesChecker<Table<TreeShape3DBase>> m_shapes;
    NamesChecker<Table<VoxelLayout>> m_layouts;
    NamesChecker<Table<TreeChannel3DBase>> m_channels;
    NamesChecker<Table<Mesh>> m_meshes;
};

void Maps::Dumper::dump(int in_indent)
{
    if (m_detail <= 0) {
        return;
    }
    m_stream << std::string(in_indent, ' ') << "VoxelStateSMP contents:\n";
    const int indent = in_indent + 2;
    for (const auto& [key, object] : m_maps.m_objects) {
        dumpObject(key, *object, indent);
    }
    for (const auto& [key, mesh] : m_maps.m_meshes) {
        dumpMesh(key, *mesh, indent);
    }
    dumpTotalMemUsage(indent);
    const std::string blanks(indent, ' ');
    m_names.checkNames(blanks);
    m_shapes.checkNames(blanks);
    m_layouts.checkNames(blanks);
    m_channels.checkNames(blanks);
}

void Maps::Dumper::dumpObject(const std::string& in_key, const BObject& in_object, int in_indent)
{
    const std::string indent(in_indent, ' ');
    const TypeMeta<TreeShape3DBase> any;
    const auto count = [&] {
        int shapes = 0;
        for (auto shape = in_object.beginShapes(any); shape != in_object.endShapes(any); ++shape) {
            ++shapes;
        }
        return shapes;
    };
    m_stream << indent << "BObject: " << in_key << " (" << count() << " shapes)\n";
    if (in_object.name() != in_key) {
        m_stream << indent << "ERROR: BObject name mismatch!\n";
    }
    m_names.meet(in_object.name(), indent);
    m_objects.meet(in_object.name(), &in_object, indent);
    dumpShapes(in_object, "VoxelShape", "voxels", in_indent + 2);
    dumpShapes(in_object, "ParticleShape", "particles", in_indent + 2);
    m_objects.checkNames(indent);
}

void Maps::Dumper::dumpShapes(const BObject& in_object, const char* in_type,
                              const char* in_elements, int in_indent)
{
    const TypeMeta<TreeShape3DBase> any;
    for (auto shape = in_object.beginShapes(any); shape != in_object.endShapes(any); ++shape) {
        if (shape.ptr() && shape.ptr()->isCastableTo(in_type)) {
            dumpShape(*shape.ptr(), in_object, in_elements, in_indent);
        }
    }
}

void Maps::Dumper::dumpShape(const TreeShape3DBase& in_shape, const BObject& in_object,
                             const char* in_elements, int in_indent)
{
    const std::string indent(in_indent, ' ');
    m_stream << indent << "Shape: " << in_shape.name() << " (" << in_shape.numElements() << " "
             << in_elements << ")\n";
    if (in_shape.object().get() != &in_object) {
        m_stream << indent << "ERROR: Shape object mismatch!\n";
    }
    if (in_shape.objectName() != in_object.name()) {
        m_stream << indent << "ERROR: Shape object name mismatch!\n";
    }
    m_names.meet(in_shape.name(), indent);
    m_shapes.meet(in_shape.name(), &in_shape, indent);
    dumpLayout(in_shape, in_indent + 2);
    for (const auto& [name, channel] : in_shape.channels()) {
        dumpChannel(name, channel.get(), in_shape, in_indent + 2);
    }
}

void Maps::Dumper::dumpLayout(const TreeShape3DBase& in_shape, int in_indent)
{
    const std::string indent(in_indent, ' ');
    const auto layout = in_shape.layoutPtr();
    if (!layout) {
        m_stream << indent << "Layout: " << in_shape.layoutName() << " is not there\n";
        return;
    }
    m_stream << indent << "Layout: " << layout->name() << " (dx=" << layout->MVS() << ", "
             << layout->numNodes() << " nodes";
    if (m_detail > 1) {
        dumpDepths([&](int in_depth) { return layout->numNodes(in_depth); });
    }
    m_stream << ")\n";
    m_names.meet(layout->name(), indent);
    m_layouts.meet(layout->name(), static_cast<const VoxelLayout*>(layout.get()), indent);
}

void Maps::Dumper::dumpChannel(const std::string& in_name, const TreeChannel3DBase* in_channel,
                               const TreeShape3DBase& in_shape, int in_indent)
{
    const std::string indent(in_indent, ' ');
    m_stream << indent << "Channel: " << in_name;
    if (!in_channel) {
        m_stream << " is not there\n";
        return;
    }
    const ValueRange range(*in_channel);
    m_stream << " " << in_channel->numTiles() << " tiles,  [min=" << range.min
             << "], [max=" << range.max << "]";
    if (m_detail > 1) {
        dumpDepths([&](int in_depth) { return in_channel->numTiles(in_depth); });
    }
    m_stream << "\n";
    if (in_channel->shapePtr().get() != &in_shape) {
        m_stream << indent << "ERROR: Channel shape mismatch!\n";
    }
    if (in_channel->shapeName() != in_shape.name()) {
        m_stream << indent << "ERROR: Channel shape name mismatch!\n";
    }
    checkChannelKey(in_name, *in_channel, in_shape, indent);
}

/// Under its bare name if that is its mark, else under the path of its shape.
void Maps::Dumper::checkChannelKey(const std::string& in_name, const TreeChannel3DBase& in_channel,
                                   const TreeShape3DBase& in_shape, const std::string& in_indent)
{
    const std::string path = NS::join(in_shape.name(), in_name);
    ChannelInfo info;
    for (const std::string& key : {path, in_name}) {
        if (m_maps.channelInfoNoLock(key, info) && info.channel.get() == &in_channel) {
            break;
        }
        info.storingKey = m_maps.channelStoringKey(in_shape.name(), in_name);
    }
    m_names.meet(info.storingKey, in_indent);
    m_channels.meet(info.storingKey, &in_channel, in_indent);
}

void Maps::Dumper::dumpMesh(const std::string& in_key, const Mesh& in_mesh, int in_indent)
{
    const std::string indent(in_indent, ' ');
    m_stream << indent << "Mesh: " << in_mesh.name() << " (" << in_mesh.vertices().size()
             << " vertices, " << in_mesh.triangles().size() << " triangles)\n";
    if (in_mesh.name() != in_key) {
        m_stream << indent << "ERROR: Mesh name mismatch!\n";
    }
    m_names.meet(in_mesh.name(), indent);
    m_meshes.meet(in_mesh.name(), &in_mesh, indent);
}

template <typename Count>
void Maps::Dumper::dumpDepths(const Count& in_count)
{
    m_stream << " per depth =";
    for (int depth = 0; depth < kNumDepths; ++depth) {
        m_stream << " " << in_count(depth);
    }
}

void Maps::Dumper::dumpTotalMemUsage(int in_indent)
{
    m_stream << std::string(in_indent, ' ')
             << "Total = " << toHumanUnits(m_maps.totalMemUsage(MemUsage::eMemUsed)) << "/"
             << toHumanUnits(m_maps.totalMemUsage(MemUsage::eMemAllocated)) << "\n";
}

void Maps::dump(std::ostream& io_stream, int in_indent, int in_detail) const
{
    const Lock lock(m_mutex);
    Dumper(*this, io_stream, in_detail).dump(in_indent);
}

unsigned long long Maps::totalMemUsage(MemUsage::Type in_type) const
{
    unsigned long long bytes = 0;
    const Lock lock(m_mutex);
    for (const auto& [name, layout] : m_layouts) {
        bytes += layout->memUsage(in_type, true);
    }
    for (const auto& [name, channel] : m_channels) {
        bytes += channel->memUsage(in_type, true);
    }
    for (const auto& [name, mesh] : m_meshes) {
        bytes += static_cast<unsigned long long>(mesh->memUsage(in_type));
    }
    return bytes;
}

}  // namespace Skelvar
