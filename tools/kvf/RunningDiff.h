#pragma once

#include <tools/kvf/ChannelDiff.h>
#include <tools/kvf/ChannelValues.h>

#include <skelvar/tree/TileIndex.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Skelvar::Tool {

/// |a - b|; infinite where only one of the two is finite, 0 for two NaN.
template <typename T>
double distanceOf(const T& in_a, const T& in_b)
{
    if constexpr (std::is_floating_point_v<T>) {
        const double a = static_cast<double>(in_a), b = static_cast<double>(in_b);
        if (a == b || (std::isnan(a) && std::isnan(b))) {
            return 0.0;
        }
        const double apart = std::abs(a - b);
        return std::isfinite(apart) ? apart : std::numeric_limits<double>::infinity();
    } else {
        // Large whole numbers may differ and yet be equal as double.
        using Wide = unsigned long long;
        return static_cast<double>(in_a < in_b ? Wide(in_b) - Wide(in_a) : Wide(in_a) - Wide(in_b));
    }
}

/// A count of differences on its way. Keeps the largest as an element of a tile of A.
struct RunningDiff {
    ChannelDiff diff;
    double sum = 0.0;
    long long num_finite = 0;
    TileIndex tile{-1, -1};
    unsigned long element = 0;

    /// Compares two values, component by component.
    template <typename T>
    void add(const T& in_a, const T& in_b, const Tolerance& in_tolerance, const TileIndex& in_tile,
             unsigned long in_element)
    {
        using Components = ValueComponents<T>;
        for (int c = 0; c < Components::kCount; ++c) {
            const auto& a = Components::at(in_a, c);
            const auto& b = Components::at(in_b, c);
            add(distanceOf(a, b), static_cast<double>(a), static_cast<double>(b), in_tolerance,
                in_tile, in_element);
        }
    }
    void add(const RunningDiff& in_later)
    {
        const long long values = diff.num_values + in_later.diff.num_values;
        const long long different = diff.num_different + in_later.diff.num_different;
        if (in_later.diff.largest > diff.largest) {
            diff = in_later.diff;
            tile = in_later.tile;
            element = in_later.element;
        }
        diff.num_values = values;
        diff.num_different = different;
        sum += in_later.sum;
        num_finite += in_later.num_finite;
    }
    /// The result, without its place.
    ChannelDiff finished() const
    {
        ChannelDiff result = diff;
        result.mean = num_finite > 0 ? sum / static_cast<double>(num_finite) : 0.0;
        result.depth = std::max(tile.second, 0);
        return result;
    }

private:
    void add(double in_apart, double in_a, double in_b, const Tolerance& in_tolerance,
             const TileIndex& in_tile, unsigned long in_element)
    {
        ++diff.num_values;
        if (std::isfinite(in_apart)) {
            sum += in_apart;
            ++num_finite;
        }
        // Not the other way round: infinite numbers make the right side NaN or infinite.
        const double larger = std::max(std::abs(in_a), std::abs(in_b));
        if (std::isinf(in_apart) ||
            in_apart > in_tolerance.absolute + in_tolerance.relative * larger) {
            ++diff.num_different;
        }
        if (in_apart > diff.largest) {
            diff.largest = in_apart;
            diff.value_a = in_a;
            diff.value_b = in_b;
            tile = in_tile;
            element = in_element;
        }
    }
};

}  // namespace Skelvar::Tool
