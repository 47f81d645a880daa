#pragma once

#include <tests/sampling/Field.h>

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <vector>

// Haloed tiles and linear sampling as the method tells them, cell by cell and member by member,
// without caches, strides or shortcuts.
namespace Skelvar::Test {

using Place = std::array<int, 3>;

/// One member of the values of a haloed tile. Places run from 0 to 6.
template <typename M>
struct SlowHalo {
    M values[7][7][7];

    M& at(const Place& in_p) { return values[in_p[0]][in_p[1]][in_p[2]]; }
    const M& at(const Place& in_p) const { return values[in_p[0]][in_p[1]][in_p[2]]; }
};

template <typename T>
struct MemberOf {
    using type = T;
    static constexpr int kCount = 1;
    static T get(const T& in_value, int) { return in_value; }
};
template <int N, typename M>
struct MemberOf<orvel::Math::vec<N, M>> {
    using type = M;
    static constexpr int kCount = N;
    static M get(const orvel::Math::vec<N, M>& in_value, int in_n) { return in_value[in_n]; }
};

/// Truncated toward zero, modulo the width of the type; 0 if it does not fit 64 bits.
template <typename M>
M fromFloat(float in_value)
{
    if constexpr (std::is_same_v<M, float>) {
        return in_value;
    } else if constexpr (std::is_same_v<M, bool>) {
        return in_value != 0.0f;
    } else {
        const float limit = std::is_same_v<M, unsigned long long> ? 0x1p64f : 0x1p63f;
        __extension__ using Wide = __int128;
        return in_value >= -0x1p63f && in_value < limit
                   ? static_cast<M>(static_cast<Wide>(in_value))
                   : M{0};
    }
}

/// Evaluates one member of a channel.
template <typename T>
class SlowMember {
public:
    using M = typename MemberOf<T>::type;

    SlowMember(const VoxelChannel<T>& in_channel, const VoxelLayout& in_layout, int in_member)
        : m_channel(in_channel), m_layout(in_layout), m_member(in_member)
    {
    }

    M background() const { return MemberOf<T>::get(m_channel.backgroundValue(), m_member); }

    /// The haloed form of a tile. Made once.
    const SlowHalo<M>& halo(const TileIndex& in_index) const;
    M sample(const vec3f& in_position, int in_depth) const;
    /// The gradient at the finest depth, and the value.
    M sampleGradient(const vec3f& in_position, M (&out_gradient)[3]) const;

private:
    bool staggered(int in_axis) const { return (m_channel.offsetType() >> in_axis & 1) != 0; }
    M own(const TileIndex& in_index, const Place& in_cell) const
    {
        return MemberOf<T>::get(m_channel.tile(in_index)(in_cell[0], in_cell[1], in_cell[2]),
                                m_member);
    }
    /// The tile of the same depth `in_step` tiles away.
    TileIndex neighbour(const VoxelLayoutNode& in_node, const Place& in_step) const
    {
        const int side = kTileSideLUT[in_node.depth()];
        return m_layout.nodeIndex<true>(in_node.i() + in_step[0] * side,
                                        in_node.j() + in_step[1] * side,
                                        in_node.k() + in_step[2] * side, in_node.depth());
    }
    struct Stencil {
        M v[2][2][2];
        float f[3];
        float inverse_side;  ///< of a cell
    };
    bool stencil(const vec3f& in_position, int in_depth, Stencil& out) const;
    void fillRoot(SlowHalo<M>& io_h) const;
    void fillPlace(const VoxelLayoutNode& in_node, const SlowHalo<M>& in_parent, const Place& in_p,
                   SlowHalo<M>& io_h) const;
    /// Value of the parent's field at a place of the halo: sums of the two planes on centred axes
    /// outside, weighted along the others.
    M fromParent(const SlowHalo<M>& in_parent, const Place& in_own, const Place& in_p) const;

