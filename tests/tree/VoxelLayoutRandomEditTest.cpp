#include <skelvar/tree/LayoutConsistency.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>

#include "FollowingArrays.h"
#include "LayoutModel.h"
#include "tests/support/MemoryStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace Skelvar::Test {
namespace {

/// Edits a layout and the model alike, at random, and compares them.
class RandomEditor {
public:
    explicit RandomEditor(unsigned in_seed) : m_random(in_seed) {}

    void step()
    {
        switch (pick(0, 13)) {
            case 0:
            case 1:
            case 2:
                return addOne();
            case 3:
                return addById();
            case 4:
                return addCommonTile();
            case 5:
                return addBox();
            case 6:
            case 7:
                return addBulk();
            case 8:
                return deleteOne();
            case 9:
                return deleteManyById();
            case 10:
                return deleteManyByIndex();
            case 11:
                return deleteLists();
            case 12:
                return update();
            default:
                return replace();
        }
    }

    void expectAlike()
    {
        ASSERT_EQ(0, checkLayout(*m_layout).total());
        ASSERT_EQ(m_model.tiles(), tilesOf(*m_layout));
        ASSERT_NO_FATAL_FAILURE(m_follower->expectInStep());
        for (int n = 0; n < 40; ++n) {
            ASSERT_NO_FATAL_FAILURE(expectLookup(point(), pick(0, 7)));
        }
    }

    int numNodes() const { return m_layout->numNodes(); }

private:
    int pick(int in_lo, int in_hi)
    {
        return std::uniform_int_distribution<int>(in_lo, in_hi)(m_random);
    }
    vec3i point()
    {
        const int reach = pick(0, 9) == 0 ? 195312 : pick(0, 2) == 0 ? 2000 : 60;
        return {pick(-reach, reach), pick(-reach, reach), pick(-reach, reach)};
    }
    /// Mostly deep; a tile at the top now and then.
    int depth() { return pick(0, 30) == 0 ? pick(0, 7) : pick(4, 7); }
    static TileId idOf(const Tile& in_tile)
    {
        return tileCoordsToId(in_tile.i, in_tile.j, in_tile.k, in_tile.depth);
    }
    TileId someId()
    {
        if (m_model.tiles().empty() || pick(0, 5) == 0) {
            return idOf(Tile::at(point(), depth()));
        }
        auto tile = m_model.tiles().lower_bound(Tile::at(point(), pick(3, 7)));
        return idOf(tile == m_model.tiles().end() ? *m_model.tiles().rbegin() : *tile);
    }
    void removeFromModel(TileId in_id)
    {
        Tile tile;
        idToTileCoords(in_id, tile.i, tile.j, tile.k, tile.depth);
        m_model.removeBranch(tile);
    }

