#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/VoxelOffsetType.h>
#include <skelvar/tree/TileId.h>

#include <functional>
#include <iterator>
#include <memory>
#include <type_traits>
#include <vector>

namespace Skelvar {

class VoxelLayout;
class VoxelShape;

namespace Detail {

/// Boxes side by side: the cells from floor(lo) to floor(hi) on each axis, in coordinate units. Not
/// a number anywhere means none.
struct CellBoxes {
    static constexpr int kCapacity = 256;

    float lo[3][kCapacity];
    float hi[3][kCapacity];
};

/// Writes the boxes from `in_begin` up to `in_end`, at most `kCapacity`, from place 0 on. Called on
/// several threads at once.
using CellBoxSource =
    std::function<void(long long in_begin, long long in_end, CellBoxes& out_boxes)>;

/// Makes the tiles of a depth that meet one of `in_count` boxes, as told below. `in_label` names
/// the collecting to the profiler.
SKELVAR_API void refineAroundBoxes(VoxelLayout& io_layout, long long in_count,
                                   const CellBoxSource& in_boxes, int in_depth,
                                   const char* in_label, std::vector<TileId>* out_added);

SKELVAR_API void refineAroundPoints(VoxelLayout& io_layout, const vec3f* in_first,
                                    const vec3f* in_last, float in_radius,
                                    VoxelOffsetType in_offset, int in_depth,
                                    std::vector<TileId>* out_added);

template <typename Iterator>
concept PointIterator =
    std::contiguous_iterator<Iterator> && std::is_same_v<std::iter_value_t<Iterator>, vec3f>;

}  // namespace Detail

// Each form makes the tiles of one depth that lie around something, with all their ancestors up to
// the root tile, and merges them into a layout as one refinement: one `nodesAdded`, and `nodeAdded`
// for what has to be put above roots of the layout. A depth outside 0 to 7 adds nothing.
// `out_added`, which may be null, gets the ids of all new nodes appended. Work is shared among
// threads, each of which collects tiles of its own; only the caller's edits the layout.

/// Refines around the points from `in_first` up to `in_last`, in coordinate units: the tiles that
/// meet the box of the cells floor(p - r - o) to floor(p + r - o), o being the offset of values in
/// a cell. What lies outside the domain is cut off. Points that are not finite are skipped; so are
/// all if the radius is negative or not finite. The shape is not read and may be null.
template <typename Layout, typename Shape, Detail::PointIterator Iterator>
void refineLayout(Layout* io_layout, Shape* /*in_shape*/, Iterator in_first, Iterator in_last,
                  float in_radius, VoxelOffsetType in_offset, int in_depth = kMaxTileDepth,
                  std::vector<TileId>* out_added = nullptr)
{
    Detail::refineAroundPoints(*io_layout, std::to_address(in_first), std::to_address(in_last),
                               in_radius, in_offset, in_depth, out_added);
}

/// Refines the layout of `in_shape` around the tiles of depth `in_depth` of `in_source`, the layout
/// of another shape: their boxes, taken from the space of that shape to the space of this one and
/// grown by the radius there. Instance: `VoxelShape`.
template <typename Layout, typename Shape>
void refineLayout(Layout* io_layout, const Layout* in_source, Shape* in_shape,
                  Shape* in_source_shape, float in_radius = 0.0f, int in_depth = kMaxTileDepth,
                  std::vector<TileId>* out_added = nullptr);

extern template void refineLayout<VoxelLayout, VoxelShape>(VoxelLayout*, const VoxelLayout*,
                                                           VoxelShape*, VoxelShape*, float, int,
                                                           std::vector<TileId>*);

/// Refines the layout of a voxel shape around the particles of a shape that lies on `in_source`.
template <typename Layout, typename Shape, typename ParticleShape>
void refineLayout(Layout* io_layout, const Layout* in_source, Shape* in_shape,
                  ParticleShape* in_particles, float in_radius, VoxelOffsetType in_offset,
                  std::vector<TileId>* out_added = nullptr, int in_depth = kMaxTileDepth);

}  // namespace Skelvar
