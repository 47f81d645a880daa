#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/array1.h>
#include <skelvar/tree/TileId.h>

namespace Skelvar {

class VoxelLayout;

/// A vector over the tiles of a layout, by depth and then tile: so many values for each tile, as
/// many as its implementation says. Distinct tiles may be written by several threads.
template <typename T>
class SKELVAR_API DenseVector {
public:
    virtual ~DenseVector();

    virtual int numTiles(int in_depth) const = 0;
    /// Number of values of a tile.
    virtual int tileDataSize(int in_tile, int in_depth) const = 0;
    virtual T* tileData(int in_tile, int in_depth) = 0;
    virtual const T* tileData(int in_tile, int in_depth) const = 0;
};

/// A vector that owns its values. Made for the tiles that the layout has at that moment; an edit of
/// the layout makes it stale. Borrows the layout, which must outlive it.
template <typename T>
class SKELVAR_API GenericDenseVector final : public DenseVector<T> {
public:
    /// `in_tile_size` values for each tile of the layout, all `in_value`.
    GenericDenseVector(const VoxelLayout& in_layout, T in_value, int in_tile_size = kTileSize);
    /// As many values a tile as `in_like` has. They are not set.
    GenericDenseVector(const VoxelLayout& in_layout, const DenseVector<T>& in_like);
    GenericDenseVector(const VoxelLayout& in_layout, const DenseVector<T>& in_like, T in_value);
    // The tiles' pointers lead into the vector's own values: a copy is made from `in_like`.
    GenericDenseVector(const GenericDenseVector&) = delete;
    GenericDenseVector& operator=(const GenericDenseVector&) = delete;
    ~GenericDenseVector() override;

    const VoxelLayout& layout() const { return *m_layout; }
    int numTiles(int in_depth) const override
    {
        return static_cast<int>(m_depths[in_depth].tiles.size());
    }
    int tileDataSize(int in_tile, int in_depth) const override
    {
        return m_depths[in_depth].sizes[in_tile];
    }
    T* tileData(int in_tile, int in_depth) override { return m_depths[in_depth].tiles[in_tile]; }
    const T* tileData(int in_tile, int in_depth) const override
    {
        return m_depths[in_depth].tiles[in_tile];
    }
    void fill(T in_value);

private:
    /// The values of one depth, tile after tile, each tile from an address that is a multiple of
    /// 32 bytes from the first on.
    struct Depth {
        array1<int> sizes;
        array1<T*> tiles;  ///< into `values`
        array1<T> values;
    };

    /// Makes room for `sizes`.
    void allocate();

    const VoxelLayout* m_layout;
    Depth m_depths[kNumDepths];
};

extern template class DenseVector<float>;
extern template class DenseVector<int>;
extern template class DenseVector<unsigned char>;
extern template class GenericDenseVector<float>;
extern template class GenericDenseVector<int>;
extern template class GenericDenseVector<unsigned char>;

}  // namespace Skelvar