    void addOne()
    {
        const vec3i p = point();
        const int d = depth();
        const bool existed = m_model.has(Tile::at(p, d));
        m_follower->takeLog();
        const TileIndex index = m_layout->addNode(p[0], p[1], p[2], d);
        m_model.add(Tile::at(p, d));
        ASSERT_EQ(idOf(Tile::at(p, d)), m_layout->node(index).id());
        ASSERT_EQ(existed, m_follower->takeLog().empty());
    }
    void addById()
    {
        std::vector<TileId> ids;
        for (int n = pick(1, 20); n > 0; --n) {
            const Tile tile = Tile::at(point(), depth());
            ids.push_back(idOf(tile) | 0x55);  // the low bits do not count
            m_model.add(tile);
        }
        std::vector<TileId> added;
        const int before = m_layout->numNodes();
        m_layout->addNodes(ids, &added);
        ASSERT_EQ(m_layout->numNodes() - before, static_cast<int>(added.size()));
    }
    void addCommonTile()
    {
        const vec3i a = point();
        const vec3i b{a[0] + pick(-20, 20), a[1], a[2] + pick(-20, 20)};
        const TileIndex index = m_layout->addNode(a, b);
        if (std::abs(b[0]) > 195312 || std::abs(b[2]) > 195312) {
            ASSERT_EQ((TileIndex{-1, -1}), index);
            return;
        }
        int d = 7;
        while (Tile::at(a, d) != Tile::at(b, d)) {
            --d;
        }
        m_model.add(Tile::at(a, d));
        ASSERT_EQ(idOf(Tile::at(a, d)), m_layout->node(index).id());
    }
    void addBox()
    {
        const vec3i lo = point();
        const int side = Tile::at({0, 0, 0}, 6).side();
        const vec3i hi{lo[0] + pick(0, 60), lo[1] + pick(0, 60), lo[2] + pick(0, 60)};
        for (int i = lo[0]; i < hi[0]; i += side) {
            for (int j = lo[1]; j < hi[1]; j += side) {
                for (int k = lo[2]; k < hi[2]; k += side) {
                    if (std::max({i, j, k}) <= 195312) {
                        m_model.add(Tile::at({i, j, k}, 6));
                    }
                }
            }
        }
        m_layout->addNodes(lo, hi, 6);
    }
    void addBulk()
    {
        const int counts[] = {1, 30, 99, 100, 400};
        const bool with_ancestors = pick(0, 2) > 0;
        std::vector<std::set<Tile>> tiles(8);
        for (int n = counts[pick(0, 4)]; n > 0; --n) {
            const Tile tile = Tile::at(point(), pick(6, 7));
            tiles[tile.depth].insert(tile);
            for (int d = pick(0, 4); with_ancestors && d < tile.depth; ++d) {
                tiles[d].insert(tile.above(d));
            }
        }
        std::vector<std::vector<vec3i>> points(8);
        for (int d = 0; d < 8; ++d) {
            for (const Tile& tile : tiles[d]) {
                const int in = tile.side() - 1;
                points[d].push_back(
                    {tile.i + pick(0, in), tile.j + pick(0, in), tile.k + pick(0, in)});
            }
            points[d].push_back({195313, 0, 0});
        }
        m_model.addBulk(points);
        m_follower->takeLog();
        std::vector<TileId> added;
        const int before = m_layout->numNodes();
        m_layout->addNodes(points, &added);
        ASSERT_EQ(std::vector<std::string>{"nodesAdded"}, m_follower->takeLog());
        ASSERT_EQ(m_layout->numNodes() - before, static_cast<int>(added.size()));
    }
    void deleteOne()
    {
        const TileId id = someId();
        removeFromModel(id);
        m_layout->deleteNode(id);
    }
    void deleteManyById()
    {
        std::vector<TileId> ids;
        for (int n = pick(0, 30); n > 0; --n) {
            ids.push_back(someId());
            removeFromModel(ids.back());
        }
        const int before = m_layout->numNodes();
        std::vector<TileId> deleted;
        m_layout->deleteNodes(ids, &deleted);
        ASSERT_EQ(before - m_layout->numNodes(), static_cast<int>(deleted.size()));
    }
    TileIndex someIndex()
    {
        const int d = pick(2, 7);
        return {pick(-1, m_layout->numNodes(d)), d};
    }
    void deleteManyByIndex()
    {
        std::vector<TileIndex> indices;
        for (int n = pick(0, 30); n > 0; --n) {
            indices.push_back(someIndex());
        }
        for (const TileIndex& index : indices) {
            if (m_layout->isLive(index)) {
                removeFromModel(m_layout->node(index).id());
            }
        }
        m_layout->deleteNodes(indices);
    }
    void deleteLists()
    {
        std::vector<std::vector<int>> lists(8);
        for (int n = pick(0, 1) * 120 + pick(0, 30); n > 0; --n) {
            const TileIndex index = someIndex();
            lists[index.second].push_back(index.first);
            if (m_layout->isLive(index) && index.second > 3) {
                removeFromModel(m_layout->node(index).id());
            } else {
                lists[index.second].pop_back();
            }
        }
        const int before = m_layout->numNodes();
        std::vector<TileId> deleted;
        m_layout->deleteNodes(lists, &deleted);
        ASSERT_EQ(before - m_layout->numNodes(), static_cast<int>(deleted.size()));
    }
    void update()
    {
        std::vector<TileId> to_add;
        std::vector<TileId> to_delete;
        for (int n = 0; n < 10; ++n) {
            const Tile tile = Tile::at(point(), depth());
            to_add.push_back(idOf(tile));
            m_model.add(tile);
        }
        for (int n = 0; n < 5; ++n) {
            to_delete.push_back(someId());
        }
        for (const TileId id : to_delete) {
            removeFromModel(id);
        }
        m_layout->update(to_add, to_delete);
    }
    /// Goes on with a copy, with what a stream gives back, or, rarely, from nothing.
    void replace()
    {
        const int way = pick(0, 8);
        if (way == 0) {
            m_layout->clear();
            m_model.clear();
            return;
        }
        m_follower.reset();
        if (way < 5) {
            m_layout = std::static_pointer_cast<VoxelLayout>(m_layout->copy(way % 2 == 0));
        } else {
            MemoryWriter out;
            ASSERT_TRUE(m_layout->save(out));
            MemoryReader in(out.bytes());
            m_layout = std::make_shared<VoxelLayout>();
            ASSERT_TRUE(m_layout->load(in));
            ASSERT_TRUE(in.atEnd());
        }
        m_follower = std::make_unique<FollowingArrays>(*m_layout);
    }

