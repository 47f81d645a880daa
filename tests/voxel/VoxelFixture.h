#pragma once

#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tests/support/VoxelTypes.h>

#include <memory>
#include <string>
#include <vector>

namespace Skelvar::Test {

/// A shape "s" on a layout "l" with the root tile, its 125 children, and 125 children of each of
/// the first `in_split` of those.
struct ShapeOnLayout {
    explicit ShapeOnLayout(int in_split = 2)
    {
        layout->addNode(0);
        split({0, 0});
        for (int n = 0; n < in_split; ++n) {
            split({n, 1});
        }
        shape->setLayout(layout);
    }

    /// Gives each node of [first, end) of a depth every n-th of its 125 children, in one batch.
    void addChildren(int in_depth, int in_first, int in_end, int in_stride = 1)
    {
        const int side = kTileSideLUT[in_depth + 1];
        std::vector<vec3i> corners;
        for (int parent = in_first; parent < in_end; ++parent) {
            const vec3i corner = layout->node(parent, in_depth).corner();
            for (int n = 0; n < 125; n += in_stride) {
                corners.push_back(corner + vec3i{n % 5 * side, n / 5 % 5 * side, n / 25 * side});
            }
        }
        layout->addNodes(corners, in_depth + 1);
    }
    void split(const TileIndex& in_node)
    {
        addChildren(in_node.second, in_node.first, in_node.first + 1);
    }
    /// Gives a node its n-th child, by single insertion.
    void addChild(const TileIndex& in_node, int in_child = 0)
    {
        const int side = kTileSideLUT[in_node.second + 1];
        const VoxelLayoutNode& node = layout->node(in_node);
        layout->addNode(node.i() + in_child % 5 * side, node.j() + in_child / 5 % 5 * side,
                        node.k() + in_child / 25 * side, in_node.second + 1);
    }

    /// A new channel on the shape, its tiles numbered by `numberTiles` if asked for.
    template <typename T>
    std::shared_ptr<VoxelChannel<T>> addChannel(const std::string& in_name, bool in_number = true);

    std::shared_ptr<VoxelLayout> layout = std::make_shared<VoxelLayout>("l");
    std::shared_ptr<VoxelShape> shape = std::make_shared<VoxelShape>("s");
};

/// The value of a cell, different for neighbouring tiles and depths.
template <typename T>
T cellValue(const TileIndex& in_tile, int in_cell)
{
    return valueOf<T>(in_tile.second * 1000 + in_tile.first * 7 + in_cell);
}

template <typename T>
void numberTiles(VoxelChannel<T>& io_channel)
{
    for (int depth = 0; depth <= io_channel.maxDepth(); ++depth) {
        for (int index = 0; index < io_channel.numTiles(depth); ++index) {
            for (int cell = 0; cell < 125; ++cell) {
                io_channel.tile(index, depth)(cell) = cellValue<T>({index, depth}, cell);
            }
        }
    }
}

template <typename T>
bool holdsNumbers(const VoxelChannel<T>& in_channel)
{
    for (int depth = 0; depth <= in_channel.maxDepth(); ++depth) {
        for (int index = 0; index < in_channel.numTiles(depth); ++index) {
            for (int cell = 0; cell < 125; ++cell) {
                if (!(in_channel.tile(index, depth)(cell) == cellValue<T>({index, depth}, cell))) {
                    return false;
                }
            }
        }
    }
    return true;
}

template <typename T>
std::shared_ptr<VoxelChannel<T>> ShapeOnLayout::addChannel(const std::string& in_name,
                                                           bool in_number)
{
    const auto channel =
        std::make_shared<VoxelChannel<T>>(in_name, shape, valueOf<T>(4), eOffsetCentre);
    shape->addChannel(channel);
    if (in_number) {
        numberTiles(*channel);
    }
    return channel;
}

}  // namespace Skelvar::Test
