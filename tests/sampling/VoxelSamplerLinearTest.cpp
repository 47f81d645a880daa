#include <skelvar/sampling/VoxelSamplerLinear.h>
#include <skelvar/sampling/VoxelSamplerQBSpline.h>
#include <skelvar/sampling/VoxelSamplerWENO.h>

#include <tests/sampling/Field.h>
#include <tests/sampling/SlowSampler.h>
#include <tests/support/ErrorOf.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Skelvar {
namespace {

using namespace Test;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

template <typename T>
class SamplerLinear : public ::testing::Test {
};
TYPED_TEST_SUITE(SamplerLinear, VoxelTypes);

TYPED_TEST(SamplerLinear, EqualsTheSlowOneOnRandomTrees)
{
    using T = TypeParam;
    using Gradient = orvel::Math::vec<3, T>;
    Testing::Random random(815);
    SCOPED_TRACE(random.seed());
    for (int offset = 0; offset < 8; ++offset) {
        const Field<T> field = anyField<T>(random, static_cast<VoxelOffsetType>(offset));
        const VoxelSamplerLinear<T, 1> sampler(eTreeSpace, field.channel.get());
        const auto slow = slowMembers(*field.channel, *field.layout);
        vec3f position{};
        for (int n = 0; n < 300; ++n) {
            // Steps of a walk, which keep to a tile and come back to it, between jumps.
            position = n % 10 == 0 ? anyPosition(random) : position + anyPosition(random) * 0.03f;
            const int depth = n % 3 == 0 ? random.integer(0, 7) : 7;
            const T value = sampler.sample(position, depth);
            Gradient gradient;
            const T beside = sampler.sampleGradient(position, &gradient);
            for (int m = 0; m < MemberOf<T>::kCount; ++m) {
                typename MemberOf<T>::type slow_gradient[3];
                const auto slow_beside = slow[m].sampleGradient(position, slow_gradient);
                ASSERT_EQ(slow[m].sample(position, depth), MemberOf<T>::get(value, m))
                    << "offset " << offset << " step " << n;
                ASSERT_EQ(slow_beside, MemberOf<T>::get(beside, m));
                for (int a = 0; a < 3; ++a) {
                    ASSERT_EQ(slow_gradient[a], MemberOf<T>::get(gradient[a], m))
                        << "offset " << offset << " step " << n << " axis " << a;
                }
            }
        }
    }
}

/// The children of all cells of the root tile about the origin, down to the finest depth there,
/// with a coarser surrounding.
std::shared_ptr<VoxelLayout> steppedLayout()
{
    LayoutBuilder builder;
    builder.tile({0, 0, 0}, 0);
    for (int depth = 1; depth <= 7; ++depth) {
        const int side = kTileSideLUT[depth];
        builder.box({-2 * side - side / 2, -2 * side - side / 2, -2 * side - side / 2},
                    {2 * side + side / 2 + 1, 2 * side + side / 2 + 1, 2 * side + side / 2 + 1},
                    depth);
    }
    return builder.build();
}

TEST(VoxelSamplerLinear, IsExactOnConstantsAndRampsAcrossDepths)
{
    Testing::Random random(5);
    SCOPED_TRACE(random.seed());
    const auto ramp = [](const vec3f& in_p) {
        return 0.25f * in_p[0] - 0.5f * in_p[1] + in_p[2] + 3.0f;
    };
    for (const VoxelOffsetType offset : {eOffsetCentre, eOffsetFaceY, eOffsetCorner}) {
        Field<float> field(steppedLayout(), 0.0f, offset);
        field.fill([&](const vec3f& in_place) { return ramp(in_place); });
        const VoxelSamplerLinear<float, 1> sampler(eTreeSpace, field.channel.get());
        for (int n = 0; n < 2000; ++n) {
            const vec3f p = anyPosition(random) * 0.18f;
            vec3f gradient;
            const float value = sampler.sampleGradient(p, &gradient);
            ASSERT_NEAR(ramp(p), value, 1e-2f) << p[0] << " " << p[1] << " " << p[2];
            ASSERT_NEAR(0.25f, gradient[0], 1e-2f);
            ASSERT_NEAR(-0.5f, gradient[1], 1e-2f);
            ASSERT_NEAR(1.0f, gradient[2], 1e-2f);
        }
    }
}

template <typename Sampler>
class EachSampler : public ::testing::Test {
};
using Samplers = ::testing::Types<VoxelSamplerLinear<float, 1>, VoxelSamplerQBSpline<float>,
                                  VoxelSamplerWENO<float>>;
TYPED_TEST_SUITE(EachSampler, Samplers);

TYPED_TEST(EachSampler, EndsStrictlyWithTheDomainAndCountsNanAsOutside)
{
    Field<float> field(LayoutBuilder().tile({0, 0, 0}, 0).build(), -7.0f);
    field.channel->set(5.0f, 0, 7);
    const TypeParam sampler(eTreeSpace, field.channel.get());
    const float inside = std::nextafter(195312.0f, 0.0f);

    for (int a = 0; a < 3; ++a) {
        vec3f p{1.0f, 1.0f, 1.0f};
        for (const float out : {195312.0f, -195312.0f, kNaN, INFINITY, -INFINITY, 1e30f}) {
            p[a] = out;
            EXPECT_EQ(-7.0f, sampler.sample(p)) << out << " on axis " << a;
            if constexpr (!std::is_same_v<TypeParam, VoxelSamplerWENO<float>>) {
                vec3f gradient{9.0f, 9.0f, 9.0f};
                EXPECT_EQ(-7.0f, sampler.sampleGradient(p, &gradient)) << out << " on axis " << a;
                EXPECT_EQ((vec3f{}), gradient);
            }
        }
        if constexpr (std::is_same_v<TypeParam, VoxelSamplerLinear<float, 1>>) {
            for (const float in : {inside, -inside}) {
                p[a] = in;
                EXPECT_NE(-7.0f, sampler.sample(p)) << in << " on axis " << a;
            }
        }
    }
    EXPECT_EQ(-7.0f, sampler.sample({0, 0, 0}, -1));
    EXPECT_EQ(5.0f, sampler.sample({0, 0, 0}, 8));
}

/// The samplers of a channel.
struct AllKinds {
    explicit AllKinds(const Field<float>& in_field)
        : linear(eTreeSpace, in_field.channel.get()),
          spline(eTreeSpace, in_field.channel.get()),
          weno(eTreeSpace, in_field.channel.get())
    {
    }
    void expectNear(float in_value, float in_tolerance, const vec3f& in_at) const
    {
        EXPECT_NEAR(in_value, linear.sample(in_at), in_tolerance) << in_at[0];
        EXPECT_NEAR(in_value, spline.sample(in_at), in_tolerance) << in_at[0];
        EXPECT_NEAR(in_value, weno.sample(in_at), in_tolerance) << in_at[0];
    }

