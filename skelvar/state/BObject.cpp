#include <skelvar/state/BObject.h>

#include <skelvar/base/Dictionary.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/tree/TreeLayout3DBase.h>
#include <skelvar/voxel/VoxelShape.h>

#include <atomic>
#include <stdexcept>
#include <utility>

namespace Skelvar {

namespace {

std::atomic<bool> s_any_has_layouts = false;

}  // namespace

bool BObject::anyHasLayouts()
{
    return s_any_has_layouts.load(std::memory_order_relaxed);
}

BObject::BObject() : m_state_server_id(StateServerManager::invalidId) {}

BObject::~BObject() = default;

const std::string& BObject::typeName()
{
    static const std::string& s_typeName = *new std::string("BObject");
    return s_typeName;
}

const TypeMetaBase* BObject::typeMeta() const
{
    static const TypeMeta<BObject>& s_typeMeta = *new TypeMeta<BObject>;
    return &s_typeMeta;
}

std::shared_ptr<BObject> BObject::copy() const
{
    auto result = std::make_shared<BObject>();
    copyInto(result);
    return result;
}

void BObject::copyInto(std::shared_ptr<BObject>& io_target) const
{
    if (io_target.get() == this) {
        return;
    }
    BObject& target = *io_target;
    target.m_name = m_name;
    target.m_to_world = m_to_world;
    target.m_custom_type = m_custom_type;
    if (target.m_state_server_id == StateServerManager::invalidId) {
        target.m_state_server_id = m_state_server_id;
    }
    target.m_dictionary = knownDictionary();
    if (target.m_dictionary && target.m_state_server_id != m_state_server_id) {
        target.m_dictionary = std::make_shared<Dictionary>(*target.m_dictionary);
    }
    for (const auto& [name, shape] : m_shapes) {
        target.m_shapes[name] = nullptr;
    }
    for (const auto& [name, layout] : m_layouts) {
        ItemRef<TreeLayout3DBase>& entry = target.m_layouts[name] = layout;
        if (target.m_state_server_id != m_state_server_id) {
            entry.reset(false);
        }
    }
}

void BObject::setName(const std::string& in_name)
{
    m_name = in_name;
    for (const auto& [name, shape] : m_shapes) {
        if (shape) {
            shape->setObjectName(in_name);
        }
    }
}

void BObject::setToWorld(const Similarity& in_to_world)
{
    m_to_world = in_to_world;
    for (const auto& [name, shape] : m_shapes) {
        if (shape) {
            shape->setToWorld(in_to_world);
        }
    }
}

void BObject::addShape(const std::shared_ptr<TreeShape3DBase>& in_shape)
{
    if (hasShape(in_shape->name())) {
        throw std::runtime_error("addShape: BObject " + m_name + " already has a shape with name " +
                                 in_shape->name());
    }
    in_shape->setObject(shared_from_this());
    m_shapes.emplace(in_shape->name(), in_shape);
}

bool BObject::hasShape(const std::string& in_name) const
{
    return m_shapes.contains(in_name);
}

void BObject::updateShape(const std::shared_ptr<TreeShape3DBase>& in_shape)
{
    const auto entry = m_shapes.find(in_shape->name());
    if (entry == m_shapes.end()) {
        throw std::runtime_error("updateShape: BObject " + m_name +
                                 " does not have a shape with name " + in_shape->name());
    }
    in_shape->setObject(shared_from_this());
    entry->second = in_shape;
}

void BObject::removeShape(const std::string& in_name)
{
    const auto entry = m_shapes.find(in_name);
    if (entry == m_shapes.end()) {
        throw std::runtime_error("removeShape: BObject " + m_name +
                                 " does not have a shape with name " + in_name);
    }
    if (entry->second) {
        entry->second->setObject(nullptr);
    }
    m_shapes.erase(entry);
}

void BObject::renameShape(const std::string& in_old_name, const std::string& in_new_name)
{
    const auto entry = m_shapes.find(in_old_name);
    if (entry == m_shapes.end()) {
        throw std::runtime_error("renameShape: BObject " + m_name +
                                 " does not have a shape with name " + in_old_name);
    }
    if (hasShape(in_new_name)) {
        throw std::runtime_error("renameShape: BObject " + m_name +
                                 " already has shape with name " + in_new_name);
    }
    auto node = m_shapes.extract(entry);
    if (node.mapped()) {
        node.mapped()->setName(in_new_name);
    }
    node.key() = in_new_name;
    m_shapes.insert(std::move(node));
}

template <typename T>
std::shared_ptr<T> BObject::shapePtr(const std::string& in_name) const
{
    const auto entry = m_shapes.find(in_name);
    if (entry == m_shapes.end()) {
        throw std::runtime_error("BObject::shapePtr: shape with name " + in_name +
                                 " does not exist in BObject " + m_name);
    }
    const auto& shape = entry->second;
    if (shape && !shape->isCastableTo(T::typeName())) {
        throw std::runtime_error("BObject::shapePtr(): requested type " + T::typeName() +
                                 "does not match stored type " + shape->typeMeta()->typeName() +
                                 " in object " + m_name);
    }
    return std::static_pointer_cast<T>(shape);
}

template SKELVAR_API std::shared_ptr<TreeShape3DBase> BObject::shapePtr(const std::string&) const;
template SKELVAR_API std::shared_ptr<VoxelShape> BObject::shapePtr(const std::string&) const;
template SKELVAR_API std::shared_ptr<ParticleShape> BObject::shapePtr(const std::string&) const;

BObject::ShapeIteratorBase::ShapeIteratorBase(Shapes::const_iterator in_position,
                                              Shapes::const_iterator in_end,
                                              const std::string& in_type_name)
    : m_position(in_position), m_end(in_end), m_type_name(&in_type_name)
{
    skipOtherKinds();
}

void BObject::ShapeIteratorBase::skipOtherKinds()
{
    while (m_position != m_end && m_position->second &&
           !m_position->second->isCastableTo(*m_type_name)) {
        ++m_position;
    }
}

bool BObject::addLayout(const std::shared_ptr<TreeLayout3DBase>& in_layout)
{
    const std::string& name = in_layout->name();
    s_any_has_layouts.store(true, std::memory_order_relaxed);
    return m_layouts.try_emplace(name, in_layout, name).second;
}

bool BObject::updateLayout(const std::shared_ptr<TreeLayout3DBase>& in_layout)
{
    const auto entry = m_layouts.find(in_layout->name());
    if (entry == m_layouts.end()) {
        return false;
    }
    entry->second.set(in_layout, in_layout->name());
    return true;
}

bool BObject::hasLayout(const std::string& in_name) const
{
    return m_layouts.contains(in_name);
}

unsigned int BObject::layoutCount() const
{
    return static_cast<unsigned int>(m_layouts.size());
}

bool BObject::renameLayout(const std::string& in_old_name, const std::string& in_new_name)
{
    if (!hasLayout(in_old_name) || hasLayout(in_new_name)) {
        return false;
    }
    auto node = m_layouts.extract(in_old_name);
    node.key() = in_new_name;
    m_layouts.insert(std::move(node));
    return true;
}

bool BObject::removeLayout(const std::string& in_name)
{
    return m_layouts.erase(in_name) == 1;
}

void BObject::layoutRef(const std::string& in_name,
                        std::shared_ptr<TreeLayout3DBase>& out_layout) const
{
    if (const auto entry = m_layouts.find(in_name); entry != m_layouts.end()) {
        out_layout = entry->second.shared(m_state_server_id);
    }
}

BObject::LayoutIterator BObject::beginLayouts() const
{
    return {m_layouts.begin(), this};
}

BObject::LayoutIterator BObject::endLayouts() const
{
    return {m_layouts.end(), this};
}

}  // namespace Skelvar
