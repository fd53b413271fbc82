// The node buffer store the view draws from: GL buffers with immutable storage.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "cloud/NodeResidency.h"

namespace ovcf {

// Gives a new buffer its storage with the data. The GL default is glNamedBufferStorage; tests
// put one in its place that fails as a driver out of memory would.
using NodeBufferStorage = void (*)(std::uint32_t buffer, std::size_t bytes, const void* data);

// The real store: glCreateBuffers + the storage, checked (GL error and buffer size) so that a
// failed allocation gives 0; glDeleteBuffers. Needs the view's context current.
std::unique_ptr<NodeBufferStore> makeGlNodeBufferStore(NodeBufferStorage storage = nullptr);

}  // namespace ovcf
