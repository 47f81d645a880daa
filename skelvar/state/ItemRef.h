#pragma once

#include <skelvar/base/Api.h>

#include <memory>
#include <string>

namespace Skelvar {

class TreeChannel3DBase;
class TreeLayout3DBase;
class TreeShape3DBase;

/// A reference to an item of a state server: a name that lasts, and a weak pointer that can die and
/// is then found again by the name. Holds no item alive. Questions fill the pointer, also the const
/// ones: one reference belongs to one thread at a time, even for reading.
template <typename T>
class SKELVAR_API ItemRef {
public:
    ItemRef();
    ItemRef(const std::shared_ptr<T>& in_item, const std::string& in_name);
    ItemRef(const ItemRef&);
    ItemRef& operator=(const ItemRef&);
    virtual ~ItemRef();

    void set(const std::shared_ptr<T>& in_item, const std::string& in_name);
    /// The key under which the server holds the item.
    const std::string& name() const { return m_name; }

    /// If the item is gone, looks its name up in the server of that id.
    void resolve(unsigned int in_state_server_id) const;
    /// The item, after `resolve`. Empty if neither the pointer nor the server has it.
    std::shared_ptr<T> shared(unsigned int in_state_server_id) const;
    /// Whether there is an item, after `resolve`. With `StateServerManager::invalidId` only the
    /// pointer is asked.
    bool valid(unsigned int in_state_server_id) const;
    /// Drops the pointer, and the name too if told so.
    void reset(bool in_clear_name);

private:
    std::string m_name;
    mutable std::weak_ptr<T> m_item;
};

// Marked here too: the arguments may not be known as shown yet.
extern template class SKELVAR_API ItemRef<TreeChannel3DBase>;
extern template class SKELVAR_API ItemRef<TreeLayout3DBase>;
extern template class SKELVAR_API ItemRef<TreeShape3DBase>;

}  // namespace Skelvar
