#include <skelvar/sampling/VoxelSamplerWENO.h>
#include <skelvar/sampling/VoxelSamplerWENOTile.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <tests/sampling/Field.h>

#include <gtest/gtest.h>

#include <cmath>

namespace Skelvar::Test {

using Testing::Random;

namespace {

// The sampler step by step as it is defined: whole haloed tiles, each value by itself.

float slowStep(const float* in_q, int in_stride, float f)
{
    const float q0 = in_q[0], q1 = in_q[in_stride], q2 = in_q[2 * in_stride],
                q3 = in_q[3 * in_stride];
    const float a = (q2 - q0) * 0.5f;
    const float b = q0 - 2 * q1 + q2;
    const float s = 1.3333334f * b * b + (a + b) * a;
    const float w1 = (2 - f) / (s * s + 1e-30f);
    const float p1 = (f * 0.5f * b + a) * f + q1;
    const float g = 1 - f;
    const float c = (q1 - q3) * 0.5f;
    const float d = q3 - 2 * q2 + q1;
    const float t = 1.3333334f * d * d + (c + d) * c;
    const float w2 = (2 - g) / (t * t + 1e-30f);
    const float p2 = (0.5f * g * d + c) * g + q2;
    return (p2 * w2 + p1 * w1) / (w2 + w1);
}

using HaloedTile = VoxelTile<float, 2, 5>;

float slowInterpolate(const HaloedTile& in_tile, const int (&in_cell)[3], const float (&in_f)[3])
{
    float planes[4];
    for (int k = 0; k < 4; ++k) {
        float rows[4];
        for (int j = 0; j < 4; ++j) {
            rows[j] = slowStep(&in_tile(in_cell[0] - 1, in_cell[1] - 1 + j, in_cell[2] - 1 + k), 1,
                               in_f[0]);
        }
        planes[k] = slowStep(rows, 1, in_f[1]);
    }
    return slowStep(planes, 1, in_f[2]);
}

void slowParentPlace(bool in_staggered, int in_c, int in_position, int& out_cell, float& out_f)
{
    static const float kCentred[9] = {0.2f, 0.4f, -1, -1, -1, -1, -1, 0.6f, 0.8f};
    static const float kStaggered[9] = {0.6f, 0.8f, -1, -1, -1, -1, -1, 0.0f, 0.2f};
    const int c = in_position;
    out_f = (in_staggered ? kStaggered : kCentred)[c + 2];
    if (out_f < 0) {
        out_f = in_staggered ? c / 5.0f
                : c < 2      ? (2 * c + 1) / 10.0f + 0.5f
                             : (2 * c + 1) / 10.0f - 0.5f;
    }
    const int step = in_staggered ? (c < 0 ? -1 : c > 4 ? 1 : 0) : (c < 2 ? -1 : 0);
    out_cell = in_c + step;
    if (out_cell == 5) {
        out_cell = 4;
        out_f += 1;
    }
}

void slowTile(VoxelOffsetType in_offset, const HaloedTile& in_parent, const vec3i& in_place,
              const TileBlock<float>& in_block, HaloedTile& out_tile)
{
    for (int z = -2; z <= 6; ++z) {
        for (int y = -2; y <= 6; ++y) {
            for (int x = -2; x <= 6; ++x) {
                const int at[3] = {x, y, z};
                int from[3], step[3];
                for (int axis = 0; axis < 3; ++axis) {
                    step[axis] = at[axis] < 0 ? -1 : at[axis] > 4 ? 1 : 0;
                    from[axis] = at[axis] - 5 * step[axis];
                }
                const auto* const tile = in_block[13 + step[0] + 3 * step[1] + 9 * step[2]];
                bool rewritten = false;
                for (int axis = 0; axis < 3; ++axis) {
                    const auto* const low = in_block[axis == 0 ? 12 : axis == 1 ? 10 : 4];
                    rewritten =
                        rewritten || (tile == in_block[13] && (in_offset >> axis & 1) != 0 &&
                                      at[axis] == 0 && low == nullptr);
                }
                if (tile != nullptr && !rewritten) {
                    out_tile(x, y, z) = (*tile)(from[0], from[1], from[2]);
                    continue;
                }
                int cell[3];
                float f[3];
                for (int axis = 0; axis < 3; ++axis) {
                    slowParentPlace((in_offset >> axis & 1) != 0, in_place[axis], at[axis],
                                    cell[axis], f[axis]);
                }
                out_tile(x, y, z) = slowInterpolate(in_parent, cell, f);
            }
        }
    }
}

void slowRootTile(VoxelOffsetType in_offset, float in_background,
                  const VoxelTile<float, 0, 5>& in_tile, HaloedTile& out_tile)
{
    out_tile.set(in_background);
    for (int k = in_offset & 4 ? 1 : 0; k < 5; ++k) {
        for (int j = in_offset & 2 ? 1 : 0; j < 5; ++j) {
            for (int i = in_offset & 1 ? 1 : 0; i < 5; ++i) {
                out_tile(i, j, k) = in_tile(i, j, k);
            }
        }
    }
}

class SlowWENO {
public:
    explicit SlowWENO(const Field<float>& in_field)
        : m_layout(*in_field.layout), m_channel(*in_field.channel)
    {
    }

