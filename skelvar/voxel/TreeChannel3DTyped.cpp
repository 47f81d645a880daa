#include <skelvar/voxel/TreeChannel3DTyped.h>

#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelShape.h>

#include <stdexcept>

namespace Skelvar {

template <typename T>
const TypeMeta<TreeChannel3DTyped<T>> TreeChannel3DTyped<T>::m_typeMeta{};

template <typename T>
const std::string& TreeChannel3DTyped<T>::typeName()
{
    static const std::string& s_typeName =
        *new std::string("TreeChannel3DTyped<" + typeNameOf<T>() + ">");
    return s_typeName;
}

template <typename T>
const TypeMetaBase* TreeChannel3DTyped<T>::elementTypeMeta() const
{
    static const TypeMeta<T>& s_typeMeta = *new TypeMeta<T>;
    return &s_typeMeta;
}

template <typename T>
bool TreeChannel3DTyped<T>::isCastableTo(const std::string& in_type_name) const
{
    return in_type_name == typeName() || TreeChannel3DBase::isCastableTo(in_type_name);
}

template <typename T>
void TreeChannel3DTyped<T>::copyHeaderInto(TreeChannel3DTyped& io_target) const
{
    io_target.m_background = m_background;
    TreeChannel3DBase::copyHeaderInto(io_target);
}

template <typename T>
typename TreeChannel3DTyped<T>::Iterator TreeChannel3DTyped<T>::begin()
{
    return Iterator(this, {0, 0});
}

template <typename T>
typename TreeChannel3DTyped<T>::Iterator TreeChannel3DTyped<T>::end()
{
    return Iterator(this, {0, maxDepth() + 1});
}

template <typename T>
TreeChannel3DTyped<T>::Iterator::Iterator(TreeChannel3DTyped* in_channel, const TileIndex& in_tile)
    : m_channel(in_channel), m_tile(in_tile)
{
    findElements();
}

template <typename T>
void TreeChannel3DTyped<T>::Iterator::findElements()
{
    m_element = 0;
    for (; m_tile.second <= m_channel->maxDepth(); m_tile = {0, m_tile.second + 1}) {
        for (; m_tile.first < m_channel->numTiles(m_tile.second); ++m_tile.first) {
            m_values = static_cast<T*>(m_channel->tileArrayPtr(m_tile, m_count));
            if (m_count > 0) {
                return;
            }
        }
    }
}

template <typename T>
typename TreeChannel3DTyped<T>::Iterator& TreeChannel3DTyped<T>::Iterator::operator++()
{
    if (++m_element == m_count) {
        ++m_tile.first;
        findElements();
    }
    return *this;
}

template <typename T>
vec3i TreeChannel3DTyped<T>::Iterator::localPos() const
{
    const int n = static_cast<int>(m_element);
    return {n % kTileWidth, n / kTileWidth % kTileWidth, n / (kTileWidth * kTileWidth)};
}

template <typename T>
vec3f TreeChannel3DTyped<T>::Iterator::globalPos() const
{
    const std::shared_ptr<TreeShape3DBase> shape = m_channel->shapePtr();
    if (!shape || !shape->isCastableTo(VoxelShape::typeName())) {
        throw std::runtime_error("TreeChannel3DTyped::Iterator::globalPos: channel " +
                                 m_channel->name() + " has no voxel shape");
    }
    const VoxelLayout& layout = static_cast<const VoxelShape&>(*shape).layout();
    const vec3i corner = layout.node(m_tile).corner();
    const vec3i local = localPos();
    const float width = static_cast<float>(VoxelLayout::cellWidth(m_tile.second));
    vec3f position{};
    for (int a = 0; a < 3; ++a) {
        position[a] = static_cast<float>(corner[a]) +
                      width * (static_cast<float>(local[a]) + m_channel->offset()[a]);
    }
    return position;
}

#define SKELVAR_INSTANTIATE(T) template class TreeChannel3DTyped<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
