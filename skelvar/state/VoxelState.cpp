#include <skelvar/state/VoxelState.h>

#include <skelvar/base/TypeMeta.h>
#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <iostream>
#include <stdexcept>

namespace Skelvar {

VoxelState::VoxelState(const unsigned int& in_id) : m_id(in_id) {}

VoxelState::~VoxelState() = default;

namespace {

/// Loads a channel of unknown type into a shape.
VoxelStateResult fetchIntoShape(VoxelState& io_state, const std::string& in_name,
                                const std::shared_ptr<TreeShape3DBase>& io_shape,
                                VoxelState::VoxelStateHint in_hint)
{
    TypeMetaBase* found = nullptr;
    if (io_state.typeMeta(in_name, &found) != kVoxelStateOk) {
        std::cerr << "Error: can't find name " + in_name + "\n" << std::flush;
        return kVoxelStateFailed;
    }
    const std::unique_ptr<TypeMetaBase> type(found);
    return io_state.channel(in_name, io_shape, nullptr, *type, in_hint);
}

}  // namespace

VoxelStateResult VoxelState::voxelChannel(const std::string& in_name,
                                          const std::shared_ptr<VoxelShape>& io_shape,
                                          VoxelStateHint in_hint)
{
    return fetchIntoShape(*this, in_name, io_shape, in_hint);
}

VoxelStateResult VoxelState::particleChannel(const std::string& in_name,
                                             const std::shared_ptr<ParticleShape>& io_shape,
                                             VoxelStateHint in_hint)
{
    return fetchIntoShape(*this, in_name, io_shape, in_hint);
}

template <typename T>
VoxelStateResult VoxelState::voxelChannel(const std::string& in_name,
                                          const std::shared_ptr<VoxelShape>& io_shape,
                                          std::shared_ptr<VoxelChannel<T>>* out_channel,
                                          VoxelStateHint in_hint)
{
    std::shared_ptr<TreeChannel3DBase> found;
    const VoxelStateResult result = channel(in_name, io_shape, out_channel ? &found : nullptr,
                                            TypeMeta<VoxelChannel<T>>(), in_hint);
    if (found) {
        *out_channel = std::static_pointer_cast<VoxelChannel<T>>(found);
    }
    return result;
}

template <typename T>
VoxelStateResult VoxelState::particleChannel(const std::string& in_name,
                                             const std::shared_ptr<ParticleShape>& io_shape,
                                             std::shared_ptr<ParticleChannel<T>>* out_channel,
                                             VoxelStateHint in_hint)
{
    std::shared_ptr<TreeChannel3DBase> found;
    const VoxelStateResult result = channel(in_name, io_shape, out_channel ? &found : nullptr,
                                            TypeMeta<ParticleChannel<T>>(), in_hint);
    if (found) {
        *out_channel = std::static_pointer_cast<ParticleChannel<T>>(found);
    }
    return result;
}

template <typename T>
VoxelStateResult VoxelState::newVoxelChannel(const std::string& in_name,
                                             const std::string& in_shape_name,
                                             VoxelOffsetType in_offset_type, const T& in_background)
{
    const auto made =
        std::make_shared<VoxelChannel<T>>(in_name, nullptr, in_background, in_offset_type);
    return newChannel(made, in_shape_name);
}

template <typename T>
VoxelStateResult VoxelState::newParticleChannel(const std::string& in_name,
                                                const std::string& in_shape_name,
                                                const T& in_background)
{
    const auto made = std::make_shared<ParticleChannel<T>>(in_name, nullptr, in_background);
    return newChannel(made, in_shape_name);
}

#define SKELVAR_INSTANTIATE(T)                                                                     \
    template VoxelStateResult VoxelState::voxelChannel<T>(                                         \
        const std::string&, const std::shared_ptr<VoxelShape>&, std::shared_ptr<VoxelChannel<T>>*, \
        VoxelState::VoxelStateHint);
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

#define SKELVAR_INSTANTIATE(T)                                                      \
    template VoxelStateResult VoxelState::particleChannel<T>(                       \
        const std::string&, const std::shared_ptr<ParticleShape>&,                  \
        std::shared_ptr<ParticleChannel<T>>*, VoxelState::VoxelStateHint);          \
    template VoxelStateResult VoxelState::newVoxelChannel<T>(                       \
        const std::string&, const std::string&, VoxelOffsetType, const T&);         \
    template VoxelStateResult VoxelState::newParticleChannel<T>(const std::string&, \
                                                                const std::string&, const T&);
SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