    void expectLookup(const vec3i& in_point, int in_depth)
    {
        const auto [x, y, z] = in_point.e;
        const Tile tile = Tile::at(in_point, in_depth);
        Tile deepest;
        if (m_model.deepestAbove(tile, deepest)) {
            const TileIndex index = m_layout->nodeIndex<false>(x, y, z, in_depth);
            ASSERT_TRUE(m_layout->isLive(index));
            ASSERT_EQ(idOf(deepest), m_layout->node(index).id());
            ASSERT_EQ(index, m_layout->nodeIndex<false>(idOf(tile)));
        } else {
            ASSERT_EQ(kNoTileIndex, m_layout->nodeIndex<false>(x, y, z, in_depth));
            ASSERT_EQ(kNoTileIndex, m_layout->nodeIndex<false>(idOf(tile)));
        }
        const TileIndex exact = m_layout->nodeIndex<true>(x, y, z, in_depth);
        ASSERT_EQ(m_model.has(tile), exact.first >= 0);
        ASSERT_EQ(exact, m_layout->nodeIndex<true>(idOf(tile)));
        ASSERT_EQ(m_model.has(tile) && m_model.isRoot(tile), m_layout->isRoot(idOf(tile)));
    }

    std::mt19937 m_random;
    LayoutModel m_model;
    std::shared_ptr<VoxelLayout> m_layout = std::make_shared<VoxelLayout>();
    std::unique_ptr<FollowingArrays> m_follower = std::make_unique<FollowingArrays>(*m_layout);
};

TEST(VoxelLayoutRandomEdits, AgreeWithASetOfTiles)
{
    int most_nodes = 0;
    for (unsigned seed = 1; seed <= 12; ++seed) {
        RandomEditor editor(seed);
        for (int step = 0; step < 80; ++step) {
            SCOPED_TRACE(::testing::Message() << "seed " << seed << ", step " << step);
            ASSERT_NO_FATAL_FAILURE(editor.step());
            ASSERT_NO_FATAL_FAILURE(editor.expectAlike());
            most_nodes = std::max(most_nodes, editor.numNodes());
        }
    }
    EXPECT_GT(most_nodes, 1000);
}

}  // namespace
}  // namespace Skelvar::Test
