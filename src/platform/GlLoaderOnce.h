// The GL function pointers are process-wide: loaded by the first context, then only read, so
// views made on several threads never write them while another draws through them.
#pragma once

#include <atomic>
#include <mutex>

#include <glad/gl.h>

namespace ovcf {

// Loads them through `load` the first time; false when that fails (the next call tries again).
inline bool loadGlFunctionsOnce(GLADuserptrloadfunc load) {
    static std::mutex lock;
    static std::atomic<bool> loaded{false};
    if (loaded.load(std::memory_order_acquire)) return true;
    std::lock_guard<std::mutex> guard(lock);
    if (loaded.load(std::memory_order_relaxed)) return true;
    if (!gladLoadGLUserPtr(load, nullptr)) return false;
    loaded.store(true, std::memory_order_release);
    return true;
}

}  // namespace ovcf
