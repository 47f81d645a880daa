#include <skelvar/tree/CompactionMoves.h>

namespace Skelvar {

std::vector<TileIndex> compactionMoves(const std::vector<int>& in_deleted, int in_size)
{
    std::vector<TileIndex> moves;
    int source = in_size - 1;
    auto last_deleted = in_deleted.rbegin();
    for (const int destination : in_deleted) {
        for (; last_deleted != in_deleted.rend() && *last_deleted == source; ++last_deleted) {
            --source;
        }
        if (destination >= source) {
            break;
        }
        moves.push_back({destination, source--});
    }
    return moves;
}

}  // namespace Skelvar
