#pragma once

#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/tree/VoxelLayout.h>

#include <cmath>
#include <memory>
#include <string>

namespace Skelvar::Test {

/// A particle shape "drops" on a layout "tree" with channels of some types. What a channel but the
/// position holds is a function of the particle's id, so that any mix-up shows.
struct ParticleScene {
    explicit ParticleScene(
        std::shared_ptr<VoxelLayout> in_layout = std::make_shared<VoxelLayout>("tree"))
        : layout(std::move(in_layout))
    {
        shape->setLayout(layout);
        position = add<vec3f>("position", {-1, -1, -1});
        velocity = add<vec3f>("velocity", {-2, -2, -2});
        density = add<float>("density", -3.0f);
        id = add<unsigned long long>("id", ~0ULL);
        flag = add<unsigned char>("flag", 255);
        cell = add<vec4i>("cell", {-4, -4, -4, -4});
    }

    template <typename T>
    std::shared_ptr<ParticleChannel<T>> add(const std::string& in_name, const T& in_background)
    {
        const auto channel = std::make_shared<ParticleChannel<T>>(in_name, shape, in_background);
        shape->addChannel(channel);
        return channel;
    }

    static vec3f velocityOf(unsigned long long in_id)
    {
        return {static_cast<float>(in_id), 0.5f, -static_cast<float>(in_id)};
    }
    static float densityOf(unsigned long long in_id) { return static_cast<float>(in_id) * 0.25f; }
    static unsigned char flagOf(unsigned long long in_id)
    {
        return static_cast<unsigned char>(in_id * 7);
    }
    static vec4i cellOf(unsigned long long in_id)
    {
        const int n = static_cast<int>(in_id);
        return {n, -n, 3 * n, 17};
    }

    /// The deepest tile that holds the point; negative if there is none.
    TileIndex tileAt(const vec3f& in_point) const
    {
        return layout->nodeIndex<false>(static_cast<int>(std::floor(in_point[0])),
                                        static_cast<int>(std::floor(in_point[1])),
                                        static_cast<int>(std::floor(in_point[2])), kMaxTileDepth);
    }
    /// Writes the values of a new particle behind the others of a tile, in all channels.
    void push(const TileIndex& in_tile, const vec3f& in_position, unsigned long long in_id)
    {
        position->tile(in_tile).push_back(in_position);
        velocity->tile(in_tile).push_back(velocityOf(in_id));
        density->tile(in_tile).push_back(densityOf(in_id));
        id->tile(in_tile).push_back(in_id);
        flag->tile(in_tile).push_back(flagOf(in_id));
        cell->tile(in_tile).push_back(cellOf(in_id));
    }
    /// One particle in the deepest tile at its position; the counts follow.
    unsigned long long drop(const vec3f& in_position)
    {
        const unsigned long long number = shape->nextParticleId();
        push(tileAt(in_position), in_position, number);
        id->syncShapeParticleCounts();
        return number;
    }

    std::shared_ptr<VoxelLayout> layout;
    std::shared_ptr<ParticleShape> shape = std::make_shared<ParticleShape>("drops");
    std::shared_ptr<ParticleChannel<vec3f>> position;
    std::shared_ptr<ParticleChannel<vec3f>> velocity;
    std::shared_ptr<ParticleChannel<float>> density;
    std::shared_ptr<ParticleChannel<unsigned long long>> id;
    std::shared_ptr<ParticleChannel<unsigned char>> flag;
    std::shared_ptr<ParticleChannel<vec4i>> cell;
};

}  // namespace Skelvar::Test
