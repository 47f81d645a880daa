// Saving and loading of a million particles at each quality, beside zlib alone on the same bytes,
// cut into the same chunks, on the same threads. Files stand in memory if the system has a file
// system there.

#include <bench/support/Harness.h>
#include <bench/support/ParticleSource.h>
#include <bench/support/ZlibChunks.h>

#include <skelvar/io/Kvf.h>
#include <skelvar/particles/ParticleBins.h>
#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Bench::vec3f;
using Bench::ZlibChunks;
using Skelvar::ParticleChannel;
using Skelvar::VoxelState;
using Id = unsigned long long;

constexpr std::size_t kCount = 1000000;
constexpr double kPayload = kCount * (2.0 * sizeof(vec3f) + sizeof(Id));
const std::vector<std::string> kNames = {"position", "velocity", "id"};

void require(bool in_done, const std::string& in_step)
{
    if (!in_done) {
        throw std::runtime_error(in_step + ": " + Skelvar::kvfLastError());
    }
}

std::shared_ptr<Skelvar::TreeChannel3DBase> channelOf(VoxelState& io_state,
                                                      const std::string& in_name)
{
    std::shared_ptr<Skelvar::TreeChannel3DBase> channel;
    require(io_state.channelRef(in_name, channel) == Skelvar::kVoxelStateOk, "channelRef");
    return channel;
}

template <typename T>
ParticleChannel<T>& channelAs(VoxelState& io_state, const std::string& in_name)
{
    return static_cast<ParticleChannel<T>&>(*channelOf(io_state, in_name));
}

std::shared_ptr<VoxelState> makeState()
{
    const Bench::ParticleSource& source = Bench::particleSource(kCount);
    const auto state = Skelvar::StateServerManager::instance().createNewStateServer();
    std::string object = "object";
    std::shared_ptr<Skelvar::ParticleShape> shape;
    state->newObject(object);
    state->newVoxelLayout("tree", 1.0f);
    require(state->newParticleShape("particles", "tree", &object, shape) == Skelvar::kVoxelStateOk,
            "newParticleShape");
    const Skelvar::ParticleBins bins(source.positions.data(), source.positions.size());
    bins.addTiles(shape->layout());
    state->newParticleChannel<vec3f>("position", "particles", vec3f{});
    state->newParticleChannel<vec3f>("velocity", "particles", vec3f{});
    state->newParticleChannel<Id>("id", "particles", 0);
    auto& position = channelAs<vec3f>(*state, "position");
    bins.append(source.positions.data(), position);
    bins.append(source.velocities.data(), channelAs<vec3f>(*state, "velocity"));
    bins.append(source.ids.data(), channelAs<Id>(*state, "id"));
    position.syncShapeParticleCounts();
    return state;
}

VoxelState& saved()
{
    static const std::shared_ptr<VoxelState> s_state = makeState();
    return *s_state;
}

ZlibChunks& chunks(Skelvar::CompressionQuality in_quality)
{
    static std::unique_ptr<ZlibChunks> s_chunks[4];
    std::unique_ptr<ZlibChunks>& entry = s_chunks[in_quality];
    if (!entry) {
        std::vector<ZlibChunks::Channel> channels;
        for (const std::string& name : kNames) {
            channels.push_back(channelOf(saved(), name));
        }
        entry = std::make_unique<ZlibChunks>(channels, in_quality);
    }
    return *entry;
}

template <typename T>
void requireSame(VoxelState& io_a, VoxelState& io_b, const std::string& in_name)
{
    const auto& tiles_a = channelAs<T>(io_a, in_name).tiles(Skelvar::kMaxTileDepth);
    const auto& tiles_b = channelAs<T>(io_b, in_name).tiles(Skelvar::kMaxTileDepth);
    bool same = tiles_a.size() == tiles_b.size();
    for (std::size_t n = 0; same && n < tiles_a.size(); ++n) {
        const unsigned long size = tiles_a[n].size();
        same =
            size == tiles_b[n].size() &&
            (size == 0 || std::memcmp(tiles_a[n].data(), tiles_b[n].data(), size * sizeof(T)) == 0);
    }
    require(same, "the loaded channel " + in_name + " differs");
}

void addFileJobs(Skelvar::CompressionQuality in_quality, const std::filesystem::path& in_folder)
{
    static std::shared_ptr<VoxelState> s_loaded;
    static std::vector<unsigned char> s_inflated;
    const std::string job = ".q" + std::to_string(in_quality) + "/";
    const std::string path =
        (in_folder / ("bench-particles-q" + std::to_string(in_quality) + ".kvf")).string();
    const auto work = [] { return kPayload * 1e-6; };
    const auto save = [=] {
        std::string resolved;
        require(Skelvar::kvfSave(saved(), path, "particles", kNames, 0, in_quality, resolved),
                "kvfSave");
    };
    Bench::add({"particles.save" + job + "skelvar", 2, "MB/s",
                [=] {
                    Bench::print("particles.filesize" + job + "skelvar/2t",
                                 static_cast<double>(std::filesystem::file_size(path)) / kPayload,
                                 "of payload");
                    return work();
                },
                save, [] { saved(); }, 2});
    Bench::add({"particles.save" + job + "zlib9", 2, "MB/s", work,
                [=] { chunks(in_quality).deflateAll(); }, [=] { chunks(in_quality); }, 2});
    Bench::add({"particles.load" + job + "skelvar", 2, "MB/s",
                [=] {
                    if (in_quality <= Skelvar::eQualityLossless) {
                        requireSame<vec3f>(saved(), *s_loaded, "position");
                        requireSame<vec3f>(saved(), *s_loaded, "velocity");
                        requireSame<Id>(saved(), *s_loaded, "id");
                    }
                    s_loaded = nullptr;
                    std::filesystem::remove(path);
                    return work();
                },
                [=] { require(Skelvar::kvfLoad(*s_loaded, path), "kvfLoad"); },
                [=] {
                    if (!std::filesystem::exists(path)) {
                        save();
                    }
                    s_loaded = Skelvar::StateServerManager::instance().createNewStateServer();
                    Skelvar::StateServerManager::instance().removeStateServer(s_loaded->getId());
                }});
    Bench::add({"particles.load" + job + "inflate", 2, "MB/s", work,
                [=] { chunks(in_quality).inflateAll(s_inflated.data()); },
                [=] {
                    s_inflated.resize(chunks(in_quality).size());
                    chunks(in_quality).inflateAll(s_inflated.data());
                }});
    // A loader has no warm memory to inflate into: what the first touch of fresh memory costs.
    Bench::add({"particles.load" + job + "inflate-fresh", 2, "MB/s", work,
                [=] {
                    const auto fresh =
                        std::make_unique_for_overwrite<unsigned char[]>(chunks(in_quality).size());
                    chunks(in_quality).inflateAll(fresh.get());
                },
                [=] { chunks(in_quality); }});
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    const std::filesystem::path memory = "/dev/shm";
    const auto folder =
        std::filesystem::exists(memory) ? memory : std::filesystem::temp_directory_path();
    for (int quality = 0; quality < 4; ++quality) {
        addFileJobs(static_cast<Skelvar::CompressionQuality>(quality), folder);
    }
    return Bench::runAll(in_argc, in_argv);
}
