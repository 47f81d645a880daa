#include <skelvar/voxel/TreeChannel3DBase.h>

#include <skelvar/base/Dictionary.h>
#include <skelvar/base/InputStream.h>
#include <skelvar/base/OutputStream.h>
#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/tree/CompactionMoves.h>
#include <skelvar/tree/TreeLayout3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

namespace Skelvar {

namespace {

constexpr unsigned short kChannelVersionWithDictionary = 2;
constexpr unsigned short kChannelVersion = 2;

}  // namespace

TreeChannel3DBase::TreeChannel3DBase(const std::string& in_name)
    : m_name(in_name), m_dictionary(std::make_shared<Dictionary>())
{
}

TreeChannel3DBase::~TreeChannel3DBase() = default;

const std::string& TreeChannel3DBase::typeName()
{
    static const std::string& s_typeName = *new std::string("TreeChannel3DBase");
    return s_typeName;
}

bool TreeChannel3DBase::isCastableTo(const std::string& in_type_name) const
{
    return in_type_name == typeName();
}

void TreeChannel3DBase::setShape(const std::shared_ptr<TreeShape3DBase>& in_shape)
{
    m_shape = in_shape;
    m_shape_name = in_shape ? in_shape->name() : std::string();
}

bool TreeChannel3DBase::save(OutputStream& io_stream) const
{
    bool ok = io_stream.write(kChannelVersion);
    ok &= io_stream.write(m_tag_word);
    ok &= io_stream.write(m_tag_text);
    ok &= io_stream.write(m_dictionary->save());
    return ok;
}

bool TreeChannel3DBase::load(InputStream& io_stream)
{
    if (io_stream.version() < kKvfVersion4) {
        return true;
    }
    unsigned short version = 0;
    if (!io_stream.read(version) || version > kChannelVersion) {
        return false;
    }
    if (version == 0) {
        return true;
    }
    unsigned short tag_word = 0;
    std::string tag_text;
    std::string dictionary;
    bool ok = io_stream.read(tag_word) && io_stream.read(tag_text);
    if (version >= kChannelVersionWithDictionary) {
        ok = ok && io_stream.read(dictionary) &&
             (dictionary.empty() || m_dictionary->load(dictionary));
    }
    if (ok) {
        m_tag_word = tag_word;
        m_tag_text = tag_text;
    }
    return ok;
}

bool TreeChannel3DBase::dump(OutputStream& io_stream) const
{
    bool ok = io_stream.write("Channel Name: " + m_name);
    ok &= io_stream.write("Type: " + typeMeta()->typeName());
    ok &= io_stream.write("Shape Name: " + m_shape_name);
    ok &= io_stream.write("Custom Type: " + m_custom_type);
    return ok;
}

std::string TreeChannel3DBase::partialPathName() const
{
    const std::shared_ptr<TreeShape3DBase> shape = shapePtr();
    return shape ? NS::join(shape->partialPathName(), m_name) : m_name;
}

std::string TreeChannel3DBase::fullPathName() const
{
    const std::shared_ptr<TreeShape3DBase> shape = shapePtr();
    return shape ? NS::join(shape->fullPathName(), m_name) : m_name;
}

std::string TreeChannel3DBase::makePartialPathName(const std::string&) const
{
    return {};
}

void TreeChannel3DBase::dictionary(std::shared_ptr<Dictionary>& out_dictionary) const
{
    out_dictionary = m_dictionary;
}

void TreeChannel3DBase::resize(const TreeLayout3DBase& in_layout)
{
    const SkelvarProfiler::Scope scope("TreeChannel3DBase::resize");
    if (!blockDataPtr()) {
        return;
    }
    const int num_depths = maxDepth() + 1;
    int depth = 0;
    while (depth < num_depths && numTiles(depth) == in_layout.numNodes(depth)) {
        ++depth;
    }
    if (depth == num_depths) {
        return;
    }
    // The caller may hold a lock: its thread must not pick up foreign work that wants the same one.
    tbb::this_task_arena::isolate([&] {
        tbb::task_group_context context;
        tbb::parallel_for(
            tbb::blocked_range<int>(0, num_depths),
            [&](const tbb::blocked_range<int>& in_depths) {
                for (int d = in_depths.begin(); d != in_depths.end(); ++d) {
                    resize(d, in_layout.numNodes(d));
                }
            },
            tbb::auto_partitioner{}, context);
    });
}

void TreeChannel3DBase::dxChanged(float) {}

void TreeChannel3DBase::nodeDeleted(const TileIndex& in_index)
{
    if (in_index.second >= 0 && in_index.second < kNumDepths) {
        std::array<std::vector<int>, kNumDepths> deleted;
        deleted[in_index.second].push_back(in_index.first);
        nodesDeleted(deleted.data());
    }
}

void TreeChannel3DBase::nodesDeleted(const std::vector<int>* in_deleted)
{
    const std::shared_ptr<TreeShape3DBase> shape = shapePtr();
    if (const auto layout = shape ? shape->layoutPtr() : nullptr) {
        nodesDeleted(compactionMoves(in_deleted, *layout).data());
    }
}

void TreeChannel3DBase::copyHeaderInto(TreeChannel3DBase& io_target) const
{
    io_target.m_name = m_name;
    io_target.m_shape_name = m_shape_name;
    io_target.m_custom_type = m_custom_type;
    io_target.m_tag_text = m_tag_text;
    io_target.m_tag_word = m_tag_word;
    io_target.m_creation_kind = m_creation_kind;
    *io_target.m_dictionary = *m_dictionary;
    if (io_target.m_state_server_id == kNoStateServer) {
        io_target.m_state_server_id = m_state_server_id;
    }
}

unsigned long long TreeChannel3DBase::textMemUsage() const
{
    return m_name.capacity() + m_shape_name.capacity() + m_custom_type.capacity() +
           m_tag_text.capacity();
}

}  // namespace Skelvar
