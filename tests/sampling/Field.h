#pragma once

#include <skelvar/sampling/TileCache.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tests/support/LayoutBuilder.h>
#include <tests/support/Random.h>
#include <tests/support/VoxelTypes.h>

#include <cmath>
#include <memory>
#include <string>

namespace Skelvar::Test {

/// A channel on a shape on a layout.
template <typename T>
struct Field {
    std::shared_ptr<VoxelLayout> layout;
    std::shared_ptr<VoxelShape> shape = std::make_shared<VoxelShape>("shape");
    std::shared_ptr<VoxelChannel<T>> channel;

    explicit Field(const std::shared_ptr<VoxelLayout>& in_layout, const T& in_background = T{},
                   VoxelOffsetType in_offset = eOffsetCentre)
        : layout(in_layout),
          channel(std::make_shared<VoxelChannel<T>>("c", nullptr, in_background, in_offset))
    {
        shape->setLayout(layout);
        shape->addChannel(channel);
    }

    /// Another channel on the shape.
    template <typename U>
    std::shared_ptr<VoxelChannel<U>> add(const std::string& in_name, const U& in_background = U{},
                                         VoxelOffsetType in_offset = eOffsetCentre)
    {
        const auto added =
            std::make_shared<VoxelChannel<U>>(in_name, nullptr, in_background, in_offset);
        shape->addChannel(added);
        return added;
    }

    /// Sets each cell of each depth to in_value(position of the value in coordinate units).
    template <typename Value>
    void fill(const Value& in_value)
    {
        for (int depth = 0; depth < kNumDepths; ++depth) {
            const float side = static_cast<float>(kTileSideLUT[depth + 1]);
            for (int n = 0; n < layout->numNodes(depth); ++n) {
                const vec3i corner = layout->node(n, depth).corner();
                for (int cell = 0; cell < kTileSize; ++cell) {
                    vec3f at{static_cast<float>(cell % 5), static_cast<float>(cell / 5 % 5),
                             static_cast<float>(cell / 25)};
                    at += channel->offset();
                    at *= side;
                    for (int axis = 0; axis < 3; ++axis) {
                        at[axis] += static_cast<float>(corner[axis]);
                    }
                    channel->tile(n, depth)(cell) = in_value(at);
                }
            }
        }
    }
};

/// The tile that a sample at a position reads, no deeper than asked; negative outside.
inline TileIndex slowTileAt(const VoxelLayout& in_layout, const vec3f& in_position, int in_depth)
{
    int q[3];
    for (int axis = 0; axis < 3; ++axis) {
        if (!(in_position[axis] > -195312.0f && in_position[axis] < 195312.0f)) {
            return kNoTileIndex;
        }
        q[axis] = static_cast<int>(in_position[axis]) - (in_position[axis] >= 0.0f ? 0 : 1);
    }
    return in_layout.nodeIndex<false>(q[0], q[1], q[2], in_depth);
}

/// A tile among its neighbours of the same depth, null where there is none.
template <typename T>
TileBlock<T> slowBlock(const VoxelLayout& in_layout, const VoxelChannel<T>& in_channel,
                       const VoxelLayoutNode& in_node)
{
    const int side = kTileSideLUT[in_node.depth()];
    TileBlock<T> block{};
    for (int n = 0; n < 27; ++n) {
        const vec3i p = in_node.corner() + side * vec3i{n % 3 - 1, n / 3 % 3 - 1, n / 9 - 1};
        const TileIndex found = in_layout.nodeIndex<true>(p[0], p[1], p[2], in_node.depth());
        block[n] = found.first >= 0 ? &in_channel.tile(found) : nullptr;
    }
    return block;
}

/// What `prepareToSample` delivers.
struct Prepared {
    bool found = false;
    float scale = 0.0f;
    vec3i cell{};
    vec3f fraction{};
    TileIndex tile;
};

template <typename Sampler>
Prepared prepared(const Sampler& in_sampler, const vec3f& in_position, int in_depth)
{
    Prepared p;
    p.found = in_sampler.prepareToSample(in_position, in_depth, &p.scale, &p.cell[0], &p.cell[1],
                                         &p.cell[2], &p.fraction[0], &p.fraction[1], &p.fraction[2],
                                         &p.tile.first, &p.tile.second);
    return p;
}

/// Any value of small numbers, whole ones for integers.
template <typename T>
T anyValue(Testing::Random& io_random)
{
    if constexpr (IsVec<T>::value) {
        T value{};
        for (int a = 0; a < T::kSize; ++a) {
            value[a] = anyValue<typename T::value_type>(io_random);
        }
        return value;
    } else if constexpr (std::is_same_v<T, float>) {
        return static_cast<T>(io_random.real(-10.0, 10.0));
    } else {
        return static_cast<T>(io_random.integer(std::is_signed_v<T> ? -40 : 0, 40));
    }
}

/// A tree about the origin of several roots, with tiles of all depths from 3 on, many without
/// neighbours, and any values.
template <typename T>
Field<T> anyField(Testing::Random& io_random, VoxelOffsetType in_offset = eOffsetCentre)
{
    LayoutBuilder builder;
    if (io_random.integer(0, 1) == 1) {
        builder.tile({0, 0, 0}, io_random.integer(0, 3));
    }
    for (int depth = 3; depth < kNumDepths; ++depth) {
        const int reach = depth < 6 ? 700 : 60;
        for (int n = 0; n < 6 * (depth - 2); ++n) {
            builder.tile({io_random.integer(-reach, reach), io_random.integer(-reach, reach),
                          io_random.integer(-reach, reach)},
                         depth);
        }
    }
    builder.box({-15, -12, -7}, {14, 13, 16}, 7);
    const auto layout = builder.build();
    for (int n = 0; n < 10; ++n) {
        layout->deleteNode({io_random.integer(0, layout->numNodes(7) - 1), 7});
    }
    Field<T> field(layout, anyValue<T>(io_random), in_offset);
    field.fill([&](const vec3f&) { return anyValue<T>(io_random); });
    return field;
}

/// A position of which many are near the origin, and some on whole coordinates.
inline vec3f anyPosition(Testing::Random& io_random)
{
    const double reach = io_random.integer(0, 3) == 0 ? 800.0 : 40.0;
    vec3f position;
    for (int axis = 0; axis < 3; ++axis) {
        const double at = io_random.real(-reach, reach);
        position[axis] = static_cast<float>(io_random.integer(0, 9) == 0 ? std::round(at) : at);
    }
    return position;
}

}  // namespace Skelvar::Test
