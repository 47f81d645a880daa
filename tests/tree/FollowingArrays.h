#pragma once

#include <skelvar/tree/VoxelLayout.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace Skelvar::Test {

/// An observer that keeps one value for each node, here its id, by the events alone, and a log.
class FollowingArrays : public TreeLayout3DObserver {
public:
    explicit FollowingArrays(VoxelLayout& io_layout) : m_layout(io_layout)
    {
        m_layout.addObserver(this);
        for (int depth = 0; depth < kNumDepths; ++depth) {
            for (const VoxelLayoutNode& node : m_layout.nodes(depth)) {
                m_ids[depth].push_back(node.id());
            }
        }
    }
    ~FollowingArrays() override { m_layout.removeObserver(this); }

    void nodeAdded(const TileIndex& in_node) override
    {
        m_log.push_back("nodeAdded");
        append(in_node.first, in_node.second);
    }
    void nodesAdded(const std::vector<int>* in_indices) override
    {
        m_log.push_back("nodesAdded");
        for (int depth = 0; depth < kNumDepths; ++depth) {
            for (const int index : in_indices[depth]) {
                append(index, depth);
            }
        }
    }
    void nodesCleared() override
    {
        m_log.push_back("nodesCleared");
        for (auto& ids : m_ids) {
            ids.clear();
        }
    }
    void nodeDeleted(const TileIndex&) override { m_log.push_back("nodeDeleted"); }
    void nodesDeleted(const std::vector<int>* in_indices) override
    {
        m_log.push_back("nodesDeleted indices");
        for (int depth = 0; depth < kNumDepths; ++depth) {
            fillGaps(in_indices[depth], m_ids[depth]);
        }
    }
    void nodesDeleted(const std::vector<TileIndex>* in_moves) override
    {
        m_log.push_back("nodesDeleted moves");
        for (int depth = 0; depth < kNumDepths; ++depth) {
            for (const auto& [destination, source] : in_moves[depth]) {
                m_ids[depth].at(destination) = m_ids[depth].at(source);
            }
            m_ids[depth].resize(m_layout.numNodes(depth));
        }
    }
    void dxChanged(float in_dx) override { m_log.push_back("dx " + std::to_string(in_dx)); }

    /// The values stand where the nodes stand.
    void expectInStep() const
    {
        for (int depth = 0; depth < kNumDepths; ++depth) {
            ASSERT_EQ(m_layout.numNodes(depth), static_cast<int>(m_ids[depth].size()));
            for (int index = 0; index < m_layout.numNodes(depth); ++index) {
                ASSERT_EQ(m_layout.node(index, depth).id(), m_ids[depth][index]);
            }
        }
    }
    std::vector<std::string> takeLog() { return std::exchange(m_log, {}); }

private:
    void append(int in_index, int in_depth)
    {
        ASSERT_EQ(in_index, static_cast<int>(m_ids[in_depth].size()));
        m_ids[in_depth].push_back(m_layout.node(in_index, in_depth).id());
    }
    /// Takes live values from the end into the gaps from the front, as told in words.
    static void fillGaps(const std::vector<int>& in_deleted, std::vector<TileId>& io_ids)
    {
        std::vector<bool> is_live(io_ids.size(), true);
        for (const int index : in_deleted) {
            is_live.at(index) = false;
        }
        std::size_t gap = 0;
        while (true) {
            while (!io_ids.empty() && !is_live[io_ids.size() - 1]) {
                io_ids.pop_back();
            }
            while (gap < io_ids.size() && is_live[gap]) {
                ++gap;
            }
            if (gap >= io_ids.size()) {
                return;
            }
            io_ids[gap] = io_ids.back();
            is_live[gap] = true;
            io_ids.pop_back();
        }
    }

    VoxelLayout& m_layout;
    std::vector<TileId> m_ids[kNumDepths];
    std::vector<std::string> m_log;
};

}  // namespace Skelvar::Test
