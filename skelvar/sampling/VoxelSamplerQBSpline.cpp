#include <skelvar/sampling/VoxelSamplerQBSpline.h>

#include <skelvar/sampling/QBSplineBlock.h>
#include <skelvar/sampling/SampleGroups.h>
#include <skelvar/sampling/VoxelSamplerQBSplineHalo.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <algorithm>
#include <cassert>

namespace Skelvar {

template <typename T>
struct VoxelSamplerQBSpline<T>::Reading {
    Detail::QBSplineBlock<T> block;  ///< the 27 values around the cell

    void take(const Detail::StencilAcross<T, 3>& in_values) { block.take(in_values); }
    T value(Detail::AxisFloats in_fraction) const
    {
        const auto weights = Detail::qbSplineWeights(in_fraction);
        return block.alongX(weightsOf(weights, 0))
            .alongY(weightsOf(weights, 1))
            .alongZ(weightsOf(weights, 2));
    }
    Gradient gradient(Detail::AxisFloats in_fraction) const
    {
        const auto weights = Detail::qbSplineWeights(in_fraction);
        const auto slopes = Detail::qbSplineDerivative(in_fraction);
        const auto plane = block.alongX(weightsOf(weights, 0));
        return {block.alongX(weightsOf(slopes, 0))
                    .alongY(weightsOf(weights, 1))
                    .alongZ(weightsOf(weights, 2)),
                plane.alongY(weightsOf(slopes, 1)).alongZ(weightsOf(weights, 2)),
                plane.alongY(weightsOf(weights, 1)).alongZ(weightsOf(slopes, 2))};
    }
};

/// What the sampler holds: the tile of each depth whose haloed form it reads, -1 for none. `halos`
/// keeps the values, made as they are needed, of tiles of its own choice.
template <typename T>
struct VoxelSamplerQBSpline<T>::Cache {
    Cache(Detail::TileFinder& io_finder, const VoxelChannel<T>& in_channel)
        : halos(io_finder, in_channel)
    {
        std::fill_n(held, kNumDepths, -1);
    }

