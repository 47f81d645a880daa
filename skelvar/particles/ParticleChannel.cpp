#include <skelvar/particles/ParticleChannel.h>

#include <skelvar/particles/ParticleAccessorImpl.h>
#include <skelvar/particles/ParticleChannelImpl.h>

namespace Skelvar {

#define SKELVAR_INSTANTIATE(T) template class ParticleChannel<T>;
SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
