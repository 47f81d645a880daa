#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/ShapeFile.h>
#include <tools/kvf/picture/ColorMap.h>
#include <tools/kvf/picture/SlicePicture.h>
#include <tools/kvf/picture/Text.h>

#include <tests/support/TempFolder.h>
#include <tests/tools/Pixels.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Skelvar::Tool::Test {

using Skelvar::Test::TempFolder;

namespace {

/// A depth-6 tile from -12 to 13 with one depth-7 tile at -2 to 3 in it, unit cells. The channel
/// holds each cell's x where it is fine, and 100 where it is coarse.
struct Scene {
    std::shared_ptr<VoxelState> state = makeServer();
    std::shared_ptr<VoxelShape> shape;
    std::shared_ptr<VoxelChannel<float>> channel;

    Scene()
    {
        std::shared_ptr<TreeLayout3DBase> layout;
        state->newLayout("layout", 1.0f, layout);
        static_cast<VoxelLayout&>(*layout).addNode(0, 0, 0, 6);
        static_cast<VoxelLayout&>(*layout).addNode(0, 0, 0, 7);
        state->newVoxelShape("shape", "layout", nullptr, shape);
        state->newVoxelChannel<float>("c", "shape", eOffsetCentre, 100.0f);
        channel = std::static_pointer_cast<VoxelChannel<float>>(shape->channelBasePtr("c"));
        for (int n = 0; n < 125; ++n) {
            channel->tile(0, 7).data()[n] = float(n % 5) - 2.0f;
        }
    }

    /// A window of 50 units about the origin, two pixels a unit.
    SliceField sample(int in_axis = 2) const
    {
        SlicePlane plane = chooseSlicePlane(*shape, in_axis, nullptr);
        plane.centre = {0.0f, 0.0f, 0.0f};
        plane.centre[in_axis] = 0.4f;
        plane.side = 50.0f;
        return sampleSlice(*shape, *channel, plane, 100);
    }
};

}  // namespace

TEST(Slice, ShowsTheFinestValueThereIs)
{
    const SliceField field = Scene().sample();
    const auto at = [&](float in_x, float in_y) {
        return field.at(int((in_x + 25.0f) * 2.0f), int((25.0f - in_y) * 2.0f));
    };

    EXPECT_EQ(7, at(-1.6f, 0.4f).depth);
    EXPECT_EQ(-2.0, at(-1.6f, 0.4f).value[0]);
    EXPECT_EQ(2.0, at(2.4f, -1.6f).value[0]);
    EXPECT_EQ(6, at(5.0f, 0.4f).depth);
    EXPECT_EQ(100.0, at(5.0f, 0.4f).value[0]);
    EXPECT_EQ(-1, at(14.0f, 0.4f).depth);
    EXPECT_EQ(-1, at(0.0f, -13.0f).depth);
}

TEST(Slice, FollowsATransformOfTheShape)
{
    Scene scene;
    Similarity moved;
    moved.toWorld(3, 0) = 10.0f;
    moved.fromWorld(3, 0) = -10.0f;
    scene.shape->setToWorld(moved);

    const SliceField field = scene.sample();

    EXPECT_EQ(-2.0, field.at(2 * (25 + 10 - 2), 50).value[0]);
    EXPECT_EQ(10.5f, chooseSlicePlane(*scene.shape, 0, nullptr).centre[0]);
}

