#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/Similarity.h>
#include <skelvar/base/TypeMeta.h>
#include <skelvar/state/ItemRef.h>

#include <map>
#include <memory>
#include <string>

namespace Skelvar {

class Dictionary;

/// The named container of one thing in a scene: its shapes, the names of its layouts, its place in
/// the world, a free type word and a dictionary. It owns its shapes together with their server, and
/// refers to the server by id. Always held by a `shared_ptr`. Not guarded, not even for reading:
/// `layoutRef`, the layout iterator and `dictionary` fill caches.
///
/// A copy knows the names of the shapes but holds none of them (null entries); a fetch through the
/// server fills them in.
class SKELVAR_API BObject : public std::enable_shared_from_this<BObject> {
public:
    class LayoutIterator;
    class ShapeIteratorBase;
    template <typename T>
    class ShapeIterator;

    BObject();
    BObject(const BObject&) = delete;
    BObject& operator=(const BObject&) = delete;
    virtual ~BObject();

    /// A new object that holds what `copyInto` copies.
    virtual std::shared_ptr<BObject> copy() const;
    /// Copies name, transform and custom type. The two then share one dictionary if their servers
    /// are the same; an object of another server gets a copy of it. A target without a server takes
    /// this one's. The target knows this object's shapes by name
    /// only, and its layouts by name, with their pointers if the server is the same. Entries of
    /// other names stay. An object copied into itself does not change.
    virtual void copyInto(std::shared_ptr<BObject>& io_target) const;
    virtual const TypeMetaBase* typeMeta() const;
    static const std::string& typeName();

    const std::string& name() const { return m_name; }
    /// Sets the name, here and as the object name of the held shapes. The store's key does not
    /// follow; see `VoxelState::renameObject`.
    void setName(const std::string& in_name);
    const Similarity& toWorld() const { return m_to_world; }
    /// Sets the transform, here and on the held shapes.
    void setToWorld(const Similarity& in_to_world);
    const std::string& customType() const { return m_custom_type; }
    void setCustomType(const std::string& in_custom_type) { m_custom_type = in_custom_type; }
    unsigned int stateServerID() const { return m_state_server_id; }
    void setStateServerID(unsigned int in_id) { m_state_server_id = in_id; }

    /// Enters a shape under its name and makes this its object. Throws `std::runtime_error` if the
    /// name is taken, `std::bad_weak_ptr` if no `shared_ptr` holds this object.
    void addShape(const std::shared_ptr<TreeShape3DBase>& in_shape);
    bool hasShape(const std::string& in_name) const;
    /// Takes a shape out and clears its object. Throws `std::runtime_error` for an absent name.
    void removeShape(const std::string& in_name);
    /// As `addShape`, in place of the present entry. Throws `std::runtime_error` for an absent
    /// name.
    void updateShape(const std::shared_ptr<TreeShape3DBase>& in_shape);
    /// Moves an entry and renames its shape. Throws `std::runtime_error` if `in_old_name` is absent
    /// or `in_new_name` taken, also by the same entry.
    void renameShape(const std::string& in_old_name, const std::string& in_new_name);
    /// Deletes the held shapes and their channels from the server and from here, except for the
    /// shape of this object's dictionary. Layouts stay. Without a server nothing happens.
    void deleteAllShapes();

    /// The shape of that name as a `T` (`TreeShape3DBase`, `VoxelShape` or `ParticleShape`); null
    /// if only the name is here. Throws `std::runtime_error` for an absent name or a shape of
    /// another kind.
    template <typename T>
    SKELVAR_API std::shared_ptr<T> shapePtr(const std::string& in_name) const;

    /// Walk over the shapes of one kind by rising name. It also stops on an entry that holds no
    /// shape, where `ptr()` is null. Adding or removing shapes makes it stale.
    template <typename T>
    ShapeIterator<T> beginShapes(const TypeMeta<T>& in_type) const;
    template <typename T>
    ShapeIterator<T> endShapes(const TypeMeta<T>& in_type) const;

    /// The object's key-value store, made on the first call together with a shape and a layout that
    /// carry it in the server. Empty if there is no server or an item cannot be made. Throws
    /// `std::bad_weak_ptr`, before anything is made, if no `shared_ptr` holds this object.
    void dictionary(std::shared_ptr<Dictionary>& out_dictionary) const;

