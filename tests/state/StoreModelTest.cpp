#include <tests/support/ScopedStateServer.h>

#include <skelvar/base/UniqueName.h>
#include <skelvar/mesh/Mesh.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/state/BObject.h>
#include <skelvar/state/VoxelStateSMPMaps.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
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
        std::string object;       ///< the name, which lasts when the object is gone
        int object_id;            ///< 0 for none
        std::string layout = {};  ///< the name, which lasts too
        bool has_layout = false;
        bool is_particles = false;
    };

    struct Object {
        int id;                        ///< of the very object: a copy in its place has another
        std::set<std::string> shapes;  ///< that it knows
    };

    std::map<std::string, Object> objects;
    int last_id = 0;
    std::set<std::string> layouts;
    std::set<std::string> meshes;
    std::map<std::string, Shape> shapes;
    std::map<std::string, Channel> channels;  ///< by key
    bool has_refused = false;                 ///< some object holds a shape that is not stored

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
    bool isParticles(const std::string& in_shape) const
    {
        const auto shape = shapes.find(in_shape);
        return shape != shapes.end() && shape->second.is_particles;
    }
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
        return free(in_name) && objects.try_emplace(in_name, Object{++last_id, {}}).second;
    }
    /// The object to which a shape belongs, null if that is gone.
    Object* objectOf(const Shape& in_shape)
    {
        for (auto& [name, object] : objects) {
            if (object.id == in_shape.object_id) {
                return &object;
            }
        }
        return nullptr;
    }
    bool addShape(const std::string& in_name, const std::string& in_layout,
                  const std::string* in_object, bool in_is_particles)
    {
        const auto object = in_object ? objects.find(*in_object) : objects.end();
        if (!layouts.contains(in_layout) || (in_object && object == objects.end())) {
            return false;
        }
        if (in_object && !object->second.shapes.insert(in_name).second) {
            return false;
        }
        if (!free(in_name)) {
            has_refused = has_refused || in_object;
            return false;  // the object keeps the shape all the same
        }
        shapes[in_name] = {in_object ? *in_object : "", in_object ? object->second.id : 0,
                           in_layout, true, in_is_particles};
        return true;
    }
    bool addChannel(const std::string& in_key, const std::string& in_name,
                    const std::string& in_shape)
    {
        return shapes.contains(in_shape) && free(in_key) &&
               !channelsOn(in_shape).contains(in_name) &&
               channels.try_emplace(in_key, Channel{in_name, in_shape}).second;
    }
    bool removeObject(const std::string& in_name) { return objects.erase(in_name) == 1; }
    bool removeLayout(const std::string& in_name)
    {
        for (auto& [name, shape] : shapes) {
            shape.has_layout = shape.has_layout && shape.layout != in_name;
        }
        return layouts.erase(in_name) == 1;
    }
    bool removeShape(const std::string& in_name)
    {
        const auto shape = shapes.find(in_name);
        if (shape == shapes.end()) {
            return false;
        }
        if (Object* const object = objectOf(shape->second)) {
            object->shapes.erase(in_name);
        }
        for (auto& [key, channel] : channels) {
            if (channel.shape == in_name) {
                channel.shape.clear();
            }
        }
        shapes.erase(shape);
        return true;
    }
    /// The key of the channel that a shape has under that name, "" for none. "a1" and "a01" are one
    /// name to a shape.
    std::string keyOn(const std::string& in_shape, const std::string& in_name) const
    {
        for (const auto& [key, channel] : channels) {
            if (channel.shape == in_shape && NS::NameSet{channel.name}.contains(in_name)) {
                return key;
            }
        }
        return "";
    }
    bool copyChannels(const std::string& in_from, const std::string& in_to,
                      const std::string& in_to_layout, const VoxelState::NamePairs& in_pairs);
    bool copyShape(const std::string& in_from, const std::string& in_to,
                   const std::string& in_layout, const VoxelState::NamePairs& in_pairs);
    bool rename(const std::string& in_object, const std::string& in_new_name);
    void updateChannels(const std::string& in_shape);
};

