// Persistence of `ParticleChannel`.

#include <skelvar/base/InputStream.h>
#include <skelvar/base/OutputStream.h>
#include <skelvar/io/ParticleTilesEncoder.h>
#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/tree/VoxelLayout.h>

#include <limits>
#include <type_traits>

namespace Skelvar {

namespace {

constexpr unsigned short kParticleVersionWithNames = 3;
constexpr unsigned short kParticleVersionWithBase = 4;
constexpr unsigned short kParticleVersion = 4;

/// How the tiles of one depth stand in a stream.
enum class LevelForm { ePlain, ePlanes, eQuantised, eDropped };

template <typename T>
LevelForm levelForm(const std::string& in_name, CompressionQuality in_quality, int in_depth)
{
    constexpr int kDeepestPlain = 3;
    if (in_quality == eQualityPlain || !(std::is_same_v<T, float> || std::is_same_v<T, vec3f>)) {
        return LevelForm::ePlain;
    }
    if (std::is_same_v<T, float> || in_quality == eQualityLossless ||
        in_name.find("velocity") != std::string::npos) {
        return LevelForm::ePlanes;
    }
    if (in_name.find("position") != std::string::npos) {
        return in_depth <= kDeepestPlain ? LevelForm::ePlain : LevelForm::eQuantised;
    }
    return LevelForm::eDropped;
}

/// The fewest bytes of a tile in a stream.
unsigned long leastTileBytes(LevelForm in_form, KvfVersion in_version)
{
    constexpr unsigned long kCountBytes = 8;
    constexpr unsigned long kVersionBytes = 2;
    switch (in_form) {
        case LevelForm::eQuantised:
            return 2 * kCountBytes;
        case LevelForm::ePlain:
            return kCountBytes + (in_version >= kKvfVersion2 ? kVersionBytes : 0);
        default:
            return kCountBytes;
    }
}

template <typename T>
bool saveLevel(LevelForm in_form, int in_depth, const VoxelLayout* in_layout,
               const std::vector<DynamicParticleTile<T>>& in_tiles, OutputStream& io_stream)
{
    bool ok = io_stream.write(static_cast<unsigned long long>(in_tiles.size()));
    if constexpr (std::is_same_v<T, float> || std::is_same_v<T, vec3f>) {
        using Encoder = TilesEncoder<ParticleChannel<T>>;
        if (in_form == LevelForm::ePlanes) {
            return Encoder::encode(in_tiles.size(), in_tiles, io_stream) && ok;
        }
        if constexpr (std::is_same_v<T, vec3f>) {
            if (in_form == LevelForm::eQuantised) {
                return in_layout != nullptr &&
                       encodePositions(*in_layout, in_depth, in_tiles, io_stream) && ok;
            }
        }
    }
    for (const DynamicParticleTile<T>& tile : in_tiles) {
        ok &= tile.save(io_stream);
    }
    return ok;
}

template <typename T>
bool loadLevel(LevelForm in_form, int in_depth, const VoxelLayout* in_layout,
               std::vector<DynamicParticleTile<T>>& out_tiles, InputStream& io_stream)
{
    unsigned long long count = 0;
    if (!io_stream.read(count) ||
        count > io_stream.length() / leastTileBytes(in_form, io_stream.version()) ||
        count > static_cast<unsigned long long>(std::numeric_limits<int>::max()) ||
        (in_layout != nullptr &&
         count != static_cast<unsigned long long>(in_layout->numNodes(in_depth)))) {
        return false;
    }
    out_tiles.resize(count);
    if constexpr (std::is_same_v<T, float> || std::is_same_v<T, vec3f>) {
        using Encoder = TilesEncoder<ParticleChannel<T>>;
        if (in_form == LevelForm::ePlanes) {
            return Encoder::decode(count, out_tiles, io_stream);
        }
        if constexpr (std::is_same_v<T, vec3f>) {
            if (in_form == LevelForm::eQuantised) {
                return in_layout != nullptr &&
                       decodePositions(*in_layout, in_depth, out_tiles, io_stream);
            }
        }
    }
    for (DynamicParticleTile<T>& tile : out_tiles) {
        if (!tile.load(io_stream)) {
            return false;
        }
    }
    return true;
}

}  // namespace

template <typename T>
bool ParticleChannel<T>::save(OutputStream& io_stream) const
{
    bool ok = io_stream.write(kParticleVersion);
    ok &= io_stream.write(this->backgroundValue());
    ok &= io_stream.write(this->name());
    ok &= io_stream.write(this->shapeName());
    ok &= io_stream.write(this->customType());
    ok &= TreeChannel3DBase::save(io_stream);
    ok &= io_stream.write(static_cast<unsigned int>(kNumDepths));
    const std::shared_ptr<VoxelLayout> layout = layoutPtr();
    const Tiles no_tiles;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        const auto form = levelForm<T>(this->name(), io_stream.quality(), depth);
        if (form != LevelForm::eDropped) {
            ok &=
                saveLevel(form, depth, layout.get(), m_blocks ? tiles(depth) : no_tiles, io_stream);
        }
    }
    return ok;
}

