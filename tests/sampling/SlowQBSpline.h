#pragma once

#include <skelvar/sampling/Sampler3D.h>
#include <skelvar/sampling/TileCache.h>
#include <skelvar/tree/VoxelLayout.h>

#include <tests/sampling/Field.h>

// The B-spline sampler step by step as it is defined, without any of the library's shortcuts:
// whole haloed tiles, made in the stated order, each when the sampler is to hold it.
namespace Skelvar::Test {

/// Applies an operation on members, given as numbers of the type to compute in.
template <typename T, typename Operation, typename... Rest>
T perMember(const Operation& in_operation, const T& in_first, const Rest&... in_rest)
{
    if constexpr (IsVec<T>::value) {
        T out{};
        for (int a = 0; a < T::kSize; ++a) {
            out[a] = perMember<typename T::value_type>(in_operation, in_first[a], in_rest[a]...);
        }
        return out;
    } else {
        const auto result = in_operation(in_first, in_rest...);
        if constexpr (std::is_same_v<T, bool>) {
            return result != 0;
        } else {
            return static_cast<T>(result);
        }
    }
}

template <typename T>
T slowStage(const T& in_before, const T& in_at, const T& in_after, float in_f, bool in_slope)
{
    const float w0 = in_slope ? in_f - 1 : (in_f - 1) * (in_f - 1) * 0.5f;
    const float w1 = in_slope ? 1 - 2 * in_f : 0.75f - (in_f - 0.5f) * (in_f - 0.5f);
    const float w2 = in_slope ? in_f : in_f * in_f * 0.5f;
    return perMember<T>(
        [&](auto before, auto at, auto after) {
            const float sum = w2 * float(after) + (w1 * float(at) + w0 * float(before));
            if constexpr (std::is_unsigned_v<decltype(at)> && !std::is_same_v<decltype(at), bool>) {
                // A negative sum wraps, one beyond the signed numbers is whole, others are 0.
                return sum < -0x1p63f || sum >= 0x1p64f ? 0ULL
                       : sum < 0x1p63f
                           ? static_cast<unsigned long long>(static_cast<long long>(sum))
                           : static_cast<unsigned long long>(sum);
            } else {
                return sum;
            }
        },
        in_before, in_at, in_after);
}

/// m + (X - m) / 5 for the mean m of a block.
template <typename T>
T slowToMean(const T (&in_block)[8], int in_count, int in_x)
{
    if constexpr (IsVec<T>::value) {
        T out{};
        for (int a = 0; a < T::kSize; ++a) {
            typename T::value_type block[8];
            for (int n = 0; n < in_count; ++n) {
                block[n] = in_block[n][a];
            }
            out[a] = slowToMean(block, in_count, in_x);
        }
        return out;
    } else if constexpr (std::is_same_v<T, float>) {
        float mean = in_block[0];
        for (int n = 1; n < in_count; ++n) {
            mean = mean + in_block[n];
        }
        mean = mean * (in_count == 4 ? 0.25f : 0.125f);
        return mean + (in_block[in_x] - mean) / 5;
    } else if constexpr (std::is_same_v<T, bool>) {
        bool any = false;
        for (int n = 0; n < in_count; ++n) {
            any = any || in_block[n];
        }
        return any;
    } else {
        using Number = decltype(T{} + T{});
        Number sum = 0;
        for (int n = 0; n < in_count; ++n) {
            sum += in_block[n];
        }
        const Number mean = static_cast<Number>(sum >> (in_count == 4 ? 2 : 3));
        return static_cast<T>(mean + (in_block[in_x] - mean) / Number{5});
    }
}

using Place = std::array<int, 3>;

/// Counted from 0 to 6, as the notation of the haloed tiles has it.
template <typename T>
T& at(VoxelTile<T, 1, 5>& io_tile, const Place& in_place)
{
    return io_tile(in_place[0] - 1, in_place[1] - 1, in_place[2] - 1);
}

template <typename T>
void slowFace(VoxelTile<T, 1, 5>& io_parent, const Place& in_c, int in_axis, bool in_high,
              const VoxelTile<T, 0, 5>* in_neighbour, VoxelTile<T, 1, 5>& io_tile)
{
    const int s1 = in_axis == 0 ? 1 : 0;
    const int s2 = in_axis == 2 ? 1 : 2;
    for (int c2 = 0; c2 < 5; ++c2) {
        for (int c1 = 0; c1 < 5; ++c1) {
            Place to{};
            to[s1] = c1 + 1;
            to[s2] = c2 + 1;
            if (in_neighbour != nullptr) {
                to[in_axis] = in_high ? 6 : 0;
                Place from{};
                from[s1] = c1;
                from[s2] = c2;
                from[in_axis] = in_high ? 0 : 4;
                at(io_tile, to) = (*in_neighbour)(from[0], from[1], from[2]);
                continue;
            }
            T plane[2];
            for (int q = 0; q < 2; ++q) {
                T row[3];
                for (int r = 0; r < 3; ++r) {
                    Place p{};
                    p[in_axis] = in_c[in_axis] + (in_high ? 1 : 0) + q;
                    p[s1] = in_c[s1] + r;
                    p[s2] = in_c[s2];
                    const T before = at(io_parent, p);
                    p[s2] += 1;
                    const T middle = at(io_parent, p);
                    p[s2] += 1;
                    row[r] =
                        slowStage(before, middle, at(io_parent, p), (2 * c2 + 1) / 10.0f, false);
                }
                plane[q] = slowStage(row[0], row[1], row[2], (2 * c1 + 1) / 10.0f, false);
            }
            for (int q = 0; q < 2; ++q) {
                to[in_axis] = (in_high ? 5 : 0) + q;
                at(io_tile, to) = perMember<T>(
                    [q](auto a, auto b) {
                        using M = decltype(a);
                        if constexpr (std::is_same_v<M, float> || std::is_same_v<M, bool>) {
                            const float m = (float(a) + float(b)) * 0.5f;
                            const float d = (float(b) - float(a)) / 10;
                            return q == 0 ? m - d : m + d;
                        } else {
                            const auto m = (a + b) >> 1;
                            const auto d = (b - a) / decltype(b - a){10};
                            return q == 0 ? m - d : m + d;
                        }
                    },
                    plane[0], plane[1]);
            }
        }
    }
}

template <typename T>
void slowEdge(VoxelTile<T, 1, 5>& io_parent, const Place& in_c, int in_along, bool in_high_a,
              bool in_high_b, const VoxelTile<T, 0, 5>* in_diagonal, VoxelTile<T, 1, 5>& io_tile)
{
    const int a = in_along == 0 ? 1 : 0;
    const int b = in_along == 2 ? 1 : 2;
    for (int c = 0; c < 5; ++c) {
        Place to{};
        to[in_along] = c + 1;
        if (in_diagonal != nullptr) {
            to[a] = in_high_a ? 6 : 0;
            to[b] = in_high_b ? 6 : 0;
            Place from{};
            from[in_along] = c;
            from[a] = in_high_a ? 0 : 4;
            from[b] = in_high_b ? 0 : 4;
            at(io_tile, to) = (*in_diagonal)(from[0], from[1], from[2]);
            continue;
        }
        T block[8];
        for (int n = 0; n < 4; ++n) {
            T line[3];
            for (int r = 0; r < 3; ++r) {
                Place p{};
                p[in_along] = in_c[in_along] + r;
                p[a] = in_c[a] + (in_high_a ? 1 : 0) + n % 2;
                p[b] = in_c[b] + (in_high_b ? 1 : 0) + n / 2;
                line[r] = at(io_parent, p);
            }
            block[n] = slowStage(line[0], line[1], line[2], (2 * c + 1) / 10.0f, false);
        }
        for (int n = 0; n < 4; ++n) {
            to[a] = (in_high_a ? 5 : 0) + n % 2;
            to[b] = (in_high_b ? 5 : 0) + n / 2;
            at(io_tile, to) = slowToMean(block, 4, n);
        }
    }
}

template <typename T>
void slowQBSplineTile(VoxelTile<T, 1, 5>& io_parent, const vec3i& in_place,
                      const TileBlock<T>& in_block, VoxelTile<T, 1, 5>& out_tile)
{
    const auto toward = [&](int dx, int dy, int dz) { return in_block[13 + dx + 3 * dy + 9 * dz]; };
    const auto around = [&](int in_axis_a, int in_a, int in_axis_b, int in_b) {
        Place d{};
        d[in_axis_a] = in_a;
        d[in_axis_b] = in_b;
        return toward(d[0], d[1], d[2]);
    };
    const Place c{in_place[0], in_place[1], in_place[2]};
    for (int n = 0; n < kTileSize; ++n) {
        out_tile(n % 5, n / 5 % 5, n / 25) = (*in_block[13])(n);
    }
    for (int axis = 0; axis < 3; ++axis) {
        for (const int side : {-1, 1}) {
            slowFace(io_parent, c, axis, side > 0, around(axis, side, axis, side), out_tile);
        }
    }
    for (const int along : {2, 1, 0}) {
        const int a = along == 0 ? 1 : 0;
        const int b = along == 2 ? 1 : 2;
        for (const int sb : {-1, 1}) {
            for (const int sa : {-1, 1}) {
                const auto* const diagonal = around(a, sa, b, sb);
                const bool all = diagonal && around(a, sa, a, sa) && around(b, sb, b, sb);
                slowEdge(io_parent, c, along, sa > 0, sb > 0, all ? diagonal : nullptr, out_tile);
            }
        }
    }
    for (int corner = 0; corner < 8; ++corner) {
        const int x = corner & 1, y = corner >> 1 & 1, z = corner >> 2;
        const int dx = 2 * x - 1, dy = 2 * y - 1, dz = 2 * z - 1;
        if (toward(dx, 0, 0) && toward(0, dy, 0) && toward(0, 0, dz) && toward(dx, dy, 0) &&
            toward(dx, 0, dz) && toward(0, dy, dz) && toward(dx, dy, dz)) {
            at(out_tile, {6 * x, 6 * y, 6 * z}) =
                (*toward(dx, dy, dz))(4 - 4 * x, 4 - 4 * y, 4 - 4 * z);
            continue;
        }
        T block[8];
        for (int n = 0; n < 8; ++n) {
            block[n] = at(io_parent, {c[0] + x + n % 2, c[1] + y + n / 2 % 2, c[2] + z + n / 4});
        }
        for (int n = 0; n < 8; ++n) {
            at(out_tile, {5 * x + n % 2, 5 * y + n / 2 % 2, 5 * z + n / 4}) =
                slowToMean(block, 8, n);
        }
    }
}

template <typename T>
class SlowQBSpline {
public:
    SlowQBSpline(const VoxelLayout& in_layout, const VoxelChannel<T>& in_channel)
        : m_layout(in_layout), m_channel(in_channel)
    {
    }

