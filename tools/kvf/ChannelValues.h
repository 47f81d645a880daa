#pragma once

#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <vector>

namespace Skelvar::Tool {

/// The numbers that one value of a channel is made of, each as it is or as a double.
template <typename T>
struct ValueComponents {
    static constexpr int kCount = 1;
    static const T& at(const T& in_value, int) { return in_value; }
    static double get(const T& in_value, int) { return static_cast<double>(in_value); }
};

template <int N, typename T>
struct ValueComponents<orvel::Math::vec<N, T>> {
    static constexpr int kCount = N;
    static const T& at(const orvel::Math::vec<N, T>& in_value, int in_component)
    {
        return in_value[in_component];
    }
    static double get(const orvel::Math::vec<N, T>& in_value, int in_component)
    {
        return static_cast<double>(in_value[in_component]);
    }
};

/// Calls in_visit(const VoxelChannel<T>&) with the channel as what it is. False, without a call, if
/// it is no voxel channel.
template <typename Visit>
bool visitVoxelChannel(const TreeChannel3DBase& in_channel, const Visit& in_visit)
{
#define SKELVAR_VISIT(T)                                           \
    if (in_channel.isCastableTo(VoxelChannel<T>::typeName())) {    \
        in_visit(static_cast<const VoxelChannel<T>&>(in_channel)); \
        return true;                                               \
    }
    SKELVAR_FOR_VOXEL_TYPES(SKELVAR_VISIT)
#undef SKELVAR_VISIT
    return false;
}

/// The same for a particle channel.
template <typename Visit>
bool visitParticleChannel(const TreeChannel3DBase& in_channel, const Visit& in_visit)
{
#define SKELVAR_VISIT(T)                                              \
    if (in_channel.isCastableTo(ParticleChannel<T>::typeName())) {    \
        in_visit(static_cast<const ParticleChannel<T>&>(in_channel)); \
        return true;                                                  \
    }
    SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_VISIT)
#undef SKELVAR_VISIT
    return false;
}

/// What the values of one component of a channel amount to.
struct ComponentStats {
    double min = 0.0;  ///< of the finite values; 0 if there are none
    double max = 0.0;
    double mean = 0.0;
    long long finite = 0;
    long long nan = 0;
    long long inf = 0;  ///< of either sign
};

/// The statistics of all values of a depth, one entry for each component. Parallel, and the same
/// however many threads there are. Integers beyond 2^53 are rounded.
std::vector<ComponentStats> channelStats(const TreeChannel3DBase& in_channel, int in_depth);

}  // namespace Skelvar::Tool
