#pragma once

// Persistence of `VoxelChannel`, for the source that instantiates it.

#include <skelvar/base/InputStream.h>
#include <skelvar/base/OutputStream.h>
#include <skelvar/io/TilesEncoder.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelChannelImpl.h>

#include <limits>
#include <type_traits>
#include <utility>

namespace Skelvar {

namespace Detail {

inline constexpr unsigned short kChannelVersionWithCustomType = 3;
inline constexpr unsigned short kChannelVersionWithBase = 4;
inline constexpr unsigned short kChannelVersion = 4;

template <typename T>
bool isInPlanes(CompressionQuality in_quality)
{
    return std::is_same_v<T, float> && in_quality >= eQualityLossless;
}

/// Bytes that one tile takes in a stream.
template <typename Tile, typename T = typename Tile::value_type>
unsigned long tileRecordBytes(const InputStream& in_stream)
{
    constexpr unsigned long kCountBytes = 4;
    constexpr unsigned long kVersionBytes = 2;
    constexpr unsigned long kPlaneLengthBytes = 8;
    if (isInPlanes<T>(in_stream.quality())) {
        return kPlaneLengthBytes + sizeof(Tile);
    }
    return (in_stream.version() >= kKvfVersion2 ? kVersionBytes : 0) + kCountBytes + sizeof(Tile);
}

template <typename T>
bool saveTiles(const array1<VoxelTile<T, 0, 5>>& in_tiles, OutputStream& io_stream)
{
    using Encoder = TilesEncoder<VoxelChannel<T>>;
    const unsigned long count = static_cast<unsigned long>(in_tiles.size());
    bool ok = io_stream.write(static_cast<unsigned long long>(count));
    if constexpr (std::is_same_v<T, float>) {
        if (isInPlanes<T>(io_stream.quality())) {
            return Encoder::encodef(count, in_tiles, io_stream) && ok;
        }
    }
    return Encoder::encode(count, in_tiles, io_stream) && ok;
}

}  // namespace Detail

template <typename T>
bool VoxelChannel<T>::save(OutputStream& io_stream) const
{
    bool ok = io_stream.write(Detail::kChannelVersion);
    ok &= io_stream.write(this->backgroundValue());
    ok &= io_stream.write(this->name());
    ok &= io_stream.write(this->shapeName());
    ok &= io_stream.write(this->customType());
    ok &= TreeChannel3DBase::save(io_stream);
    ok &= io_stream.write(static_cast<signed char>(m_offset_type));
    ok &= io_stream.write(static_cast<unsigned int>(kNumDepths));
    io_stream.userdata(Detail::kChannelVersion);
    const array1<Tile> no_tiles;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        ok &= Detail::saveTiles(m_blocks ? tiles(depth) : no_tiles, io_stream);
    }
    return ok;
}

template <typename T>
bool VoxelChannel<T>::load(InputStream& io_stream)
{
    VoxelChannel loaded;
    this->copyHeaderInto(loaded);  // older streams do not hold all of it
    if (!loaded.loadBody(io_stream)) {
        return false;
    }
    loaded.copyHeaderInto(*this);
    m_offset_type = loaded.m_offset_type;
    if (m_blocks) {
        *m_blocks = std::move(*loaded.m_blocks);  // for all that share them
    } else {
        m_blocks = loaded.m_blocks;
    }
    return true;
}

template <typename T>
bool VoxelChannel<T>::loadBody(InputStream& io_stream)
{
    unsigned short version = 1;
    if (io_stream.version() >= kKvfVersion2 && !io_stream.read(version)) {
        return false;
    }
    T background{};
    std::string name;
    std::string shape_name;
    std::string custom_type;
    bool ok = version <= Detail::kChannelVersion && io_stream.read(background) &&
              io_stream.read(name) && io_stream.read(shape_name);
    if (version >= Detail::kChannelVersionWithCustomType) {
        ok = ok && io_stream.read(custom_type);
    }
    io_stream.userdata(version);
    if (version >= Detail::kChannelVersionWithBase) {
        ok = ok && TreeChannel3DBase::load(io_stream);
    }
    signed char offset_type = 0;
    unsigned int num_depths = 0;
    ok = ok && io_stream.read(offset_type) && offset_type >= 0 && offset_type < 8 &&
         io_stream.read(num_depths) && num_depths == kNumDepths;
    if (!ok) {
        return false;
    }
    this->setBackgroundValue(background);
    this->setName(name);
    this->setShapeName(shape_name);
    this->setCustomType(custom_type);
    m_offset_type = static_cast<VoxelOffsetType>(offset_type);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        if (!loadTiles(io_stream, depth)) {
            return false;
        }
    }
    return true;
}

template <typename T>
bool VoxelChannel<T>::loadTiles(InputStream& io_stream, int in_depth)
{
    unsigned long long count = 0;
    if (!io_stream.read(count) ||
        count > io_stream.length() / Detail::tileRecordBytes<Tile>(io_stream) ||
        count > static_cast<unsigned long long>(std::numeric_limits<int>::max())) {
        return false;
    }
    using Encoder = TilesEncoder<VoxelChannel>;
    array1<Tile>& tiles_of_depth = tiles(in_depth);
    Detail::resizeForOverwrite(tiles_of_depth, static_cast<long long>(count));
    if constexpr (std::is_same_v<T, float>) {
        if (Detail::isInPlanes<T>(io_stream.quality())) {
            return Encoder::decodef(count, tiles_of_depth, io_stream);
        }
    }
    return Encoder::decode(count, tiles_of_depth, io_stream);
}

template <typename T>
bool VoxelChannel<T>::dump(OutputStream& io_stream) const
{
    bool ok = TreeChannel3DBase::dump(io_stream);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        ok &= io_stream.write("Tiles at depth " + std::to_string(depth) + ": " +
                              std::to_string(numTiles(depth)));
    }
    return ok;
}

}  // namespace Skelvar
