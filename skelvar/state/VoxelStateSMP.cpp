#include <skelvar/state/VoxelStateSMP.h>

#include <skelvar/state/VoxelStateSMPMaps.h>

namespace Skelvar {

VoxelStateSMP::VoxelStateSMP(const unsigned int& in_id)
    : VoxelState(in_id), m_maps(std::make_unique<Maps>(in_id))
{
}

VoxelStateSMP::~VoxelStateSMP()
{
    if (OffloadManager* manager = m_offload_manager) {
        manager->detachServer();
    }
}

VoxelStateResult VoxelStateSMP::setGlobalHint(VoxelStateHint in_hint)
{
    m_global_hint = in_hint;
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::setOffloadManager(OffloadManager* in_manager)
{
    m_offload_manager = in_manager;
    return kVoxelStateOk;
}

VoxelState::OffloadManager* VoxelStateSMP::offloadManager()
{
    return m_offload_manager;
}

void VoxelStateSMP::ensureData(const std::string& in_name) const
{
    if (OffloadManager* manager = m_offload_manager) {
        manager->ensureData(in_name);
    }
}

VoxelStateResult VoxelStateSMP::clear()
{
    m_maps->clear();
    if (OffloadManager* manager = m_offload_manager) {
        manager->clearAll();
    }
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::objects(std::vector<std::string>& out_names) const
{
    out_names = m_maps->objectKeys();
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::shapes(std::vector<std::string>& out_names) const
{
    out_names = m_maps->shapeKeys();
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::channels(std::vector<std::string>& out_names) const
{
    out_names = m_maps->channelKeys();
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::layouts(std::vector<std::string>& out_names) const
{
    out_names = m_maps->layoutKeys();
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::uniqueName(const std::string& in_name, std::string& out_name) const
{
    out_name = m_maps->uniqueName(in_name);
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::dictionary(std::shared_ptr<Dictionary>& out_dictionary) const
{
    out_dictionary = m_maps->dictionary();
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::dump(std::ostream& io_stream, int in_indent, int in_detail) const
{
    m_maps->dump(io_stream, in_indent, in_detail);
    return kVoxelStateOk;
}

unsigned long long VoxelStateSMP::totalMemUsage(MemUsage::Type in_type) const
{
    return m_maps->totalMemUsage(in_type);
}

std::string VoxelStateSMP::channelStoringKey(const std::string& in_shape_name,
                                             const std::string& in_channel_name) const
{
    return m_maps->channelStoringKey(in_shape_name, in_channel_name);
}

}  // namespace Skelvar
