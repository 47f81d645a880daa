#include <tests/io/Scene.h>
#include <tests/support/ParticleScene.h>
#include <tests/support/TempFolder.h>

#include <skelvar/io/Kvf.h>
#include <skelvar/state/VoxelStateSMP.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Skelvar {
namespace {

using Test::newState;
using Test::readFile;
using Test::TempFolder;
using Test::writeFile;

const std::vector<std::string> kChannels = {"position", "velocity", "normal", "density", "id"};

std::shared_ptr<ParticleShape> shapeOf(VoxelState& io_state)
{
    std::shared_ptr<ParticleShape> shape;
    io_state.particleShape("drops", shape, nullptr, VoxelState::eHintDoNotCopy);
    return shape;
}

template <typename T>
std::shared_ptr<ParticleChannel<T>> channelOf(VoxelState& io_state, const std::string& in_name)
{
    return std::static_pointer_cast<ParticleChannel<T>>(shapeOf(io_state)->channelBasePtr(in_name));
}

/// Two tiles of depth 7 and one of depth 2 with some particles each, in a store.
struct DropScene : Test::ParticleScene {
    std::shared_ptr<VoxelStateSMP> state = std::static_pointer_cast<VoxelStateSMP>(newState());

    DropScene()
    {
        const auto normal = add<vec3f>("normal", {0, 0, 1});
        layout->addNode(0, 0, 0, 7);
        layout->addNode(9, 0, 0, 7);
        layout->addNode(100000, 0, 0, 2);
        for (const vec3f& point :
             {vec3f{0, 1, 2}, {2.5f, -1.5f, 0}, {9, 0, 0}, {100000.25f, 0, 0}}) {
            drop(point);
        }
        normal->tile(0, 7)[1] = {1, 0, 0};
        shape->setObjectName("rain");
        EXPECT_EQ(kVoxelStateOk, state->updateShapeAndItsObjectLayoutChannels(shape));
    }

