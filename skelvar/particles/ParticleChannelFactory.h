#pragma once

#include <skelvar/base/Api.h>

#include <memory>
#include <string>

namespace Skelvar {

class TreeChannel3DBase;

/// Turns a type name back into a particle channel.
class SKELVAR_API ParticleChannelFactory {
public:
    /// An unnamed channel without a shape, for the eleven names "ParticleChannel<float>",
    /// "ParticleChannel<vec<2,float>>", ... whose element types files may name; `unsigned char` is
    /// not among them. False, with `out_channel` as it was, for any other text.
    static bool create(const std::string& in_type_name,
                       std::shared_ptr<TreeChannel3DBase>& out_channel);
};

}  // namespace Skelvar
