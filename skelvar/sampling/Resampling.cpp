#include <skelvar/sampling/Resampling.h>

#include <skelvar/sampling/HaloedVoxelLayoutNodeVisitorHelper.h>
#include <skelvar/tree/BulkLoop.h>
#include <skelvar/voxel/VoxelShape.h>

#include <initializer_list>
#include <stdexcept>
#include <string>

namespace Skelvar {

namespace {

/// Haloed tiles of one channel, for one thread.
template <typename T>
class HaloReader {
public:
    HaloReader(const VoxelLayout& in_layout, const VoxelChannel<T>& in_channel)
        : m_layout(in_layout), m_channel(in_channel), m_accessor(in_layout)
    {
    }

    const VoxelTile<T, 1, 5>& read(const TileIndex& in_index)
    {
        const int place = HaloedVoxelLayoutNodeVisitorHelper::updateHaloCache<T>(
            in_index.first, in_index.second, &m_cache, m_layout, m_accessor, m_channel);
        return m_cache[place].second;
    }

private:
    const VoxelLayout& m_layout;
    const VoxelChannel<T>& m_channel;
    VoxelLayout::ConstAccessor m_accessor;
    HaloCache<T> m_cache = makeHaloCache<T>();
};

template <typename Channel>
std::shared_ptr<VoxelLayout> layoutBelow(const Channel& in_channel)
{
    const auto shape = in_channel.voxelShapePtr();
    return shape ? shape->layoutPtr() : nullptr;
}

/// The layout of all the channels.
template <typename First, typename... Rest>
std::shared_ptr<VoxelLayout> commonLayout(const std::string& in_operation, const First& in_first,
                                          const Rest&... in_rest)
{
    auto layout = layoutBelow(in_first);
    const auto expect = [&](const auto& in_channel) {
        if (!layout || layoutBelow(in_channel) != layout) {
            throw std::runtime_error(in_operation +
                                     ": no layout, or another one, below the channel " +
                                     in_channel.name());
        }
    };
    expect(in_first);
    (expect(in_rest), ...);
    return layout;
}

/// Calls `in_work(readers..., tile index)` for each live node, in parallel over the tiles of each
/// depth, where each range of tiles has readers of the channels of its own.
template <typename Work, typename... T>
void forEachTile(const VoxelLayout& in_layout, const Work& in_work,
                 const VoxelChannel<T>&... in_channels)
{
    for (int depth = 0; depth < kNumDepths; ++depth) {
        Detail::bulkLoop(in_layout.numNodes(depth), [&](long long in_begin, long long in_end) {
            const auto run = [&](HaloReader<T>... io_readers) {
                for (long long n = in_begin; n < in_end; ++n) {
                    const TileIndex index{static_cast<int>(n), depth};
                    if (in_layout.node(index).valid()) {
                        in_work(index, io_readers...);
                    }
                }
            };
            run(HaloReader<T>(in_layout, in_channels)...);
        });
    }
}

/// Calls `in_cell(i, j, k)` for the cells of a tile, i fastest.
template <typename Cell>
void forEachCell(const Cell& in_cell)
{
    for (int k = 0; k < kTileWidth; ++k) {
        for (int j = 0; j < kTileWidth; ++j) {
            for (int i = 0; i < kTileWidth; ++i) {
                in_cell(i, j, k);
            }
        }
    }
}

constexpr VoxelOffsetType kFace[3] = {eOffsetFaceX, eOffsetFaceY, eOffsetFaceZ};

}  // namespace

void averageToVec3f(const VoxelChannel<float>& in_x, const VoxelChannel<float>& in_y,
                    const VoxelChannel<float>& in_z, VoxelChannel<vec3f>& out)
{
    const auto layout = commonLayout("averageToVec3f", in_x, in_y, in_z, out);
    const VoxelChannel<float>* const channels[3] = {&in_x, &in_y, &in_z};
    out.setOffsetType(eOffsetCentre);
    const auto work = [&](const TileIndex& in_index, auto&... io_readers) {
        HaloReader<float>* const readers[3] = {&io_readers...};
        auto& target = out.tile(in_index);
        for (int a = 0; a < 3; ++a) {
            if ((channels[a]->offsetType() & kFace[a]) == 0) {
                const auto& own = channels[a]->tile(in_index);
                forEachCell([&](int i, int j, int k) { target(i, j, k)[a] = own(i, j, k); });
                continue;
            }
            const auto& h = readers[a]->read(in_index);
            forEachCell([&](int i, int j, int k) {
                target(i, j, k)[a] =
                    0.5f * (h(i, j, k) + h(i + (a == 0), j + (a == 1), k + (a == 2)));
            });
        }
    };
    forEachTile(*layout, work, in_x, in_y, in_z);
}

void averageVec3fToStaggered(const VoxelChannel<vec3f>& in_centres, VoxelChannel<float>& out_x,
                             VoxelChannel<float>& out_y, VoxelChannel<float>& out_z)
{
    const auto layout = commonLayout("averageVec3fToStaggered", in_centres, out_x, out_y, out_z);
    VoxelChannel<float>* const outputs[3] = {&out_x, &out_y, &out_z};
    for (int a = 0; a < 3; ++a) {
        outputs[a]->setOffsetType(kFace[a]);
    }
    const auto work = [&](const TileIndex& in_index, HaloReader<vec3f>& io_reader) {
        const auto& h = io_reader.read(in_index);
        for (int a = 0; a < 3; ++a) {
            auto& target = outputs[a]->tile(in_index);
            forEachCell([&](int i, int j, int k) {
                target(i, j, k) =
                    0.5f * (h(i - (a == 0), j - (a == 1), k - (a == 2))[a] + h(i, j, k)[a]);
            });
        }
    };
    forEachTile(*layout, work, in_centres);
}

template <typename T>
void resampleCentresToCorners(const VoxelChannel<T>& in_centres, VoxelChannel<T>& out)
{
    const auto layout = commonLayout("resampleCentresToCorners", in_centres, out);
    out.setOffsetType(eOffsetCorner);
    const auto work = [&](const TileIndex& in_index, HaloReader<T>& io_reader) {
        const auto& h = io_reader.read(in_index);
        auto& target = out.tile(in_index);
        forEachCell([&](int i, int j, int k) {
            T sum = h(i - 1, j - 1, k - 1);
            for (int n = 1; n < 8; ++n) {
                sum = sum + h(i - 1 + (n & 1), j - 1 + (n >> 1 & 1), k - 1 + (n >> 2));
            }
            target(i, j, k) = sum * 0.125f;
        });
    };
    forEachTile(*layout, work, in_centres);
}

template void resampleCentresToCorners(const VoxelChannel<float>&, VoxelChannel<float>&);
template void resampleCentresToCorners(const VoxelChannel<vec3f>&, VoxelChannel<vec3f>&);

void SharpenVoxels::operator()(const VoxelChannel<float>& in, VoxelChannel<float>& out) const
{
    const auto layout = commonLayout("SharpenVoxels", in, out);
    out.setOffsetType(in.offsetType());
    const auto work = [&](const TileIndex& in_index, HaloReader<float>& io_reader) {
        const auto& h = io_reader.read(in_index);
        auto& target = out.tile(in_index);
        forEachCell([&](int i, int j, int k) {
            const float mean = (h(i - 1, j, k) + h(i + 1, j, k) + h(i, j - 1, k) + h(i, j + 1, k) +
                                h(i, j, k - 1) + h(i, j, k + 1)) /
                               6.0f;
            const float value = h(i, j, k);
            target(i, j, k) = value + m_amount * (value - mean);
        });
    };
    forEachTile(*layout, work, in);
}

}  // namespace Skelvar