bool Model::copyChannels(const std::string& in_from, const std::string& in_to,
                         const std::string& in_to_layout, const VoxelState::NamePairs& in_pairs)
{
    const auto is_taken = [&](const std::string& in_name) {
        return channels.contains(in_name) || channels.contains(in_to + "." + in_name) ||
               channelsOn(in_to).contains(in_name);
    };
    std::map<std::string, Channel> made;
    NS::NameSet all = keys();
    all.insert(in_to);
    all.insert(in_to_layout);
    NS::NameSet names;
    for (const auto& [from, to] : in_pairs) {
        const std::string key = keyOn(in_from, from);
        const std::string name = isMarked(key) ? to : freeName({}, to);
        const std::string new_key = isMarked(key) ? name : in_to + "." + name;
        if (key.empty() || is_taken(to) || is_taken(name) || !names.insert(name).second ||
            !all.insert(new_key).second) {
            return false;
        }
        made[new_key] = {name, in_to};
    }
    channels.merge(made);
    return true;
}

bool Model::copyShape(const std::string& in_from, const std::string& in_to,
                      const std::string& in_layout, const VoxelState::NamePairs& in_pairs)
{
    if (!shapes.contains(in_from) || !shapes[in_from].has_layout ||
        NS::NameSet{in_to}.contains(in_layout) || !free(in_to) || !free(in_layout) ||
        !copyChannels(in_from, in_to, in_layout, in_pairs)) {
        return false;
    }
    shapes[in_to] = shapes[in_from];
    shapes[in_to].layout = in_layout;
    layouts.insert(in_layout);
    return true;
}

bool Model::rename(const std::string& in_object, const std::string& in_new_name)
{
    if (in_object == in_new_name) {
        return true;
    }
    const auto renamed = [&](const std::string& in_name) {
        return in_name.size() > in_object.size() ? in_new_name + in_name.substr(in_object.size())
                                                 : in_name;
    };
    Model next = *this;
    // All that moves comes out first, then each goes in under its new name.
    std::map<std::string, std::string> moved_layouts;
    std::map<std::string, Shape> moved_shapes;
    std::map<std::string, Channel> moved_channels;
    const Object object = next.objects[in_object];
    next.objects.erase(in_object);
    bool ok = true;
    for (const std::string& name : object.shapes) {
        const Shape shape = shapes.at(name);
        if (shape.has_layout) {
            moved_layouts[shape.layout] = renamed(shape.layout);
            next.layouts.erase(shape.layout);
        }
        ok = moved_shapes.try_emplace(renamed(name), shape).second && ok;
        next.shapes.erase(name);
        for (const auto& [key, channel] : channels) {
            if (channel.shape != name) {
                continue;
            }
            const std::string new_name = renamed(channel.name);
            const bool moves = new_name != channel.name || key == channel.name;
            const std::string new_key = moves ? new_name : renamed(name) + "." + new_name;
            ok = moved_channels.try_emplace(new_key, Channel{new_name, renamed(name)}).second && ok;
            next.channels.erase(key);
        }
    }
    NS::NameSet all = next.keys();
    const auto take = [&](const std::string& in_key) { ok = all.insert(in_key).second && ok; };
    take(in_new_name);
    for (const auto& [old_name, new_name] : moved_layouts) {
        take(new_name);
        next.layouts.insert(new_name);
    }
    for (auto& [name, shape] : moved_shapes) {
        take(name);
        shape.object = in_new_name;
        next.objects[in_new_name].shapes.insert(name);
        next.shapes[name] = shape;
    }
    for (const auto& [key, channel] : moved_channels) {
        take(key);
        next.channels[key] = channel;
    }
    next.objects[in_new_name].id = object.id;
    for (auto& [name, shape] : next.shapes) {
        const auto layout = moved_layouts.find(shape.layout);
        if (shape.has_layout && layout != moved_layouts.end()) {
            shape.layout = layout->second;
        }
        // A shape that only names the object, as a copy does, keeps that name.
    }
    if (ok) {
        *this = next;
    }
    return ok;
}