    VoxelSamplerLinear<float, 1> linear;
    VoxelSamplerQBSpline<float> spline;
    VoxelSamplerWENO<float> weno;
};

TEST(VoxelSamplers, EndStrictlyBesideTheLastFinestTileToo)
{
    const vec3i last{195312, 195312, 195312};
    Field<float> field(LayoutBuilder().tile(last, 6).tile(last, 7).build(), 9.0f);
    field.channel->set(1.0f, 0, 7);
    const AllKinds samplers(field);
    for (const float x : {195312.0f, 195312.5f, 195313.0f, 1e9f, INFINITY, kNaN}) {
        samplers.expectNear(1.0f, 1e-5f, {195310.5f, 195310.5f, 195310.5f});
        samplers.expectNear(9.0f, 0.0f, {x, 195310.5f, 195310.5f});
    }
}

TEST(VoxelSamplers, ReadARootBesideATileWithAParent)
{
    const auto layout =
        LayoutBuilder().tile({0, 0, 0}, 5).tile({-62, 0, 0}, 6).tile({-63, 0, 0}, 6).build();
    ASSERT_EQ(2, layout->numRoots());
    Field<float> field(layout);
    field.fill([](const vec3f& in_place) { return in_place[0]; });

    AllKinds(field).expectNear(-61.0f, 1e-4f, {-61.0f, 0.5f, 0.5f});
}

TEST(VoxelSamplerLinear, TellsThePlaceThatItReads)
{
    // Tiles of depth 7 begin at multiples of 5 from -195312: at -7 and -2; that of depth 5 at 63.
    const auto layout =
        LayoutBuilder().tile({-5, 0, 0}, 7).tile({-1, 0, 0}, 7).tile({63, 0, 0}, 5).build();
    const TileIndex below = layout->nodeIndex<true>(-5, 0, 0, 7);
    const TileIndex fine = layout->nodeIndex<true>(-1, 0, 0, 7);
    const struct {
        VoxelOffsetType offset;
        vec3f position;
        int depth;
        TileIndex tile;
        int cell;
        float fraction;
        float scale;
    } rows[] = {
        {eOffsetCorner, {-2.0f, 0.5f, 0.5f}, 7, below, 4, 1.0f, 1.0f},    // whole and negative
        {eOffsetCentre, {-1.75f, 0.0f, 0.0f}, 9, fine, -1, 0.75f, 1.0f},  // half into the halo
        {eOffsetCorner, {88.0f, 0.5f, 0.5f}, 7, {0, 5}, 1, 0.0f, 1.0f / 25.0f},
    };
    for (const auto& row : rows) {
        const Field<float> field(layout, 0.0f, row.offset);
        const VoxelSamplerLinear<float, 1> sampler(eTreeSpace, field.channel.get());

        const Prepared at = prepared(sampler, row.position, row.depth);

        ASSERT_TRUE(at.found);
        EXPECT_EQ(row.tile, at.tile);
        EXPECT_EQ(row.cell, at.cell[0]);
        EXPECT_FLOAT_EQ(row.fraction, at.fraction[0]);
        EXPECT_EQ(row.scale, at.scale);
    }
    const Field<float> field(layout);
    const VoxelSamplerQBSpline<float> spline(eTreeSpace, field.channel.get());
    const Prepared at = prepared(spline, {-2.0f, 1.0f, 0.25f}, 7);
    EXPECT_EQ(below, at.tile);
    EXPECT_EQ((vec3i{4, 3, 2}), at.cell);
    EXPECT_EQ((vec3f{1.0f, 0.0f, 0.25f}), at.fraction);
}

TEST(VoxelSamplerLinear, ARootEndsAtTheBackgroundEvenBesideAnother)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 7).tile({5, 0, 0}, 7).build();
    Field<float> field(layout, 1.0f);
    field.channel->set(4.0f, 7, 7);
    const VoxelSamplerLinear<float, 1> sampler(eTreeSpace, field.channel.get());

    EXPECT_EQ(2, layout->numRoots());
    EXPECT_EQ(4.0f, sampler.sample({3.5f, 0.5f, 0.5f}));
    EXPECT_EQ(1.0f, sampler.sample({3.0f, 0.5f, 0.5f}));
}