    const VoxelChannel<T>& m_channel;
    const VoxelLayout& m_layout;
    int m_member;
    mutable std::map<TileIndex, SlowHalo<M>> m_halos;
};

/// One for each member of the values.
template <typename T>
std::vector<SlowMember<T>> slowMembers(const VoxelChannel<T>& in_channel,
                                       const VoxelLayout& in_layout)
{
    std::vector<SlowMember<T>> members;
    for (int n = 0; n < MemberOf<T>::kCount; ++n) {
        members.emplace_back(in_channel, in_layout, n);
    }
    return members;
}

inline bool isOutside(int in_place)
{
    return in_place == 0 || in_place == 6;
}
inline int inward(int in_place)
{
    return in_place == 0 ? 1 : -1;
}
inline int countOutside(const Place& in_p)
{
    return isOutside(in_p[0]) + isOutside(in_p[1]) + isOutside(in_p[2]);
}
inline Place stepIn(Place in_p, int in_times)
{
    for (int& p : in_p) {
        p += isOutside(p) ? in_times * inward(p) : 0;
    }
    return in_p;
}

/// All places of the halo in the order of the method: faces, edges along z, y and x, corners.
inline std::vector<Place> haloPlaces()
{
    std::vector<Place> places;
    for (int a = 0; a < 3; ++a) {
        for (const int side : {0, 6}) {
            for (int n = 0; n < 25; ++n) {
                Place p;
                p[a] = side;
                p[a == 0 ? 1 : 0] = 1 + n % 5;
                p[a == 2 ? 1 : 2] = 1 + n / 5;
                places.push_back(p);
            }
        }
    }
    for (int along = 2; along >= 0; --along) {
        for (int n = 0; n < 20; ++n) {
            Place p;
            p[along == 0 ? 1 : 0] = n / 5 % 2 * 6;
            p[along == 2 ? 1 : 2] = n / 10 * 6;
            p[along] = 1 + n % 5;
            places.push_back(p);
        }
    }
    for (int n = 0; n < 8; ++n) {
        places.push_back({n % 2 * 6, n / 2 % 2 * 6, n / 4 * 6});
    }
    return places;
}

template <typename T>
auto SlowMember<T>::fromParent(const SlowHalo<M>& in_parent, const Place& in_own,
                               const Place& in_p) const -> M
{
    // Weights by child position, as bits.
    static constexpr unsigned kThree[5][3] = {{0x3ECCCCCC, 0x3F19999A, 0},
                                              {0x3E4CCCCC, 0x3F4CCCCD, 0},
                                              {0, 0x3F800000, 0},
                                              {0, 0x3F4CCCCD, 0x3E4CCCCD},
                                              {0, 0x3F19999A, 0x3ECCCCCD}};
    static constexpr unsigned kTwo[5][2] = {{0x3F800000, 0},
                                            {0x3F4CCCCD, 0x3E4CCCCD},
                                            {0x3F19999A, 0x3ECCCCCD},
                                            {0x3ECCCCCC, 0x3F19999A},
                                            {0x3E4CCCCC, 0x3F4CCCCD}};
    // Of each axis: the planes that are added, or those that are weighted.
    std::vector<int> planes[3];
    for (int a = 0; a < 3; ++a) {
        const int own = in_own[a] + 1;
        if (isOutside(in_p[a]) && staggered(a)) {
            planes[a] = {in_p[a] == 0 ? own : own + 1};
        } else if (isOutside(in_p[a])) {
            planes[a] =
                in_p[a] == 0 ? std::vector<int>{own - 1, own} : std::vector<int>{own, own + 1};
        } else {
            planes[a] = staggered(a) ? std::vector<int>{own, own + 1}
                                     : std::vector<int>{own - 1, own, own + 1};
        }
    }
    // Work from the last axis down to a table over the axes that are left.
    const auto sum_at = [&](Place in_plane) {
        M sum{};
        bool first = true;
        for (const int z : isOutside(in_p[2]) ? planes[2] : std::vector<int>{in_plane[2]}) {
            for (const int y : isOutside(in_p[1]) ? planes[1] : std::vector<int>{in_plane[1]}) {
                for (const int x : isOutside(in_p[0]) ? planes[0] : std::vector<int>{in_plane[0]}) {
                    const M value = in_parent.at({x, y, z});
                    sum = first ? value : static_cast<M>(sum + value);
                    first = false;
                }
            }
        }
        return sum;
    };
    const auto weigh = [&](int in_axis, const std::vector<M>& in_samples) {
        const int c = in_p[in_axis] - 1;
        float value = 0.0f;
        for (std::size_t n = 0; n < in_samples.size(); ++n) {
            const unsigned bits = in_samples.size() == 3 ? kThree[c][n] : kTwo[c][n];
            const float term = std::bit_cast<float>(bits) * static_cast<float>(in_samples[n]);
            value = n == 0 ? term : value + term;
        }
        return fromFloat<M>(value);
    };
    std::vector<int> inside;
    for (int a = 0; a < 3; ++a) {
        if (!isOutside(in_p[a])) {
            inside.push_back(a);
        }
    }
    Place plane{};
    if (inside.empty()) {
        return sum_at(plane);
    }
    const auto along_first = [&] {
        std::vector<M> samples;
        for (const int p : planes[inside[0]]) {
            plane[inside[0]] = p;
            samples.push_back(sum_at(plane));
        }
        return weigh(inside[0], samples);
    };
    if (inside.size() == 1) {
        return along_first();
    }
    std::vector<M> rows;
    for (const int p : planes[inside[1]]) {
        plane[inside[1]] = p;
        rows.push_back(along_first());
    }
    return weigh(inside[1], rows);
}

template <typename T>
void SlowMember<T>::fillPlace(const VoxelLayoutNode& in_node, const SlowHalo<M>& in_parent,
                              const Place& in_p, SlowHalo<M>& io_h) const
{
    bool all_exist = true;
    bool low_staggered = false;
    for (int n = 1; n < 8; ++n) {
        Place step{};
        bool touches = true;
        for (int a = 0; a < 3; ++a) {
            if ((n >> a & 1) != 0) {
                touches = touches && isOutside(in_p[a]);
                step[a] = -inward(in_p[a]);
            }
        }
        all_exist = all_exist && (!touches || neighbour(in_node, step).first >= 0);
    }
    Place toward{};
    Place cell{};
    for (int a = 0; a < 3; ++a) {
        toward[a] = isOutside(in_p[a]) ? -inward(in_p[a]) : 0;
        cell[a] = (in_p[a] + 4) % 5;
        low_staggered = low_staggered || (in_p[a] == 0 && staggered(a));
    }
    if (all_exist) {
        io_h.at(in_p) = own(neighbour(in_node, toward), cell);
        return;
    }
    int ci = 0;
    int cj = 0;
    int ck = 0;
    m_layout.node(in_node.parent(), in_node.depth() - 1).childIJK(in_node, ci, cj, ck);
    const Place own_cell{ci, cj, ck};
    if (low_staggered) {
        if (countOutside(in_p) == 1) {
            io_h.at(stepIn(in_p, 1)) = fromParent(in_parent, own_cell, in_p);
        }
        const M near = io_h.at(stepIn(in_p, 1));
        io_h.at(in_p) = static_cast<M>(static_cast<M>(near + near) - io_h.at(stepIn(in_p, 2)));
        return;
    }
    // Minus the other voxels of the block: of a corner from the innermost one on, of an edge first
    // those beside it, the one inside on the axis of higher stride before the other.
    std::vector<int> centred;
    for (int a = 0; a < 3; ++a) {
        if (isOutside(in_p[a]) && !staggered(a)) {
            centred.push_back(a);
        }
    }
    std::vector<int> order;
    for (int mask = (1 << centred.size()) - 1; mask > 0; --mask) {
        order.push_back(mask);
    }
    if (countOutside(in_p) == 2 && order.size() == 3) {
        order = {2, 1, 3};
    }
    M value = fromParent(in_parent, own_cell, in_p);
    for (const int mask : order) {
        Place p = in_p;
        for (std::size_t n = 0; n < centred.size(); ++n) {
            p[centred[n]] += (mask >> n & 1) != 0 ? inward(in_p[centred[n]]) : 0;
        }
        value = static_cast<M>(value - io_h.at(p));
    }
    io_h.at(in_p) = value;
}

template <typename T>
void SlowMember<T>::fillRoot(SlowHalo<M>& io_h) const
{
    const M b = background();
    const M twice = static_cast<M>(b + b);
    for (const Place& p : haloPlaces()) {
        bool any_staggered = false;
        for (int a = 0; a < 3; ++a) {
            any_staggered = any_staggered || (isOutside(p[a]) && staggered(a));
        }
        const int outside = countOutside(p);
        if (outside == 3 && m_channel.offsetType() != eOffsetCentre) {
            io_h.at(p) = b;
        } else if (any_staggered) {
            io_h.at(p) = b;
            if (outside == 1 && (p[0] == 0 || p[1] == 0 || p[2] == 0)) {
                io_h.at(stepIn(p, 1)) = b;
            }
        } else {
            const M inside = io_h.at(stepIn(p, 1));
            io_h.at(p) = outside == 2 ? inside : static_cast<M>(twice - inside);
        }
    }
}

template <typename T>
auto SlowMember<T>::halo(const TileIndex& in_index) const -> const SlowHalo<M>&
{
    if (const auto made = m_halos.find(in_index); made != m_halos.end()) {
        return made->second;
    }
    SlowHalo<M> h;
    for (int n = 0; n < 125; ++n) {
        const Place cell{n % 5, n / 5 % 5, n / 25};
        h.at({cell[0] + 1, cell[1] + 1, cell[2] + 1}) = own(in_index, cell);
    }
    const VoxelLayoutNode& node = m_layout.node(in_index);
    if (node.isRoot()) {
        fillRoot(h);
    } else {
        const SlowHalo<M>& parent = halo({node.parent(), in_index.second - 1});
        for (const Place& p : haloPlaces()) {
            fillPlace(node, parent, p, h);
        }
    }
    return m_halos[in_index] = h;
}

template <typename M>
M slowLerp(M in_a, M in_b, float in_t)
{
    using Difference = std::conditional_t<std::is_same_v<M, bool>, int, M>;
    const auto step = static_cast<Difference>(in_b - in_a);
    return fromFloat<M>(static_cast<float>(in_a) + static_cast<float>(step) * in_t);
}

template <typename T>
bool SlowMember<T>::stencil(const vec3f& in_position, int in_depth, Stencil& out) const
{
    const TileIndex tile = slowTileAt(m_layout, in_position, in_depth);
    if (tile.first < 0) {
        return false;
    }
    const SlowHalo<M>& h = halo(tile);
    const vec3i corner = m_layout.node(tile).corner();
    out.inverse_side = 1.0f / static_cast<float>(kTileSideLUT[tile.second + 1]);
    int i[3];
    for (int a = 0; a < 3; ++a) {
        const float u = (in_position[a] - static_cast<float>(corner[a])) * out.inverse_side -
                        m_channel.offset()[a];
        i[a] = std::min(static_cast<int>(u) - (u >= 0.0f ? 0 : 1), 4);
        out.f[a] = u - static_cast<float>(i[a]);
    }
    for (int n = 0; n < 8; ++n) {
        const int x = n & 1;
        const int y = n >> 1 & 1;
        const int z = n >> 2;
        out.v[x][y][z] = h.at({i[0] + 1 + x, i[1] + 1 + y, i[2] + 1 + z});
    }
    return true;
}

template <typename M>
M slowBilinear(M in_00, M in_10, M in_01, M in_11, float in_f, float in_g)
{
    return slowLerp(slowLerp(in_00, in_10, in_f), slowLerp(in_01, in_11, in_f), in_g);
}

template <typename T>
auto SlowMember<T>::sample(const vec3f& in_position, int in_depth) const -> M
{
    Stencil s;
    if (!stencil(in_position, in_depth, s)) {
        return background();
    }
    return slowLerp(
        slowBilinear(s.v[0][0][0], s.v[1][0][0], s.v[0][1][0], s.v[1][1][0], s.f[0], s.f[1]),
        slowBilinear(s.v[0][0][1], s.v[1][0][1], s.v[0][1][1], s.v[1][1][1], s.f[0], s.f[1]),
        s.f[2]);
}

template <typename T>
auto SlowMember<T>::sampleGradient(const vec3f& in_position, M (&out_gradient)[3]) const -> M
{
    Stencil s;
    if (!stencil(in_position, 7, s)) {
        out_gradient[0] = out_gradient[1] = out_gradient[2] = M{};
        return background();
    }
    const auto step_x = [&](int y, int z) { return static_cast<M>(s.v[1][y][z] - s.v[0][y][z]); };
    const auto step_y = [&](int x, int z) { return static_cast<M>(s.v[x][1][z] - s.v[x][0][z]); };
    const auto step_z = [&](int x, int y) { return static_cast<M>(s.v[x][y][1] - s.v[x][y][0]); };
    const M steps[3] = {
        slowBilinear(step_x(0, 0), step_x(1, 0), step_x(0, 1), step_x(1, 1), s.f[1], s.f[2]),
        slowBilinear(step_y(0, 0), step_y(1, 0), step_y(0, 1), step_y(1, 1), s.f[0], s.f[2]),
        slowBilinear(step_z(0, 0), step_z(1, 0), step_z(0, 1), step_z(1, 1), s.f[0], s.f[1])};
    for (int a = 0; a < 3; ++a) {
        out_gradient[a] = fromFloat<M>(static_cast<float>(steps[a]) * s.inverse_side);
    }
    return sample(in_position, 7);
}

}  // namespace Skelvar::Test
