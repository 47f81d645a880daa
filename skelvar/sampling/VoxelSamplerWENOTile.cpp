#include <skelvar/sampling/VoxelSamplerWENOTile.h>

#include <skelvar/sampling/VoxelSamplerWENOHalo.h>

#include <array>

namespace Skelvar {

namespace Detail {

namespace {

constexpr int kFirst = -2;  ///< position of the first value of a haloed tile
constexpr int kCount = 9;   ///< positions on an axis

/// Where the positions of a tile at place 0 of its parent lie in the parent, without the bound that
/// the stencil sets.
constexpr std::array<ParentPlaceWENO, kCount> parentPlaces(bool in_staggered)
{
    std::array<ParentPlaceWENO, kCount> places =
        in_staggered ? std::array<ParentPlaceWENO, kCount>{{{-1, 0.6f}, {-1, 0.8f}}}
                     : std::array<ParentPlaceWENO, kCount>{{{-1, 0.2f}, {-1, 0.4f}}};
    for (int c = 0; c < 5; ++c) {
        const float middle = static_cast<float>(2 * c + 1) / 10.0f;
        places[c - kFirst] = in_staggered ? ParentPlaceWENO{0, static_cast<float>(c) / 5.0f}
                             : c < 2      ? ParentPlaceWENO{-1, middle + 0.5f}
                                          : ParentPlaceWENO{0, middle - 0.5f};
    }
    places[5 - kFirst] = in_staggered ? ParentPlaceWENO{1, 0.0f} : ParentPlaceWENO{0, 0.6f};
    places[6 - kFirst] = in_staggered ? ParentPlaceWENO{1, 0.2f} : ParentPlaceWENO{0, 0.8f};
    return places;
}

/// Calls in_visit(x, y, z, number) for each value of a haloed tile.
template <typename Visit>
void forEachPosition(const Visit& in_visit)
{
    int n = 0;
    for (int z = kFirst; z < kFirst + kCount; ++z) {
        for (int y = kFirst; y < kFirst + kCount; ++y) {
            for (int x = kFirst; x < kFirst + kCount; ++x) {
                in_visit(x, y, z, n++);
            }
        }
    }
}

}  // namespace

ParentPlaceWENO parentPlaceWENO(bool in_staggered, int in_c, int in_position)
{
    static constexpr std::array<ParentPlaceWENO, kCount> kPlaces[2] = {parentPlaces(false),
                                                                       parentPlaces(true)};
    ParentPlaceWENO place = kPlaces[in_staggered ? 1 : 0][in_position - kFirst];
    place.cell += in_c;
    if (place.cell > 4) {
        place = {4, place.fraction + 1.0f};
    }
    return place;
}

TileSet tilesForValueWENO(VoxelOffsetType in_offset, int in_x, int in_y, int in_z)
{
    const int side[3] = {axisTap(in_x).side, axisTap(in_y).side, axisTap(in_z).side};
    const int holder = tilePlace(side[0], side[1], side[2]);
    TileSet tiles = 1U << holder;
    if (holder == tilePlace(0, 0, 0)) {
        tiles |= (in_offset & 1) != 0 && in_x == 0 ? 1U << tilePlace(-1, 0, 0) : 0U;
        tiles |= (in_offset & 2) != 0 && in_y == 0 ? 1U << tilePlace(0, -1, 0) : 0U;
        tiles |= (in_offset & 4) != 0 && in_z == 0 ? 1U << tilePlace(0, 0, -1) : 0U;
    }
    return tiles;
}

}  // namespace Detail

template <typename T, int WIDTH>
void interpolateWENO(const VoxelTile<T, 2, WIDTH>& in_tile, int in_i, T in_fx, int in_j, T in_fy,
                     int in_k, T in_fz, T* out_value)
{
    const auto bound = [](int& io_cell, T& io_fraction) {
        if (io_cell > 4) {
            io_cell = 4;
            io_fraction += 1.0f;
        }
    };
    bound(in_i, in_fx);
    bound(in_j, in_fy);
    bound(in_k, in_fz);
    Detail::BlockWENO block;
    Detail::readBlockWENO<9, 81>(&in_tile(in_i - 1, in_j - 1, in_k - 1), block);
    *out_value = Detail::interpolateBlockWENO3(block, in_fx, in_fy, in_fz);
}

template <typename T, int WIDTH>
void evalWENOHaloedRootTile(VoxelOffsetType in_offset, const T& in_background,
                            const VoxelTile<T, 0, WIDTH>& in_tile, VoxelTile<T, 2, WIDTH>* out_tile)
{
    constexpr Detail::TileSet kItself = 1U << Detail::tilePlace(0, 0, 0);
    Detail::forEachPosition([&](int in_x, int in_y, int in_z, int in_n) {
        const bool kept = Detail::tilesForValueWENO(in_offset, in_x, in_y, in_z) == kItself;
        (*out_tile)(in_n) = kept ? in_tile(in_x, in_y, in_z) : in_background;
    });
}

template <typename T, int WIDTH>
void evalWENOHaloedTile(VoxelOffsetType in_offset, const VoxelTile<T, 2, WIDTH>& in_parent,
                        int in_ci, int in_cj, int in_ck, const TileBlock<T>& in_block,
                        VoxelTile<T, 2, WIDTH>* out_tile)
{
    Detail::TileSet present = 0;
    for (int n = 0; n < 27; ++n) {
        present |= in_block[n] != nullptr ? 1U << n : 0U;
    }
    Detail::forEachPosition([&](int in_x, int in_y, int in_z, int in_n) {
        const Detail::TileSet needed = Detail::tilesForValueWENO(in_offset, in_x, in_y, in_z);
        T& value = (*out_tile)(in_n);
        if ((present & needed) == needed) {
            const Detail::AxisTap x = Detail::axisTap(in_x);
            const Detail::AxisTap y = Detail::axisTap(in_y);
            const Detail::AxisTap z = Detail::axisTap(in_z);
            value = (*in_block[Detail::tilePlace(x.side, y.side, z.side)])(x.cell, y.cell, z.cell);
        } else {
            const auto x = Detail::parentPlaceWENO((in_offset & 1) != 0, in_ci, in_x);
            const auto y = Detail::parentPlaceWENO((in_offset & 2) != 0, in_cj, in_y);
            const auto z = Detail::parentPlaceWENO((in_offset & 4) != 0, in_ck, in_z);
            interpolateWENO(in_parent, x.cell, x.fraction, y.cell, y.fraction, z.cell, z.fraction,
                            &value);
        }
    });
}

template void interpolateWENO<float, 5>(const VoxelTile<float, 2, 5>&, int, float, int, float, int,
                                        float, float*);
template void evalWENOHaloedRootTile<float, 5>(VoxelOffsetType, const float&,
                                               const VoxelTile<float, 0, 5>&,
                                               VoxelTile<float, 2, 5>*);
template void evalWENOHaloedTile<float, 5>(VoxelOffsetType, const VoxelTile<float, 2, 5>&, int, int,
                                           int, const TileBlock<float>&, VoxelTile<float, 2, 5>*);

}  // namespace Skelvar