#ifdef NDEBUG
TEST(VoxelSamplerLinear, GivesTheBackgroundWithoutALiveShape)
{
    VoxelChannel<int> channel("c", nullptr, 6, eOffsetCentre);
    const VoxelSamplerLinear<int, 1> alone(eWorldSpace, &channel);
    const VoxelSamplerLinear<int, 1> without(eTreeSpace, nullptr);

    vec3i gradient{7, 7, 7};

    EXPECT_EQ(6, alone.sample({0, 0, 0}));
    EXPECT_EQ(6, alone.sampleGradient({0, 0, 0}, &gradient));
    EXPECT_EQ((vec3i{0, 0, 0}), gradient);
    EXPECT_EQ(0, without.sample({0, 0, 0}));
}
#endif

TEST(VoxelSamplerLinear, IntegersAreTruncatedInEachOfSevenSteps)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 7).build();
    Field<int> field(layout, 0, eOffsetCorner);
    field.fill(
        [](const vec3f& in_place) { return static_cast<int>(in_place[0]) % 2 != 0 ? 1 : 0; });
    const VoxelSamplerLinear<int, 1> sampler(eTreeSpace, field.channel.get());

    // Half of 0 and 1 is 0 already on the first axis; of 1 and 0 it is 1 - 0.5, cut to 0 too.
    EXPECT_EQ(0, sampler.sample({0.5f, 0.0f, 0.0f}));
    EXPECT_EQ(1, sampler.sample({1.0f, 0.5f, 0.5f}));

    // On the way they are floats, which know every other number here, and round the largest up.
    field.channel->set(16777217, 0, 7);
    EXPECT_EQ(16777216, sampler.sample({0.6f, 0.6f, 0.6f}));
    field.channel->set(std::numeric_limits<int>::max(), 0, 7);
    EXPECT_EQ(std::numeric_limits<int>::min(), sampler.sample({0.6f, 0.6f, 0.6f}));
}