TEST(Slice, DrawsKnownCellsInTheColoursOfTheirValues)
{
    Scene scene;
    scene.channel->tile(0, 7).data()[2 + 5 * (2 + 5 * 2)] = std::numeric_limits<float>::quiet_NaN();
    const SliceFrame frame(1000);
    SliceField field = scene.sample();
    field = sampleSlice(*scene.shape, *scene.channel, field.plane, frame.plot_side);

    const Canvas canvas = drawSlice(field, frame, {"c", "test", 1.0f});

    const SliceColors colors(field);
    const float scale = float(frame.plot_side) / 50.0f;
    const auto at = [&](float in_x, float in_y) {
        return canvas.at(frame.plot_x + int((in_x + 25.0f) * scale),
                         frame.plot_y + int((25.0f - in_y) * scale));
    };
    EXPECT_EQ(1000, canvas.width());
    EXPECT_EQ(frame.height, canvas.height());
    EXPECT_EQ(SliceColors::eSigned, colors.kind());
    EXPECT_EQ(4.0, colors.high()) << "twice the smaller side";
    EXPECT_EQ(divergingColor(-2.0f / 4.0f), at(-1.4f, 1.4f));
    EXPECT_EQ(divergingColor(2.0f / 4.0f), at(2.4f, 1.4f));
    EXPECT_EQ(divergingColor(1.0f), at(8.4f, 8.4f));
    EXPECT_EQ(kNotANumber, at(0.4f, 0.4f));
    EXPECT_EQ(kNoSpace, at(20.0f, 20.0f));
}

TEST(Slice, OutlinesTilesInTheColourOfTheirDepth)
{
    const SliceFrame frame(1000);
    const Scene scene;
    SliceField field = scene.sample();
    field = sampleSlice(*scene.shape, *scene.channel, field.plane, frame.plot_side);

    const Canvas canvas = drawSlice(field, frame, {"c", "test", 1.0f});

    const auto count = [&](const Color& in_color) {
        int pixels = 0;
        for (int y = frame.plot_y; y < frame.plot_y + frame.plot_side; ++y) {
            for (int x = frame.plot_x; x < frame.plot_x + frame.plot_side; ++x) {
                const vec3f away = canvas.at(x, y) - in_color;
                pixels += dot(away, away) < 1e-3f ? 1 : 0;
            }
        }
        return pixels;
    };
    // Four sides of 25 cells, drawn over the background at nine tenths.
    const int side = int(25.0f * float(frame.plot_side) / 50.0f);
    const Color inside = depthColor(6) * 0.9f + divergingColor(1.0f) * 0.1f;
    const Color outside = depthColor(6) * 0.9f + kNoSpace * 0.1f;
    EXPECT_NEAR(4 * side, count(inside) + count(outside), 8);
}

TEST(Canvas, WritesAFileThatReadsBackPixelForPixel)
{
    const TempFolder folder;
    Canvas canvas(5, 3, {1.0f, 1.0f, 1.0f});
    canvas.set(4, 2, {1.0f, 0.5f, 0.0f});
    canvas.set(7, 7, {0.0f, 0.0f, 0.0f});
    std::string reason;

    ASSERT_TRUE(canvas.writePng(folder.file("a.png"), reason)) << reason;
    EXPECT_FALSE(canvas.writePng(folder.file("no/a.png"), reason));
    EXPECT_NE("", reason);

    std::vector<unsigned char> expected(45, 255);
    expected[43] = 128;
    expected[44] = 0;
    const Pixels pixels = readPng(folder.file("a.png"));
    EXPECT_EQ(5, pixels.width);
    EXPECT_EQ(3, pixels.height);
    EXPECT_EQ(expected, pixels.rgb);
}

TEST(Text, MarksOnlyItsOwnPlaceAndTellsCharactersApart)
{
    std::vector<std::vector<float>> seen;
    for (char c = '!'; c <= '~'; ++c) {
        Canvas canvas(30, 30, {1.0f, 1.0f, 1.0f});
        drawText(canvas, {8.0f, 6.0f}, std::string(1, c), {0.0f, 0.0f, 0.0f}, 14.0f);
        std::vector<float> ink;
        for (int y = 0; y < 30; ++y) {
            for (int x = 0; x < 30; ++x) {
                ink.push_back(canvas.at(x, y)[0]);
                if (x < 7 || x > 8 + int(textWidth("a", 14.0f)) || y < 5 || y > 25) {
                    ASSERT_EQ(1.0f, ink.back()) << c;
                }
            }
        }
        for (const std::vector<float>& other : seen) {
            ASSERT_TRUE(other != ink) << c;
        }
        seen.push_back(ink);
    }
}

}  // namespace Skelvar::Tool::Test