    Detail::QBSplineHalos<T> halos;
    int held[kNumDepths];
    Reading reading;
};

template <typename T>
VoxelSamplerQBSpline<T>::VoxelSamplerQBSpline(SamplerSpace in_space,
                                              const VoxelChannel<T>* in_channel)
    : VoxelSampler<T>(in_space, in_channel)
{
    if (this->m_finder.layout() != nullptr) {
        m_cache = std::make_unique<Cache>(this->m_finder, *in_channel);
    }
}

template <typename T>
VoxelSamplerQBSpline<T>::~VoxelSamplerQBSpline() = default;

template <typename T>
bool VoxelSamplerQBSpline<T>::findStencil(const vec3f& in_position, int in_depth,
                                          Stencil& out_stencil) const
{
    assert(m_cache && "a channel without a live shape cannot be sampled");
    const vec3f p = this->toTree(in_position);
    if (!this->enterTile(p, in_depth, out_stencil)) {
        return false;
    }
    const vec3i& corner = out_stencil.tile->corner();
    out_stencil.scale = static_cast<float>(kTileSideLUT[out_stencil.tile->depth() + 1]);
    for (int a = 0; a < 3; ++a) {
        const float u = (p[a] - static_cast<float>(corner[a])) / out_stencil.scale;
        out_stencil.cell[a] = std::min(static_cast<int>(u), kTileWidth - 1);
        out_stencil.fraction[a] = u - static_cast<float>(out_stencil.cell[a]);
    }
    return true;
}

template <typename T>
inline void VoxelSamplerQBSpline<T>::hold(const TileIndex& in_tile, int in_parent) const
{
    int* const held = m_cache->held + in_tile.second;
    if (*held != in_tile.first && in_parent >= 0 && held[-1] != in_parent) {
        holdWithAncestors({in_parent, in_tile.second - 1});
    }
    *held = in_tile.first;
}

template <typename T>
void VoxelSamplerQBSpline<T>::holdWithAncestors(const TileIndex& in_tile) const
{
    const VoxelLayout& layout = *this->m_finder.layout();
    auto [index, depth] = in_tile;
    for (; depth >= 0 && index >= 0 && m_cache->held[depth] != index; --depth) {
        m_cache->held[depth] = index;
        index = layout.node(index, depth).parent();
    }
}

template <typename T>
int VoxelSamplerQBSpline<T>::updateCache(int in_tile_index, int in_depth) const
{
    this->m_last = Detail::kNoFineCell;  // what is held may change what it reads
    holdWithAncestors({in_tile_index, in_depth});
    return in_depth;
}

template <typename T>
inline Detail::StencilReach VoxelSamplerQBSpline<T>::reach() const
{
    return {Detail::AxisFloats{}, Detail::AxisInts{2, 2, 2, 0}, Detail::AxisInts{2, 2, 2, 0}};
}

namespace {

/// True of the cells 1 to 3 on each axis.
bool isInterior(const Detail::StencilPlace& in_place)
{
    const Detail::AxisInts is_inner = (in_place.cell >= 1) & (in_place.cell <= 3);
    return (is_inner[0] & is_inner[1] & is_inner[2]) != 0;
}

/// The regions of the tile, one for each of the eight, that come from its parent.
Detail::RegionSet regionsFromParent(const Detail::StencilPlace& in_place)
{
    constexpr Detail::AxisInts kStride = {1, 3, 9, 0};
    const Detail::EightSums regions(-in_place.reaches_below * kStride,
                                    -(in_place.cell >= 3) * kStride);
    Detail::RegionSet touched = 0;
    Detail::TileSet present = 0;
    for (int n = 0; n < 8; ++n) {
        const Detail::RegionSet region = 1U << (Detail::tilePlace(0, 0, 0) + regions[n]);
        touched |= region;
        present |= *in_place.slot[n] >= 0 ? region : 0U;
    }
    return Detail::regionsFromParent(touched, present);
}

}  // namespace

template <typename T>
inline void VoxelSamplerQBSpline<T>::noteFine(const Detail::StencilPlace& in_place) const
{
    if (!isInterior(in_place)) {
        hold({in_place.tile(), kMaxTileDepth}, in_place.above);
    }
}

template <typename T>
void VoxelSamplerQBSpline<T>::takePart(const Detail::StencilPlace& in_place,
                                       const Detail::StencilAcross<T, 3>& in_values,
                                       Reading& out_reading) const
{
    Detail::QBSplineBlock<T>& block = out_reading.block;
    const int tile = in_place.tile();
    block.take(in_values);
    if (isInterior(in_place) && m_cache->held[kMaxTileDepth] != tile) {
        return;
    }
    const int* const slots =
        this->m_finder.layout()->nodes(kMaxTileDepth - 1).childSlots(in_place.above);
    const int slot = static_cast<int>(in_place.tileSlot() - slots);
    const auto& cell = in_place.cell;
    m_cache->halos.readFromParent({{tile, kMaxTileDepth}, in_place.above, slot},
                                  {cell[0], cell[1], cell[2]}, regionsFromParent(in_place), block);
}

template <typename T>
inline auto VoxelSamplerQBSpline<T>::reading() const -> Reading&
{
    return m_cache->reading;
}

template <typename T>
bool VoxelSamplerQBSpline<T>::readAny(const vec3f& in_position, int in_depth, Reading& out_reading,
                                      Detail::AxisFloats& out_fraction) const
{
    Stencil stencil;
    if (!findStencil(in_position, in_depth, stencil)) {
        return false;
    }
    out_fraction = Detail::axisFloats(stencil.fraction);
    Detail::TileNeighbours& around = *stencil.tile;
    const auto [i, j, k] = stencil.cell;
    const bool is_interior =
        std::all_of(stencil.cell, stencil.cell + 3, [](int c) { return c >= 1 && c <= 3; });
    if (m_cache->held[around.depth()] != around.index()) {
        if (is_interior) {
            const VoxelTile<T, 0, 5>& tile = this->m_channel->tile(around.index(), around.depth());
            out_reading.block.template take<5, 25>(&tile(i, j, k));
            return true;
        }
        hold({around.index(), around.depth()}, around.parentIndex());
    }
    m_cache->halos.readAround(around, {i, j, k}, out_reading.block);
    return true;
}

template <typename T>
T VoxelSamplerQBSpline<T>::sample(const vec3f& in_position, int in_depth) const
{
    return this->sampleOne(*this, in_position, in_depth, nullptr);
}

template <typename T>
T VoxelSamplerQBSpline<T>::sampleGradient(const vec3f& in_position, Gradient* out_gradient) const
{
    return this->sampleOne(*this, in_position, kMaxTileDepth, out_gradient);
}

template <typename T>
void VoxelSamplerQBSpline<T>::sample(const vec3f* in_positions, long long in_count,
                                     T* out_values) const
{
    this->template sampleGroups<32>(*this, in_positions, in_count, out_values, nullptr);
}

template <typename T>
void VoxelSamplerQBSpline<T>::sampleGradient(const vec3f* in_positions, long long in_count,
                                             T* out_values, Gradient* out_gradients) const
{
    this->template sampleGroups<32>(*this, in_positions, in_count, out_values, out_gradients);
}

#define SKELVAR_INSTANTIATE(T) template class VoxelSamplerQBSpline<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
