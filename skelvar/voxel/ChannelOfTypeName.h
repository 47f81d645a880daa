#pragma once

#include <skelvar/base/ValueTypes.h>
#include <skelvar/voxel/TreeChannel3DBase.h>

#include <memory>
#include <string>

namespace Skelvar::Detail {

/// An unnamed `Channel<T>` for that T of the factory types whose channel has the name; false, with
/// `out_channel` as it was, if there is none. What the factories of both kinds of channel do.
template <template <typename> class Channel>
bool createChannelOfTypeName(const std::string& in_type_name,
                             std::shared_ptr<TreeChannel3DBase>& out_channel)
{
#define SKELVAR_CREATE(T)                             \
    if (in_type_name == Channel<T>::typeName()) {     \
        out_channel = std::make_shared<Channel<T>>(); \
        return true;                                  \
    }
    SKELVAR_FOR_FACTORY_TYPES(SKELVAR_CREATE)
#undef SKELVAR_CREATE
    return false;
}

}  // namespace Skelvar::Detail