    T sample(const vec3f& in_position, int in_depth,
             typename Sampler3D<T>::Gradient* out_gradient = nullptr)
    {
        const TileIndex tile = slowTileAt(m_layout, in_position, in_depth);
        if (tile.first < 0) {
            return outside(out_gradient);
        }
        const vec3i corner = m_layout.node(tile).corner();
        int c[3];
        float f[3];
        for (int axis = 0; axis < 3; ++axis) {
            const float u =
                (in_position[axis] - float(corner[axis])) / float(kTileSideLUT[tile.second + 1]);
            c[axis] = std::min(int(u), 4);
            f[axis] = u - float(c[axis]);
        }
        const bool inner = std::all_of(c, c + 3, [](int n) { return n >= 1 && n <= 3; });
        const bool direct = m_held[tile.second] != tile.first && inner;
        if (!direct) {
            updateCache(tile.first, tile.second);
        }
        const auto value = [&](int di, int dj, int dk) {
            const int i = c[0] + di, j = c[1] + dj, k = c[2] + dk;
            return direct ? m_channel.tile(tile)(i, j, k) : m_tiles[tile.second](i, j, k);
        };
        if (out_gradient != nullptr) {
            for (int axis = 0; axis < 3; ++axis) {
                (*out_gradient)[axis] = combine(value, f, axis);
            }
        }
        return combine(value, f, -1);
    }

private:
    T outside(typename Sampler3D<T>::Gradient* out_gradient) const
    {
        if (out_gradient != nullptr) {
            *out_gradient = {};
        }
        return m_channel.backgroundValue();
    }