    float sample(const vec3f& in_position, int in_depth)
    {
        const TileIndex tile = slowTileAt(m_layout, in_position, in_depth);
        if (tile.first < 0) {
            return m_channel.backgroundValue();
        }
        int cell[3];
        float f[3];
        for (int axis = 0; axis < 3; ++axis) {
            const float u = (in_position[axis] - float(m_layout.node(tile).corner()[axis])) /
                                float(kTileSideLUT[tile.second + 1]) -
                            m_channel.offset()[axis];
            cell[axis] = std::min(int(u) - (u >= 0 ? 0 : 1), 4);
            f[axis] = u - float(cell[axis]);
        }
        make(tile.first, tile.second);
        return slowInterpolate(m_tiles[tile.second], cell, f);
    }

private:
    void make(int in_index, int in_depth)
    {
        if (m_held[in_depth] == in_index) {
            return;
        }
        m_held[in_depth] = in_index;
        const VoxelLayoutNode& node = m_layout.node(in_index, in_depth);
        if (in_depth == 0 || node.parent() < 0) {
            slowRootTile(m_channel.offsetType(), m_channel.backgroundValue(),
                         m_channel.tile(in_index, in_depth), m_tiles[in_depth]);
            return;
        }
        make(node.parent(), in_depth - 1);
        vec3i place;
        m_layout.node(node.parent(), in_depth - 1).childIJK(node, place[0], place[1], place[2]);
        slowTile(m_channel.offsetType(), m_tiles[in_depth - 1], place,
                 slowBlock(m_layout, m_channel, node), m_tiles[in_depth]);
    }

