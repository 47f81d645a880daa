#pragma once

#include <skelvar/sampling/StencilAcross.h>
#include <skelvar/sampling/VoxelSampler.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <algorithm>

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

/// Up to `Size` positions that are sampled together, step by step: the loops of a step have no
/// branch that depends on where in their cells positions lie, which nobody could predict, and what
/// a step reads the one before it has asked for. Positions one after another with one stencil share
/// its place.
template <typename T, typename Kind, int Size>
class SampleGroup {
public:
    using Reading = typename Kind::Reading;
    using Gradient = typename Sampler3D<T>::Gradient;

    /// Borrows the sampler, whose tiles of depth 7 these are.
    SampleGroup(const Kind& in_kind, const VoxelTile<T, 0, 5>* in_tiles)
        : m_kind(in_kind), m_tiles(in_tiles), m_reach(in_kind.reach())
    {
    }
    void sample(const vec3f* in_positions, int in_count, T* out_values, Gradient* out_gradients)
    {
        locate(in_positions, in_count);
        lookUp();
        read(in_positions, out_values, out_gradients);
        weigh(in_count, out_values, out_gradients);
        keepLast();
    }

private:
    /// Parts the positions by their stencils.
    [[gnu::always_inline]] void locate(const vec3f* in_positions, int in_count)
    {
        FineCell last = m_kind.m_last;
        int num_places = 0;
        for (int n = 0; n < in_count; ++n) {
            const vec3f p = m_kind.toTree(in_positions[n]);
            const FineCell cell = fineCell(p, m_reach, m_fractions[n]);
            m_cells[num_places] = cell;
            m_first[num_places] = n;
            num_places += cell == last ? 0 : 1;
            m_place_of[n] = num_places;
            last = cell;
        }
        m_first[num_places] = in_count;
        m_num_places = num_places;
    }
    /// Finds the slots of the stencils' tiles, and then their values.
    [[gnu::always_inline]] void lookUp()
    {
        for (int n = 0; n < m_num_places; ++n) {
            m_kind.m_fine.find(m_cells[n], m_reach, m_places[n]);
            m_places[n].fetch();
        }
        for (int n = 0; n < m_num_places; ++n) {
            m_values[n].enter(m_places[n], Kind::kBefore, m_tiles);
            m_values[n].fetch();
            const int tile = m_places[n].tile();
            if (!Kind::kTakesParts && !m_values[n].exist() && tile >= 0) {
                fetchTile(m_tiles[tile]);
            }
        }
    }
    /// Reads the stencils, and samples the positions of those that cannot be read from tiles of
    /// depth 7 alone: in their order, which some kinds depend on.
    [[gnu::always_inline]] void read(const vec3f* in_positions, T* out_values,
                                     Gradient* out_gradients)
    {
        m_readings_of[0] = &m_kind.reading();
        for (int n = 0; n < m_num_places; ++n) {
            const bool is_read = m_kind.readPlace(m_kind, m_places[n], m_values[n], m_readings[n]);
            m_readings_of[n + 1] = is_read ? &m_readings[n] : nullptr;
            if (!is_read) {
                const int first = m_first[n];
                m_kind.sampleAny(m_kind, in_positions + first, m_first[n + 1] - first,
                                 kMaxTileDepth, out_values + first,
                                 out_gradients != nullptr ? out_gradients + first : nullptr);
            }
        }
    }
    /// The values at the positions from what was read.
    [[gnu::always_inline]] void weigh(int in_count, T* out_values, Gradient* out_gradients)
    {
        using Half = HalfOf<Reading>;
        typename Half::type halves[Size];
        for (int n = 0; n < in_count; ++n) {
            const Reading* const reading = m_readings_of[m_place_of[n]];
            if (reading == nullptr) {
                continue;
            }
            if constexpr (Half::kExists) {
                halves[n] = reading->begin(m_fractions[n]);
            } else {
                out_values[n] = reading->value(m_fractions[n]);
            }
            if constexpr (requires { reading->gradient(m_fractions[n]); }) {
                if (out_gradients != nullptr) {
                    out_gradients[n] = reading->gradient(m_fractions[n]);
                }
            }
        }
        if constexpr (Half::kExists) {
            for (int n = 0; n < in_count; ++n) {
                if (m_readings_of[m_place_of[n]] != nullptr) {
                    out_values[n] = Reading::finish(halves[n]);
                }
            }
        }
    }
    /// Leaves the last stencil with the sampler.
    [[gnu::always_inline]] void keepLast()
    {
        if (m_num_places == 0) {
            return;
        }
        const Reading* const reading = m_readings_of[m_num_places];
        m_kind.m_last = reading != nullptr ? m_cells[m_num_places - 1] : kNoFineCell;
        if (reading != nullptr) {
            m_kind.reading() = *reading;
        }
    }

