#pragma once

#include <skelvar/base/Api.h>

#include <memory>
#include <string>

namespace Skelvar {

class TreeChannel3DBase;

/// Turns a type name back into a channel.
class SKELVAR_API VoxelChannelFactory {
public:
    /// An unnamed channel without a shape, for the eleven names "VoxelChannel<float>",
    /// "VoxelChannel<vec<2,float>>", ... whose element types files may name; `bool` and
    /// `unsigned char` are not among them. False, with `out_channel` as it was, for any other text.
    static bool create(const std::string& in_type_name,
                       std::shared_ptr<TreeChannel3DBase>& out_channel);
};

}  // namespace Skelvar
