#pragma once

#include <skelvar/tree/TileId.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace Skelvar {

class VoxelLayout;
struct ParticleReblock;

/// The shape whose channels are `ParticleChannel`s over a `VoxelLayout`. Keeps the truth about how
/// many particles each tile holds, hands out their ids, and has all channels carry out a change in
/// step. Only `nextParticleId` may be called by several threads at once.
class SKELVAR_API ParticleShape : public TreeShape3DBase {
public:
    /// Number of particles of each tile, by depth, in node order, and of each depth.
    struct ParticleCountBlock {
        std::array<std::vector<unsigned long long>, kNumDepths> tiles;
        std::array<unsigned long long, kNumDepths> totals{};
    };

    explicit ParticleShape(const std::string& in_name = {});
    ~ParticleShape() override;

    static const std::string& typeName();
    const TypeMetaBase* typeMeta() const override { return &m_typeMeta; }
    bool isCastableTo(const std::string& in_type_name) const override;

    /// The next id, from 0 up. No id comes twice, also across a save and a load. Any thread.
    unsigned long long nextParticleId() { return m_next_id.fetch_add(1); }
    /// One more than the highest id handed out.
    unsigned long long maxParticleId() const { return m_next_id.load(); }
    unsigned long long numParticles() const;
    /// 0 for a depth that does not exist.
    unsigned long long numParticles(int in_depth) const;
    unsigned long long numElements() const override { return numParticles(); }
    unsigned long long numElements(int in_depth) const override { return numParticles(in_depth); }
    /// Particles of one tile; 0 for a tile that is not there.
    unsigned long long numElements(const TileIndex& in_index) const override;

    /// The layout, or null if there is none or it is gone.
    std::shared_ptr<VoxelLayout> layoutPtr() const;
    /// Throws "ParticleShape.layout(): layout==null. Did you fetch it from state server?"
    VoxelLayout& layout() const;
    /// Counts of tiles that are new to the shape are 0. Throws
    /// "ParticleShape::setLayout() : in_layout is not a VoxelLayout" for any other layout.
    void setLayout(const std::shared_ptr<TreeLayout3DBase>& in_layout) override;

    /// A copy that shares the channels' data shares the counts too; else they are copied.
    std::shared_ptr<TreeShape3DBase> copy(bool in_copy_data, bool in_share) const override;
    void copyInto(const std::shared_ptr<TreeShape3DBase>& io_target, bool in_copy_data,
                  bool in_share) const override;

    unsigned long long memUsage(MemUsage::Type in_type) const override;

    /// Version 4 (unsigned 16), the base, the next id (unsigned 64), 8 (unsigned 32), for each
    /// depth the number of tiles and the count of each (unsigned 64), 64 (unsigned 32), and the
    /// eight totals as raw memory.
    bool save(OutputStream& io_stream) const override;
    /// Reads versions 1 to 4. False, with the shape as it was, for a number of tiles that is
    /// not that of the layout's nodes too. The totals are counted anew. Channels are not resized.
    bool load(InputStream& io_stream) override;
    bool dump(OutputStream& io_stream) const override;

    // The events of the layout: the channels follow first, then the counts.
    void nodeAdded(const TileIndex& in_index) override;
    void nodesAdded(const std::vector<int>* in_indices) override;
    void nodesCleared() override;
    void nodeDeleted(const TileIndex& in_index) override;
    void nodesDeleted(const std::vector<int>* in_deleted) override;
    void nodesDeleted(const std::vector<TileIndex>* in_moves) override;

    // What channels tell one another through their shape.

    const ParticleCountBlock& particleCounts() const { return *m_counts; }
    /// Sets the counts and has all channels but `in_except` take over the sizes.
    void publishCounts(ParticleCountBlock in_counts, const std::string& in_except);
    /// Has all channels move their elements.
    void publishReblock(const ParticleReblock& in_reblock);
    /// Sets the counts of one depth.
    void setCounts(int in_depth, std::vector<unsigned long long> in_counts);
    /// True while channels are to take over the counts.
    bool isCountSync() const { return m_count_sync; }
    /// What channels are to carry out now, null if there is nothing.
    const ParticleReblock* reblockSync() const { return m_reblock; }

    static const TypeMeta<ParticleShape> m_typeMeta;

private:
    void fitCounts(int in_depth, unsigned long in_size);
    bool loadCounts(InputStream& io_stream, ParticleCountBlock& out_counts) const;

    std::shared_ptr<ParticleCountBlock> m_counts;
    std::atomic<unsigned long long> m_next_id = 0;
    const ParticleReblock* m_reblock = nullptr;
    bool m_count_sync = false;
};

}  // namespace Skelvar
