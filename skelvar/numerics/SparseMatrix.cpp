#include <skelvar/numerics/SparseMatrix.h>

#include <skelvar/tree/VoxelLayout.h>

#include <algorithm>

namespace Skelvar {

template <typename T>
void SparseMatrix<T>::reset(const VoxelLayout* in_layout)
{
    m_layout = in_layout;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        m_depths[depth].release();
        m_depths[depth].resize(in_layout == nullptr ? 0 : in_layout->numNodes(depth));
    }
}

template <typename T>
void SparseMatrix<T>::setBlocks(int in_tile, int in_depth, DynamicSparseMatrixRow<T>& io_row)
{
    const auto count = std::count_if(io_row.begin(), io_row.end(),
                                     [](const auto& in_block) { return !in_block.second.empty(); });
    Blocks made(static_cast<int>(count));
    int next = 0;
    for (auto& [column, gathered] : io_row) {
        if (!gathered.empty()) {
            gathered.convert(column.id, column.index, column.depth, &made[next++]);
        }
    }
    blocks(in_tile, in_depth).swap(made);
}

template <typename T>
unsigned long long SparseMatrix<T>::memUsage() const
{
    unsigned long long bytes = sizeof(*this);
    for (const array1<Blocks>& depth : m_depths) {
        bytes += depth.size() * sizeof(Blocks);
        for (const Blocks& tile : depth) {
            bytes += tile.size() * sizeof(SparseMatrixTile<T>);
            for (const SparseMatrixTile<T>& block : tile) {
                bytes += block.memUsage();
            }
        }
    }
    return bytes;
}

template class SparseMatrix<float>;

}  // namespace Skelvar
