#include <tests/support/MemoryStream.h>
#include <tests/support/ParticleScene.h>
#include <tests/support/Random.h>

#include <skelvar/particles/ReblockByPosition.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <thread>
#include <utility>
#include <vector>

namespace Skelvar {
namespace {

using Test::ParticleScene;
using Testing::Random;

constexpr int kReach = 60;  ///< particles and tiles stay within so many units of the origin
constexpr int kThreads = 4;

/// A naive store of particles, a map from id to position, and the library's shape beside it.
class ParticleModel {
public:
    /// With an odd seed the tree is of bare roots, as the tiles come.
    explicit ParticleModel(unsigned int in_seed) : m_random(in_seed), m_has_top(in_seed % 2 == 0)
    {
        addTiles();
    }

    void step()
    {
        switch (m_random.integer(0, 9)) {
            case 0:
            case 1:
            case 2:
                addParticles();
                break;
            case 3:
            case 4:
                moveParticles();
                break;
            case 5:
            case 6:
                removeParticles();
                break;
            case 7:
                addTiles();
                break;
            case 8:
                deleteTiles();
                break;
            default:
                saveAndLoad();
        }
    }

    /// Every id once, in the tile that holds its position, with its values in all channels.
    void check() const
    {
        std::set<unsigned long long> seen;
        unsigned long long in_all = 0;
        for (int depth = 0; depth < kNumDepths; ++depth) {
            ASSERT_EQ(m_scene.layout->numNodes(depth), m_scene.id->numTiles(depth));
            unsigned long long at_depth = 0;
            for (int index = 0; index < m_scene.id->numTiles(depth); ++index) {
                const TileIndex tile{index, depth};
                at_depth += m_scene.shape->numElements(tile);
                checkTile(tile, seen);
            }
            EXPECT_EQ(at_depth, m_scene.shape->numParticles(depth));
            in_all += at_depth;
        }
        EXPECT_EQ(m_positions.size(), seen.size());
        EXPECT_EQ(m_positions.size(), m_scene.shape->numParticles());
        EXPECT_EQ(in_all, m_scene.shape->numParticles());
    }

private:
    void checkTile(const TileIndex& in_tile, std::set<unsigned long long>& io_seen) const
    {
        const ParticleScene& s = m_scene;
        const unsigned long count = s.id->tile(in_tile).size();
        ASSERT_EQ(s.shape->numElements(in_tile), count);
        ASSERT_EQ(count, s.position->tile(in_tile).size());
        ASSERT_EQ(count, s.velocity->tile(in_tile).size());
        ASSERT_EQ(count, s.density->tile(in_tile).size());
        ASSERT_EQ(count, s.flag->tile(in_tile).size());
        ASSERT_EQ(count, s.cell->tile(in_tile).size());
        for (unsigned long n = 0; n < count; ++n) {
            const unsigned long long id = s.id->tile(in_tile)[n];
            ASSERT_TRUE(io_seen.insert(id).second) << "id " << id << " twice";
            const auto expected = m_positions.find(id);
            ASSERT_NE(m_positions.end(), expected) << "id " << id << " is gone";
            EXPECT_EQ(expected->second, s.position->tile(in_tile)[n]);
            EXPECT_EQ(in_tile, s.tileAt(expected->second)) << "id " << id;
            EXPECT_EQ(ParticleScene::velocityOf(id), s.velocity->tile(in_tile)[n]);
            EXPECT_EQ(ParticleScene::densityOf(id), s.density->tile(in_tile)[n]);
            EXPECT_EQ(ParticleScene::flagOf(id), s.flag->tile(in_tile)[n]);
            EXPECT_EQ(ParticleScene::cellOf(id), s.cell->tile(in_tile)[n]);
        }
    }

    vec3f anyPoint()
    {
        const auto any = [&] { return static_cast<float>(m_random.real(-kReach, kReach)); };
        return {any(), any(), any()};
    }
    template <typename T>
    static void addTo(ParticleChannel<T>& io_channel, const TileIndex& in_tile, const T& in_value)
    {
        io_channel.accessor().addElement(in_tile.first, in_tile.second, &in_value);
    }