/// New objects for the channels of a shape come into the store.
void Model::updateChannels(const std::string& in_shape)
{
    for (const std::string& name : channelsOn(in_shape)) {
        const std::string key = keyOn(in_shape, name);
        const std::string path = in_shape + "." + name;
        if (key != path && channels.contains(path)) {
            channels[key].shape.clear();
            channels[path] = {name, in_shape};
        }
    }
}

/// A store and its model, to which the same is done.
class StoreAndModel {
public:
    explicit StoreAndModel(unsigned int in_seed) : m_random(in_seed) {}

    void step();
    void check();

private:
    void checkDump();
    int below(int in_end) { return static_cast<int>(m_random() % in_end); }
    std::string anyName()
    {
        static const Names s_names = {"a",   "a1", "a01",     "a2",      "b",
                                      "b-v", "c",  "my rain", "my_rain", "12"};
        return s_names[below(static_cast<int>(s_names.size()))];
    }
    /// A name that is free most of the time.
    std::string freshName()
    {
        return anyName() +
               (below(4) == 0 ? "" : std::string("x").append(std::to_string(below(100))));
    }
    std::string anyShape()
    {
        const int n = static_cast<int>(m_model.shapes.size());
        return n == 0 || below(8) == 0 ? anyName()
                                       : std::next(m_model.shapes.begin(), below(n))->first;
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
    VoxelState::NamePairs anyPairs(const std::string& in_shape);
    void copyItems();
    void copyToAnotherServer();
    void mergeFromAnotherServer();
    void moveNames();
    void bringBackCopies();

    ScopedStateServer m_server;
    Model m_model;
    std::mt19937 m_random;
};

void expectSame(bool in_expected, VoxelStateResult in_result)
{
    EXPECT_EQ(in_expected, in_result == kVoxelStateOk);
}

void StoreAndModel::step()
{
    const int dice = below(100);
    if (dice == 0) {
        m_model = Model();
        m_server->clear();
    } else if (dice <= 20) {
        makeItem();
    } else if (dice <= 40) {
        makeChannel();
    } else if (dice <= 50) {
        removeItem();
    } else if (dice < 60) {
        removeChannel();
    } else if (dice < 70) {
        copyItems();
    } else if (dice < 80) {
        moveNames();
    } else if (dice < 90) {
        bringBackCopies();
    } else if (dice < 95) {
        copyToAnotherServer();
    } else {
        mergeFromAnotherServer();
    }
}

void StoreAndModel::makeItem()
{
    const std::string name = anyName();
    std::string object = anyName();
    const std::string layout = anyName();
    const bool is_particles = below(3) == 0;
    const auto new_shape = [&](std::string* in_object) {
        std::shared_ptr<VoxelShape> voxels;
        std::shared_ptr<ParticleShape> particles;
        return is_particles ? m_server->newParticleShape(name, layout, in_object, particles)
                            : m_server->newVoxelShape(name, layout, in_object, voxels);
    };
    std::shared_ptr<TreeShape3DBase> shape;
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
                m_model.shapes[name] = {"", 0, "", false, is_particles};
            }
            const char* const type = is_particles ? "ParticleShape" : "VoxelShape";
            return expectSame(expected, m_server->newShape(type, name, shape));
        }
        case 4:
            return expectSame(m_model.addShape(name, layout, nullptr, is_particles),
                              new_shape(nullptr));
        default:
            if (!m_model.free(name) && below(20) > 0) {
                return;  // the object would keep a shape that the store does not have
            }
            return expectSame(m_model.addShape(name, layout, &object, is_particles),
                              new_shape(&object));
    }
}

