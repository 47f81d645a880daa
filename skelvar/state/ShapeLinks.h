#pragma once

#include <skelvar/tree/TreeLayout3DBase.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <memory>
#include <string>
#include <vector>

namespace Skelvar {

/// Calls `in_body(TreeShape3DBase&)` for each shape that observes the layout. The body may take
/// shapes off its list.
template <typename Body>
void forEachShapeOn(const TreeLayout3DBase& in_layout, const Body& in_body)
{
    const std::vector<TreeLayout3DObserver*> observers = in_layout.observers();
    for (TreeLayout3DObserver* const observer : observers) {
        if (auto* const shape = dynamic_cast<TreeShape3DBase*>(observer)) {
            in_body(*shape);
        }
    }
}

/// Brings the channels of a shape to the size of its layout, if there is one.
inline void resizeChannels(TreeShape3DBase& io_shape)
{
    const auto layout = io_shape.layoutPtr();
    for (const auto& [name, channel] : io_shape.channels()) {
        if (layout && channel) {
            channel->resize(*layout);
        }
    }
}

/// Brings a shape to the voxel size and the nodes of its layout, where these have changed without
/// an event.
inline void followLayout(TreeShape3DBase& io_shape)
{
    if (const auto layout = io_shape.layoutPtr()) {
        io_shape.dxChanged(layout->MVS());
    }
    resizeChannels(io_shape);
}

/// Whether the shape's table holds this very channel.
inline bool holdsChannel(const TreeShape3DBase& in_shape,
                         const std::shared_ptr<TreeChannel3DBase>& in_channel)
{
    TreeShape3DBase::ChannelInfo info;
    return in_shape.channelInfo(in_channel->name(), info) && info.channel == in_channel;
}

/// Gives a channel another name, in the table of its shape too if that holds it.
inline void renameInShape(const std::shared_ptr<TreeChannel3DBase>& io_channel,
                          const std::string& in_new_name)
{
    const auto shape = io_channel->shapePtr();
    if (shape && holdsChannel(*shape, io_channel)) {
        shape->renameChannel(io_channel->name(), in_new_name);
    } else {
        io_channel->setName(in_new_name);
    }
}

}  // namespace Skelvar