    const VoxelLayout& m_layout;
    const VoxelChannel<float>& m_channel;
    int m_held[kNumDepths] = {-1, -1, -1, -1, -1, -1, -1, -1};
    HaloedTile m_tiles[kNumDepths];
};

/// The middle two of four samples, at a fraction.
float stepBetween(float in_q0, float in_q1, float in_q2, float in_q3, float in_f)
{
    float value;
    Detail::stepWENO3(in_q0, in_q1, in_q2, in_q3, in_f, value);
    return value;
}

}  // namespace

TEST(WENO, HaloedTilesAreThoseOfThePlainMethod)
{
    Random random(51);
    SCOPED_TRACE(random.seed());
    for (int round = 0; round < 64; ++round) {
        const auto offset = static_cast<VoxelOffsetType>(round % 8);
        HaloedTile parent;
        VoxelTile<float, 0, 5> tiles[27];
        for (int n = 0; n < parent.size(); ++n) {
            parent(n) = anyValue<float>(random);
        }
        TileBlock<float> block{};
        for (int n = 0; n < 27; ++n) {
            for (int cell = 0; cell < kTileSize; ++cell) {
                tiles[n](cell) = anyValue<float>(random);
            }
            block[n] = n == 13 || random.integer(0, 1) == 0 ? &tiles[n] : nullptr;
        }
        const vec3i place{random.integer(0, 4), random.integer(0, 4), random.integer(0, 4)};

        HaloedTile fast, slow;
        evalWENOHaloedTile(offset, parent, place[0], place[1], place[2], block, &fast);
        slowTile(offset, parent, place, block, slow);
        for (int n = 0; n < fast.size(); ++n) {
            ASSERT_EQ(slow(n), fast(n)) << "round " << round << ", value " << n;
        }

        evalWENOHaloedRootTile(offset, 2.5f, tiles[0], &fast);
        slowRootTile(offset, 2.5f, tiles[0], slow);
        for (int n = 0; n < fast.size(); ++n) {
            ASSERT_EQ(slow(n), fast(n)) << "root, round " << round << ", value " << n;
        }
    }
}

TEST(WENO, SamplesAreThoseOfThePlainMethodForEveryOffset)
{
    Random random(52);
    SCOPED_TRACE(random.seed());
    for (int offset = 0; offset < 8; ++offset) {
        const Field<float> field = anyField<float>(random, static_cast<VoxelOffsetType>(offset));
        const VoxelSamplerWENO<float> sampler(eTreeSpace, field.channel.get());
        SlowWENO slow(field);
        for (int n = 0; n < 600; ++n) {
            const vec3f position = anyPosition(random);
            const int depth = random.integer(0, 2) == 0 ? random.integer(0, 7) : 7;
            ASSERT_EQ(slow.sample(position, depth), sampler.sample(position, depth))
                << "offset " << offset << ", sample " << n;
        }
    }
}

TEST(WENO, StepGivesWorkedNumbers)
{
    EXPECT_EQ(0.5f, stepBetween(0, 0, 1, 1, 0.5f)) << "by symmetry";
    // Smoothness 61/12 and 25/3; parabolas 2.40625 and 2.3125; weights 1.75 and 1.25 over the
    // squares.
    EXPECT_NEAR(2.3865643, stepBetween(1, 2, 4, 8, 0.25f), 1e-6);
    // The flat side wins, where a cubic through the four would give -0.0625.
    EXPECT_NEAR(0.0, stepBetween(0, 0, 0, 1, 0.5f), 1e-20);
    EXPECT_EQ(4.0f, stepBetween(-3, 4, 7, 1, 0.0f)) << "the value itself at the ends";
    EXPECT_FLOAT_EQ(7.0f, stepBetween(-3, 4, 7, 1, 1.0f));
    EXPECT_FLOAT_EQ(1e7f, stepBetween(1e7f, 1e7f, 1e7f, 1e7f, 0.3f));
}

TEST(WENO, TheCellBeyondTheTileIsTheLastWithAHigherFraction)
{
    Testing::Random random(5);
    VoxelTile<float, 2, 5> tile;
    for (int n = 0; n < tile.size(); ++n) {
        tile(n) = static_cast<float>(random.real(-1.0, 1.0));
    }
    float beyond = 0.0f;
    float last = 0.0f;

    interpolateWENO<float, 5>(tile, 5, 0.0f, 5, 0.0f, 5, 0.0f, &beyond);
    EXPECT_NEAR(tile(5, 5, 5), beyond, 1e-6f);
    interpolateWENO<float, 5>(tile, 5, 0.2f, 1, 0.3f, 2, 0.4f, &beyond);
    interpolateWENO<float, 5>(tile, 4, 1.2f, 1, 0.3f, 2, 0.4f, &last);
    EXPECT_EQ(last, beyond);
}

TEST(WENO, PlaneOfStepsIsTheStepAlongXThenAlongY)
{
    VoxelTile<float, 0, 5> tile;
    for (int n = 0; n < kTileSize; ++n) {
        tile(n) = static_cast<float>(n * n % 17);
    }
    float rows[4];
    for (int j = 0; j < 4; ++j) {
        rows[j] = slowStep(&tile(0, j, 0), 1, 0.3f);
    }
    EXPECT_EQ(slowStep(rows, 1, 0.9f), (interpBiWENO3<float, 1, 5>(tile.data(), 0.3f, 0.9f)));
}

TEST(VoxelSamplerWENO, IsExactOnARampAcrossDepthsForEveryOffset)
{
    Random random(9);
    SCOPED_TRACE(random.seed());
    for (int offset = 0; offset < 8; ++offset) {
        // A fine tile without neighbours, in coarser ones that have them.
        Field<float> field(LayoutBuilder()
                               .tile({0, 0, 0}, 5)
                               .box({-62, -62, -62}, {63, 63, 63}, 6)
                               .tile({0, 0, 0}, 7)
                               .build(),
                           0.0f, static_cast<VoxelOffsetType>(offset));
        field.fill([](const vec3f& p) { return 2.0f * p[0] - p[1] + 0.5f * p[2]; });
        const VoxelSamplerWENO<float> sampler(eTreeSpace, field.channel.get());
        for (int n = 0; n < 500; ++n) {
            const auto any = [&] { return static_cast<float>(random.real(-11.0, 11.0)); };
            const vec3f at{any(), any(), any()};
            ASSERT_NEAR(2.0f * at[0] - at[1] + 0.5f * at[2], sampler.sample(at), 1e-4f)
                << "offset " << offset;
        }
    }
}

}  // namespace Skelvar::Test
