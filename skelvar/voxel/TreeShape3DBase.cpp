#include <skelvar/voxel/TreeShape3DBase.h>

#include <skelvar/base/Dictionary.h>
#include <skelvar/base/InputStream.h>
#include <skelvar/base/KvfVersion.h>
#include <skelvar/base/OutputStream.h>
#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/state/BObject.h>
#include <skelvar/tree/TreeLayout3DBase.h>
#include <skelvar/voxel/TreeChannel3DBase.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <mutex>
#include <stdexcept>

namespace Skelvar {

TreeShape3DBase::TreeShape3DBase(const std::string& in_name)
    : m_name(in_name), m_dictionary(std::make_shared<Dictionary>())
{
}

TreeShape3DBase::~TreeShape3DBase()
{
    unsubscribe();
}

const std::string& TreeShape3DBase::typeName()
{
    static const std::string& s_typeName = *new std::string("TreeShape3DBase");
    return s_typeName;
}

bool TreeShape3DBase::isCastableTo(const std::string& in_type_name) const
{
    return in_type_name == typeName();
}

void TreeShape3DBase::setName(const std::string& in_name)
{
    m_name = in_name;
    for (const auto& [name, channel] : m_channels) {
        if (channel) {
            channel->setShapeName(in_name);
        }
    }
}

void TreeShape3DBase::setObject(const std::shared_ptr<BObject>& in_object)
{
    m_object = in_object;
    m_object_name = in_object ? in_object->name() : std::string();
}

// Layout and events.

TreeLayout3DBase& TreeShape3DBase::layout() const
{
    const std::shared_ptr<TreeLayout3DBase> layout = layoutPtr();
    if (!layout) {
        throw std::runtime_error(
            "TreeShape3DBase.layout(): layout==null. Did you fetch it from state server?");
    }
    return *layout;
}

void TreeShape3DBase::setLayout(const std::shared_ptr<TreeLayout3DBase>& in_layout)
{
    unsubscribe();
    m_layout = in_layout;
    m_layout_name = in_layout ? in_layout->name() : std::string();
    if (in_layout) {
        in_layout->addObserver(this);
        m_is_observing = true;
        TreeShape3DBase::dxChanged(in_layout->MVS());
    }
}

void TreeShape3DBase::unsubscribe()
{
    // A copy that never observed the layout leaves its list, which is for one thread, alone.
    if (const std::shared_ptr<TreeLayout3DBase> layout = layoutPtr(); layout && m_is_observing) {
        layout->removeObserver(this);
    }
    m_is_observing = false;
}

namespace {

/// One is held during the event of a channel that shares its arrays, the same for all that do.
std::array<std::mutex, 61> s_sharing;

/// The body of an event for one channel. Shapes with the same arrays may stand on one layout, whose
/// observers are called concurrently: their channels take the event one after the other.
template <typename Body>
auto guarded(const Body& in_body)
{
    return [in_body](TreeChannel3DBase& io_channel) {
        constexpr long kUnshared = 2;  // the channel's pointer and this one
        const std::shared_ptr<const void> data = io_channel.blockDataPtr();
        if (data.use_count() <= kUnshared) {
            in_body(io_channel);
            return;
        }
        const auto address = reinterpret_cast<std::uintptr_t>(data.get());
        const std::lock_guard lock(s_sharing[address / 64 % s_sharing.size()]);
        // While it waits for a loop, this thread must not pick up another channel's event.
        tbb::this_task_arena::isolate([&] { in_body(io_channel); });
    };
}

}  // namespace

template <typename Body>
void TreeShape3DBase::forEachChannel(const char* in_label, const Body& in_body) const
{
    const SkelvarProfiler::Scope scope(in_label);
    std::vector<TreeChannel3DBase*> channels;
    channels.reserve(m_channels.size());
    for (const auto& [name, channel] : m_channels) {
        if (channel) {
            channels.push_back(channel.get());
        }
    }
    // The caller may hold a lock: its thread must not pick up foreign work that wants the same one.
    tbb::this_task_arena::isolate([&] {
        tbb::task_group_context context;
        tbb::parallel_for(
            tbb::blocked_range<std::size_t>(0, channels.size()),
            [&](const tbb::blocked_range<std::size_t>& in_range) {
                for (std::size_t n = in_range.begin(); n != in_range.end(); ++n) {
                    in_body(*channels[n]);
                }
            },
            tbb::auto_partitioner{}, context);
    });
}

void TreeShape3DBase::nodeAdded(const TileIndex& in_index)
{
    // One tile a channel is too little for other threads, and nodes may come one by one.
    const SkelvarProfiler::Scope scope("TreeShape3DBase<T>::nodeAdded");
    const auto add =
        guarded([=](TreeChannel3DBase& io_channel) { io_channel.nodeAdded(in_index); });
    for (const auto& [name, channel] : m_channels) {
        if (channel) {
            add(*channel);
        }
    }
}

void TreeShape3DBase::nodesAdded(const std::vector<int>* in_indices)
{
    forEachChannel("TreeShape3DBase<T>::nodesAdded", guarded([=](TreeChannel3DBase& io_channel) {
                       io_channel.nodesAdded(in_indices);
                   }));
}

void TreeShape3DBase::nodesCleared()
{
    forEachChannel("TreeShape3DBase<T>::nodesCleared",
                   guarded([](TreeChannel3DBase& io_channel) { io_channel.nodesCleared(); }));
}

void TreeShape3DBase::nodeDeleted(const TileIndex& in_index)
{
    forEachChannel("TreeShape3DBase<T>::nodeDeleted", guarded([=](TreeChannel3DBase& io_channel) {
                       io_channel.nodeDeleted(in_index);
                   }));
}

void TreeShape3DBase::nodesDeleted(const std::vector<int>* in_deleted)
{
    forEachChannel("TreeShape3DBase<T>::nodesDeleted", guarded([=](TreeChannel3DBase& io_channel) {
                       io_channel.nodesDeleted(in_deleted);
                   }));
}

void TreeShape3DBase::nodesDeleted(const std::vector<TileIndex>* in_moves)
{
    forEachChannel("TreeShape3DBase<T>::nodesDeleted", guarded([=](TreeChannel3DBase& io_channel) {
                       io_channel.nodesDeleted(in_moves);
                   }));
}

void TreeShape3DBase::dxChanged(float in_dx)
{
    m_voxel_size = in_dx;
    m_inverse_voxel_size = 1.0f / in_dx;
}

void TreeShape3DBase::sync(const std::set<std::string>& in_except)
{
    forEachChannel("TreeShape3DBase<T>::sync", [&](TreeChannel3DBase& io_channel) {
        if (in_except.count(io_channel.name()) == 0) {
            io_channel.sync();
        }
    });
}

// Geometry.

vec3f TreeShape3DBase::wsx(const vec3f& in_point) const
{
    return transformPoint(in_point * m_voxel_size, m_to_world.toWorld);
}

vec3f TreeShape3DBase::tsx(const vec3f& in_point) const
{
    return transformPoint(in_point, m_to_world.fromWorld) * m_inverse_voxel_size;
}

namespace {

/// Corner 0 to 7 of a box: bit a is set where the corner has the upper value of axis a.
template <typename Vec>
vec3f boxCorner(const Vec& in_lo, const Vec& in_hi, int in_corner)
{
    vec3f corner{};
    for (int a = 0; a < 3; ++a) {
        corner[a] = static_cast<float>((in_corner >> a & 1) != 0 ? in_hi[a] : in_lo[a]);
    }
    return corner;
}

/// Grows a box by a point. The box has been started from a point.
void extendBox(const vec3f& in_point, vec3f& io_lo, vec3f& io_hi)
{
    for (int a = 0; a < 3; ++a) {
        if (in_point[a] < io_lo[a]) {
            io_lo[a] = in_point[a];
        } else if (in_point[a] > io_hi[a]) {
            io_hi[a] = in_point[a];
        }
    }
}

/// Bounds of the images of the eight corners of a box.
template <typename Vec, typename Map>
void boundsOfCorners(const Vec& in_lo, const Vec& in_hi, const Map& in_map, vec3f& out_lo,
                     vec3f& out_hi)
{
    vec3f lo = in_map(boxCorner(in_lo, in_hi, 0));
    vec3f hi = lo;
    for (int corner = 1; corner < 8; ++corner) {
        extendBox(in_map(boxCorner(in_lo, in_hi, corner)), lo, hi);
    }
    out_lo = lo;
    out_hi = hi;
}

}  // namespace

void TreeShape3DBase::tsxBBox(const vec3f& in_lo, const vec3f& in_hi, TreeShape3DBase* in_target,
                              float in_pad, vec3f& out_lo, vec3f& out_hi) const
{
    const vec3f pad{in_pad, in_pad, in_pad};
    const auto to_target = [&](const vec3f& in_point) { return in_target->tsx(wsx(in_point)); };
    boundsOfCorners(in_lo - pad, in_hi + pad, to_target, out_lo, out_hi);
}

void TreeShape3DBase::worldBounds(vec3f& out_lo, vec3f& out_hi) const
{
    vec3i lo{};
    vec3i hi{};
    tileBounds(lo, hi);
    boundsOfCorners(
        lo, hi, [this](const vec3f& in_point) { return wsx(in_point); }, out_lo, out_hi);
}

void TreeShape3DBase::tileBounds(vec3i& out_lo, vec3i& out_hi) const
{
    layout().bounds(out_lo, out_hi);
}

// Copies.

void TreeShape3DBase::requireClass(const std::shared_ptr<TreeShape3DBase>& in_target,
                                   const std::string& in_type_name) const
{
    if (!in_target || !in_target->isCastableTo(in_type_name)) {
        throw std::runtime_error(in_type_name + "::copyInto: the target of " + m_name + " is no " +
                                 in_type_name);
    }
}

void TreeShape3DBase::copyHeaderInto(TreeShape3DBase& io_target) const
{
    io_target.setName(m_name);
    io_target.m_layout_name = m_layout_name;
    io_target.m_object_name = m_object_name;
    io_target.m_voxel_size = m_voxel_size;
    io_target.m_inverse_voxel_size = m_inverse_voxel_size;
    io_target.m_to_world = m_to_world;
    *io_target.m_dictionary = *m_dictionary;
}

void TreeShape3DBase::copyShapeInto(TreeShape3DBase& io_target, bool in_copy_data,
                                    bool in_share) const
{
    if (&io_target == this) {
        return;
    }
    // A target that observes another layout must not stay on its list.
    if (io_target.layoutPtr() != layoutPtr()) {
        io_target.unsubscribe();
    }
    copyHeaderInto(io_target);
    io_target.m_layout = m_layout;
    io_target.m_object = m_object;
    if (io_target.m_state_server_id == kNoStateServer) {
        io_target.m_state_server_id = m_state_server_id;
    }
    io_target.removeAllChannels();
    for (const auto& [name, channel] : m_channels) {
        std::shared_ptr<TreeChannel3DBase>& copy = io_target.m_channels[name];
        if (channel && (in_copy_data || in_share)) {
            copy = channel->copy(in_copy_data, in_share);
            copy->setShape(io_target.shared_from_this());
        }
    }
}

// Files.

bool TreeShape3DBase::save(OutputStream& io_stream) const
{
    bool ok = io_stream.write(kShapeVersion);
    ok &= io_stream.write(m_name);
    ok &= io_stream.write(m_layout_name);
    ok &= io_stream.write(m_object_name);
    ok &= io_stream.write(m_voxel_size);
    ok &= io_stream.write(m_inverse_voxel_size);
    ok &= io_stream.write(m_to_world.toWorld);
    ok &= io_stream.write(m_to_world.fromWorld);
    ok &= io_stream.write(m_dictionary->save());
    return ok;
}

bool TreeShape3DBase::load(InputStream& io_stream)
{
    unsigned short version = 1;
    if (io_stream.version() >= kKvfVersion2 && !io_stream.read(version)) {
        return false;
    }
    std::string name;
    std::string layout_name;
    std::string object_name;
    float voxel_size = 1.0f;
    float inverse_voxel_size = 1.0f;
    Similarity to_world;
    std::string dictionary;
    bool ok = version <= kShapeVersion && io_stream.read(name) && io_stream.read(layout_name) &&
              io_stream.read(object_name) && io_stream.read(voxel_size) &&
              io_stream.read(inverse_voxel_size) && io_stream.read(to_world.toWorld) &&
              io_stream.read(to_world.fromWorld);
    if (version >= kShapeVersionWithDictionary) {
        ok = ok && io_stream.read(dictionary) &&
             (dictionary.empty() || m_dictionary->load(dictionary));
    }
    if (!ok) {
        return false;
    }
    setName(name);
    m_layout_name = layout_name;
    m_object_name = object_name;
    m_voxel_size = voxel_size;
    m_inverse_voxel_size = inverse_voxel_size;
    m_to_world = to_world;
    return true;
}

bool TreeShape3DBase::dump(OutputStream& io_stream) const
{
    bool ok = io_stream.write("Shape Name: " + m_name);
    ok &= io_stream.write("Type: " + typeMeta()->typeName());
    ok &= io_stream.write("Layout Name: " + m_layout_name);
    ok &= io_stream.write("Object Name: " + m_object_name);
    for (const auto& [name, channel] : m_channels) {
        ok &= io_stream.write("Channel: " + name);
    }
    return ok;
}

// The rest of what derived classes extend.

unsigned long long TreeShape3DBase::numElements() const
{
    return 0;
}

unsigned long long TreeShape3DBase::numElements(int) const
{
    return 0;
}

unsigned long long TreeShape3DBase::numElements(const TileIndex&) const
{
    return 0;
}

std::string TreeShape3DBase::partialPathName() const
{
    return m_name;
}

std::string TreeShape3DBase::fullPathName() const
{
    return NS::join(m_object.expired() ? std::string() : m_object_name, m_name);
}

std::string TreeShape3DBase::makePartialPathName(const std::string& in_child) const
{
    std::string unique;
    NS::UniqueChannelName::create(m_channels, in_child, unique);
    return NS::join(m_name, unique);
}

unsigned long long TreeShape3DBase::memUsage(MemUsage::Type) const
{
    unsigned long long bytes =
        sizeof(*this) + m_name.capacity() + m_layout_name.capacity() + m_object_name.capacity();
    for (const auto& [name, channel] : m_channels) {
        bytes += name.capacity();
    }
    return bytes;
}

void TreeShape3DBase::dictionary(std::shared_ptr<Dictionary>& out_dictionary) const
{
    out_dictionary = m_dictionary;
}

}  // namespace Skelvar
