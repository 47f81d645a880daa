#pragma once

#include <skelvar/particles/ParticleTile.h>

#include <algorithm>
#include <vector>

namespace Skelvar {

/// A box that says which points of a tile are outside of it. Its low sides belong to it, its high
/// sides do not; what is not a number is outside.
class PointBox {
public:
    /// Holds nothing.
    PointBox() : PointBox(vec3f{}, vec3f{}) {}
    PointBox(const vec3f& in_low, const vec3f& in_high)
    {
        for (unsigned long n = 0; n < kRow; ++n) {
            m_low[n] = in_low[static_cast<int>(n % 3)];
            m_high[n] = in_high[static_cast<int>(n % 3)];
        }
    }

    bool holdsAll(const ParticleTile<vec3f>& in_points) const
    {
        const unsigned long count = 3 * in_points.size();
        const float* const values = reinterpret_cast<const float*>(in_points.data());
        int outside_any = 0;
        unsigned long n = 0;
        for (; n + kRow <= count; n += kRow) {
            outside_any |= isOutside<kRow>(values + n);
        }
        for (; n < count; n += 3) {
            outside_any |= isOutside<3>(values + n);
        }
        return outside_any == 0;
    }
    /// Writes the places of the points that are outside to the front of `io_places`, in their
    /// order, and gives their number. The rest of it is memory that lasts from tile to tile.
    unsigned long findOutside(const ParticleTile<vec3f>& in_points,
                              std::vector<unsigned long>& io_places) const
    {
        io_places.resize(std::max<std::size_t>(io_places.size(), in_points.size() + 1));
        unsigned long count = 0;
        for (unsigned long n = 0; n < in_points.size(); ++n) {
            io_places[count] = n;  // without a branch that nobody can foresee
            count += static_cast<unsigned long>(isOutside<3>(&in_points[n][0]));
        }
        return count;
    }

private:
    static constexpr unsigned long kRow = 12;  ///< four points, which compare at once

    /// 0 if all values are inside, else 1.
    template <unsigned long Count>
    int isOutside(const float* in_values) const
    {
        int outside = 0;
        for (unsigned long n = 0; n < Count; ++n) {
            outside |= static_cast<int>(!(in_values[n] >= m_low[n])) |
                       static_cast<int>(!(in_values[n] < m_high[n]));
        }
        return outside;
    }

    float m_low[kRow];
    float m_high[kRow];
};

}  // namespace Skelvar