    std::string save(const std::string& in_path, int in_quality) const
    {
        std::string resolved;
        EXPECT_TRUE(kvfSave(*state, in_path, "drops", kChannels, 3,
                            static_cast<CompressionQuality>(in_quality), resolved));
        return readFile(resolved);
    }
};

template <typename T>
std::vector<T> elementsOf(VoxelState& io_state, const std::string& in_name)
{
    std::vector<T> elements;
    for (const T& element : *channelOf<T>(io_state, in_name)) {
        elements.push_back(element);
    }
    return elements;
}

TEST(ParticleFile, BringsBackWhatEachQualityKeeps)
{
    const DropScene scene;
    const TempFolder folder;
    for (int quality = 0; quality < 4; ++quality) {
        SCOPED_TRACE("quality " + std::to_string(quality));
        const std::string path = folder.file("drops" + std::to_string(quality) + ".kvf");
        scene.save(path, quality);
        const auto state = newState();
        ASSERT_TRUE(kvfLoad(*state, path)) << kvfLastError();
        const auto isSame = [&]<typename T>(const char* in_name, T) {
            return elementsOf<T>(*scene.state, in_name) == elementsOf<T>(*state, in_name);
        };

        EXPECT_TRUE(isSame("velocity", vec3f{}));
        EXPECT_TRUE(isSame("density", float{}));
        EXPECT_TRUE(isSame("id", 0ULL));
        EXPECT_EQ(quality < 2, isSame("position", vec3f{}));
        EXPECT_EQ(quality < 2, isSame("normal", vec3f{}));
        const auto position = channelOf<vec3f>(*state, "position");
        EXPECT_NEAR(2.5f, position->tile(0, 7)[1][0], quality == 3 ? 5.0f / 255 : 5.0f / 65535);
        EXPECT_EQ((quality < 2 ? vec3f{1, 0, 0} : vec3f{0, 0, 1}),
                  channelOf<vec3f>(*state, "normal")->tile(0, 7)[1]);
        const auto shape = shapeOf(*state);
        EXPECT_EQ(4u, shape->maxParticleId());
        EXPECT_EQ(4u, shape->numParticles());
        EXPECT_EQ(1u, shape->numParticles(2));
        EXPECT_EQ("rain", shape->objectName());
        const TileIndex shallow = shape->layout().nodeIndex<false>(100000, 0, 0, 2);
        EXPECT_EQ(100000.25f, position->tile(shallow)[0][0]) << "shallow depths are plain";
    }
}

TEST(ParticleFile, DamageIsRefusedAndLeavesStatesThatCanBeUsed)
{
    const DropScene scene;
    const TempFolder folder;
    const std::string path = folder.file("damaged.kvf");
    for (const int quality : {0, 2}) {
        const std::string whole = scene.save(folder.file("whole.kvf"), quality);
        for (std::size_t at = 0; at < whole.size(); at += 3) {
            std::string cut = whole.substr(0, at);
            std::string flipped = whole;
            flipped[at] = static_cast<char>(~flipped[at]);
            for (const std::string& bytes : {cut, flipped}) {
                writeFile(path, bytes);
                const auto state = newState();
                const bool ok = kvfLoad(*state, path);
                EXPECT_TRUE(!ok || bytes.size() == whole.size()) << "cut at " << at;
                std::shared_ptr<TreeShape3DBase> shape;
                if (state->shapeRef("drops", shape) != kVoxelStateOk ||
                    !shape->isCastableTo(ParticleShape::typeName())) {
                    continue;
                }
                for (const auto& [name, channel] : shape->channels()) {
                    for (int depth = 0; depth < kNumDepths; ++depth) {
                        EXPECT_EQ(channel->numElements(depth), shape->numElements(depth))
                            << name << " at " << at;
                    }
                }
            }
        }
    }
}

TEST(ParticleFile, CountsThatTheFileCannotBackTakeNoMemory)
{
    const DropScene scene;
    const TempFolder folder;
    std::string bytes = scene.save(folder.file("drops.kvf"), 3);
    // Ahead of the raw totals, 1 at depth 2 and 3 at depth 7, stand their length and the counts.
    const unsigned long long totals[kNumDepths] = {0, 0, 1, 0, 0, 0, 0, 3};
    const std::string raw(reinterpret_cast<const char*>(totals), sizeof(totals));
    const std::size_t end = bytes.find(raw);
    ASSERT_NE(std::string::npos, end);
    bytes[end - 20 + 2] = '\x01';  // 2^40 particles and two
    writeFile(folder.file("drops.kvf"), bytes);

    const auto state = newState();
    EXPECT_FALSE(kvfLoad(*state, folder.file("drops.kvf")));
    EXPECT_NE(std::string::npos, kvfLastError().find("cannot hold")) << kvfLastError();
}

/// The bytes of a file with many small channels and, as the last, one of so many elements.
std::string fileOfChannels(const std::string& in_path, unsigned long in_elements,
                           unsigned long long& out_last_body)
{
    const auto state = newState();
    std::string object = "rain";
    std::shared_ptr<ParticleShape> shape;
    std::vector<std::string> names;
    state->newObject(object);
    state->newVoxelLayout("tree", 1.0f);
    state->newParticleShape("drops", "tree", &object, shape);
    shape->layout().addNode(0, 0, 0, 7);
    for (int n = 0; n < (in_elements > 1 ? 0 : 40); ++n) {
        names.push_back("c" + std::to_string(n));
        state->newParticleChannel<vec4f>(names.back(), "drops", {});
    }
    names.push_back("last");
    state->newParticleChannel<float>(names.back(), "drops", 0.0f);
    const auto last = channelOf<float>(*state, "last");
    last->tile(0, 7).resize(in_elements);
    last->syncShapeParticleCounts();
    std::string resolved;
    std::vector<KvfChannelSize> sizes;
    EXPECT_TRUE(kvfSave(*state, in_path, "drops", names, 0, eQualityPlain, resolved));
    EXPECT_TRUE(kvfChannelSizes(in_path, sizes));
    out_last_body = sizes.back().offset;
    return readFile(in_path);
}

TEST(ParticleFile, CountsOfOneChannelTakeNoMemoryForManyOthers)
{
    const TempFolder folder;
    unsigned long long few_at = 0;
    unsigned long long many_at = 0;
    const std::string few = fileOfChannels(folder.file("a.kvf"), 1, few_at);
    const std::string many = fileOfChannels(folder.file("b.kvf"), 4000000, many_at);
    ASSERT_LT(many.size(), 40000u);
    writeFile(folder.file("a.kvf"), few.substr(0, few_at) + many.substr(many_at));

    EXPECT_FALSE(kvfLoad(*newState(), folder.file("a.kvf"))) << "2.5 GB";
    EXPECT_NE(std::string::npos, kvfLastError().find("cannot hold")) << kvfLastError();
    EXPECT_TRUE(kvfLoad(*newState(), folder.file("b.kvf"))) << kvfLastError();
}

}  // namespace
}  // namespace Skelvar