    /// Half of the times in one channel, with the others following by a sync, else in each.
    void addParticles()
    {
        const bool by_sync = m_random.integer(0, 1) == 0;
        for (int n = m_random.integer(1, 300); n > 0; --n) {
            const vec3f point = anyPoint();
            const TileIndex tile = m_scene.tileAt(point);
            if (tile.first < 0) {
                continue;
            }
            const unsigned long long id = m_scene.shape->nextParticleId();
            m_positions[id] = point;
            if (!by_sync) {
                m_scene.push(tile, point, id);
                continue;
            }
            addTo(*m_scene.id, tile, id);
            const unsigned long last = m_scene.id->tile(tile).size() - 1;
            EXPECT_EQ(-3.0f, m_scene.density->tile(tile)[last]) << "the background value";
            m_scene.position->tile(tile)[last] = point;
            m_scene.velocity->tile(tile)[last] = ParticleScene::velocityOf(id);
            m_scene.density->tile(tile)[last] = ParticleScene::densityOf(id);
            m_scene.flag->tile(tile)[last] = ParticleScene::flagOf(id);
            m_scene.cell->tile(tile)[last] = ParticleScene::cellOf(id);
        }
        m_scene.flag->syncShapeParticleCounts();
    }

    /// Calls in_body(tile, index, id) for every particle.
    template <typename Body>
    void forEachParticle(const Body& in_body)
    {
        for (int depth = 0; depth < kNumDepths; ++depth) {
            for (int index = 0; index < m_scene.id->numTiles(depth); ++index) {
                const auto& tile = m_scene.id->tile(index, depth);
                for (unsigned long n = 0; n < tile.size(); ++n) {
                    in_body(TileIndex{index, depth}, n, tile[n]);
                }
            }
        }
    }

    void moveParticles()
    {
        const float step = static_cast<float>(m_random.real(0.0, 12.0));
        forEachParticle(
            [&](const TileIndex& in_tile, unsigned long in_index, unsigned long long id) {
                if (m_random.integer(0, 2) == 0) {
                    const vec3f moved = m_positions[id] + anyPoint() * (step / kReach);
                    if (m_scene.tileAt(moved).first >= 0) {
                        m_positions[id] = m_scene.position->tile(in_tile)[in_index] = moved;
                    }
                }
            });
        reblock();
    }

    /// Half of the times by lists that are made here, one pair of depths at a time.
    void reblock()
    {
        if (m_random.integer(0, 1) == 0) {
            EXPECT_EQ(0u, reblockByPosition(*m_scene.position).strays);
            return;
        }
        auto accessor = m_scene.density->accessor();
        for (int from = 0; from < kNumDepths; ++from) {
            for (int to = 0; to < kNumDepths; ++to) {
                std::vector<ParticleToFrom> list;
                for (int index = 0; index < m_scene.id->numTiles(from); ++index) {
                    const auto& points = m_scene.position->tile(index, from);
                    for (unsigned long n = 0; n < points.size(); ++n) {
                        const TileIndex there = m_scene.tileAt(points[n]);
                        if (there.second == to && there != TileIndex{index, from}) {
                            list.push_back({there.first, index, n});
                        }
                    }
                }
                accessor.reblock(&list, from, to);
            }
        }
    }

