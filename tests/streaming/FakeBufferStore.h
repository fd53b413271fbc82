// A stand-in for the GPU's node buffers: names handed out from 1, an optional byte capacity past
// which buffers are refused as a full device refuses them, and a record of what lives and what
// was destroyed.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <map>
#include <vector>

#include "cloud/NodeLoader.h"
#include "cloud/NodeResidency.h"

namespace ovcf::test {

struct FakeDevice {
    std::uint64_t capacity = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t used = 0;
    std::map<std::uint32_t, std::size_t> live;  // name -> bytes
    std::vector<std::uint32_t> destroyed;
    std::uint32_t next = 1;
    int refusals = 0;
};

class FakeBufferStore final : public NodeBufferStore {
public:
    explicit FakeBufferStore(FakeDevice& device) : device_(device) {}
    std::uint32_t create(const void* data, std::size_t bytes) override {
        EXPECT_NE(data, nullptr);
        if (device_.used + bytes > device_.capacity) {
            ++device_.refusals;
            return 0;
        }
        device_.used += bytes;
        device_.live[device_.next] = bytes;
        return device_.next++;
    }
    void destroy(std::uint32_t buffer) override {
        const auto it = device_.live.find(buffer);
        ASSERT_NE(it, device_.live.end()) << "buffer " << buffer << " destroyed twice or never made";
        device_.used -= it->second;
        device_.live.erase(it);
        device_.destroyed.push_back(buffer);
    }

private:
    FakeDevice& device_;
};

// A node as the loader hands it over, with `points` zeroed vertices.
inline ReadyNode readyNode(std::uint32_t index, std::size_t points) {
    ReadyNode node;
    node.nodeIndex = index;
    node.pointCount = std::uint32_t(points);
    node.vertices.resize(points);
    return node;
}

}  // namespace ovcf::test
