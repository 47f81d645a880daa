// Saving and loading of a float and a vec3f channel of about 100 MB, beside zlib alone on the same
// bytes, cut into the same chunks, on the same threads. `--folder=PATH` names the folder for
// the files; without it they go to memory, if the system has a file system there.

#include <bench/support/Harness.h>
#include <bench/support/Scene.h>
#include <bench/support/ZlibChunks.h>

#include <skelvar/io/Kvf.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Bench::vec3i;
using Skelvar::CompressionQuality;
using Skelvar::vec3f;
using Skelvar::VoxelChannel;
using Skelvar::VoxelState;
using Bytes = std::vector<unsigned char>;

std::filesystem::path s_folder;

void require(bool in_done, const std::string& in_step)
{
    if (!in_done) {
        throw std::runtime_error(in_step + ": " + Skelvar::kvfLastError());
    }
}

void require(Skelvar::VoxelStateResult in_result, const std::string& in_step)
{
    require(in_result == Skelvar::kVoxelStateOk, in_step);
}

template <typename T>
T density(const vec3i& in_cell);

template <>
float density<float>(const vec3i& in_cell)
{
    return Bench::ballDensity(in_cell, Bench::kFloatBallSeed);
}

template <>
vec3f density<vec3f>(const vec3i& in_cell)
{
    return {Bench::ballDensity(in_cell, Bench::kVec3BallSeed),
            Bench::ballDensity(in_cell, Bench::kVec3BallSeed + 10),
            Bench::ballDensity(in_cell, Bench::kVec3BallSeed + 20)};
}

template <typename T>
constexpr double kBallRadius = 0.0;
template <>
constexpr double kBallRadius<float> = Bench::kFloatBallRadius;
template <>
constexpr double kBallRadius<vec3f> = Bench::kVec3BallRadius;

template <typename T>
std::shared_ptr<VoxelChannel<T>> channelOf(VoxelState& io_state)
{
    std::shared_ptr<Skelvar::TreeChannel3DBase> channel;
    require(io_state.channelRef("density", channel), "channelRef");
    return std::static_pointer_cast<VoxelChannel<T>>(channel);
}

/// A store with one shape, whose channel "density" is the ball.
template <typename T>
std::shared_ptr<VoxelState> makeBall()
{
    const auto inside = [](const vec3i& in_cell) {
        return Bench::isInBall(kBallRadius<T>, in_cell);
    };
    const auto state = Skelvar::StateServerManager::instance().createNewStateServer();
    std::string object = "ball";
    std::shared_ptr<Skelvar::VoxelLayout> layout;
    std::shared_ptr<Skelvar::VoxelShape> shape;
    require(state->newObject(object), "newObject");
    require(state->newVoxelLayout("tree", 1.0f), "newVoxelLayout");
    require(state->voxelLayout("tree", layout, VoxelState::eHintDoNotCopy), "voxelLayout");
    layout->addNodes(
        Bench::withAncestors(Bench::tilesHolding(static_cast<int>(kBallRadius<T>) + 1, inside)));
    require(state->newVoxelShape("volume", "tree", &object, shape), "newVoxelShape");
    require(state->newVoxelChannel<T>("density", "volume", Skelvar::eOffsetCentre, T{}),
            "newVoxelChannel");
    Bench::fillFinest(*layout, *channelOf<T>(*state), [&](const vec3i& in_cell) {
        return inside(in_cell) ? density<T>(in_cell) : T{};
    });
    return state;
}

template <typename T>
VoxelState& ball()
{
    static const std::shared_ptr<VoxelState> s_state = makeBall<T>();
    return *s_state;
}

/// Only what a user asked for: the cells of the ball.
template <typename T>
double usefulMegabytes()
{
    constexpr double kPi = 3.14159265358979323846;
    const double radius = kBallRadius<T>;
    return 4.0 / 3.0 * kPi * radius * radius * radius * sizeof(T) * 1e-6;
}

template <typename T>
Bench::ZlibChunks& chunks(CompressionQuality in_quality)
{
    static std::map<int, std::unique_ptr<Bench::ZlibChunks>> s_chunks;
    std::unique_ptr<Bench::ZlibChunks>& entry = s_chunks[in_quality];
    if (!entry) {
        entry = std::make_unique<Bench::ZlibChunks>(
            std::vector<Bench::ZlibChunks::Channel>{channelOf<T>(ball<T>())}, in_quality);
    }
    return *entry;
}