    /// Asks for removals from several threads, each for every so-many-th particle.
    void removeParticles()
    {
        struct Place {
            TileIndex tile;
            unsigned long index;
        };
        std::vector<Place> places;
        const int share = m_random.integer(1, 8);
        forEachParticle(
            [&](const TileIndex& in_tile, unsigned long in_index, unsigned long long id) {
                if (m_random.integer(0, share) == 0) {
                    places.push_back({in_tile, in_index});
                    m_positions.erase(id);
                }
            });
        std::shuffle(places.begin(), places.end(), std::mt19937(5));
        auto accessor = m_scene.velocity->accessor();
        std::vector<std::thread> threads;
        for (std::size_t thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&, thread] {
                for (std::size_t n = thread; n < places.size(); n += kThreads) {
                    accessor.removeElement(places[n].tile.first, places[n].tile.second,
                                           places[n].index);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        accessor.update();
    }

    void addTiles()
    {
        if (m_has_top) {
            m_scene.layout->addNode(TileId(0));
        }
        for (int n = m_random.integer(1, 40); n > 0; --n) {
            const vec3f p = anyPoint();
            m_scene.layout->addNode(static_cast<int>(p[0]), static_cast<int>(p[1]),
                                    static_cast<int>(p[2]), m_random.integer(4, 7));
        }
        reblock();
    }

    /// Particles of deleted tiles go with them; those of a parent stay in it.
    void deleteTiles()
    {
        if (m_random.integer(0, 9) == 0) {
            m_scene.layout->clear();
            m_positions.clear();
            return addTiles();
        }
        std::vector<TileId> ids;
        for (int n = m_random.integer(1, 10); n > 0; --n) {
            const int depth = m_random.integer(4, 7);
            const int count = m_scene.layout->numNodes(depth);
            if (count > 0) {
                ids.push_back(m_scene.layout->node(m_random.integer(0, count - 1), depth).id());
            }
        }
        if (m_random.integer(0, 1) == 0) {
            m_scene.layout->deleteNodes(ids);
        } else {
            std::vector<std::vector<int>> by_depth(kNumDepths);
            for (const TileId id : ids) {
                const TileIndex index = m_scene.layout->nodeIndex<true>(id);
                by_depth[index.second].push_back(index.first);
            }
            m_scene.layout->deleteNodes(by_depth);
        }
        std::set<unsigned long long> left;
        forEachParticle(
            [&](const TileIndex&, unsigned long, unsigned long long id) { left.insert(id); });
        std::erase_if(m_positions, [&](const auto& in_entry) {
            const bool is_gone = left.count(in_entry.first) == 0;
            // What went must have stood in a tile that went.
            EXPECT_TRUE(!is_gone || m_scene.tileAt(in_entry.second).second < kMaxTileDepth);
            return is_gone;
        });
    }

    /// All items into a new shape, whose channels are loaded in any order.
    void saveAndLoad()
    {
        ParticleScene loaded(m_scene.layout);
        const int quality = m_random.integer(eQualityPlain, eQualityQuantised8);
        copyThroughStream(*m_scene.shape, *loaded.shape, 0);
        for (const std::string& name : m_scene.shape->channelNames()) {
            copyThroughStream(*m_scene.shape->channelBasePtr(name),
                              *loaded.shape->channelBasePtr(name), quality);
        }
        EXPECT_EQ(m_scene.shape->maxParticleId(), loaded.shape->maxParticleId());
        m_scene = loaded;
        if (quality >= eQualityQuantised16) {
            takeRoundedPositions(quality == eQualityQuantised16 ? 65535.0f : 255.0f);
            reblock();
        }
    }
    /// Positions of the deeper tiles are off by less than a step of their codes.
    void takeRoundedPositions(float in_steps)
    {
        constexpr int kDeepestPlain = 3;
        forEachParticle(
            [&](const TileIndex& in_tile, unsigned long in_index, unsigned long long id) {
                const vec3f& rounded = m_scene.position->tile(in_tile)[in_index];
                const float side = static_cast<float>(kTileSideLUT[in_tile.second]);
                const float step = in_tile.second <= kDeepestPlain ? 0.0f : side / in_steps;
                for (int a = 0; a < 3; ++a) {
                    EXPECT_NEAR(m_positions[id][a], rounded[a], 1.1f * step) << "id " << id;
                }
                m_positions[id] = rounded;
            });
    }
    template <typename Item>
    static void copyThroughStream(const Item& in_item, Item& out_copy, int in_quality)
    {
        Test::MemoryWriter writer;
        writer.setQuality(in_quality);
        ASSERT_TRUE(in_item.save(writer));
        Test::MemoryReader reader(writer.bytes());
        reader.setQuality(in_quality);
        ASSERT_TRUE(out_copy.load(reader));
        EXPECT_TRUE(reader.atEnd());
    }

    Random m_random;
    bool m_has_top;  ///< the tile of depth 0, so that all tiles hang together
    ParticleScene m_scene;
    std::map<unsigned long long, vec3f> m_positions;
};

TEST(ParticleShape, KeepsEveryParticleInStepThroughRandomWork)
{
    for (unsigned int seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        ParticleModel model(seed);
        for (int n = 0; n < 40; ++n) {
            SCOPED_TRACE("step " + std::to_string(n));
            model.step();
            model.check();
            if (::testing::Test::HasFailure()) {
                return;
            }
        }
    }
}

}  // namespace
}  // namespace Skelvar
