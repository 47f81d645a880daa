#pragma once

#include <skelvar/sampling/StencilAcross.h>
#include <skelvar/sampling/VoxelSampler.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <algorithm>
#include <cassert>
#include <cstring>

namespace Skelvar {

template <typename T>
template <int Group, typename Kind>
inline void VoxelSampler<T>::sampleGroups(const Kind& in_kind, const vec3f* in_positions,
                                          long long in_count, int in_depth, T* out_values,
                                          typename Sampler3D<T>::Gradient* out_gradients) const
{
    using Values = Detail::StencilAcross<T, Kind::kReach>;
    using Gradient = typename Sampler3D<T>::Gradient;
    assert(m_finder.layout() && "a channel without a live shape cannot be sampled");
    if (m_finder.layout() == nullptr) {
        std::fill_n(out_values, in_count, outside());
        if (out_gradients != nullptr) {
            std::fill_n(out_gradients, in_count, Gradient{});
        }
        return;
    }
    const auto& fine_tiles = m_channel->tiles(kMaxTileDepth);
    const bool is_fine = in_depth >= kMaxTileDepth && fine_tiles.size() > 0;
    const VoxelTile<T, 0, 5>* const tiles = is_fine ? &fine_tiles[0] : nullptr;
    typename Kind::Reading& reading = in_kind.reading();
    Detail::StencilPlace places[Group];
    Values values[Group];
    for (long long begin = 0; begin < in_count; begin += Group) {
        const int count = static_cast<int>(std::min<long long>(Group, in_count - begin));
        for (int n = 0; is_fine && n < count; ++n) {
            in_kind.findFine(in_positions[begin + n], places[n]);
            if (Group > 1) {
                places[n].fetch();
            }
        }
        for (int n = 0; Group > 1 && is_fine && n < count; ++n) {
            if (n == 0 || !places[n].readsAs(places[n - 1])) {
                values[n].enter(places[n], Kind::kBefore, tiles);
                values[n].fetch();
                if (!places[n].exists()) {
                    Detail::fetchTile(tiles[std::max(places[n].tile(), 0)]);
                }
            }
        }
        for (int n = 0; n < count; ++n) {
            bool is_inside = true;
            if (is_fine && places[n].exists()) {
                if (!places[n].readsAs(m_last)) {
                    m_last = places[n];
                    if (Group == 1) {
                        values[n].enter(places[n], Kind::kBefore, tiles);
                    }
                    reading.take(values[n]);
                }
                in_kind.noteFine(places[n]);
                std::memcpy(&reading.fraction, &places[n].fraction, sizeof(reading.fraction));
            } else {
                m_last.slot[0] = nullptr;
                is_inside = in_kind.readAny(in_positions[begin + n], in_depth, reading);
            }
            out_values[begin + n] = is_inside ? reading.value() : outside();
            if constexpr (requires { reading.gradient(); }) {
                if (out_gradients != nullptr) {
                    out_gradients[begin + n] = is_inside ? reading.gradient() : Gradient{};
                }
            }
        }
    }
}

}  // namespace Skelvar
