#include <tests/io/Scene.h>
#include <tests/io/SlowFile.h>
#include <tests/support/TempFolder.h>

#include <skelvar/io/KvfCompressor.h>
#include <skelvar/io/KvfFormat.h>
#include <skelvar/io/KvfReader.h>

#include <cstdio>
#include <random>
#include <sstream>

namespace Skelvar {
namespace {

using namespace Test;

/// One channel of each type that a file can name.
template <typename T>
std::string nameFor()
{
    std::string name = "of" + typeNameOf<T>();
    for (char& c : name) {
        c = std::isalnum(static_cast<unsigned char>(c)) ? c : 'x';
    }
    return name;
}

void addAllTypes(Scene& io_scene)
{
    unsigned int seed = 1;
#define SKELVAR_ADD(T) io_scene.add<T>(nameFor<T>(), seed++);
    SKELVAR_FOR_FACTORY_TYPES(SKELVAR_ADD)
#undef SKELVAR_ADD
}

template <typename T>
void expectSame(VoxelState& io_a, VoxelState& io_b)
{
    const auto a = Scene::channelOf<T>(io_a, nameFor<T>());
    const auto b = Scene::channelOf<T>(io_b, nameFor<T>());
    ASSERT_TRUE(a && b) << nameFor<T>();
    EXPECT_TRUE(sameTiles(*a, *b)) << nameFor<T>();
    EXPECT_EQ(a->backgroundValue(), b->backgroundValue());
    EXPECT_EQ(a->customType(), b->customType());
    EXPECT_EQ(a->tagText(), b->tagText());
    EXPECT_EQ(a->tagWord(), b->tagWord());
    EXPECT_EQ(a->creationKind(), b->creationKind());
    EXPECT_EQ(a->offsetType(), b->offsetType());
}

void expectSameOfAllTypes(VoxelState& io_a, VoxelState& io_b)
{
#define SKELVAR_EXPECT(T) expectSame<T>(io_a, io_b);
    SKELVAR_FOR_FACTORY_TYPES(SKELVAR_EXPECT)
#undef SKELVAR_EXPECT
}

class EachQuality : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(KvfFile, EachQuality, ::testing::Values(0, 1, 2, 3));

TEST_P(EachQuality, BringsBackEveryBitOfEveryType)
{
    const TempFolder folder;
    Scene scene(40);
    addAllTypes(scene);
    Scene::channelOf<float>(scene.state(), "offloat")
        ->setOffsetType(static_cast<VoxelOffsetType>(3));
    ASSERT_TRUE(scene.save(folder.file("a.kvf"), static_cast<CompressionQuality>(GetParam()), -5));
    const auto loaded = newState();

    ASSERT_TRUE(kvfLoad(*loaded, folder.file("a.kvf"))) << kvfLastError();

    expectSameOfAllTypes(scene.state(), *loaded);
    std::shared_ptr<TreeLayout3DBase> layout;
    loaded->layoutRef("tree", layout);
    ASSERT_TRUE(layout);
    EXPECT_EQ(0.5f, layout->MVS());
    EXPECT_EQ(scene.layout().numNodes(), layout->numNodes());
    const auto shape = Scene::shapeOf(*loaded);
    EXPECT_EQ("ball", shape->objectName());
    EXPECT_EQ("VoxelShape", shape->typeMeta()->typeName());
    EXPECT_EQ(layout, shape->layoutPtr());
    // A second save of what was loaded gives the same bytes, but for the bound of the root counts.
    std::string resolved;
    ASSERT_TRUE(kvfSave(*loaded, folder.file("b.kvf"), "volume", scene.channels(), -5,
                        static_cast<CompressionQuality>(GetParam()), resolved));
    std::vector<KvfChannelSize> sizes;
    ASSERT_TRUE(kvfChannelSizes(folder.file("a.kvf"), sizes));
    const std::string first = readFile(folder.file("a.kvf"));
    const std::string second = readFile(folder.file("b.kvf"));
    EXPECT_EQ(first.size(), second.size());
    EXPECT_TRUE(first.substr(sizes[0].offset) == second.substr(sizes[0].offset));
}

/// The bytes of a channel's tile as they lie in memory.
template <typename T>
std::string tileBytes(const VoxelChannel<T>& in_channel, int in_index, int in_depth)
{
    const auto& tile = in_channel.tile(in_index, in_depth);
    return {reinterpret_cast<const char*>(tile.data()), sizeof(tile)};
}

TEST_P(EachQuality, IsWhatASlowReaderOfTheBytesFinds)
{
    const TempFolder folder;
    Scene scene(9);
    const auto density = scene.add<float>("density");
    const auto normal = scene.add<vec3f>("normal");
    density->setBackgroundValue(1.0f);
    ASSERT_TRUE(scene.save(folder.file("a.kvf"), static_cast<CompressionQuality>(GetParam()), 12));

    const SlowFile file = SlowFile::read(readFile(folder.file("a.kvf")));

    EXPECT_EQ(12, file.frame);
    EXPECT_EQ("volume", file.shape_name);
    EXPECT_EQ("VoxelShape", file.shape_type);
    EXPECT_EQ("ball", file.object_name);
    EXPECT_EQ("tree", file.layout_name);
    EXPECT_EQ(static_cast<unsigned>(GetParam()), file.quality);
    EXPECT_EQ(std::string("\x3f\x00\x00\x00", 4), file.dx);
    ASSERT_EQ(2u, file.records.size());
    EXPECT_EQ("VoxelChannel<vec<3,float>>", file.records[1].type);
    EXPECT_EQ(7, file.records[1].max_depth);
    EXPECT_EQ(density->numTiles(), file.records[0].num_tiles);
    EXPECT_EQ(125 * density->numTiles(), file.records[0].num_elements);
    EXPECT_EQ(1u, file.records[0].creation_kind);
    EXPECT_EQ(std::string("\x3f\x80\x00\x00", 4), file.channels[0].background);
    for (int depth = 0; depth < 8; ++depth) {
        const auto& nodes = file.nodes[depth];
        ASSERT_EQ(scene.layout().numNodes(depth), static_cast<int>(nodes.size()));
        ASSERT_EQ(nodes.size(), file.channels[0].tiles[depth].size());
        ASSERT_EQ(nodes.size(), file.channels[1].tiles[depth].size());
        for (int n = 0; n < static_cast<int>(nodes.size()); ++n) {
            EXPECT_EQ(scene.layout().node(n, depth).id(), nodes[n].id);
            EXPECT_EQ(tileBytes(*density, n, depth), file.channels[0].tiles[depth][n]);
            EXPECT_EQ(tileBytes(*normal, n, depth), file.channels[1].tiles[depth][n]);
        }
    }
}

/// The serialised form of a channel, cut into chunks of any size.
std::string anyChunks(const std::string& in_bytes, std::mt19937& io_random,
                      std::vector<std::size_t>& out_ends)
{
    std::string chunks;
    out_ends.clear();
    for (std::size_t place = 0; place < in_bytes.size(); place = out_ends.back()) {
        const std::size_t size =
            io_random() % 8 == 0 ? io_random() % 600 : 4000 + io_random() % 9000;
        chunks += Slow::deflateFrame(in_bytes.substr(place, size));
        out_ends.push_back(std::min(place + size, in_bytes.size()));
    }
    return number(in_bytes.size(), 8) + number(out_ends.size(), 8) + chunks;
}

TEST(KvfFile, ComesBackFromChunksOfAnySizeAndTellsWhichIsDamaged)
{
    const unsigned int seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const TempFolder folder;
    Scene scene(900);
    const auto density = scene.add<float>("density");
    for (const CompressionQuality quality : {eQualityPlain, eQualityLossless}) {
        ASSERT_TRUE(scene.save(folder.file("a.kvf"), quality));
        std::vector<KvfChannelSize> sizes;
        ASSERT_TRUE(kvfChannelSizes(folder.file("a.kvf"), sizes));
        const std::string frame = readFile(folder.file("a.kvf")).substr(0, sizes[0].offset);
        KvfCompressor form;
        form.setQuality(quality);
        ASSERT_TRUE(density->save(form));
        for (int round = 0; round < 30; ++round) {
            std::string bytes(form.memory().data(), form.memory().size());
            for (int odd = 0; quality == eQualityPlain && odd < round % 4; ++odd) {
                // A tile of another version, somewhere among the last ones.
                const std::size_t tile = bytes.rfind(std::string("\0\x02\0\0\x01\xf4", 6),
                                                     bytes.size() - random() % 300000);
                bytes[tile + 1] = 1;
            }
            std::vector<std::size_t> ends;
            std::string file = frame + anyChunks(bytes, random, ends);
            writeFile(folder.file("b.kvf"), file);
            const auto state = newState();
            ASSERT_TRUE(kvfLoad(*state, folder.file("b.kvf"))) << kvfLastError();
            EXPECT_TRUE(sameTiles(*density, *Scene::channelOf<float>(*state, "density")));

            file.back() = static_cast<char>(~file.back());
            writeFile(folder.file("b.kvf"), file);
            const auto damaged = newState();
            EXPECT_FALSE(kvfLoad(*damaged, folder.file("b.kvf")));
            const std::string chunk = "chunk " + std::to_string(ends.size() - 1) + ")";
            EXPECT_NE(std::string::npos, kvfLastError().find(chunk)) << kvfLastError();
            const auto left = Scene::channelOf<float>(*damaged, "density");
            ASSERT_TRUE(left);
            EXPECT_EQ(scene.layout().numNodes(7), left->numTiles(7)) << "safe to use";
        }
    }
}

TEST(KvfFile, KeepsTheWayInWhichAChannelWasMade)
{
    const TempFolder folder;
    Scene scene;
    scene.add<float>("density");
    ASSERT_EQ(kVoxelStateOk,
              scene.state().newVoxelChannel<int>("bare", "volume", eOffsetCentre, 3));
    std::string resolved;
    ASSERT_TRUE(kvfSave(scene.state(), folder.file("a.kvf"), "volume", {"bare", "density"}, 0,
                        eQualityPlain, resolved));
    const auto loaded = newState();

    ASSERT_TRUE(kvfLoad(*loaded, folder.file("a.kvf")));

    std::vector<std::string> keys;
    loaded->channels(keys);
    EXPECT_EQ((std::vector<std::string>{"bare", "volume.density"}), keys);
    EXPECT_EQ(0, Scene::channelOf<int>(*loaded, "bare")->creationKind());
}

TEST(KvfFile, IsAddedToAnObjectThatIsThere)
{
    const TempFolder folder;
    Scene scene;
    scene.add<float>("density");
    ASSERT_TRUE(scene.save(folder.file("a.kvf")));
    const auto state = newState();
    state->newObject("ball");
    std::shared_ptr<BObject> before;
    state->objectRef("ball", before);

    ASSERT_TRUE(kvfLoad(*state, folder.file("a.kvf")));

    std::shared_ptr<BObject> after;
    state->objectRef("ball", after);
    EXPECT_EQ(before, after);
    EXPECT_FALSE(kvfLoad(*state, folder.file("a.kvf"))) << "its names are taken now";
    EXPECT_EQ(before, after);
}

TEST(KvfInfo, TellsTheHeader)
{
    const TempFolder folder;
    Scene scene(3);
    scene.add<float>("density");
    scene.add<vec3f>("normal");
    ASSERT_TRUE(scene.save(folder.file("a.kvf"), eQualityLossless, 42));
    std::string report;

    ASSERT_TRUE(kvfInfo(folder.file("a.kvf"), report));

    EXPECT_EQ(
        "Version     4\n"
        "Frame       42\n"
        "Quality       1\n"
        "Shape\n"
        "   name     volume\n"
        "   object   ball\n"
        "   type     VoxelShape\n"
        "   layout   tree\n"
        "   channels 2\n"
        "\n"
        "Channel\n"
        "   name     density\n"
        "   type     VoxelChannel<float>\n"
        "   tiles                                      3\n"
        "   elements                                 375\n"
        "   maxdepth                                   7\n"
        "\n"
        "Channel\n"
        "   name     normal\n"
        "   type     VoxelChannel<vec<3,float>>\n"
        "   tiles                                      3\n"
        "   elements                                 375\n"
        "   maxdepth                                   7\n",
        report);
}

TEST(KvfChannelSizes, FindTheBodiesWithoutInflatingThem)
{
    const TempFolder folder;
    Scene scene(500);
    scene.add<float>("density");
    scene.add<int>("tag");
    ASSERT_TRUE(scene.save(folder.file("a.kvf")));
    std::string bytes = readFile(folder.file("a.kvf"));
    std::vector<KvfChannelSize> sizes;

    ASSERT_TRUE(kvfChannelSizes(folder.file("a.kvf"), sizes)) << kvfLastError();

    ASSERT_EQ(2u, sizes.size());
    EXPECT_EQ("density", sizes[0].name);
    EXPECT_EQ("VoxelChannel<int32_t>", sizes[1].type);
    EXPECT_EQ(sizes[0].offset + sizes[0].diskBytes, sizes[1].offset);
    EXPECT_EQ(bytes.size(), sizes[1].offset + sizes[1].diskBytes);
    EXPECT_EQ(number(sizes[1].memoryBytes, 8), bytes.substr(sizes[1].offset, 8));
    EXPECT_EQ(number(sizes[1].chunks, 8), bytes.substr(sizes[1].offset + 8, 8));
    EXPECT_EQ(sizes[1].memoryBytes >> 17, sizes[1].chunks);

    bytes[bytes.size() - 100] ^= 1;  // damage that only inflating would show
    writeFile(folder.file("b.kvf"), bytes);
    EXPECT_TRUE(kvfChannelSizes(folder.file("b.kvf"), sizes));
    EXPECT_EQ(2u, sizes.size());
}

TEST(KvfChannelSizes, AreFoundPastATreeThatIsNotRead)
{
    const unsigned int seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const TempFolder folder;
    for (int round = 0; round < 40; ++round) {
        Scene scene(1 + static_cast<int>(random() % 300));
        for (int n = 0; n < round; ++n) {  // inner nodes with and without children, side by side
            const int corner = 25 * static_cast<int>(random() % 100);
            scene.layout().addNode(corner, -corner, 0, 4 + static_cast<int>(random() % 4));
        }
        scene.add<float>("density");
        ASSERT_TRUE(scene.save(folder.file("a.kvf")));
        SlowFile file = SlowFile::read(readFile(folder.file("a.kvf")));
        file.nodes[7][random() % file.nodes[7].size()].id ^= 1;  // only reading the tree would show
        writeFile(folder.file("b.kvf"), file.write(3));
        std::vector<KvfChannelSize> sizes;

        EXPECT_TRUE(kvfChannelSizes(folder.file("b.kvf"), sizes)) << kvfLastError();

        ASSERT_EQ(1u, sizes.size());
        EXPECT_EQ(std::filesystem::file_size(folder.file("b.kvf")),
                  sizes[0].offset + sizes[0].diskBytes);
    }
}

/// The bytes of the hexadecimal dump in the description of the format: of each line that begins
/// with eight hexadecimal digits, the pairs up to the bar.
std::string dumpOfDescription()
{
    std::istringstream text(readFile(SKELVAR_SOURCE_DIR "/docs/file-format.md"));
    std::string bytes;
    for (std::string line; std::getline(text, line);) {
        std::size_t offset = 0;
        int used = 0;
        if (line[0] == ' ' || std::sscanf(line.c_str(), "%8zx  %n", &offset, &used) != 1 ||
            used != 10) {
            continue;
        }
        EXPECT_EQ(bytes.size(), offset) << line;
        std::istringstream pairs(line.substr(10, line.find('|') - 10));
        for (std::string pair; pairs >> pair;) {
            bytes += static_cast<char>(std::stoi(pair, nullptr, 16));
        }
    }
    return bytes;
}

/// The file of which the description shows the bytes.
Scene describedScene()
{
    Scene scene(1);
    const auto density = scene.add<float>("density");
    density->setCustomType("");
    density->setTagText("");
    density->setTagWord(0);
    density->tile(0, 7).set(1.5f);
    return scene;
}

TEST(FormatDescription, ShowsTheBytesThatAreWritten)
{
    const TempFolder folder;
    ASSERT_TRUE(describedScene().save(folder.file("a.kvf"), eQualityLossless, 7));
    const std::string described = dumpOfDescription();
    const std::string written = readFile(folder.file("a.kvf"));

    // Up to the chunk's compressed size, which is zlib's affair, as its stream is.
    std::vector<KvfChannelSize> sizes;
    ASSERT_TRUE(kvfChannelSizes(folder.file("a.kvf"), sizes));
    const std::size_t exact = sizes[0].offset + 24;
    ASSERT_GT(described.size(), exact);
    EXPECT_EQ(described.substr(0, exact), written.substr(0, exact));

    const SlowFile a = SlowFile::read(described);
    const SlowFile b = SlowFile::read(written);
    EXPECT_EQ(a.channels[0].tiles[7], b.channels[0].tiles[7]);
    EXPECT_EQ(a.channels[0].dictionary, b.channels[0].dictionary);
    EXPECT_EQ(a.channels[0].shape_name, b.channels[0].shape_name);
}

}  // namespace
}  // namespace Skelvar
