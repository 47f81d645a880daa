#include <tests/io/Scene.h>
#include <tests/io/SlowFile.h>
#include <tests/support/TempFolder.h>

#include <skelvar/io/KvfCompressor.h>
#include <skelvar/io/KvfFormat.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tbb/global_control.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <sstream>

namespace Skelvar {
namespace {

using namespace Test;

constexpr unsigned long long kMebibyte = 1024 * 1024;

/// Names that the files of these tests do not use, unless damage makes them.
std::shared_ptr<VoxelState> stateWithOtherItems()
{
    const auto state = newState();
    std::string object = "bystander";
    std::shared_ptr<VoxelShape> shape;
    state->newObject(object);
    state->newVoxelLayout("forest", 1.0f);
    state->newVoxelShape("cloud", "forest", &object, shape);
    shape->layout().addNode(0, 0, 0, 7);
    state->newVoxelChannel<float>("smoke", "cloud", eOffsetCentre, 2.5f);
    return state;
}

void expectOtherItemsUntouched(VoxelState& io_state, const std::string& in_what)
{
    std::shared_ptr<TreeShape3DBase> shape;
    ASSERT_EQ(kVoxelStateOk, io_state.shapeRef("cloud", shape)) << in_what;
    const auto channel =
        std::static_pointer_cast<VoxelChannel<float>>(shape->channelBasePtr("smoke"));
    ASSERT_EQ(1, channel->numTiles()) << in_what;
    EXPECT_EQ(2.5f, channel->tile(0, 7)(124)) << in_what;
    EXPECT_EQ("bystander", shape->objectName()) << in_what;
    EXPECT_EQ("forest", shape->layoutName()) << in_what;
    EXPECT_EQ(1, shape->channelCount()) << in_what;
    EXPECT_EQ(1.0f, shape->layout().MVS()) << in_what;
}

/// Uses whatever a load has left in the state, as later code would.
void useAll(VoxelState& io_state, const std::string& in_what)
{
    std::vector<std::string> shapes;
    io_state.shapes(shapes);
    for (const std::string& name : shapes) {
        std::shared_ptr<TreeShape3DBase> shape;
        io_state.shapeRef(name, shape);
        EXPECT_EQ(name, shape->name()) << in_what;
        const auto layout = std::static_pointer_cast<VoxelLayout>(shape->layoutPtr());
        ASSERT_TRUE(layout) << in_what;
        for (const std::string& channel_name : shape->channelNames()) {
            const auto channel = shape->channelBasePtr(channel_name);
            EXPECT_EQ(channel_name, channel->name()) << in_what;
            for (int depth = 0; depth < 8; ++depth) {
                ASSERT_EQ(layout->numNodes(depth), channel->numTiles(depth)) << in_what;
            }
            KvfCompressor memory;
            EXPECT_TRUE(channel->save(memory)) << in_what;
        }
        layout->addNode(50, 50, 50, 7);
        vec3i lo{};
        vec3i hi{};
        layout->bounds(lo, hi);
        layout->deleteNodes(std::vector<TileIndex>{layout->nodeIndex<true>(50, 50, 50, 7)});
        KvfCompressor memory;
        EXPECT_TRUE(layout->save(memory) && shape->save(memory)) << in_what;
    }
    std::ostringstream text;
    io_state.dump(text, 0, 1);
    EXPECT_EQ(std::string::npos, text.str().find("ERROR:")) << in_what << text.str();
    io_state.clear();
}

/// Loads bytes as a file into a state with other items and checks all that must hold.
bool loadDamaged(const TempFolder& in_folder, const std::string& in_bytes,
                 const std::string& in_what)
{
    const std::string path = in_folder.file("damaged.kvf");
    writeFile(path, in_bytes);
    const auto state = stateWithOtherItems();
    const bool loaded = kvfLoad(*state, path);
    if (!loaded) {
        EXPECT_NE("", kvfLastError()) << in_what;
        EXPECT_EQ(0u, kvfLastError().find(path)) << in_what << ": " << kvfLastError();
        expectOtherItemsUntouched(*state, in_what);
    }
    useAll(*state, in_what);
    KVFInfo info{};
    kvfInfo(path, info);
    std::vector<KvfChannelSize> sizes;
    kvfChannelSizes(path, sizes);
    return loaded;
}

/// Kilobytes of a line of /proc/self/status.
unsigned long long memoryLine(const std::string& in_label)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, in_label.size(), in_label) == 0) {
            return std::stoull(line.substr(in_label.size()));
        }
    }
    return 0;
}