TEST(VoxelSamplerLinear, WorldPositionsGoThroughTheShape)
{
    const auto layout = std::make_shared<VoxelLayout>("l", 0.5f);
    for (int x = -40; x <= 40; x += 5) {
        layout->addNode(x, 0, 0, 7);
    }
    Field<float> field(layout);
    field.fill([](const vec3f& in_place) { return in_place[0]; });
    Similarity similarity;
    similarity.toWorld(3, 0) = 10.0f;  // x_world = x_object + 10
    similarity.fromWorld(3, 0) = -10.0f;
    field.shape->setToWorld(similarity);
    const VoxelSamplerLinear<float, 1> moved(eWorldSpace, field.channel.get());
    const VoxelSamplerLinear<float, 1> in_object(eObjectSpace, field.channel.get());
    const VoxelSamplerWENO<float> weno_in_object(eObjectSpace, field.channel.get());
    const VoxelSamplerQBSpline<float> moved_spline(eWorldSpace, field.channel.get());
    EXPECT_FLOAT_EQ(4.5f, moved_spline.sample({12.25f, 0.25f, 0.25f}));
    field.shape->setToWorld({});
    const VoxelSamplerLinear<float, 1> scaled(eWorldSpace, field.channel.get());
    vec3f gradient;

    EXPECT_FLOAT_EQ(4.0f, moved.sample({12.0f, 0.25f, 0.25f}));
    EXPECT_FLOAT_EQ(12.0f, in_object.sample({12.0f, 0.5f, 0.5f}));  // units of the tree
    EXPECT_FLOAT_EQ(10.5f, weno_in_object.sample({10.5f, 0.5f, 0.5f}));
    EXPECT_FLOAT_EQ(4.0f, scaled.sampleGradient({2.0f, 0.25f, 0.25f}, &gradient));
    EXPECT_FLOAT_EQ(1.0f, gradient[0]);  // for a unit of the tree, whatever the space
}

TEST(VoxelSamplerLinear, IsMadeByItsNameAndReadWithoutItsType)
{
    Field<vec3f> field(LayoutBuilder().tile({0, 0, 0}, 7).build());
    field.fill([](const vec3f& in_place) { return in_place; });
    std::shared_ptr<BaseSampler> sampler;

    field.channel->createSampler("VoxelSamplerCubicType", eTreeSpace, sampler);
    EXPECT_EQ(nullptr, sampler);
    field.channel->createSampler("VoxelSamplerLinearType", eTreeSpace, sampler);
    ASSERT_NE(nullptr, sampler);
    const BaseSampler* const first = sampler.get();
    field.channel->createSampler("voxelSamplerLinearType", eTreeSpace, sampler);

    EXPECT_EQ(first, sampler.get());
    EXPECT_EQ("VoxelSamplerLinearType", sampler->type());
    EXPECT_EQ(field.channel.get(), sampler->channel());
    EXPECT_EQ(0u, sampler->dataType());
    vec3f value;
    sampler->sample({0.75f, 0.5f, 1.5f}, &value);
    EXPECT_EQ((vec3f{0.75f, 0.5f, 1.5f}), value);
    orvel::Math::vec<3, vec3f> gradient;
    sampler->sampleGradient({0.75f, 0.5f, 1.5f}, &value, &gradient);
    EXPECT_EQ((vec3f{0.0f, 1.0f, 0.0f}), gradient[1]);
}

TEST(VoxelSamplerWENO, HasNoGradient)
{
    const Field<float> field(LayoutBuilder().tile({0, 0, 0}, 7).build());
    const VoxelSamplerWENO<float> sampler(eTreeSpace, field.channel.get());
    vec3f gradient;

    EXPECT_EQ("Method not implemented in subclass!", errorOf([&] {
                  sampler.sampleGradient({0.5f, 0.5f, 0.5f}, &gradient);
              }));
}

TEST(TypedChannelSampler, GivesTheBackgroundEverywhere)
{
    Field<int> field(LayoutBuilder().tile({0, 0, 0}, 7).build(), 6);
    field.fill([](const vec3f&) { return 1; });
    const TreeChannel3DTyped<int>::Sampler sampler(eTreeSpace, field.channel.get());

    EXPECT_EQ(6, sampler.sample({0, 0, 0}));
    EXPECT_EQ(6, sampler.sample({0, 0, 0}, Kernel3D{}, 7));
}

}  // namespace
}  // namespace Skelvar
