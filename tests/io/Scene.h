#pragma once

#include <skelvar/base/TypeMeta.h>
#include <skelvar/io/Kvf.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/TreeShape3DBase.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace Skelvar::Test {

/// A new server of its own.
inline std::shared_ptr<VoxelState> newState()
{
    const auto state = StateServerManager::instance().createNewStateServer();
    StateServerManager::instance().removeStateServer(state->getId());
    return state;
}

/// A store with the object "ball", the layout "tree" and the shape "volume"; channels are added.
class Scene {
public:
    /// Tiles at depth 7 along the diagonal, under one root and under others.
    explicit Scene(int in_tiles = 3, std::shared_ptr<VoxelState> in_state = newState())
        : m_state(std::move(in_state))
    {
        std::string object = "ball";
        std::shared_ptr<VoxelShape> shape;
        EXPECT_EQ(kVoxelStateOk, m_state->newObject(object));
        EXPECT_EQ(kVoxelStateOk, m_state->newVoxelLayout("tree", 0.5f));
        EXPECT_EQ(kVoxelStateOk, m_state->newVoxelShape("volume", "tree", &object, shape));
        for (int n = 0; n < in_tiles; ++n) {
            layout().addNode(5 * n - 2, 5 * (n % 7) - 2, 5 * (n / 2) - 2, n % 5 == 4 ? 6 : 7);
        }
    }

    VoxelState& state() const { return *m_state; }
    VoxelLayout& layout() const
    {
        std::shared_ptr<TreeLayout3DBase> layout;
        EXPECT_EQ(kVoxelStateOk, m_state->layoutRef("tree", layout));
        return static_cast<VoxelLayout&>(*layout);
    }
    const std::vector<std::string>& channels() const { return m_channels; }

    static std::shared_ptr<TreeShape3DBase> shapeOf(VoxelState& io_state)
    {
        std::shared_ptr<TreeShape3DBase> shape;
        EXPECT_EQ(kVoxelStateOk, io_state.shapeRef("volume", shape));
        return shape;
    }
    template <typename T>
    static std::shared_ptr<VoxelChannel<T>> channelOf(VoxelState& io_state,
                                                      const std::string& in_name)
    {
        const auto shape = shapeOf(io_state);
        return shape && shape->hasChannel(in_name)
                   ? std::static_pointer_cast<VoxelChannel<T>>(shape->channelBasePtr(in_name))
                   : nullptr;
    }

    /// A channel whose tiles hold any bits.
    template <typename T>
    std::shared_ptr<VoxelChannel<T>> add(const std::string& in_name, unsigned int in_seed = 1)
    {
        std::shared_ptr<TreeChannel3DBase> made;
        EXPECT_EQ(kVoxelStateOk,
                  m_state->newChannel(VoxelChannel<T>::typeName(), in_name, "volume", made));
        m_channels.push_back(in_name);
        const auto channel = channelOf<T>(*m_state, in_name);
        std::mt19937 random(in_seed);
        for (int depth = 0; depth < 8; ++depth) {
            auto& tiles = channel->tiles(depth);
            auto* const bytes = reinterpret_cast<unsigned char*>(tiles.data());
            for (std::size_t n = 0; n < static_cast<std::size_t>(tiles.size()) * sizeof(tiles[0]);
                 ++n) {
                bytes[n] = static_cast<unsigned char>(random());
            }
        }
        channel->setCustomType("role of " + in_name);
        channel->setTagText("tag");
        channel->setTagWord(77);
        return channel;
    }

    /// Saves all channels under the path.
    bool save(const std::string& in_path, CompressionQuality in_quality = eQualityPlain,
              int in_frame = 0) const
    {
        std::string resolved;
        return kvfSave(*m_state, in_path, "volume", m_channels, in_frame, in_quality, resolved);
    }

private:
    std::shared_ptr<VoxelState> m_state;
    std::vector<std::string> m_channels;
};

/// Whether two channels hold the same tiles, bit for bit.
template <typename T>
::testing::AssertionResult sameTiles(const VoxelChannel<T>& in_a, const VoxelChannel<T>& in_b)
{
    for (int depth = 0; depth < 8; ++depth) {
        const auto& a = in_a.tiles(depth);
        const auto& b = in_b.tiles(depth);
        if (a.size() != b.size() ||
            (a.size() > 0 && std::memcmp(a.data(), b.data(), a.size() * sizeof(a[0])) != 0)) {
            return ::testing::AssertionFailure() << "depth " << depth << " differs";
        }
    }
    return ::testing::AssertionSuccess();
}

}  // namespace Skelvar::Test
