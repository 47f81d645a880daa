#pragma once

#include <skelvar/tree/VoxelLayout.h>

#include <memory>
#include <string>

namespace Skelvar::Test {

/// Builds a layout tile by tile, as in `LayoutBuilder().tile({0, 0, 0}, 7).build()`. What lies
/// between a tile and its nearest ancestor is made too.
class LayoutBuilder {
public:
    explicit LayoutBuilder(const std::string& in_name = "layout", float in_mvs = 1.0f)
        : m_layout(std::make_shared<VoxelLayout>(in_name, in_mvs))
    {
    }

    /// The tile of a depth that holds a point.
    LayoutBuilder& tile(const vec3i& in_point, int in_depth)
    {
        m_layout->addNode(in_point[0], in_point[1], in_point[2], in_depth);
        return *this;
    }
    /// All tiles of a depth that meet [lo, hi).
    LayoutBuilder& box(const vec3i& in_lo, const vec3i& in_hi, int in_depth = kMaxTileDepth)
    {
        m_layout->addNodes(in_lo, in_hi, in_depth);
        return *this;
    }
    std::shared_ptr<VoxelLayout> build() { return m_layout; }

private:
    std::shared_ptr<VoxelLayout> m_layout;
};

}  // namespace Skelvar::Test
