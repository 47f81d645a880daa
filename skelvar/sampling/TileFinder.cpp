#include <skelvar/sampling/TileFinder.h>

namespace Skelvar::Detail {

TileNeighbours* TileFinder::search(const vec3i& in_point, int in_depth)
{
    if (m_layout == nullptr) {
        return nullptr;
    }
    // By the tile above and the slot there, so that the node of the tile itself, a cache line far
    // from all others, is not touched.
    const int i = in_point[0];
    const int j = in_point[1];
    const int k = in_point[2];
    const CellIndex above = m_layout->cellIndex<false>(i, j, k, in_depth - 1);
    TileIndex found = above.tile;
    if (found.first >= 0 && found.second == in_depth - 1) {
        const int child = m_layout->nodes(in_depth - 1).childSlots(found.first)[above.cell];
        if (child >= 0) {
            m_current = m_around + in_depth;
            if (m_current->index() != child) {
                m_current->enterChild({child, in_depth}, found.first, above.cell, in_point,
                                      *m_layout);
            }
            return m_current;
        }
    } else if (found.first < 0) {
        found = m_layout->nodeIndex<false>(i, j, k, in_depth);
        if (found.first < 0) {
            return nullptr;
        }
    }
    m_current = &at(found);
    return m_current;
}

}  // namespace Skelvar::Detail
