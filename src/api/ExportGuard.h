// Every export runs its body through guarded(): the handle check first, and no exception ever
// crosses into the host.
#pragma once

#include <exception>
#include <new>

#include "api/LastError.h"
#include "api/ViewObject.h"

namespace ovcf {

// The exception barrier of every export: nothing thrown inside reaches the host.
template <typename Result, typename Body>
Result guardedGlobal(Result failed, Body&& body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        setLastError("out of memory");
    } catch (const std::exception& e) {
        setLastError(e.what());
    } catch (...) {
        setLastError("unexpected internal error");
    }
    return failed;
}

// Runs body(view) for a valid handle; `invalid` for a bad handle, `failed` when the body throws.
template <typename Result, typename Body>
Result guarded(PcView handle, Result invalid, Result failed, Body&& body) {
    PcViewObject* view = checkView(handle);
    if (!view) return invalid;
    ViewCallScope call(*view);
    return guardedGlobal(failed, [&] { return body(*view); });
}

// The same for exports that return nothing.
template <typename Body>
void guardedVoid(PcView handle, Body&& body) {
    guarded<int>(handle, 0, 0, [&](PcViewObject& view) {
        body(view);
        return 0;
    });
}

}  // namespace ovcf