    /// False if the name is taken.
    bool addLayout(const std::shared_ptr<TreeLayout3DBase>& in_layout);
    /// False if the name is absent.
    bool updateLayout(const std::shared_ptr<TreeLayout3DBase>& in_layout);
    bool hasLayout(const std::string& in_name) const;
    /// False if no object of the process has ever listed a layout: it spares the store a search.
    static bool anyHasLayouts();
    unsigned int layoutCount() const;
    /// Moves an entry; its reference keeps the name that it had. False if `in_old_name` is absent
    /// or `in_new_name` taken.
    bool renameLayout(const std::string& in_old_name, const std::string& in_new_name);
    /// False if the name is absent.
    bool removeLayout(const std::string& in_name);
    /// The layout, found again through the server if need be; null if it is gone. An absent name
    /// leaves `out_layout` alone.
    void layoutRef(const std::string& in_name, std::shared_ptr<TreeLayout3DBase>& out_layout) const;
    LayoutIterator beginLayouts() const;
    LayoutIterator endLayouts() const;

private:
    using Shapes = std::map<std::string, std::shared_ptr<TreeShape3DBase>>;
    using Layouts = std::map<std::string, ItemRef<TreeLayout3DBase>>;

    std::shared_ptr<Dictionary> knownDictionary() const;

    Shapes m_shapes;
    Layouts m_layouts;
    Similarity m_to_world;
    std::string m_name;
    std::string m_custom_type;
    unsigned int m_state_server_id;
    mutable std::shared_ptr<Dictionary> m_dictionary;
};

/// Walk over an object's layouts by rising name. Borrows the object; adding or removing layouts
/// makes it stale.
class SKELVAR_API BObject::LayoutIterator {
public:
    /// The name under which the object knows the layout.
    const std::string& name() const { return m_position->first; }
    /// The layout, found again through the server if need be; null if it is gone.
    std::shared_ptr<TreeLayout3DBase> ptr() const
    {
        return m_position->second.shared(m_object->stateServerID());
    }
    TreeLayout3DBase& operator*() const { return *ptr(); }
    std::shared_ptr<TreeLayout3DBase> operator->() const { return ptr(); }
    LayoutIterator& operator++()
    {
        ++m_position;
        return *this;
    }
    bool operator==(const LayoutIterator& in_other) const
    {
        return m_position == in_other.m_position;
    }

private:
    friend class BObject;
    LayoutIterator(Layouts::const_iterator in_position, const BObject* in_object)
        : m_position(in_position), m_object(in_object)
    {
    }

    Layouts::const_iterator m_position;
    const BObject* m_object;
};

/// The part of a shape walk that needs no type.
class SKELVAR_API BObject::ShapeIteratorBase {
public:
    /// The name under which the object knows the shape.
    const std::string& name() const { return m_position->first; }
    bool operator==(const ShapeIteratorBase& in_other) const
    {
        return m_position == in_other.m_position;
    }

protected:
    ShapeIteratorBase(Shapes::const_iterator in_position, Shapes::const_iterator in_end,
                      const std::string& in_type_name);
    void skipOtherKinds();

    Shapes::const_iterator m_position;
    Shapes::const_iterator m_end;
    const std::string* m_type_name;  ///< lives as long as the process
};

template <typename T>
class BObject::ShapeIterator : public BObject::ShapeIteratorBase {
public:
    /// The shape; null if the object knows only its name.
    std::shared_ptr<T> ptr() const { return std::static_pointer_cast<T>(m_position->second); }
    ShapeIterator& operator++()
    {
        ++m_position;
        skipOtherKinds();
        return *this;
    }

private:
    friend class BObject;
    using ShapeIteratorBase::ShapeIteratorBase;
};

template <typename T>
BObject::ShapeIterator<T> BObject::beginShapes(const TypeMeta<T>& in_type) const
{
    return {m_shapes.begin(), m_shapes.end(), in_type.typeName()};
}

template <typename T>
BObject::ShapeIterator<T> BObject::endShapes(const TypeMeta<T>& in_type) const
{
    return {m_shapes.end(), m_shapes.end(), in_type.typeName()};
}

}  // namespace Skelvar
