#pragma once

#include <skelvar/base/Api.h>

namespace Skelvar {

class TreeChannel3DBase;

/// Edits the elements of a channel whose tiles hold a varying number of them. Only particle
/// channels make one. Changes are collected and take effect in `update`.
class SKELVAR_API ChannelAccessor {
public:
    virtual ~ChannelAccessor() = default;

    /// Carries out what was asked for since the last call, on all channels of the shape. Runs
    /// alone.
    virtual void update() = 0;
    /// Asks for the removal of one element. The element stays until `update`. Any thread.
    virtual void removeElement(int in_tile, int in_depth, unsigned long in_index) = 0;
    /// Appends the value behind `in_value`, of the channel's element type. A tile may be filled by
    /// one thread at a time.
    virtual void addElement(int in_tile, int in_depth, const void* in_value) = 0;
    /// The channel that is edited. Borrowed.
    virtual TreeChannel3DBase* parent() const = 0;
};

}  // namespace Skelvar
