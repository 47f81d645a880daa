#include <tests/support/ScopedStateServer.h>

#include <skelvar/base/UniqueName.h>
#include <skelvar/mesh/Mesh.h>
#include <skelvar/state/BObject.h>
#include <skelvar/state/VoxelStateSMPMaps.h>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace Skelvar {
namespace {

using Test::ScopedStateServer;

using Names = std::vector<std::string>;

std::string freeName(const NS::NameSet& in_names, const std::string& in_name)
{
    std::string name;
    NS::UniqueSetName::create(in_names, in_name, name);
    return name;
}

template <typename Map>
Names keysOf(const Map& in_map)
{
    Names keys;
    for (const auto& entry : in_map) {
        keys.push_back(entry.first);
    }
    return keys;
}

/// The store as its users see it: plain maps of what is there.
struct Model {
    struct Channel {
        std::string name;
        std::string shape;  ///< empty once the shape is gone
    };
    struct Shape {
        std::string object;  ///< the name, which lasts when the object is gone
        bool object_lives;
    };

    std::map<std::string, std::set<std::string>> objects;  ///< with the shapes that each knows
    std::set<std::string> layouts;
    std::set<std::string> meshes;
    std::map<std::string, Shape> shapes;
    std::map<std::string, Channel> channels;  ///< by key

    NS::NameSet keys() const
    {
        NS::NameSet all(layouts.begin(), layouts.end());
        all.insert(meshes.begin(), meshes.end());
        for (const Names& some : {keysOf(objects), keysOf(shapes), keysOf(channels)}) {
            all.insert(some.begin(), some.end());
        }
        return all;
    }
    bool free(const std::string& in_name) const { return !keys().contains(in_name); }
    NS::NameSet channelsOn(const std::string& in_shape) const
    {
        NS::NameSet names;
        for (const auto& [key, channel] : channels) {
            if (channel.shape == in_shape) {
                names.insert(channel.name);
            }
        }
        return names;
    }
    bool isMarked(const std::string& in_name) const
    {
        const auto entry = channels.find(in_name);
        return entry != channels.end() && entry->second.name == in_name;
    }
    /// The key of the channel that a name or path means, "" for none.
    std::string findChannel(const std::string& in_name) const
    {
        if (channels.contains(in_name)) {
            return in_name;
        }
        const std::size_t dot = in_name.find('.');
        if (dot == std::string::npos) {
            return "";
        }
        const std::string object = in_name.substr(0, dot);
        const std::string key = in_name.substr(dot + 1);
        const auto shape = shapes.find(key.substr(0, key.find('.')));
        const bool found = objects.contains(object) && shape != shapes.end() &&
                           shape->second.object == object && channels.contains(key);
        return found ? key : "";
    }
    bool addObject(const std::string& in_name)
    {
        return free(in_name) && objects.try_emplace(in_name).second;
    }
    bool addShape(const std::string& in_name, const std::string& in_layout,
                  const std::string* in_object)
    {
        const auto object = in_object ? objects.find(*in_object) : objects.end();
        if (!layouts.contains(in_layout) || (in_object && object == objects.end())) {
            return false;
        }
        if (in_object && !object->second.insert(in_name).second) {
            return false;
        }
        if (!free(in_name)) {
            return false;  // the object keeps the shape all the same
        }
        shapes[in_name] = {in_object ? *in_object : "", in_object != nullptr};
        return true;
    }
    bool addChannel(const std::string& in_key, const std::string& in_name,
                    const std::string& in_shape)
    {
        return shapes.contains(in_shape) && free(in_key) &&
               !channelsOn(in_shape).contains(in_name) &&
               channels.try_emplace(in_key, Channel{in_name, in_shape}).second;
    }
    bool removeObject(const std::string& in_name)
    {
        for (auto& [name, shape] : shapes) {
            shape.object_lives = shape.object_lives && shape.object != in_name;
        }
        return objects.erase(in_name) == 1;
    }
    bool removeShape(const std::string& in_name)
    {
        const auto shape = shapes.find(in_name);
        if (shape == shapes.end()) {
            return false;
        }
        if (shape->second.object_lives) {
            objects[shape->second.object].erase(in_name);
        }
        for (auto& [key, channel] : channels) {
            if (channel.shape == in_name) {
                channel.shape.clear();
            }
        }
        shapes.erase(shape);
        return true;
    }
};

/// A store and its model, to which the same is done.
class StoreAndModel {
public:
    explicit StoreAndModel(unsigned int in_seed) : m_random(in_seed) {}

