// Library-wide exports: version, last error, log sink, diagnostics.
#include <mutex>

#include "OrvanePC.h"
#include "api/ExportGuard.h"
#include "api/LastError.h"
#include "core/Diagnostics.h"
#include "core/Log.h"

using namespace ovcf;

namespace {

struct HostLogSink {
    PcLogCallback callback = nullptr;
    void* userData = nullptr;
};

HostLogSink gHostLog;
// Callers on several threads take turns: the sink is removed, the record written and the sink
// put back as one step, so that no line ever reads a record being written.
std::mutex gHostLogSetter;

// Runs under the log lock, so the stored callback cannot change while it is being called.
void forwardToHost(int level, const char* message, void* context) {
    const auto* sink = static_cast<const HostLogSink*>(context);
    if (sink->callback) sink->callback(level, message, sink->userData);
}

}  // namespace

extern "C" {

PC_API int PC_CALL PC_Version(void) { return 10000; }

PC_API int PC_CALL PC_LastError(char* buffer, int capacity) {
    return guardedGlobal(1, [&] { return copyOut(lastError(), buffer, capacity); });
}

PC_API int PC_CALL PC_SetLogCallback(PcLogCallback callback, void* userData) {
    return guardedGlobal(0, [&] {
        const std::lock_guard<std::mutex> turn(gHostLogSetter);
        // Remove the sink first so that no line sees a half-updated callback.
        setLogSink(nullptr, nullptr);
        gHostLog.callback = callback;
        gHostLog.userData = userData;
        if (callback) setLogSink(&forwardToHost, &gHostLog);
        return 0;
    });
}

PC_API int PC_CALL PC_InitializeDiagnostics(const char* programName) {
    return guardedGlobal(0, [&] {
        initializeDiagnostics(programName);
        return 0;
    });
}

}  // extern "C"
