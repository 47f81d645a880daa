#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/ValueTypes.h>

#include <memory>

namespace Skelvar {

template <typename T>
class SKELVAR_API_FORWARD ParticleChannel;
class ParticleShape;

/// The channel that says where the particles of a shape are: of `vec3f`, its name behind the last
/// "/" being "position", or else the first with that word in it. Null if there is none.
SKELVAR_API std::shared_ptr<ParticleChannel<vec3f>> positionChannel(const ParticleShape& in_shape);

/// What becomes of particles that no tile holds.
enum StrayParticles : int {
    eStraysStay = 0,  ///< they stay in their tiles
    eStraysGo = 1,    ///< they are removed
};

struct ReblockResult {
    unsigned long long moved = 0;   ///< particles that changed their tile
    unsigned long long strays = 0;  ///< particles that no tile holds
};

/// Moves each particle of the channel's shape, in all channels, into the deepest tile that holds
/// its position. Positions are in coordinate units. A position outside of all tiles or the domain,
/// or one that is not a number, makes a stray. The layout is not changed: refine it first where
/// particles are to find tiles of their own. Runs alone on the channels of the shape, in parallel
/// inside. Without a shape with a layout nothing happens.
SKELVAR_API ReblockResult reblockByPosition(ParticleChannel<vec3f>& io_position,
                                            StrayParticles in_strays = eStraysStay);

}  // namespace Skelvar
