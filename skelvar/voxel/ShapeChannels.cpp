// The channel table of a shape.

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <stdexcept>

namespace Skelvar {

namespace {

constexpr unsigned short kAddedAsItWas = 0;
constexpr unsigned short kMadeUnderUniqueName = 1;

}  // namespace

bool TreeShape3DBase::hasChannel(const std::string& in_name) const
{
    return m_channels.count(in_name) != 0;
}

std::vector<std::string> TreeShape3DBase::channelNames() const
{
    std::vector<std::string> names;
    names.reserve(m_channels.size());
    for (const auto& [name, channel] : m_channels) {
        names.push_back(name);
    }
    return names;
}

bool TreeShape3DBase::channelInfo(const std::string& in_name, ChannelInfo& out_info) const
{
    const auto entry = m_channels.find(in_name);
    if (entry == m_channels.end()) {
        return false;
    }
    out_info = {entry->first, entry->second};
    return true;
}

std::shared_ptr<TreeChannel3DBase> TreeShape3DBase::channelBasePtr(const std::string& in_name) const
{
    const auto entry = m_channels.find(in_name);
    if (entry == m_channels.end()) {
        throw std::runtime_error("TreeShape3DBase::channel(): channel with name " + in_name);
    }
    return entry->second;
}

void TreeShape3DBase::failOnChannel(const std::string& in_name, const char* in_phrase) const
{
    throw std::runtime_error("Channel with name " + in_name + in_phrase + m_name);
}

void TreeShape3DBase::enterChannel(const std::shared_ptr<TreeChannel3DBase>& io_channel,
                                   const std::string& in_name, unsigned short in_creation_kind)
{
    // What may fail comes first, so that a failure leaves the table as it was.
    io_channel->setShape(shared_from_this());
    if (const std::shared_ptr<TreeLayout3DBase> layout = layoutPtr()) {
        io_channel->resize(*layout);
    }
    m_channels[in_name] = io_channel;
    io_channel->setName(in_name);
    io_channel->setCreationKind(in_creation_kind);
}

void TreeShape3DBase::addChannel(const std::shared_ptr<TreeChannel3DBase>& io_channel)
{
    const SkelvarProfiler::Scope scope("TreeShape3DBase::addChannel");
    const std::string name = io_channel->name();
    if (hasChannel(name)) {
        failOnChannel(name, " already exists in shape ");
    }
    enterChannel(io_channel, name, kAddedAsItWas);
}

void TreeShape3DBase::addUniqueChannel(std::shared_ptr<TreeChannel3DBase>& io_channel,
                                       const std::string& in_name)
{
    const SkelvarProfiler::Scope scope("TreeShape3DBase::addUniqueChannel");
    const auto entry = m_channels.find(in_name);
    if (entry != m_channels.end()) {
        io_channel = entry->second;
    } else if (io_channel) {
        enterChannel(io_channel, in_name, kMadeUnderUniqueName);
    }
}

void TreeShape3DBase::updateChannel(const std::shared_ptr<TreeChannel3DBase>& io_channel)
{
    const auto entry = m_channels.find(io_channel->name());
    if (entry == m_channels.end()) {
        failOnChannel(io_channel->name(), " does not exist on shape ");
    }
    if (entry->second == io_channel) {
        return;
    }
    io_channel->setShape(shared_from_this());
    detachChannel(entry->second.get());
    entry->second = io_channel;
}

void TreeShape3DBase::renameChannel(const std::string& in_from, const std::string& in_to)
{
    if (!hasChannel(in_from)) {
        failOnChannel(in_from, " does not exist on shape ");
    }
    if (hasChannel(in_to)) {
        failOnChannel(in_to, " already exists on shape ");
    }
    auto entry = m_channels.extract(in_from);
    entry.key() = in_to;
    if (entry.mapped()) {
        entry.mapped()->setName(in_to);
    }
    m_channels.insert(std::move(entry));
}

void TreeShape3DBase::swapChannels(const std::string& in_a, const std::string& in_b)
{
    const auto a = m_channels.find(in_a);
    const auto b = m_channels.find(in_b);
    if (a == m_channels.end() || b == m_channels.end()) {
        throw std::runtime_error("Channel with name " + in_a + " or " + in_b +
                                 " does not exist in Shape " + m_name);
    }
    std::swap(a->second, b->second);
    for (const auto& entry : {a, b}) {
        if (entry->second) {
            entry->second->setName(entry->first);
        }
    }
}

void TreeShape3DBase::detachChannel(TreeChannel3DBase* io_channel) const
{
    // A channel that is shared with a copy of the shape belongs to the shape that it names.
    if (io_channel != nullptr && io_channel->shapePtr().get() == this) {
        io_channel->setShape(nullptr);
    }
}

void TreeShape3DBase::removeChannel(const std::string& in_name)
{
    const auto entry = m_channels.find(in_name);
    if (entry == m_channels.end()) {
        failOnChannel(in_name, " does not exist in shape ");
    }
    detachChannel(entry->second.get());
    m_channels.erase(entry);
}

void TreeShape3DBase::removeAllChannels()
{
    for (const auto& [name, channel] : m_channels) {
        detachChannel(channel.get());
    }
    m_channels.clear();
}

void TreeShape3DBase::setChannelToNull(const std::string& in_name)
{
    std::shared_ptr<TreeChannel3DBase>& channel = m_channels[in_name];
    detachChannel(channel.get());
    channel = nullptr;
}

}  // namespace Skelvar