    template <typename Value>
    static T combine(const Value& in_value, const float (&in_f)[3], int in_slope)
    {
        T planes[3];
        for (int k = 0; k < 3; ++k) {
            T rows[3];
            for (int j = 0; j < 3; ++j) {
                rows[j] = slowStage(in_value(-1, j - 1, k - 1), in_value(0, j - 1, k - 1),
                                    in_value(1, j - 1, k - 1), in_f[0], in_slope == 0);
            }
            planes[k] = slowStage(rows[0], rows[1], rows[2], in_f[1], in_slope == 1);
        }
        return slowStage(planes[0], planes[1], planes[2], in_f[2], in_slope == 2);
    }

    void updateCache(int in_index, int in_depth)
    {
        if (m_held[in_depth] == in_index) {
            return;
        }
        const VoxelLayoutNode& node = m_layout.node(in_index, in_depth);
        const auto& tile = m_channel.tile(in_index, in_depth);
        if (in_depth > 0 && node.parent() >= 0) {
            updateCache(node.parent(), in_depth - 1);
            const VoxelLayoutNode& parent = m_layout.node(node.parent(), in_depth - 1);
            const int side = kTileSideLUT[in_depth];
            vec3i place;
            for (int axis = 0; axis < 3; ++axis) {
                place[axis] = (node.corner()[axis] - parent.corner()[axis]) / side;
            }
            slowQBSplineTile(m_tiles[in_depth - 1], place, slowBlock(m_layout, m_channel, node),
                             m_tiles[in_depth]);
        } else {
            m_tiles[in_depth].set(m_channel.backgroundValue());
            for (int k = 1; k < 4; ++k) {
                for (int j = 1; j < 4; ++j) {
                    for (int i = 1; i < 4; ++i) {
                        m_tiles[in_depth](i, j, k) = tile(i, j, k);
                    }
                }
            }
        }
        m_held[in_depth] = in_index;
    }

    const VoxelLayout& m_layout;
    const VoxelChannel<T>& m_channel;
    int m_held[kNumDepths] = {-1, -1, -1, -1, -1, -1, -1, -1};
    VoxelTile<T, 1, 5> m_tiles[kNumDepths];
};

}  // namespace Skelvar::Test