    const Kind& m_kind;
    const VoxelTile<T, 0, 5>* m_tiles;
    StencilReach m_reach;
    int m_num_places;
    int m_place_of[Size];  ///< of each position; 0 the stencil before the group, else from 1 on
    AxisFloats m_fractions[Size];  ///< of each position
    FineCell m_cells[Size];        ///< of each place
    int m_first[Size + 1];         ///< of each place its first position, and then the end
    StencilPlace m_places[Size];
    StencilAcross<T, Kind::kReach> m_values[Size];
    Reading m_readings[Size];                ///< of each place
    const Reading* m_readings_of[Size + 1];  ///< by the numbers of `m_place_of`; null for none
};

}  // namespace Detail

template <typename T>
template <int Size, typename Kind>
inline void VoxelSampler<T>::sampleGroups(const Kind& in_kind, const vec3f* in_positions,
                                          long long in_count, T* out_values,
                                          Gradient* out_gradients) const
{
    const VoxelTile<T, 0, 5>* const tiles = fineTiles(kMaxTileDepth);
    if (tiles == nullptr) {
        sampleAny(in_kind, in_positions, in_count, kMaxTileDepth, out_values, out_gradients);
        return;
    }
    Detail::SampleGroup<T, Kind, Size> group(in_kind, tiles);
    for (long long begin = 0; begin < in_count; begin += Size) {
        group.sample(
            in_positions + begin, static_cast<int>(std::min<long long>(Size, in_count - begin)),
            out_values + begin, out_gradients != nullptr ? out_gradients + begin : nullptr);
    }
}

template <typename T>
template <typename Kind>
inline T VoxelSampler<T>::sampleOne(const Kind& in_kind, const vec3f& in_position, int in_depth,
                                    Gradient* out_gradient) const
{
    T value;
    const VoxelTile<T, 0, 5>* const tiles = fineTiles(in_depth);
    if (tiles == nullptr) {
        sampleAny(in_kind, &in_position, 1, in_depth, &value, out_gradient);
        return value;
    }
    const Detail::StencilReach reach = in_kind.reach();
    Detail::AxisFloats fraction;
    const Detail::FineCell cell = Detail::fineCell(in_kind.toTree(in_position), reach, fraction);
    auto& reading = in_kind.reading();
    if (cell != m_last) {
        Detail::StencilPlace place;
        Detail::StencilAcross<T, Kind::kReach> values;
        m_fine.find(cell, reach, place);
        values.enter(place, Kind::kBefore, tiles);
        m_last = Detail::kNoFineCell;
        if (!readPlace(in_kind, place, values, reading)) {
            sampleAny(in_kind, &in_position, 1, in_depth, &value, out_gradient);
            return value;
        }
        m_last = cell;
    }
    if constexpr (requires { reading.gradient(fraction); }) {
        if (out_gradient != nullptr) {
            *out_gradient = reading.gradient(fraction);
        }
    }
    return reading.value(fraction);
}

template <typename T>
template <typename Kind, typename Values, typename Reading>
inline bool VoxelSampler<T>::readPlace(const Kind& in_kind, const Detail::StencilPlace& in_place,
                                       const Values& in_values, Reading& out_reading) const
{
    if (in_values.exist()) {
        out_reading.take(in_values);
    } else if constexpr (Kind::kTakesParts) {
        if (in_place.tile() < 0) {
            return false;
        }
        in_kind.takePart(in_place, in_values, out_reading);
    } else {
        return false;
    }
    in_kind.noteFine(in_place);
    return true;
}

template <typename T>
template <typename Kind>
void VoxelSampler<T>::sampleAny(const Kind& in_kind, const vec3f* in_positions, long long in_count,
                                int in_depth, T* out_values, Gradient* out_gradients) const
{
    const bool has_layout = m_finder.layout() != nullptr;
    typename Kind::Reading reading;
    Detail::AxisFloats fraction;
    for (long long n = 0; n < in_count; ++n) {
        const bool is_inside =
            has_layout && in_kind.readAny(in_positions[n], in_depth, reading, fraction);
        out_values[n] = is_inside ? reading.value(fraction) : outside();
        if constexpr (requires { reading.gradient(fraction); }) {
            if (out_gradients != nullptr) {
                out_gradients[n] = is_inside ? reading.gradient(fraction) : Gradient{};
            }
        }
    }
}

}  // namespace Skelvar