void StoreAndModel::makeChannel()
{
    const std::string shape = anyName();
    const std::string name = anyName();
    std::shared_ptr<TreeChannel3DBase> channel;
    const bool is_particles = m_model.isParticles(shape);
    const char* const type = is_particles ? "ParticleChannel<float>" : "VoxelChannel<float>";
    switch (below(3)) {
        case 0: {
            const std::string unique = freeName(m_model.channelsOn(shape), name);
            return expectSame(m_model.addChannel(shape + "." + unique, unique, shape),
                              m_server->newChannel(type, name, shape, channel));
        }
        case 1:
            return expectSame(m_model.addChannel(name, name, shape),
                              is_particles
                                  ? m_server->newParticleChannel<int>(name, shape, 1)
                                  : m_server->newVoxelChannel<int>(name, shape, eOffsetCentre, 1));
        default: {
            const std::string path = shape + "." + name;
            return expectSame(m_model.addChannel(path, path, shape),
                              m_server->deprecated_newChannel(type, path, shape, channel));
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
            return expectSame(m_model.removeLayout(name), m_server->deleteVoxelLayout(name));
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

/// Channels of the shape (and now and then no channel of it) with new names.
VoxelState::NamePairs StoreAndModel::anyPairs(const std::string& in_shape)
{
    VoxelState::NamePairs pairs;
    for (const std::string& name : m_model.channelsOn(in_shape)) {
        if (below(2) == 0) {
            pairs.emplace_back(below(8) == 0 ? anyName() : name, freshName());
        }
    }
    return pairs;
}

void StoreAndModel::copyItems()
{
    const std::string from = anyShape();
    const VoxelState::NamePairs pairs = anyPairs(from);
    if (below(2) == 0) {
        const std::string to = freshName();
        const std::string layout = freshName();
        SCOPED_TRACE(testing::Message() << "copy shape " << from << " to " << to << " on " << layout
                                        << ": " << testing::PrintToString(pairs));
        return expectSame(m_model.copyShape(from, to, layout, pairs),
                          m_server->copyShape(from, to, layout, pairs));
    }
    const std::string to = anyShape();
    SCOPED_TRACE(testing::Message() << "copy channels of " << from << " to " << to << ": "
                                    << testing::PrintToString(pairs));
    const bool can_copy = m_model.shapes.contains(from) && m_model.shapes.contains(to) &&
                          m_model.isParticles(from) == m_model.isParticles(to);
    expectSame(pairs.empty() || (can_copy && m_model.copyChannels(from, to, to, pairs)),
               m_server->copyChannel(from, to, pairs));
}

/// What another server gets is what the model has; the store itself stays as it is.
void StoreAndModel::copyToAnotherServer()
{
    const std::string from = anyShape();
    const auto entry = m_model.shapes.find(from);
    NS::NameSet keys = {from};
    Names channels;
    bool expected = entry != m_model.shapes.end() && entry->second.has_layout;
    if (expected) {
        // The object of that name may be gone, and the name another item's.
        expected =
            keys.insert(entry->second.object).second && keys.insert(entry->second.layout).second;
        for (const std::string& name : m_model.channelsOn(from)) {
            if (below(2) == 0) {
                channels.push_back(name);
                expected =
                    keys.insert(m_model.isMarked(m_model.keyOn(from, name)) ? name
                                                                            : from + "." + name)
                        .second &&
                    expected;
            }
        }
    }
    const ScopedStateServer other;
    SCOPED_TRACE("copy shape " + from + " with " + testing::PrintToString(channels));
    expectSame(expected, m_server->copyShapeTo(*other, from, channels));
    if (expected) {
        const Names names = other->maps().names();
        EXPECT_EQ(keys, NS::NameSet(names.begin(), names.end()));
        EXPECT_EQ(channels.size(), other->maps().findShape(from)->channels().size());
    }
}

/// A shape with a channel, each of a name that is free here, of an object that may be here already.
void StoreAndModel::mergeFromAnotherServer()
{
    std::string object = anyName();
    const std::string shape = freshName();
    const std::string layout = freshName();
    const std::string channel = shape + "/c";
    // "a1" and "a01" are one name.
    if (m_model.has_refused || NS::NameSet{object, shape, layout, channel}.size() < 4 ||
        !m_model.free(shape) || !m_model.free(layout) || !m_model.free(channel) ||
        (!m_model.objects.contains(object) && !m_model.addObject(object)) ||
        m_model.objects[object].shapes.contains(shape)) {
        return;
    }
    m_model.layouts.insert(layout);
    ASSERT_TRUE(m_model.addShape(shape, layout, &object, true));
    ASSERT_TRUE(m_model.addChannel(channel, channel, shape));
    SCOPED_TRACE("merge shape " + shape + " on " + layout + " of " + object);
    const ScopedStateServer other;
    std::shared_ptr<ParticleShape> made;
    other->newObject(object);
    other->newVoxelLayout(layout, 1.0f);
    other->newParticleShape(shape, layout, &object, made);
    other->newParticleChannel<float>(channel, shape, 1.0f);

    expectSame(true, m_server->mergeIn(*other, {shape}));
}

void StoreAndModel::moveNames()
{
    if (below(2) == 0) {
        const std::string a = anyChannelName();
        const std::string b = anyChannelName();
        SCOPED_TRACE("swap " + a + " and " + b);
        const auto of = [&](const std::string& in_name) {
            const auto entry = m_model.channels.find(m_model.findChannel(in_name));
            return entry == m_model.channels.end() ? "" : entry->second.shape;
        };
        // The keys stay: the channels change places and names.
        return expectSame(!of(a).empty() && of(a) == of(b), m_server->swapChannels(a, b));
    }
    const std::string object = anyName();
    const std::string new_name = freshName();
    SCOPED_TRACE("rename " + object + " to " + new_name);
    std::shared_ptr<BObject> stored;
    m_server->objectRef(object, stored);
    if (!stored) {
        return;
    }
    EXPECT_EQ(kVoxelStateFailed, m_server->renameObject(stored->copy(), new_name));
    if (!m_model.has_refused) {
        expectSame(m_model.rename(object, new_name), m_server->renameObject(stored, new_name));
    }
}

/// Copies of an object and of some of its shapes and layouts take the place of the stored ones.
void StoreAndModel::bringBackCopies()
{
    const std::string name = anyName();
    if (!m_model.objects.contains(name) || m_model.has_refused) {
        return;
    }
    for (const std::string& shape : m_model.objects[name].shapes) {
        for (const std::string& channel : m_model.channelsOn(shape)) {
            const auto entry = m_model.channels.find(shape + "." + channel);
            if (entry != m_model.channels.end() && entry->second.name != channel) {
                return;  // a channel is named like the path of this one, whose copy would replace
                         // it
            }
        }
    }
    const auto hint = below(2) == 0 ? VoxelState::eHintCopy : VoxelState::eHintCopyData;
    std::shared_ptr<BObject> object;
    ASSERT_EQ(kVoxelStateOk, m_server->object(name, &object, hint));
    std::vector<std::shared_ptr<VoxelLayout>> layouts;  // shapes refer to them weakly
    for (const std::string& shape_name : m_model.objects[name].shapes) {
        if (below(3) == 0) {
            continue;
        }
        std::shared_ptr<VoxelShape> voxels;
        std::shared_ptr<ParticleShape> particles;
        ASSERT_EQ(kVoxelStateOk, m_model.isParticles(shape_name)
                                     ? m_server->particleShape(shape_name, particles, object, hint)
                                     : m_server->voxelShape(shape_name, voxels, object, hint));
        if (m_model.shapes[shape_name].has_layout && below(2) == 0) {
            layouts.emplace_back();
            const std::string& layout = m_model.shapes[shape_name].layout;
            ASSERT_EQ(kVoxelStateOk,
                      particles ? m_server->voxelLayout(layout, particles, layouts.back(), hint)
                                : m_server->voxelLayout(layout, voxels, layouts.back(), hint));
        }
        m_model.updateChannels(shape_name);
    }
    m_model.objects[name].id = ++m_model.last_id;
    for (const std::string& shape_name : m_model.objects[name].shapes) {
        Model::Shape& shape = m_model.shapes[shape_name];
        shape.object_id = m_model.last_id;
        shape.has_layout = m_model.layouts.contains(shape.layout);
    }
    EXPECT_EQ(kVoxelStateOk, m_server->updateObject(object));
}

/// The store's own checks find nothing wrong: they may name items that no object holds.
void StoreAndModel::checkDump()
{
    std::ostringstream text;
    m_server->dump(text, 0, 2);
    if (m_model.has_refused) {
        return;
    }
    ASSERT_EQ(std::string::npos, text.str().find("ERROR:")) << text.str();
    for (const auto& [name, shape] : m_model.shapes) {
        const Model::Object* const object = m_model.objectOf(shape);
        const bool is_walked = object && object->shapes.contains(name);
        const std::string line = "ERROR - Unreferenced name in m_shapes:" + name + "\n";
        ASSERT_EQ(is_walked, text.str().find(line) == std::string::npos) << name << text.str();
    }
}

void StoreAndModel::check()
{
    ASSERT_NO_FATAL_FAILURE(checkDump());
    const VoxelStateSMP::Maps& maps = m_server->maps();
    ASSERT_EQ(keysOf(m_model.objects), maps.objectKeys());
    ASSERT_EQ(Names(m_model.layouts.begin(), m_model.layouts.end()), maps.layoutKeys());
    ASSERT_EQ(Names(m_model.meshes.begin(), m_model.meshes.end()), maps.meshKeys());
    ASSERT_EQ(keysOf(m_model.shapes), maps.shapeKeys());
    ASSERT_EQ(keysOf(m_model.channels), maps.channelKeys());

    const Names names = maps.names();
    ASSERT_EQ(m_model.keys(), NS::NameSet(names.begin(), names.end()));
    ASSERT_EQ(m_model.keys().size(), names.size());

    for (const auto& [name, model] : m_model.objects) {
        ASSERT_EQ(name, maps.findObject(name)->name());
        for (const std::string& shape : model.shapes) {
            ASSERT_TRUE(maps.findObject(name)->hasShape(shape));
        }
    }
    for (const auto& [name, shape] : m_model.shapes) {
        ASSERT_EQ(name, maps.findShape(name)->name());
        ASSERT_EQ(m_model.channelsOn(name).size(), maps.findShape(name)->channels().size());
        ASSERT_EQ(m_model.objectOf(shape) != nullptr, maps.findShape(name)->object() != nullptr)
            << name;
        const auto layout = maps.findShape(name)->layoutPtr();
        ASSERT_EQ(shape.layout, maps.findShape(name)->layoutName()) << name;
        ASSERT_EQ(layout, shape.has_layout ? maps.findLayout(shape.layout) : nullptr) << name;
        for (const auto& [channel_name, channel] : maps.findShape(name)->channels()) {
            ASSERT_EQ(channel, maps.findChannel(m_model.keyOn(name, channel_name)));
        }
    }
    for (const auto& [key, channel] : m_model.channels) {
        ASSERT_EQ(channel.name, maps.findChannel(key)->name());
        ASSERT_EQ(m_model.isMarked(channel.name), maps.isBareKey(channel.name)) << channel.name;
        const auto shape = maps.findChannel(key)->shapePtr();
        ASSERT_EQ(channel.shape, shape ? maps.findChannel(key)->shapeName() : "");
    }
    const std::string any = anyName();
    ASSERT_EQ(m_model.isMarked(any), maps.isBareKey(any)) << any;
    ASSERT_EQ(freeName(m_model.keys(), any), maps.uniqueName(any));
    const std::string channel_name = anyChannelName();
    expectSame(!m_model.findChannel(channel_name).empty(), m_server->hasChannel(channel_name));
}

/// The first seed is `SKELVAR_TEST_SEED` of the environment, if it is there.
TEST(StoreModel, StoreAndModelAgreeAfterEachOfManyRandomSteps)
{
    const char* const given = std::getenv("SKELVAR_TEST_SEED");
    const unsigned int first_seed = given ? static_cast<unsigned int>(std::stoul(given)) : 20240611;
    for (unsigned int seed = first_seed; seed < first_seed + 20; ++seed) {
        StoreAndModel pair(seed);
        for (int n = 0; n < 400; ++n) {
            SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(n));
            pair.step();
            ASSERT_FALSE(testing::Test::HasFailure());
            pair.check();
            ASSERT_FALSE(testing::Test::HasFailure());
        }
    }
}

}  // namespace
}  // namespace Skelvar
