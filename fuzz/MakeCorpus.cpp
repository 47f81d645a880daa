// make_corpus FOLDER: writes seeds for each fuzz target into FOLDER/<target>/.
#include <fuzz/FuzzInput.h>
#include <skelvar/base/Dictionary.h>
#include <skelvar/io/Kvf.h>
#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/state/NamespaceContainer.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace Skelvar;

namespace {

std::filesystem::path s_folder;

void writeSeed(const std::string& in_target, const std::string& in_name,
               const std::string& in_bytes)
{
    std::filesystem::create_directories(s_folder / in_target);
    std::ofstream file(s_folder / in_target / in_name, std::ios::binary);
    file << in_bytes;
    Fuzz::require(file.good(), "a seed on disk");
}

/// The three choices of an input and the saved form of an item, for each quality.
template <typename Item>
void writeItemSeeds(const std::string& in_target, const std::string& in_name, const Item& in_item,
                    char in_choice)
{
    for (char quality : {0, 1, 2, 3}) {
        KvfCompressor stream;
        stream.setQuality(static_cast<CompressionQuality>(quality));
        Fuzz::require(in_item.save(stream), "a saved item");
        writeSeed(in_target, in_name + "-q" + std::to_string(quality),
                  std::string{3, quality, in_choice} +
                      std::string(stream.memory().data(), stream.memory().size()));
    }
}

std::shared_ptr<VoxelLayout> smallLayout()
{
    const auto layout = std::make_shared<VoxelLayout>("layout", 0.5f);
    layout->addNodes(vec3i{0, 0, 0}, vec3i{15, 5, 5}, 7);
    return layout;
}

/// A tree of four depths: two roots, one of them with tiles of each depth below it.
std::shared_ptr<VoxelLayout> deepLayout()
{
    const auto layout = std::make_shared<VoxelLayout>("deep", 0.25f);
    layout->addNode(0, 0, 0, 4);
    layout->addNodes(vec3i{0, 0, 0}, vec3i{20, 10, 5}, 7);
    layout->addNode(2000, 0, 0, 5);
    std::shared_ptr<Dictionary> dictionary;
    layout->dictionary(dictionary);
    dictionary->setValue("solver", "seed");
    return layout;
}

Dictionary fullDictionary()
{
    Dictionary dictionary;
    dictionary.setValue("float", 1.5f);
    dictionary.setValue("bool", true);
    dictionary.setValue("text", "words");
    dictionary.setValue("int", -7);
    dictionary.setValue("wide", 1ull << 40);
    dictionary.setValue("vec3f", vec3f{1, 2, 3});
    dictionary.setValue("mat4f", mat4f{});
    return dictionary;
}

void writeFileSeeds()
{
    const auto state = StateServerManager::instance().createNewStateServer();
    std::string object = "object";
    std::shared_ptr<VoxelShape> shape;
    std::shared_ptr<TreeLayout3DBase> layout;
    state->newObject(object);
    state->newLayout("layout", deepLayout(), layout);
    state->newVoxelShape("shape", "layout", &object, shape);
    state->newVoxelChannel<float>("shape/density", "shape", eOffsetCentre, 1.0f);
    state->newVoxelChannel<vec3f>("shape/velocity", "shape", eOffsetFaceX, vec3f{1, 2, 3});
    state->newVoxelChannel<int>("shape/flags", "shape", eOffsetCorner, 3);
    for (int quality = 0; quality < 4; ++quality) {
        for (const bool with_channels : {true, false}) {
            std::string path;
            const std::vector<std::string> channels =
                with_channels
                    ? std::vector<std::string>{"shape/density", "shape/velocity", "shape/flags"}
                    : std::vector<std::string>{};
            Fuzz::require(kvfSave(*state, (s_folder / "seed.kvf").string(), "shape", channels, 12,
                                  static_cast<CompressionQuality>(quality), path),
                          "a saved file");
            std::ifstream file(path, std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(file), {}};
            const std::string name = "q" + std::to_string(quality) + (with_channels ? "" : "-bare");
            writeSeed("fuzz_kvf_load", name, bytes);
            writeSeed("fuzz_kvf_info", name, bytes);
            std::filesystem::remove(path);
        }
    }
}

template <typename T>
void writeChannelSeed(char in_type)
{
    const auto shape = std::make_shared<VoxelShape>("shape");
    const auto layout = smallLayout();
    shape->setLayout(layout);
    VoxelChannel<T> channel("channel", shape, T{}, eOffsetFaceY);
    channel.resize(*layout);
    writeItemSeeds("fuzz_channel", "type" + std::to_string(in_type), channel, in_type);
}

/// A particle channel with some elements in the first tile; the name chooses the form.
template <typename T>
void writeParticleSeeds(char in_type)
{
    const auto layout = smallLayout();
    for (const char* name : {"position", "velocity", "normal"}) {
        const auto shape = std::make_shared<ParticleShape>("shape");
        shape->setLayout(layout);
        const auto channel = std::make_shared<ParticleChannel<T>>(name, shape, T{});
        shape->addChannel(channel);
        channel->tile(0, 7).resize(5);
        channel->syncShapeParticleCounts();
        writeItemSeeds("fuzz_channel", name + std::to_string(in_type), *channel, in_type);
        writeItemSeeds("fuzz_shape", "particles", *shape, 1);
    }
}

void writeChannelSeeds()
{
    char type = 0;
#define SKELVAR_SEED(T) writeChannelSeed<T>(type++);
    SKELVAR_FOR_VOXEL_TYPES(SKELVAR_SEED)
#undef SKELVAR_SEED
#define SKELVAR_SEED(T) writeParticleSeeds<T>(type++);
    SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_SEED)
#undef SKELVAR_SEED
}