    void step();
    void check();

private:
    int below(int in_end) { return static_cast<int>(m_random() % in_end); }
    std::string anyName()
    {
        static const Names s_names = {"a", "a1", "a01", "a2", "b", "b-v", "c", "my rain", "12"};
        return s_names[below(static_cast<int>(s_names.size()))];
    }
    /// The key of a channel, by itself or as a path, or a name like one.
    std::string anyChannelName()
    {
        if (m_model.channels.empty() || below(4) == 0) {
            return anyName() + "." + anyName();
        }
        const std::string key =
            std::next(m_model.channels.begin(), below(static_cast<int>(m_model.channels.size())))
                ->first;
        return below(3) == 0 ? anyName() + "." + key : key;
    }
    void makeItem();
    void makeChannel();
    void removeItem();
    void removeChannel();

    ScopedStateServer m_server;
    Model m_model;
    std::mt19937 m_random;
};

void expectSame(bool in_expected, VoxelStateResult in_result)
{
    EXPECT_EQ(in_expected ? kVoxelStateOk : kVoxelStateFailed, in_result);
}

void StoreAndModel::step()
{
    const int dice = below(60);
    if (dice == 0) {
        m_model = Model();
        m_server->clear();
    } else if (dice <= 20) {
        makeItem();
    } else if (dice <= 40) {
        makeChannel();
    } else if (dice <= 50) {
        removeItem();
    } else {
        removeChannel();
    }
}

void StoreAndModel::makeItem()
{
    const std::string name = anyName();
    std::string object = anyName();
    const std::string layout = anyName();
    std::shared_ptr<VoxelShape> shape;
    std::shared_ptr<TreeShape3DBase> shape_base;
    switch (below(6)) {
        case 0:
            return expectSame(m_model.addObject(name), m_server->newObject(name));
        case 1:
            return expectSame(m_model.free(name) && m_model.layouts.insert(name).second,
                              m_server->newVoxelLayout(name, 1.0f));
        case 2: {
            const bool expected = m_model.meshes.contains(name) ||
                                  (m_model.free(name) && m_model.meshes.insert(name).second);
            return expectSame(expected, m_server->updateMesh(std::make_shared<Mesh>(name)));
        }
        case 3: {
            const bool expected = m_model.free(name);
            if (expected) {
                m_model.shapes[name] = {"", false};
            }
            return expectSame(expected, m_server->newShape("VoxelShape", name, shape_base));
        }
        case 4:
            return expectSame(m_model.addShape(name, layout, nullptr),
                              m_server->newVoxelShape(name, layout, nullptr, shape));
        default:
            return expectSame(m_model.addShape(name, layout, &object),
                              m_server->newVoxelShape(name, layout, &object, shape));
    }
}

void StoreAndModel::makeChannel()
{
    const std::string shape = anyName();
    const std::string name = anyName();
    std::shared_ptr<TreeChannel3DBase> channel;
    switch (below(3)) {
        case 0: {
            const std::string unique = freeName(m_model.channelsOn(shape), name);
            return expectSame(m_model.addChannel(shape + "." + unique, unique, shape),
                              m_server->newChannel("VoxelChannel<float>", name, shape, channel));
        }
        case 1:
            return expectSame(m_model.addChannel(name, name, shape),
                              m_server->newVoxelChannel<int>(name, shape, eOffsetCentre, 1));
        default: {
            const std::string path = shape + "." + name;
            return expectSame(
                m_model.addChannel(path, path, shape),
                m_server->deprecated_newChannel("VoxelChannel<float>", path, shape, channel));
        }
    }
}

void StoreAndModel::removeItem()
{
    const std::string name = anyName();
    switch (below(4)) {
        case 0:
            return expectSame(m_model.removeObject(name), m_server->deleteObject(name));
        case 1:
            return expectSame(m_model.layouts.erase(name) == 1, m_server->deleteVoxelLayout(name));
        case 2:
            return expectSame(m_model.meshes.erase(name) == 1, m_server->deleteMesh(name));
        default:
            return expectSame(m_model.removeShape(name), m_server->deleteShape(name));
    }
}

void StoreAndModel::removeChannel()
{
    const bool by_shape = below(2) == 0;
    const std::string shape = by_shape ? anyName() : "";
    const std::string name = by_shape ? anyName() : anyChannelName();
    const std::string key =
        m_model.findChannel(by_shape && !m_model.isMarked(name) ? shape + "." + name : name);
    expectSame(m_model.channels.erase(key) == 1, m_server->deleteChannel(name, shape));
}

void StoreAndModel::check()
{
    const VoxelStateSMP::Maps& maps = m_server->maps();
    EXPECT_EQ(keysOf(m_model.objects), maps.objectKeys());
    EXPECT_EQ(Names(m_model.layouts.begin(), m_model.layouts.end()), maps.layoutKeys());
    EXPECT_EQ(Names(m_model.meshes.begin(), m_model.meshes.end()), maps.meshKeys());
    EXPECT_EQ(keysOf(m_model.shapes), maps.shapeKeys());
    EXPECT_EQ(keysOf(m_model.channels), maps.channelKeys());

    const Names names = maps.names();
    EXPECT_EQ(m_model.keys(), NS::NameSet(names.begin(), names.end()));
    EXPECT_EQ(m_model.keys().size(), names.size());

    for (const auto& [name, shapes] : m_model.objects) {
        EXPECT_EQ(name, maps.findObject(name)->name());
        for (const std::string& shape : shapes) {
            EXPECT_TRUE(maps.findObject(name)->hasShape(shape));
        }
    }
    for (const auto& [name, shape] : m_model.shapes) {
        EXPECT_EQ(name, maps.findShape(name)->name());
        EXPECT_EQ(m_model.channelsOn(name).size(), maps.findShape(name)->channels().size());
        EXPECT_EQ(shape.object_lives, maps.findShape(name)->object() != nullptr);
    }
    for (const auto& [key, channel] : m_model.channels) {
        EXPECT_EQ(channel.name, maps.findChannel(key)->name());
        EXPECT_EQ(m_model.isMarked(channel.name), maps.isBareKey(channel.name)) << channel.name;
        EXPECT_EQ(!channel.shape.empty(), maps.findChannel(key)->shapePtr() != nullptr);
    }
    const std::string any = anyName();
    EXPECT_EQ(m_model.isMarked(any), maps.isBareKey(any)) << any;
    EXPECT_EQ(freeName(m_model.keys(), any), maps.uniqueName(any));
    const std::string channel_name = anyChannelName();
    expectSame(!m_model.findChannel(channel_name).empty(), m_server->hasChannel(channel_name));
}

TEST(StoreModel, StoreAndModelAgreeAfterEachOfManyRandomSteps)
{
    const unsigned int first_seed = 20240611;
    for (unsigned int seed = first_seed; seed < first_seed + 20; ++seed) {
        StoreAndModel pair(seed);
        for (int n = 0; n < 400 && !testing::Test::HasFailure(); ++n) {
            SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(n));
            pair.step();
            pair.check();
        }
    }
}

}  // namespace
}  // namespace Skelvar