template <typename T>
bool ParticleChannel<T>::load(InputStream& io_stream)
{
    ParticleChannel loaded;
    this->copyHeaderInto(loaded);  // older streams do not hold all of it
    if (!loaded.loadHeader(io_stream) || !loadLevels(io_stream, loaded.name(), *loaded.m_blocks)) {
        takeCounts();
        return false;
    }
    if (!m_blocks) {
        m_blocks = std::make_shared<TileArrays>();
    }
    const std::string known_name = this->name();
    loaded.copyHeaderInto(*this);
    if (levelForm<T>(this->name(), io_stream.quality(), 0) == LevelForm::eDropped) {
        for (Tiles& tiles_of_depth : *m_blocks) {
            for (Tile& tile : tiles_of_depth) {
                tile.resizeForOverwrite(0);
            }
        }
        takeCounts();
    } else {
        *m_blocks = std::move(*loaded.m_blocks);  // for all that share them
        publishCounts(known_name);
    }
    return true;
}

template <typename T>
bool ParticleChannel<T>::loadHeader(InputStream& io_stream)
{
    unsigned short version = 1;
    if ((io_stream.version() >= kKvfVersion2 && !io_stream.read(version)) ||
        version > kParticleVersion) {
        return false;
    }
    if (version >= kParticleVersionWithNames) {
        T background{};
        std::string name;
        std::string shape_name;
        std::string custom_type;
        if (!io_stream.read(background) || !io_stream.read(name) || !io_stream.read(shape_name) ||
            !io_stream.read(custom_type)) {
            return false;
        }
        this->setBackgroundValue(background);
        this->setName(name);
        this->setShapeName(shape_name);
        this->setCustomType(custom_type);
    }
    io_stream.userdata(version);
    return version < kParticleVersionWithBase || TreeChannel3DBase::load(io_stream);
}

template <typename T>
bool ParticleChannel<T>::loadLevels(InputStream& io_stream, const std::string& in_name,
                                    TileArrays& out_tiles) const
{
    unsigned int num_levels = 0;
    if (!io_stream.read(num_levels) || num_levels > kNumDepths) {
        return false;
    }
    const std::shared_ptr<VoxelLayout> layout = layoutPtr();
    for (int depth = 0; depth < kNumDepths; ++depth) {
        const auto form = levelForm<T>(in_name, io_stream.quality(), depth);
        if (form == LevelForm::eDropped) {
            return true;
        }
        if (static_cast<unsigned int>(depth) >= num_levels) {
            if (layout && layout->numNodes(depth) > 0) {
                return false;
            }
        } else if (!loadLevel(form, depth, layout.get(), out_tiles[depth], io_stream)) {
            return false;
        }
    }
    return true;
}

template <typename T>
bool ParticleChannel<T>::dump(OutputStream& io_stream) const
{
    bool ok = TreeChannel3DBase::dump(io_stream);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        ok &= io_stream.write("Tiles at depth " + std::to_string(depth) + ": " +
                              std::to_string(numTiles(depth)) +
                              ", elements: " + std::to_string(numElements(depth)));
    }
    return ok;
}

#define SKELVAR_INSTANTIATE(T)                                                                  \
    template bool ParticleChannel<T>::save(OutputStream&) const;                                \
    template bool ParticleChannel<T>::load(InputStream&);                                       \
    template bool ParticleChannel<T>::loadHeader(InputStream&);                                 \
    template bool ParticleChannel<T>::loadLevels(InputStream&, const std::string&, TileArrays&) \
        const;                                                                                  \
    template bool ParticleChannel<T>::dump(OutputStream&) const;
SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
