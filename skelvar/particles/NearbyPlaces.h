#pragma once

#include <skelvar/base/ValueTypes.h>

namespace Skelvar {

/// Tells in which of the 27 tiles about and including one tile points lie, whether or not there
/// are such tiles. Place n is n % 3, n / 3 % 3 and n / 9 steps from the lowest one.
class NearbyPlaces {
public:
    /// Of a point that lies in none of them, or is not a number.
    static constexpr int kFar = -1;

    /// Goes to a tile, of which the corner and the side are given.
    void moveTo(const vec3i& in_corner, int in_side)
    {
        for (int a = 0; a < 3; ++a) {
            for (int n = 0; n < 4; ++n) {
                m_faces[a][n] = static_cast<float>(in_corner[a] + (n - 1) * in_side);
            }
        }
    }
    int find(const vec3f& in_point) const
    {
        bool is_near = true;
        int step[3];
        for (int a = 0; a < 3; ++a) {
            const float x = in_point[a];
            is_near = is_near & (x >= m_faces[a][0]) & (x < m_faces[a][3]);
            step[a] = (x >= m_faces[a][1] ? 1 : 0) + (x >= m_faces[a][2] ? 1 : 0);
        }
        return is_near ? step[0] + 3 * (step[1] + 3 * step[2]) : kFar;
    }
    static vec3i steps(int in_place) { return {in_place % 3, in_place / 3 % 3, in_place / 9}; }

private:
    float m_faces[3][4] = {};  ///< between places along an axis, whole numbers
};

}  // namespace Skelvar
