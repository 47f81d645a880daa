#include <skelvar/tree/CompactionMoves.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace Skelvar::Test {
namespace {

using Moves = std::vector<TileIndex>;

TEST(CompactionMoves, PairsRisingGapsWithFallingLiveElements)
{
    EXPECT_EQ(Moves{}, compactionMoves({}, 5));
    EXPECT_EQ(Moves{}, compactionMoves({4}, 5));
    EXPECT_EQ(Moves{}, compactionMoves({3, 4}, 5));
    EXPECT_EQ(Moves{}, compactionMoves({0, 1, 2}, 3));
    EXPECT_EQ((Moves{{0, 4}}), compactionMoves({0}, 5));
    EXPECT_EQ((Moves{{0, 3}}), compactionMoves({0, 4}, 5));
    EXPECT_EQ((Moves{{1, 9}, {2, 7}}), compactionMoves({1, 2, 6, 8}, 10));
    EXPECT_EQ((Moves{{0, 5}, {1, 2}}), compactionMoves({0, 1, 3, 4}, 6));
}

TEST(CompactionMoves, KeepEveryLiveElementOnceOnRandomGaps)
{
    const unsigned seed = 77;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 500; ++round) {
        const int size = 1 + static_cast<int>(random() % 60);
        const unsigned percent = random() % 101;
        std::vector<int> elements;
        std::vector<int> deleted;
        std::vector<int> live;
        for (int n = 0; n < size; ++n) {
            elements.push_back(n);
            (random() % 100 < percent ? deleted : live).push_back(n);
        }

        for (const auto& [destination, source] : compactionMoves(deleted, size)) {
            ASSERT_LT(destination, source);
            elements[destination] = elements[source];
        }
        elements.resize(size - deleted.size());

        std::sort(elements.begin(), elements.end());
        ASSERT_EQ(live, elements);
    }
}

}  // namespace
}  // namespace Skelvar::Test