#ifdef SKELVAR_CHECKED_BUILD
constexpr bool kFreedMemoryReturns = false;  // the checks hold on to it for a while
constexpr std::size_t kStep = 5;             // and are slow: every fifth place must do
#else
constexpr bool kFreedMemoryReturns = true;
constexpr std::size_t kStep = 1;
#endif

/// Fails if the memory in use rises by more than a bound during its life.
class MemoryBound {
public:
    explicit MemoryBound(unsigned long long in_bytes) : m_bound(in_bytes)
    {
        std::ofstream("/proc/self/clear_refs") << "5";  // the peak starts anew
        m_before = memoryLine("VmRSS:");
    }
    ~MemoryBound()
    {
        if (kFreedMemoryReturns) {
            // The kernel counts loosely: the peak may stand a little below what was before.
            EXPECT_LT(memoryLine("VmHWM:") * 1024, m_before * 1024 + m_bound);
        }
    }

private:
    unsigned long long m_bound;
    unsigned long long m_before = 0;
};

unsigned long long allowedMemory(std::size_t in_file_size)
{
    return 64 * kMebibyte + 40 * in_file_size;
}

/// Damaged files make messages, which are dropped here.
class Silence {
public:
    Silence() : m_before(std::cout.rdbuf(nullptr)) {}
    ~Silence() { std::cout.rdbuf(m_before); }

private:
    std::streambuf* m_before;
};

struct Form {
    unsigned version;
    int quality;
};

class DamagedFile : public ::testing::TestWithParam<Form> {
protected:
    DamagedFile()
    {
        Scene scene(2);
        scene.layout().addNode(0, 0, 0, 5);  // has a node with children above others
        scene.add<float>("density");
        EXPECT_TRUE(scene.save(m_folder.file("good.kvf"),
                               static_cast<CompressionQuality>(GetParam().quality)));
        m_good = readFile(m_folder.file("good.kvf"));
        if (GetParam().version < 4) {
            m_good = SlowFile::read(m_good).write(GetParam().version);
        }
        EXPECT_TRUE(loadDamaged(m_folder, m_good, "the good file"));
    }

    const Silence m_silence;
    /// Many tiny loads: threads would only wait for each other.
    const tbb::global_control m_one_thread{tbb::global_control::max_allowed_parallelism, 1};
    TempFolder m_folder;
    std::string m_good;
};
INSTANTIATE_TEST_SUITE_P(Kvf, DamagedFile,
                         ::testing::Values(Form{1, 0}, Form{2, 0}, Form{4, 0}, Form{4, 1}));

TEST_P(DamagedFile, CutAtAnyLengthIsRefused)
{
    const MemoryBound bound(allowedMemory(m_good.size()));
    for (std::size_t length = 0; length < m_good.size(); length += kStep) {
        EXPECT_FALSE(
            loadDamaged(m_folder, m_good.substr(0, length), "cut at " + std::to_string(length)));
    }
}

TEST_P(DamagedFile, WithAnyByteFlippedHarmsNothing)
{
    const MemoryBound bound(allowedMemory(m_good.size()));
    int refused = 0;
    for (std::size_t place = 0; place < m_good.size(); place += kStep) {
        std::string bytes = m_good;
        bytes[place] = static_cast<char>(~bytes[place]);
        refused += !loadDamaged(m_folder, bytes, "flipped byte " + std::to_string(place));
    }
    EXPECT_GT(refused, 30 / static_cast<int>(kStep)) << "most structure is checked";
}

TEST_P(DamagedFile, WithAnyFieldAtItsMaximumHarmsNothing)
{
    const MemoryBound bound(allowedMemory(m_good.size()));
    const std::string patterns[] = {number(0xffffffff, 4), number(0x7fffffff, 4), number(~0ull, 8),
                                    number(0x7fffffffffffffff, 8), number(0x0000000100000000, 8)};
    for (std::size_t place = 4; place + 8 <= m_good.size(); place += kStep) {
        for (const std::size_t shift : {0, 2}) {
            const std::string& pattern = patterns[(place + shift) % 5];
            std::string bytes = m_good;
            bytes.replace(place, pattern.size(), pattern);
            loadDamaged(m_folder, bytes, "field at " + std::to_string(place));
        }
    }
}

/// The good file of version 4 with another serialised form of its channel.
std::string withChannelBytes(const std::string& in_good, unsigned long long in_body_offset,
                             const std::string& in_bytes)
{
    return in_good.substr(0, in_body_offset) + number(in_bytes.size(), 8) + number(1, 8) +
           Slow::deflateFrame(in_bytes);
}

