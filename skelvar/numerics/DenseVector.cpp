#include <skelvar/numerics/DenseVector.h>

#include <skelvar/tree/BulkLoop.h>
#include <skelvar/tree/VoxelLayout.h>

namespace Skelvar {

template <typename T>
DenseVector<T>::~DenseVector() = default;

template <typename T>
GenericDenseVector<T>::GenericDenseVector(const VoxelLayout& in_layout, T in_value,
                                          int in_tile_size)
    : m_layout(&in_layout)
{
    for (int depth = 0; depth < kNumDepths; ++depth) {
        m_depths[depth].sizes.resize(in_layout.numNodes(depth));
        std::fill(m_depths[depth].sizes.begin(), m_depths[depth].sizes.end(), in_tile_size);
    }
    allocate();
    fill(in_value);
}

template <typename T>
GenericDenseVector<T>::GenericDenseVector(const VoxelLayout& in_layout,
                                          const DenseVector<T>& in_like)
    : m_layout(&in_layout)
{
    for (int depth = 0; depth < kNumDepths; ++depth) {
        array1<int>& sizes = m_depths[depth].sizes;
        sizes.resize(in_like.numTiles(depth));
        for (int tile = 0; tile < sizes.size(); ++tile) {
            sizes[tile] = in_like.tileDataSize(tile, depth);
        }
    }
    allocate();
}

template <typename T>
GenericDenseVector<T>::GenericDenseVector(const VoxelLayout& in_layout,
                                          const DenseVector<T>& in_like, T in_value)
    : GenericDenseVector(in_layout, in_like)
{
    fill(in_value);
}

template <typename T>
GenericDenseVector<T>::~GenericDenseVector() = default;

template <typename T>
void GenericDenseVector<T>::allocate()
{
    constexpr long long kStep = 32 / sizeof(T);
    for (Depth& depth : m_depths) {
        long long total = 0;
        for (const int size : depth.sizes) {
            total += (size + kStep - 1) / kStep * kStep;
        }
        depth.values.resize(total);
        depth.tiles.resize(depth.sizes.size());
        T* next = depth.values.data();
        for (long long tile = 0; tile < depth.tiles.size(); ++tile) {
            depth.tiles[tile] = next;
            next += (depth.sizes[tile] + kStep - 1) / kStep * kStep;
        }
    }
}

template <typename T>
void GenericDenseVector<T>::fill(T in_value)
{
    for (Depth& depth : m_depths) {
        Detail::bulkLoop(depth.tiles.size(), [&](long long in_begin, long long in_end) {
            for (long long tile = in_begin; tile < in_end; ++tile) {
                std::fill_n(depth.tiles[tile], depth.sizes[tile], in_value);
            }
        });
    }
}

template class DenseVector<float>;
template class DenseVector<int>;
template class DenseVector<unsigned char>;
template class GenericDenseVector<float>;
template class GenericDenseVector<int>;
template class GenericDenseVector<unsigned char>;

}  // namespace Skelvar
