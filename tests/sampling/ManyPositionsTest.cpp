#include <skelvar/sampling/VoxelSamplerLinear.h>
#include <skelvar/sampling/VoxelSamplerQBSpline.h>
#include <skelvar/sampling/VoxelSamplerWENO.h>

#include <tests/sampling/Field.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace Skelvar::Test {

namespace {

/// Steps of a walk between jumps, some of them out of the tree, about tiles most of which have all
/// their neighbours.
std::vector<vec3f> walkAndJump(Testing::Random& io_random)
{
    std::vector<vec3f> positions(io_random.integer(0, 200));
    vec3f at{};
    for (vec3f& position : positions) {
        at = io_random.integer(0, 3) == 0 ? anyPosition(io_random)
                                          : at + anyPosition(io_random) * 0.02f;
        position = at;
        if (io_random.integer(0, 40) == 0) {
            position[1] = std::numeric_limits<float>::quiet_NaN();
        }
    }
    return positions;
}

}  // namespace

template <typename T>
class ManyPositions : public ::testing::Test {
};
TYPED_TEST_SUITE(ManyPositions, VoxelTypes);

/// Two samplers with the same past, one of which is given all positions at once.
template <typename Sampler, typename T>
void expectTheSame(const Field<T>& in_field, Testing::Random& io_random)
{
    const Sampler many(eTreeSpace, in_field.channel.get());
    const Sampler single(eTreeSpace, in_field.channel.get());
    for (int call = 0; call < 8; ++call) {
        const std::vector<vec3f> positions = walkAndJump(io_random);
        const auto count = static_cast<long long>(positions.size());
        const auto values = std::make_unique<T[]>(positions.size());
        std::vector<typename Sampler3D<T>::Gradient> gradients(positions.size());
        const bool has_gradient = !std::is_same_v<Sampler, VoxelSamplerWENO<T>> && call % 2 == 0;
        if (has_gradient) {
            many.sampleGradient(positions.data(), count, values.get(), gradients.data());
        } else {
            many.sample(positions.data(), count, values.get());
        }
        for (std::size_t n = 0; n < positions.size(); ++n) {
            typename Sampler3D<T>::Gradient gradient{};
            ASSERT_EQ(has_gradient ? single.sampleGradient(positions[n], &gradient)
                                   : single.sample(positions[n]),
                      values[n])
                << "call " << call << ", position " << n;
            ASSERT_EQ(gradient, gradients[n]) << "call " << call << ", position " << n;
        }
    }
}

TYPED_TEST(ManyPositions, GiveWhatOneAfterAnotherGives)
{
    using T = TypeParam;
    Testing::Random random(77);
    SCOPED_TRACE(random.seed());
    for (int offset = 0; offset < 8; ++offset) {
        const Field<T> field = anyField<T>(random, static_cast<VoxelOffsetType>(offset));
        expectTheSame<VoxelSamplerLinear<T, 1>>(field, random);
        expectTheSame<VoxelSamplerQBSpline<T>>(field, random);
        if constexpr (std::is_same_v<T, float>) {
            expectTheSame<VoxelSamplerWENO<T>>(field, random);
        }
    }
}

TEST(FineCell, StandsInTheTileOfItsPosition)
{
    const Detail::StencilReach reach{};
    Detail::AxisFloats fraction;
    const auto tile_at = [&](float in_x) {
        return Detail::fineCell({0.0f, in_x, 0.0f}, reach, fraction).tile[1];
    };
    for (int x = -kTileOrigin; x < kTileOrigin; ++x) {
        const float position = static_cast<float>(x) + 0.5f;
        const int corner = Detail::tileCorner({0, x, 0}, kMaxTileDepth)[1];
        const Detail::FineCell found = Detail::fineCell({0.0f, position, 0.0f}, reach, fraction);
        ASSERT_EQ(corner, found.tile[1]) << x;
        ASSERT_EQ(x - corner, found.cell[1]) << x;
        ASSERT_EQ(0.5f, fraction[1]) << x;
    }
    constexpr float kEdge = kTileOrigin;
    const int last = tile_at(kEdge);
    EXPECT_EQ(last, tile_at(-kEdge));
    EXPECT_EQ(last, tile_at(1e30f));
    EXPECT_EQ(last, tile_at(-std::numeric_limits<float>::infinity()));
    EXPECT_EQ(last, tile_at(std::numeric_limits<float>::quiet_NaN()));
    EXPECT_LT(tile_at(std::nextafter(-kEdge, 0.0f)), last);
}

}  // namespace Skelvar::Test
