#include <skelvar/state/ItemRef.h>

#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/TreeLayout3DBase.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

namespace Skelvar {

template <typename T>
ItemRef<T>::ItemRef(const std::shared_ptr<T>& in_item, const std::string& in_name)
    : m_name(in_name), m_item(in_item)
{
}

template <typename T>
ItemRef<T>::ItemRef() = default;

template <typename T>
ItemRef<T>::ItemRef(const ItemRef&) = default;

template <typename T>
ItemRef<T>& ItemRef<T>::operator=(const ItemRef&) = default;

template <typename T>
ItemRef<T>::~ItemRef() = default;

template <typename T>
void ItemRef<T>::set(const std::shared_ptr<T>& in_item, const std::string& in_name)
{
    m_name = in_name;
    m_item = in_item;
}

template <typename T>
void ItemRef<T>::resolve(unsigned int in_state_server_id) const
{
    if (!m_item.expired() || in_state_server_id == StateServerManager::invalidId) {
        return;
    }
    if (const auto server = StateServerManager::instance().getStateServer(in_state_server_id)) {
        server->resolveRef(m_name, m_item);
    }
}

template <typename T>
std::shared_ptr<T> ItemRef<T>::shared(unsigned int in_state_server_id) const
{
    resolve(in_state_server_id);
    return m_item.lock();
}

template <typename T>
bool ItemRef<T>::valid(unsigned int in_state_server_id) const
{
    resolve(in_state_server_id);
    return !m_item.expired();
}

template <typename T>
void ItemRef<T>::reset(bool in_clear_name)
{
    m_item.reset();
    if (in_clear_name) {
        m_name.clear();
    }
}

template class ItemRef<TreeChannel3DBase>;
template class ItemRef<TreeLayout3DBase>;
template class ItemRef<TreeShape3DBase>;

}  // namespace Skelvar
