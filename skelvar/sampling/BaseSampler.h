#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/SamplerSpace.h>
#include <skelvar/base/ValueTypes.h>

#include <string>

namespace Skelvar {

class TreeChannel3DBase;

/// The kinds of samplers, by the names that `createSampler` takes and `type` gives.
inline const std::string kVoxelSamplerLinearType = "VoxelSamplerLinearType";
inline const std::string kVoxelSamplerQBSplineType = "VoxelSamplerQBSplineType";
inline const std::string kVoxelSamplerWENOType = "VoxelSamplerWENOType";

/// Reads a channel at continuous positions, without its element type. Borrows the channel and its
/// layout, and never writes to them. An edit of the layout or of the channel's values makes it
/// stale: it must be made anew. Keeps what it looked up last, so it belongs to one thread, and each
/// thread makes its own, which costs next to nothing. Several may read one channel at a time.
class SKELVAR_API BaseSampler {
public:
    /// Stores the value at a position behind `out_value`, of the channel's element type T.
    virtual void sample(const vec3f& in_position, void* out_value) const = 0;
    /// The same, and the gradient behind `out_gradient`, a `vec<3, T>`.
    virtual void sampleGradient(const vec3f& in_position, void* out_value,
                                void* out_gradient) const = 0;
    /// The channel that is read; null if it was made without one.
    virtual const TreeChannel3DBase* channel() const = 0;
    /// The name of its kind.
    virtual const std::string& type() const = 0;
    /// A word of the user, 0 at the start; the sampler does not read it.
    virtual unsigned long dataType() const = 0;
    virtual void setDataType(unsigned long in_type) = 0;
    virtual ~BaseSampler() = default;
};

}  // namespace Skelvar