TEST(DamagedChannel, HarmsNothing)
{
    const Silence silence;
    const tbb::global_control one_thread(tbb::global_control::max_allowed_parallelism, 1);
    const TempFolder folder;
    Scene scene(2);
    scene.add<float>("density");
    for (const CompressionQuality quality : {eQualityPlain, eQualityLossless}) {
        ASSERT_TRUE(scene.save(folder.file("good.kvf"), quality));
        const std::string good = readFile(folder.file("good.kvf"));
        std::vector<KvfChannelSize> sizes;
        ASSERT_TRUE(kvfChannelSizes(folder.file("good.kvf"), sizes));
        const unsigned long long body = sizes[0].offset;
        const std::string channel = Slow::inflate(good.substr(body + 32), sizes[0].memoryBytes);
        const auto load = [&](const std::string& in_bytes, const std::string& in_what) {
            return loadDamaged(folder, withChannelBytes(good, body, in_bytes), in_what);
        };
        const MemoryBound bound(allowedMemory(good.size()));
        ASSERT_TRUE(load(channel, "the good channel"));
        EXPECT_TRUE(load(channel + "x", "a byte more than the channel reads"));
        for (std::size_t place = 0; place < channel.size(); place += kStep) {
            EXPECT_FALSE(load(channel.substr(0, place), "cut at " + std::to_string(place)));
            std::string bytes = channel;
            bytes[place] = static_cast<char>(~bytes[place]);
            load(bytes, "flipped byte " + std::to_string(place));
            if (place + 8 <= channel.size()) {
                bytes = channel;
                bytes.replace(place, 8, number(place % 2 ? ~0ull : 1ull << 32, 8));
                load(bytes, "field at " + std::to_string(place));
            }
        }
    }
}

TEST(HostileFile, CannotTakeMemoryForChannelsThatItDoesNotHold)
{
    // Many channels over many nodes, none with a body that could fill them.
    const TempFolder folder;
    Scene scene(8000);
    scene.add<float>("density");
    ASSERT_TRUE(scene.save(folder.file("good.kvf")));
    SlowFile file = SlowFile::read(readFile(folder.file("good.kvf")));
    for (auto& tiles : file.channels[0].tiles) {
        tiles.clear();
    }
    for (int n = 0; n < 2000; ++n) {
        file.records.push_back(file.records[0]);
        file.records.back().name = "density" + std::to_string(n);
        file.channels.push_back(file.channels[0]);
    }
    for (const unsigned version : {1u, 2u, 3u}) {
        const std::string bytes = file.write(version);
        writeFile(folder.file("a.kvf"), bytes);
        const MemoryBound bound(allowedMemory(bytes.size()));
        const auto start = std::chrono::steady_clock::now();
        const auto state = newState();
        EXPECT_FALSE(kvfLoad(*state, folder.file("a.kvf")));
        EXPECT_NE(std::string::npos, kvfLastError().find("cannot hold what stands on each node"))
            << kvfLastError();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    }
}

TEST(HostileFile, IsBelievedOnlyAsFarAsDeflateGoes)
{
    const Silence silence;
    const TempFolder folder;
    Scene scene(2);
    scene.add<float>("density");
    ASSERT_TRUE(scene.save(folder.file("good.kvf")));
    const std::string good = readFile(folder.file("good.kvf"));
    std::vector<KvfChannelSize> sizes;
    ASSERT_TRUE(kvfChannelSizes(folder.file("good.kvf"), sizes));
    const unsigned long long body = sizes[0].offset;
    const auto load = [&](unsigned long long in_size, unsigned long long in_chunks,
                          const std::string& in_rest) {
        return loadDamaged(
            folder, good.substr(0, body) + number(in_size, 8) + number(in_chunks, 8) + in_rest,
            "sizes");
    };
    const std::string chunk = good.substr(body + 16);
    const unsigned long long size = sizes[0].memoryBytes;
    const MemoryBound bound(allowedMemory(good.size()));

    EXPECT_TRUE(load(size, 1, chunk));
    EXPECT_FALSE(load(size + 1, 1, chunk)) << "more than the chunks hold";
    EXPECT_FALSE(load(size - 1, 1, chunk)) << "less than the chunks hold";
    EXPECT_FALSE(load(1ull << 60, 1, chunk));
    EXPECT_FALSE(load(size, 1ull << 60, chunk));
    EXPECT_FALSE(load(size, 0, chunk));
    EXPECT_FALSE(load(2 * size, 2, chunk)) << "the second chunk is not there";
    EXPECT_FALSE(load(2 * size, 2, chunk + number(size, 8) + number(~0ull, 8) + "xyz"));
    EXPECT_FALSE(load(0, 0, ""));
    EXPECT_FALSE(load(size, 1, number(size, 8) + number(0, 8)));
}

}  // namespace
}  // namespace Skelvar
