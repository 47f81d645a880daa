#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/ValueTypes.h>
#include <skelvar/tree/TileId.h>
#include <skelvar/tree/TileIndex.h>

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace Skelvar {

class VoxelLayout;
template <typename T>
class SKELVAR_API_FORWARD ParticleChannel;

namespace Detail {
struct TileBuffer;
class TileSort;
}  // namespace Detail

/// Points sorted by the tiles of one depth that hold them, to fill a particle shape tile by tile:
/// ```
/// const ParticleBins bins(positions.data(), positions.size());
/// bins.addTiles(layout);
/// bins.append(positions.data(), *position);
/// bins.append(velocities.data(), *velocity);
/// position->syncShapeParticleCounts();
/// ```
/// Borrows nothing. Any thread may read.
class SKELVAR_API ParticleBins {
public:
    /// Points in coordinate units. At most 2^32 - 1, else throws `std::runtime_error`.
    ParticleBins(const vec3f* in_points, std::size_t in_count, int in_depth = kMaxTileDepth);

    int depth() const { return m_depth; }
    /// The tiles that hold a point, each once.
    const std::vector<TileId>& tiles() const { return m_tiles; }
    /// Points outside of the domain, or not numbers. They are left out.
    unsigned long long numStrays() const { return m_num_strays; }

    /// Makes the tiles that the layout lacks, and what lies between them and the root tile.
    void addTiles(VoxelLayout& io_layout) const;
    /// Appends in each tile the values of its points in their order: value n is that of point n.
    /// The channel's layout must have the tiles, else throws `std::runtime_error`. The shape hears
    /// of it through a sync, after all channels have got theirs.
    template <typename T>
    void append(const T* in_values, ParticleChannel<T>& io_channel) const;

private:
    struct Grid;
    void sortInGrid(const vec3f* in_points, long long in_count, const Grid& in_grid);
    void sortById(const vec3f* in_points, long long in_count);
    /// `in_key(n)` gives the key of point n; those without a tile have `in_stray_key`, the highest.
    template <typename Key>
    void sortByKey(long long in_count, long long in_stray_key, const Key& in_key);
    void appendValues(const void* in_values, unsigned long in_bytes,
                      const std::vector<TileIndex>& in_tiles,
                      std::span<Detail::TileBuffer> io_tiles) const;
    std::vector<TileIndex> findTiles(const VoxelLayout& in_layout) const;

    int m_depth;
    std::vector<TileId> m_tiles;
    std::vector<unsigned int> m_tile_keys;         ///< rising
    std::shared_ptr<const unsigned int[]> m_keys;  ///< of each point
    std::shared_ptr<const Detail::TileSort> m_sort;
    unsigned long long m_num_strays = 0;
};

#define SKELVAR_EXTERN(T) \
    extern template SKELVAR_API void ParticleBins::append<T>(const T*, ParticleChannel<T>&) const;
SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
