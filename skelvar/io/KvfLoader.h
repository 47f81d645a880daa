#pragma once

#include <skelvar/io/KvfFormat.h>

#include <memory>
#include <set>
#include <string>

namespace Skelvar {

struct ChannelBody;
class TreeChannel3DBase;
class TreeLayout3DBase;
class TreeShape3DBase;

/// Reads what follows the header of one file into a state, step by step. Every step notes its
/// error. A size or count of the file is believed only as far as the bytes of the file can back it,
/// and an item that fails to load is left in a state that every later operation survives.
class KvfLoader {
public:
    KvfLoader(KvfReader& io_reader, VoxelState& io_state, const KVFInfo& in_info);

    /// All of it.
    bool load();
    /// The object, the layout and the shape: what comes ahead of the channels.
    bool loadFrame();
    /// The next channel of the header's list.
    bool loadChannel(const KVFInfo::ChannelInfo& in_info);

private:
    bool findObject();
    bool loadLayout();
    bool loadShape();
    bool canBack(const KVFInfo::ChannelInfo& in_info, unsigned long long in_offset,
                 unsigned long long in_size);
    bool makeChannel(const KVFInfo::ChannelInfo& in_info, unsigned long long in_offset,
                     std::shared_ptr<TreeChannel3DBase>& out_channel);
    bool loadPlain(TreeChannel3DBase& io_channel);
    bool loadPacked(TreeChannel3DBase& io_channel, const ChannelBody& in_body);
    void matchLayout(TreeChannel3DBase& io_channel);
    /// Notes the error, at the reader's position or another. Always false.
    bool fail(const std::string& in_text) const;
    bool fail(unsigned long long in_offset, const std::string& in_text) const;

    KvfReader& m_reader;
    VoxelState& m_state;
    const KVFInfo& m_info;
    std::shared_ptr<TreeLayout3DBase> m_layout;
    std::shared_ptr<TreeShape3DBase> m_shape;
    std::set<std::string> m_channel_names;    ///< met so far
    unsigned long long m_most;                ///< bytes that the file can back
    unsigned long long m_budget;              ///< of these what channels may yet take when made
    unsigned long long m_particle_bytes = 0;  ///< of one particle in all channels met so far
};

}  // namespace Skelvar
