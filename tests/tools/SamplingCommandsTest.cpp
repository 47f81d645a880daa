#include <tools/kvf/SamplerKind.h>
#include <tools/kvf/ToolError.h>
#include <tools/kvf/picture/SurfaceTracer.h>

#include <tests/sampling/Field.h>
#include <tests/tools/KvfFolder.h>
#include <tests/tools/Pixels.h>
#include <tests/tools/TestMeshes.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sstream>

namespace Skelvar::Tool::Test {

namespace {

/// A folder with a cube from -1 to 1 in voxels of 0.1, and the program at hand.
class SamplingCommands : public KvfFolder {
protected:
    void SetUp() override
    {
        folder.write("cube.obj", kCubeObj);
        done("voxelize cube.obj cube.kvf --voxel-size 0.1");
    }
    /// The numbers that a sampling prints, row by row.
    std::vector<std::vector<double>> sample(const std::string& in_arguments) const
    {
        std::vector<std::vector<double>> rows;
        std::istringstream lines(done("sample cube.kvf --channel " + in_arguments));
        for (std::string line; std::getline(lines, line);) {
            std::istringstream columns(line);
            rows.emplace_back();
            for (std::string column; std::getline(columns, column, ',');) {
                rows.back().push_back(std::stod(column));
            }
        }
        return rows;
    }
};

}  // namespace

TEST_F(SamplingCommands, SampleTellsTheDistanceOfAPlaneByEveryKind)
{
    // Beside the middle of the face x = 1 the field is x - 1, a ramp.
    for (const std::string kind : {"linear", "qbspline", "weno"}) {
        const auto rows = sample("distance --at 1.07,0.03,-0.02 --kind " + kind);
        ASSERT_EQ(1u, rows.size());
        ASSERT_EQ(4u, rows[0].size());
        EXPECT_NEAR(1.07, rows[0][0], 1e-6);
        EXPECT_NEAR(0.07, rows[0][3], 1e-5) << kind;
    }
    // The same point in units of the tree, which are voxels.
    EXPECT_NEAR(0.07, sample("distance --at 10.7,0.3,-0.2 --space tree")[0][3], 1e-5);
    EXPECT_EQ(sample("distance --at 0.9,0,0"), sample("distance --at 0.9,1e-50,-1e-300"));
    for (const std::string kind : {"linear", "qbspline"}) {
        const auto rows = sample("distance --gradient --at 1.07,0.03,-0.02 --kind " + kind);
        ASSERT_EQ(7u, rows[0].size());
        EXPECT_NEAR(0.1, rows[0][4], 1e-5) << "a cell is 0.1 wide, " << kind;
        EXPECT_NEAR(0.0, rows[0][5], 1e-5);
        EXPECT_NEAR(0.0, rows[0][6], 1e-5);
    }
    EXPECT_EQ(6u, sample("normal --at 1.07,0.03,-0.02")[0].size());
}

TEST_F(SamplingCommands, SampleReadsPointsFromLinesAndFiles)
{
    const auto line = sample("distance --line 0.9,0,0,1.1,0,0 --count 5");
    ASSERT_EQ(5u, line.size());
    for (int n = 0; n < 5; ++n) {
        EXPECT_NEAR(0.9 + 0.05 * n, line[std::size_t(n)][0], 1e-6);
        EXPECT_NEAR(-0.1 + 0.05 * n, line[std::size_t(n)][3], 1e-5);
    }
    // Many points are shared out among threads, and stay what they are alone.
    for (const std::string kind : {"linear", "weno"}) {
        const std::string many =
            "distance --line 0.9,0.4,0.3,1.1,0,1.2 --count 9000 --kind " + kind;
        const auto rows = sample(many);
        ASSERT_EQ(9000u, rows.size());
        for (const std::size_t n : {4095u, 4096u, 8999u}) {
            std::ostringstream alone;
            alone.precision(9);
            alone << "distance --kind " << kind << " --at " << rows[n][0] << ',' << rows[n][1]
                  << ',' << rows[n][2];
            EXPECT_EQ(rows[n], sample(alone.str())[0]) << n;
        }
    }
    folder.write("points.csv",
                 "\xEF\xBB\xBF X,y ,Z\n# a remark\n1.05, 0, 0\n\n -1.05,0,0,extra\r\n");
    const auto rows = sample("distance --points points.csv");
    ASSERT_EQ(2u, rows.size());
    EXPECT_NEAR(0.05, rows[1][3], 1e-5);
    EXPECT_TRUE(sample("distance --points /dev/null").empty());
}

TEST_F(SamplingCommands, SampleTellsWhatIsWrong)
{
    const std::string sample = "sample cube.kvf --channel ";
    folder.write("broken.csv", "1,2,3\n4,5,6\n7,8\n");
    expectFailures({
        {3, sample + "distance --points broken.csv", "broken.csv, line 3"},
    });
    folder.write("broken.csv", "\x1b[2J\x07,b,c\n");
    EXPECT_EQ("kvf: broken.csv, line 1: no three numbers with commas between them:  [2J ,b,c\n",
              kvf(sample + "distance --points broken.csv").error);
    expectFailures({
        {3, sample + "distance --points broken.csv", "line 1"},
        {3, sample + "distance --points absent.csv", "absent.csv"},
        {2, sample + "distance", "--at"},
        {2, sample + "distance --at 1,2,3 --line 1,2,3,4,5,6", "one of"},
        {2, sample + "distance --at 1,2", "--at wants 3 numbers"},
        {2, sample + "distance --at 1,2,3e39", "--at wants 3 numbers"},
        {2, sample + "distance --at 1,2,3 --count 4", "--count"},
        {2, sample + "distance --at 1,2,3 --kind cubic", "cubic"},
        {2, sample + "distance --at 1,2,3 --kind weno --gradient", "weno"},
        {1, sample + "normal --at 1,2,3 --kind weno", "weno"},
        {1, sample + "heat --at 1,2,3", "heat"},
    });
}

TEST_F(SamplingCommands, SliceDrawsASmoothFieldInsteadOfCells)
{
    done("slice cube.kvf --channel distance -o cells.png --size 900");
    ASSERT_EQ(
        0, kvf("slice cube.kvf --channel distance -o smooth.png --size 900 --kind linear").status);
    const Pixels cells = readPng(folder.file("cells.png"));
    const Pixels smooth = readPng(folder.file("smooth.png"));
    ASSERT_EQ(cells.rgb.size(), smooth.rgb.size());
    // Along a row of cells most neighbouring pixels have equal colours, on a ramp fewer have.
    const auto equal_neighbours = [](const Pixels& in_pixels) {
        int count = 0;
        for (int y = 100; y < in_pixels.height - 100; ++y) {
            for (int x = 100; x < in_pixels.width / 2; ++x) {
                count += in_pixels.brightness(x, y) == in_pixels.brightness(x + 1, y);
            }
        }
        return count;
    };
    EXPECT_LT(equal_neighbours(smooth), equal_neighbours(cells));
    expectFailures({
        {1, "slice cube.kvf --channel normal --kind weno", "weno"},
    });
}

TEST_F(SamplingCommands, RenderShowsTheCubeBeforeTheBackdrop)
{
    for (const std::string kind : {"linear", "qbspline", "weno"}) {
        EXPECT_EQ(kind + ".png\n", done("render cube.kvf --channel distance --size 120x90 -o " +
                                        kind + ".png --camera 0,0,1 --kind " + kind));
        const Pixels pixels = readPng(folder.file(kind + ".png"));
        ASSERT_EQ(120, pixels.width);
        ASSERT_EQ(90, pixels.height);
        // Seen straight on, one flat face: no holes, no specks.
        int least = 1000, greatest = 0;
        for (int y = 30; y < 60; ++y) {
            for (int x = 45; x < 75; ++x) {
                least = std::min(least, pixels.brightness(x, y));
                greatest = std::max(greatest, pixels.brightness(x, y));
            }
        }
        EXPECT_LT(greatest - least, 60) << kind;
        EXPECT_GT(std::abs(pixels.brightness(2, 45) - pixels.brightness(60, 45)), 30) << kind;
    }
}

TEST_F(SamplingCommands, RenderTellsWhatIsWrong)
{
    const std::string render = "render cube.kvf --channel ";
    std::filesystem::copy_file(folder.file("cube.kvf"), folder.file("kvf.png"));
    expectFailures({
        {2, render + "distance --size 10", "--size"},
        {2, render + "distance --size 4x90", "--size"},
        {2, render + "distance --camera 1,2", "--camera"},
        {2, render + "distance --camera 1,2,0", "zoom"},
        {2, render + "distance --camera nan,2,1", "finite"},
        {2, render + "distance --camera 1,2,inf", "finite"},
        {2, render + "distance --size 32x32 -o kvf.png", "is a KVF file"},
        {2, render + "distance --size 32x32 -o a.jpg", "a.jpg does not end in .png"},
        {1, render + "normal", "distances"},
        {3, render + "distance --size 32x32 -o absent/a.png", "kvf: absent/a.png cannot"},
    });
}

TEST(SurfaceTracer, MeetsABallAndItsNormalByEveryKind)
{
    // A ball of radius 20 about (1, 2, 3), fine near its surface and coarse elsewhere.
    const vec3f centre{1.0f, 2.0f, 3.0f};
    const auto distance = [&](const vec3f& in_point) {
        return std::sqrt(dot(in_point - centre, in_point - centre)) - 20.0f;
    };
    Skelvar::Test::LayoutBuilder builder;
    builder.tile({0, 0, 0}, 4);
    for (float z = -27.0f; z < 34.0f; z += 5.0f) {
        for (float y = -27.0f; y < 34.0f; y += 5.0f) {
            for (float x = -27.0f; x < 34.0f; x += 5.0f) {
                if (std::abs(distance({x + 2.5f, y + 2.5f, z + 2.5f})) < 8.0f) {
                    builder.tile({int(x), int(y), int(z)}, 7);
                }
            }
        }
    }
    Skelvar::Test::Field<float> field(builder.build(), 100.0f);
    field.fill(distance);
    Testing::Random random(3);
    SCOPED_TRACE(random.seed());

    for (const std::string kind : {"linear", "qbspline", "weno"}) {
        SurfaceTracer tracer(*field.shape, *field.channel, kind, 1.0f);
        const auto sampler = makeSampler(*field.channel, kind, eTreeSpace);
        for (int n = 0; n < 200; ++n) {
            const auto any = [&] { return float(random.real(-1.0, 1.0)); };
            const vec3f to_eye = vec3f{any(), any(), any()};
            const vec3f eye = to_eye * (80.0f / std::sqrt(dot(to_eye, to_eye)));
            const vec3f way = centre + 12.0f * vec3f{any(), any(), any()} - eye;
            const vec3f direction = way / std::sqrt(dot(way, way));
            const vec3f past = centre - eye - dot(centre - eye, direction) * direction;
            const float reach = std::sqrt(dot(past, past));
            vec3f hit;
            if (reach > 20.5f) {
                ASSERT_FALSE(tracer.trace(eye, direction, hit)) << kind;
            } else if (reach < 19.0f) {
                ASSERT_TRUE(tracer.trace(eye, direction, hit)) << kind;
                ASSERT_NEAR(0.0f, distance(hit), 0.06f) << kind;
                const vec3f normal = (hit - centre) / std::sqrt(dot(hit - centre, hit - centre));
                ASSERT_GT(dot(tracer.normal(hit), normal), 0.99f) << kind;
                if (kind != "weno") {
                    float value;
                    vec3f gradient;
                    sampler->sampleGradient(hit, &value, &gradient);
                    gradient = gradient / std::sqrt(dot(gradient, gradient));
                    ASSERT_GT(dot(tracer.normal(hit), gradient), 0.9999f) << kind;
                }
                ASSERT_GT(tracer.openness(hit, normal), 0.6f) << kind;
            }
        }
        vec3f hit;
        EXPECT_FALSE(tracer.trace({100.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, hit));
    }
}

}  // namespace Skelvar::Tool::Test
