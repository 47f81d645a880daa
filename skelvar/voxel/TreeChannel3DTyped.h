#pragma once

#include <skelvar/base/Kernel3D.h>
#include <skelvar/base/TypeMeta.h>
#include <skelvar/base/ValueTypes.h>
#include <skelvar/voxel/TreeChannel3DBase.h>

namespace Skelvar {

/// A channel with its element type: adds the background value, which an absent tile stands for and
/// new tiles are filled with, and the walk over all elements.
template <typename T>
class SKELVAR_API TreeChannel3DTyped : public TreeChannel3DBase {
public:
    using value_type = T;
    class Iterator;
    class Sampler;

    TreeChannel3DTyped() = default;
    TreeChannel3DTyped(const std::string& in_name, const T& in_background)
        : TreeChannel3DBase(in_name), m_background(in_background)
    {
    }

    static const std::string& typeName();

    const T& backgroundValue() const { return m_background; }
    void setBackgroundValue(const T& in_value) { m_background = in_value; }
    const void* backgroundValuePtr() const override { return &m_background; }

    const TypeMetaBase* elementTypeMeta() const override;
    bool isCastableTo(const std::string& in_type_name) const override;

    /// Walks all elements, depth by depth from 0, tile by tile, in the order of the tile.
    Iterator begin();
    Iterator end();

    static const TypeMeta<TreeChannel3DTyped> m_typeMeta;

protected:
    void copyHeaderInto(TreeChannel3DTyped& io_target) const;

private:
    T m_background{};
};

/// A place in the walk over a channel's elements. An edit of the layout makes it stale. Belongs to
/// one thread.
template <typename T>
class SKELVAR_API TreeChannel3DTyped<T>::Iterator {
public:
    Iterator& operator++();
    T& operator*() const { return m_values[m_element]; }
    const T& read() const { return m_values[m_element]; }
    void write(const T& in_value) const { m_values[m_element] = in_value; }

    const TileIndex& tileIndex() const { return m_tile; }
    /// Cell of the element in its tile, 0 to 4 on each axis. Only for channels with one element a
    /// cell.
    vec3i localPos() const;
    /// Where the element's value stands, in coordinate units of the tree. Only for channels with
    /// one element a cell and a shape with a voxel layout; throws `std::runtime_error` without one.
    vec3f globalPos() const;

    bool operator==(const Iterator& in_other) const
    {
        return m_tile == in_other.m_tile && m_element == in_other.m_element;
    }
    bool operator!=(const Iterator& in_other) const { return !(*this == in_other); }

private:
    friend class TreeChannel3DTyped;
    Iterator(TreeChannel3DTyped* in_channel, const TileIndex& in_tile);
    /// Goes to the first tile with elements, from m_tile on, or to the end.
    void findElements();

    TreeChannel3DTyped* m_channel;
    TileIndex m_tile;
    T* m_values = nullptr;  ///< of the tile
    unsigned long m_count = 0;
    unsigned long m_element = 0;
};

/// A reader for any channel, whatever it stands on: it gives the background value at every
/// position. Voxel channels make samplers that read their values (`createSampler`). Borrows the
/// channel.
template <typename T>
class SKELVAR_API TreeChannel3DTyped<T>::Sampler {
public:
    Sampler(SamplerSpace in_space, const TreeChannel3DTyped* in_channel)
        : m_channel(in_channel), m_space(in_space)
    {
    }
    virtual ~Sampler() = default;

    virtual T sample(const vec3f&) const { return m_channel->backgroundValue(); }
    virtual T sample(const vec3f&, const Kernel3D&) const { return m_channel->backgroundValue(); }
    virtual T sample(const vec3f&, int) const { return m_channel->backgroundValue(); }
    virtual T sample(const vec3f&, const Kernel3D&, int) const
    {
        return m_channel->backgroundValue();
    }
    SamplerSpace space() const { return m_space; }

protected:
    const TreeChannel3DTyped* m_channel;
    SamplerSpace m_space;
};

#define SKELVAR_EXTERN(T) extern template class TreeChannel3DTyped<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
