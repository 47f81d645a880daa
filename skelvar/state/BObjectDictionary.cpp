#include <skelvar/base/Dictionary.h>
#include <skelvar/state/BObject.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/TreeLayout3DBase.h>
#include <skelvar/voxel/DictionaryShape.h>
#include <skelvar/voxel/TreeChannel3DBase.h>

#include <utility>
#include <vector>

namespace Skelvar {

namespace {

const char kDictionaryShapeName[] = "__OBJECT-DICTIONARY__";
const char kDictionaryLayoutName[] = "__OBJECT-DICTIONARY___layout";
constexpr float kDictionaryLayoutDx = 0.5f;

std::shared_ptr<Dictionary> dictionaryOf(const TreeShape3DBase& in_shape)
{
    std::shared_ptr<Dictionary> dictionary;
    in_shape.dictionary(dictionary);
    return dictionary;
}

/// A new dictionary shape on a layout of its own, both stored in the server. Null, with nothing
/// left behind, if another thread takes one of the two names first.
std::shared_ptr<TreeShape3DBase> makeDictionaryShape(VoxelState& io_server)
{
    std::string name;
    std::shared_ptr<TreeShape3DBase> shape;
    io_server.uniqueName(kDictionaryShapeName, name);
    if (io_server.newShape(DictionaryShape::typeName(), name, shape) != kVoxelStateOk) {
        return nullptr;
    }
    std::string layout_name;
    std::shared_ptr<TreeLayout3DBase> layout;
    io_server.uniqueName(kDictionaryLayoutName, layout_name);
    if (io_server.newLayout(layout_name, kDictionaryLayoutDx, layout) != kVoxelStateOk) {
        io_server.deleteShape(name);
        return nullptr;
    }
    shape->setLayout(layout);
    return shape;
}

void deleteWithChannels(VoxelState& io_server, const std::string& in_name,
                        const TreeShape3DBase& in_shape)
{
    std::vector<std::shared_ptr<TreeChannel3DBase>> channels;  // deleting changes the table
    for (const auto& [name, channel] : in_shape.channels()) {
        if (channel) {
            channels.push_back(channel);
        }
    }
    for (const auto& channel : channels) {
        if (io_server.deleteChannel(channel->partialPathName(), {}) != kVoxelStateOk) {
            io_server.deleteChannel(channel->name(), {});
        }
    }
    io_server.deleteShape(in_name);
}

}  // namespace

/// The cached dictionary, or that of the first dictionary shape that is here.
std::shared_ptr<Dictionary> BObject::knownDictionary() const
{
    if (m_dictionary) {
        return m_dictionary;
    }
    for (const auto& [name, shape] : m_shapes) {
        if (shape && shape->typeMeta()->typeName() == DictionaryShape::typeName()) {
            return dictionaryOf(*shape);
        }
    }
    return nullptr;
}

void BObject::dictionary(std::shared_ptr<Dictionary>& out_dictionary) const
{
    m_dictionary = knownDictionary();
    if (!m_dictionary) {
        // An object without an owner cannot take a shape: find out before one is made.
        const auto self = std::const_pointer_cast<BObject>(shared_from_this());
        const auto server = StateServerManager::instance().getStateServer(m_state_server_id);
        if (const auto shape = server ? makeDictionaryShape(*server) : nullptr) {
            self->addShape(shape);
            m_dictionary = dictionaryOf(*shape);
        }
    }
    out_dictionary = m_dictionary;
}

void BObject::deleteAllShapes()
{
    const auto server = StateServerManager::instance().getStateServer(m_state_server_id);
    if (!server) {
        return;
    }
    m_dictionary = knownDictionary();
    bool dictionary_met = false;
    const Shapes shapes = m_shapes;  // deleting changes the table
    for (const auto& [name, shape] : shapes) {
        if (!shape) {
            continue;
        }
        if (!dictionary_met && m_dictionary && dictionaryOf(*shape) == m_dictionary) {
            dictionary_met = true;
            continue;
        }
        deleteWithChannels(*server, name, *shape);
    }
}

}  // namespace Skelvar
