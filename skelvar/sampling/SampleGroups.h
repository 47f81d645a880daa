#pragma once

#include <skelvar/sampling/StencilAcross.h>
#include <skelvar/sampling/VoxelSampler.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <algorithm>
#include <cassert>
#include <cstring>

namespace Skelvar {

namespace Detail {

/// A value of which the first half is computed, of a `Reading` that has two.
template <typename Reading>
struct HalfOf {
    static constexpr bool kExists = false;
    using type = char;
};
template <typename Reading>
requires requires
{
    typename Reading::Half;
}
struct HalfOf<Reading> {
    static constexpr bool kExists = true;
    using type = typename Reading::Half;
};

}  // namespace Detail

template <typename T>
template <int Group, typename Kind>
inline void VoxelSampler<T>::sampleGroups(const Kind& in_kind, const vec3f* in_positions,
                                          long long in_count, int in_depth, T* out_values,
                                          typename Sampler3D<T>::Gradient* out_gradients) const
{
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
    if (!is_fine) {
        m_fine.forget();
        m_holds_last = false;
    }
    const Detail::StencilReach reach = in_kind.reach();
    using Reading = typename Kind::Reading;
    using Half = Detail::HalfOf<Reading>;
    Reading& reading = in_kind.reading();
    Detail::StencilPlace places[Group];
    Detail::StencilAcross<T, Kind::kReach> values[Group];
    Detail::AxisFloats fractions[Group] = {};
    constexpr bool kTakesParts = requires(Detail::StencilPlace place)
    {
        in_kind.takePart(place, values[0]);
    };
    typename Half::type halves[Group];
    bool is_inside[Group];
    int num_found[Group];  // of each position, the places up to its own
    for (long long begin = 0; begin < in_count; begin += Group) {
        const int count = static_cast<int>(std::min<long long>(Group, in_count - begin));
        const vec3f* const positions = in_positions + begin;
        int num_places = 0;
        for (int n = 0; n < count; ++n) {
            if (is_fine) {
                const vec3f p = in_kind.toTree(positions[n]);
                if (!m_fine.stays(p, reach, fractions[n])) {
                    m_fine.find(p, reach, places[num_places], fractions[n]);
                    if (Group > 1) {
                        places[num_places].fetch();
                    }
                    ++num_places;
                }
            }
            num_found[n] = num_places;
        }
        for (int n = 0; Group > 1 && n < num_places; ++n) {
            values[n].enter(places[n], Kind::kBefore, tiles);
            values[n].fetch();
            if (!kTakesParts && !places[n].exists()) {
                Detail::fetchTile(tiles[std::max(places[n].tile(), 0)]);
            }
        }
        int num_read = 0;
        for (int n = 0; n < count; ++n) {
            if (num_read != num_found[n]) {
                const Detail::StencilPlace& place = places[num_read];
                const bool exists = place.exists();
                m_holds_last = exists || (kTakesParts && place.tile() >= 0);
                if (m_holds_last) {
                    if (Group == 1) {
                        values[num_read].enter(place, Kind::kBefore, tiles);
                    }
                    if (exists) {
                        reading.take(values[num_read]);
                    } else if constexpr (kTakesParts) {
                        in_kind.takePart(place, values[num_read]);
                    }
                    in_kind.noteFine(place);
                }
                ++num_read;
            }
            is_inside[n] = true;
            if (m_holds_last) {
                std::memcpy(&reading.fraction, &fractions[n], sizeof(reading.fraction));
            } else {
                is_inside[n] = in_kind.readAny(positions[n], in_depth, reading);
            }
            if constexpr (Half::kExists) {
                halves[n] = is_inside[n] ? reading.begin() : typename Half::type{};
            } else {
                out_values[begin + n] = is_inside[n] ? reading.value() : outside();
            }
            if constexpr (requires { reading.gradient(); }) {
                if (out_gradients != nullptr) {
                    out_gradients[begin + n] = is_inside[n] ? reading.gradient() : Gradient{};
                }
            }
        }
        if constexpr (Half::kExists) {
            for (int n = 0; n < count; ++n) {
                out_values[begin + n] = is_inside[n] ? Reading::finish(halves[n]) : outside();
            }
        }
    }
}

}  // namespace Skelvar