template <typename T>
void requireSame(VoxelState& io_a, VoxelState& io_b)
{
    const auto a = channelOf<T>(io_a);
    const auto b = channelOf<T>(io_b);
    for (int depth = 0; depth < Skelvar::kNumDepths; ++depth) {
        const long long count = a->tiles(depth).size();
        const bool same =
            count == b->tiles(depth).size() &&
            (count == 0 || std::memcmp(a->tiles(depth).data(), b->tiles(depth).data(),
                                       count * sizeof(typename VoxelChannel<T>::Tile)) == 0);
        require(same, "the loaded channel differs");
    }
}

template <typename T>
void addFileJobs(const std::string& in_data, CompressionQuality in_quality)
{
    static std::shared_ptr<VoxelState> s_loaded;
    static Bytes s_inflated;
    const std::string variant = "-q" + std::to_string(in_quality);
    const std::string path = (s_folder / ("bench-" + in_data + variant + ".kvf")).string();
    const auto save = [=] {
        std::string resolved;
        require(Skelvar::kvfSave(ball<T>(), path, "volume", {"density"}, 0, in_quality, resolved),
                "kvfSave");
    };
    const std::string save_job = "file.save." + in_data;
    const std::string load_job = "file.load." + in_data;
    Bench::add({save_job + "/skelvar" + variant, 2, "MB/s",
                [=] {
                    Bench::print("file.ratio." + in_data + "/skelvar" + variant + "/2t",
                                 usefulMegabytes<T>() * 1e6 /
                                     static_cast<double>(std::filesystem::file_size(path)),
                                 "raw/stored");
                    return usefulMegabytes<T>();
                },
                save, [] { ball<T>(); }, 2});
    Bench::add({save_job + "/zlib9" + variant, 2, "MB/s", usefulMegabytes<T>,
                [=] { chunks<T>(in_quality).deflateAll(); }, [=] { chunks<T>(in_quality); }, 2});
    Bench::add({load_job + "/skelvar" + variant, 2, "MB/s",
                [=] {
                    requireSame<T>(ball<T>(), *s_loaded);
                    s_loaded = nullptr;
                    std::filesystem::remove(path);
                    return usefulMegabytes<T>();
                },
                [=] { require(Skelvar::kvfLoad(*s_loaded, path), "kvfLoad"); },
                [=] {
                    if (!std::filesystem::exists(path)) {
                        save();
                    }
                    s_loaded = nullptr;
                    auto& servers = Skelvar::StateServerManager::instance();
                    s_loaded = servers.createNewStateServer();
                    servers.removeStateServer(s_loaded->getId());  // ours alone, and so freed
                }});
    Bench::add({load_job + "/inflate" + variant, 2, "MB/s",
                [] {
                    s_inflated = {};
                    return usefulMegabytes<T>();
                },
                [=] { chunks<T>(in_quality).inflateAll(s_inflated.data()); },
                [=] { s_inflated.resize(chunks<T>(in_quality).size()); }});
    // A loader has no warm memory to inflate into: what the first touch of fresh memory costs.
    Bench::add({load_job + "/inflate-fresh" + variant, 2, "MB/s", usefulMegabytes<T>,
                [=] {
                    const Bench::ZlibChunks& packed = chunks<T>(in_quality);
                    const auto fresh =
                        std::make_unique_for_overwrite<unsigned char[]>(packed.size());
                    packed.inflateAll(fresh.get());
                },
                [=] { chunks<T>(in_quality); }});
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    s_folder = std::filesystem::exists("/dev/shm") ? std::filesystem::path("/dev/shm")
                                                   : std::filesystem::temp_directory_path();
    constexpr std::string_view kFolderOption = "--folder=";
    for (const std::string_view argument : std::span(in_argv, in_argc)) {
        if (argument.starts_with(kFolderOption)) {
            s_folder = argument.substr(kFolderOption.size());
        }
    }
    for (const CompressionQuality quality : {Skelvar::eQualityPlain, Skelvar::eQualityLossless}) {
        addFileJobs<float>("float", quality);
        addFileJobs<vec3f>("vec3", quality);
    }
    return Bench::runAll(in_argc, in_argv);
}
