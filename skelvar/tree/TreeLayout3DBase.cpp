#include <skelvar/tree/TreeLayout3DBase.h>

#include <skelvar/base/Dictionary.h>
#include <skelvar/base/InputStream.h>
#include <skelvar/base/OutputStream.h>

#include <tbb/parallel_for.h>

#include <cmath>

namespace Skelvar {

namespace {

constexpr unsigned int kNoServer = 0xFFFFFFFFu;

template <typename Event>
void raise(const std::vector<TreeLayout3DObserver*>& in_observers, const Event& in_event)
{
    if (in_observers.size() <= 1) {
        for (TreeLayout3DObserver* const observer : in_observers) {
            in_event(*observer);
        }
        return;
    }
    tbb::task_group_context context;
    tbb::parallel_for(
        std::size_t{0}, in_observers.size(), [&](std::size_t n) { in_event(*in_observers[n]); },
        tbb::auto_partitioner{}, context);
}

}  // namespace

const TypeMeta<TreeLayout3DBase> TreeLayout3DBase::m_typeMeta;

const std::string& TreeLayout3DBase::typeName()
{
    static const std::string& s_typeName = *new std::string("TreeLayout3DBase");
    return s_typeName;
}

TreeLayout3DBase::TreeLayout3DBase(const std::string& in_name, float in_mvs)
    : m_mvs(in_mvs), m_name(in_name), m_dictionary(std::make_shared<Dictionary>())
{
}

TreeLayout3DBase::~TreeLayout3DBase() = default;

void TreeLayout3DBase::nodeAdded(const TileIndex& in_node)
{
    raise(m_observers, [&](TreeLayout3DObserver& observer) { observer.nodeAdded(in_node); });
}

void TreeLayout3DBase::nodesAdded(const std::vector<int>* in_indices)
{
    raise(m_observers, [&](TreeLayout3DObserver& observer) { observer.nodesAdded(in_indices); });
}

void TreeLayout3DBase::nodesCleared()
{
    raise(m_observers, [](TreeLayout3DObserver& observer) { observer.nodesCleared(); });
}

void TreeLayout3DBase::nodeDeleted(const TileIndex& in_node)
{
    raise(m_observers, [&](TreeLayout3DObserver& observer) { observer.nodeDeleted(in_node); });
}

void TreeLayout3DBase::nodesDeleted(const std::vector<int>* in_indices)
{
    raise(m_observers, [&](TreeLayout3DObserver& observer) { observer.nodesDeleted(in_indices); });
}

void TreeLayout3DBase::nodesDeleted(const std::vector<TileIndex>* in_moves)
{
    raise(m_observers, [&](TreeLayout3DObserver& observer) { observer.nodesDeleted(in_moves); });
}

void TreeLayout3DBase::dxChanged(float in_dx)
{
    for (TreeLayout3DObserver* const observer : m_observers) {
        observer->dxChanged(in_dx);
    }
}

void TreeLayout3DBase::addObserver(TreeLayout3DObserver* in_observer)
{
    m_observers.push_back(in_observer);
}

void TreeLayout3DBase::removeObserver(TreeLayout3DObserver* in_observer)
{
    for (std::size_t n = 0; n < m_observers.size();) {
        if (m_observers[n] == in_observer) {
            m_observers[n] = m_observers.back();
            m_observers.pop_back();
        } else {
            ++n;
        }
    }
}

const TypeMetaBase* TreeLayout3DBase::typeMeta() const
{
    return &m_typeMeta;
}

bool TreeLayout3DBase::save(OutputStream& io_stream) const
{
    const bool ok = io_stream.write(m_mvs);
    return io_stream.write(m_name) && ok;
}

bool TreeLayout3DBase::load(InputStream& io_stream)
{
    float mvs = 0.0f;
    std::string name;
    if (!io_stream.read(mvs) || !io_stream.read(name) || !std::isfinite(mvs) || mvs <= 0.0f) {
        return false;
    }
    m_mvs = mvs;
    m_name = name;
    return true;
}

bool TreeLayout3DBase::dump(OutputStream& io_stream) const
{
    bool ok = io_stream.write("MVS : ");
    ok &= io_stream.write(m_mvs);
    ok &= io_stream.write("Layout Name: ");
    ok &= io_stream.write(m_name);
    return ok;
}

void TreeLayout3DBase::dictionary(std::shared_ptr<Dictionary>& out_dictionary) const
{
    out_dictionary = m_dictionary;
}

void TreeLayout3DBase::copyInto(const std::shared_ptr<TreeLayout3DBase>& io_target) const
{
    io_target->m_name = m_name;
    io_target->m_mvs = m_mvs;
    *io_target->m_dictionary = *m_dictionary;
    if (io_target->m_state_server_id == kNoServer) {
        io_target->m_state_server_id = m_state_server_id;
    }
}

}  // namespace Skelvar