/// A file of particles, for each quality.
void writeParticleFileSeeds()
{
    const auto state = StateServerManager::instance().createNewStateServer();
    std::string object = "object";
    std::shared_ptr<ParticleShape> shape;
    std::shared_ptr<TreeLayout3DBase> layout;
    std::shared_ptr<ParticleChannel<vec3f>> position;
    state->newObject(object);
    state->newLayout("layout", deepLayout(), layout);
    state->newParticleShape("shape", "layout", &object, shape);
    state->newParticleChannel<vec3f>("shape/position", "shape", {});
    state->newParticleChannel<vec3f>("shape/normal", "shape", {});
    state->newParticleChannel<unsigned long long>("shape/id", "shape", 0);
    state->particleChannel("shape/position", shape, &position, VoxelState::eHintDoNotCopy);
    position->tile(0, 7).resize(3);
    position->tile(0, 4).resize(2);
    position->syncShapeParticleCounts();
    for (int quality = 0; quality < 4; ++quality) {
        std::string path;
        Fuzz::require(kvfSave(*state, (s_folder / "seed.kvf").string(), "shape",
                              {"shape/position", "shape/normal", "shape/id"}, 12,
                              static_cast<CompressionQuality>(quality), path),
                      "a saved file");
        std::ifstream file(path, std::ios::binary);
        writeSeed("fuzz_kvf_load", "particles-q" + std::to_string(quality),
                  {std::istreambuf_iterator<char>{file}, {}});
        std::filesystem::remove(path);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_corpus FOLDER\n");
        return 2;
    }
    s_folder = std::filesystem::absolute(argv[1]);

    writeItemSeeds("fuzz_layout", "empty", VoxelLayout(), 0);
    writeItemSeeds("fuzz_layout", "small", *smallLayout(), 0);
    writeItemSeeds("fuzz_layout", "deep", *deepLayout(), 0);
    writeItemSeeds("fuzz_shape", "volume", VoxelShape("shape"), 0);
    writeChannelSeeds();
    NS::NamespaceContainer names;
    for (const char* name : {"a", "a1", "rain", "rain"}) {
        names.addName(name);
    }
    writeItemSeeds("fuzz_names", "names", names, 0);
    writeSeed("fuzz_dictionary", "empty", Dictionary().save());
    writeSeed("fuzz_dictionary", "full", fullDictionary().save());
    writeFileSeeds();
    writeParticleFileSeeds();
    return 0;
}
