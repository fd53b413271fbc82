#include <gtest/gtest.h>

#include <memory>

#include "FakeBufferStore.h"

namespace ovcf {
namespace {

using test::FakeBufferStore;
using test::FakeDevice;
using test::readyNode;

struct Residency : ::testing::Test {
    FakeDevice store;
    NodeResidency residency{std::make_unique<FakeBufferStore>(store)};

    // Uploads node i with sizes[i] points each (bytes = 24 × points), buffers 1 + i.
    void uploadAll(const std::vector<std::size_t>& sizes) {
        residency.reset(sizes.size() + 2);
        std::vector<ReadyNode> ready;
        for (std::size_t i = 0; i < sizes.size(); ++i) ready.push_back(readyNode(std::uint32_t(i), sizes[i]));
        EXPECT_EQ(residency.upload(ready), sizes.size());
    }
};

TEST_F(Residency, UploadsEachNodeIntoABufferOfItsOwn) {
    uploadAll({10, 20, 0, 5});
    EXPECT_EQ(residency.residentCount(), 4u);
    EXPECT_EQ(residency.totalBytes(), 35u * 24u);
    EXPECT_TRUE(residency.isResident(0));
    EXPECT_TRUE(residency.isResident(2));  // empty: loaded, no buffer
    EXPECT_FALSE(residency.isResident(4));
    EXPECT_FALSE(residency.isResident(1000));
    EXPECT_EQ(residency.entry(0).buffer, 1u);
    EXPECT_EQ(residency.entry(1).buffer, 2u);
    EXPECT_EQ(residency.entry(2).buffer, 0u);
    EXPECT_EQ(residency.entry(3).buffer, 3u);
    EXPECT_EQ(residency.entry(1).pointCount, 20u);
    EXPECT_EQ(store.live.at(2), 20u * 24u);
    EXPECT_EQ(store.live.size(), 3u);

    // Arriving again replaces the old buffer; a node beyond the table is dropped.
    std::vector<ReadyNode> again;
    again.push_back(readyNode(1, 7));
    again.push_back(readyNode(99, 7));
    EXPECT_EQ(residency.upload(again), 1u);
    EXPECT_EQ(store.destroyed, std::vector<std::uint32_t>{2});
    EXPECT_EQ(residency.entry(1).buffer, 4u);
    EXPECT_EQ(residency.totalBytes(), 22u * 24u);
    EXPECT_TRUE(again[0].vertices.empty());  // the CPU copy is let go

    residency.releaseAll();
    EXPECT_TRUE(store.live.empty());
    EXPECT_EQ(residency.totalBytes(), 0u);
    EXPECT_EQ(residency.residentCount(), 0u);
}

TEST_F(Residency, EvictsLeastRecentlyUsedThenLowestIndexUntilWithinBudget) {
    // 100 points = 2400 bytes each; 6 nodes = 14400 bytes.
    uploadAll({100, 100, 100, 100, 100, 100});
    const std::vector<std::uint64_t> lastUse{5, 3, 3, 9, 1, 3};
    std::vector<std::uint32_t> evicted;
    // Over by 2401 bytes: two nodes are not enough, the third brings it down.
    EXPECT_EQ(residency.evict(14400 - 2 * 2400 - 1, 9, lastUse, &evicted), 3u);
    EXPECT_EQ(evicted, (std::vector<std::uint32_t>{4, 1, 2}));
    EXPECT_EQ(store.destroyed, (std::vector<std::uint32_t>{5, 2, 3}));
    EXPECT_EQ(residency.totalBytes(), 3u * 2400u);
    EXPECT_EQ(residency.evictionCount(), 3u);
    EXPECT_TRUE(residency.isResident(0));
    EXPECT_TRUE(residency.isResident(3));
    EXPECT_TRUE(residency.isResident(5));

    // Exactly at the budget nothing happens.
    evicted.clear();
    EXPECT_EQ(residency.evict(3 * 2400, 9, lastUse, &evicted), 0u);
    EXPECT_TRUE(evicted.empty());

    // Nodes used in this frame stay even when the budget cannot be met.
    EXPECT_EQ(residency.evict(0, 9, lastUse, &evicted), 2u);
    EXPECT_EQ(evicted, (std::vector<std::uint32_t>{5, 0}));
    EXPECT_TRUE(residency.isResident(3));
    EXPECT_EQ(residency.totalBytes(), 2400u);
    EXPECT_EQ(residency.evictionCount(), 5u);
}

TEST_F(Residency, NeverUsedNodesGoFirstAndAnEvictedNodeCanComeBack) {
    uploadAll({10, 10, 10});
    const std::vector<std::uint64_t> lastUse{2, 0};  // node 2 beyond the list: never used
    std::vector<std::uint32_t> evicted;
    EXPECT_EQ(residency.evict(10 * 24, 3, lastUse, &evicted), 2u);
    EXPECT_EQ(evicted, (std::vector<std::uint32_t>{1, 2}));
    std::vector<ReadyNode> back;
    back.push_back(readyNode(1, 10));
    EXPECT_EQ(residency.upload(back), 1u);
    EXPECT_TRUE(residency.isResident(1));
    EXPECT_EQ(residency.totalBytes(), 20u * 24u);
}

}  // namespace
}  // namespace ovcf
