// Fatal errors on Windows: the unhandled-exception filter, the C++ terminate handler, the
// runtime's pure-call and invalid-parameter handlers and SIGABRT. The report is written by a
// thread started for it, with a stack of its own, while the faulting thread waits up to 30 s;
// the handlers other than the exception filter then end the process.
#include <windows.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <mutex>

#include "platform/CrashHandlers.h"
#include "platform/FirstFault.h"

namespace ovcf {
namespace {

constexpr DWORD kReportWaitMilliseconds = 30000;
constexpr SIZE_T kReportThreadStack = 256 * 1024;
// Room kept on the installing thread's stack for the filter after a stack overflow.
constexpr ULONG kStackGuaranteeBytes = 32 * 1024;
constexpr UINT kAbnormalExitCode = 3;

CrashReportWriter gWriter = nullptr;
CrashFacts gFacts;
CONTEXT gCapturedContext;
volatile DWORD gReportThreadId = 0;

void utf8FromWide(const wchar_t* wide, char (&target)[kCrashPathBytes]) {
    const int length = WideCharToMultiByte(CP_UTF8, 0, wide, -1, target, kCrashPathBytes, nullptr, nullptr);
    if (length <= 0) target[0] = '\0';
}

void readRegisters(const CONTEXT& context, CrashRegisters& r) {
    r.rip = context.Rip;
    r.rsp = context.Rsp;
    r.rbp = context.Rbp;
    r.rax = context.Rax;
    r.rcx = context.Rcx;
    r.rdx = context.Rdx;
}

void findModule(CrashFacts& facts) {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(facts.address), &module))
        return;
    wchar_t path[kCrashPathBytes];
    const DWORD length = GetModuleFileNameW(module, path, kCrashPathBytes);
    if (length == 0 || length >= kCrashPathBytes) return;
    const wchar_t* name = path;
    for (const wchar_t* p = path; *p; ++p)
        if (*p == L'\\' || *p == L'/') name = p + 1;
    utf8FromWide(name, facts.moduleName);
    facts.moduleOffset = facts.address - reinterpret_cast<std::uint64_t>(module);
    facts.moduleKnown = true;
}

// What the report thread looks up itself, sparing the faulting thread's stack.
void fillProcessFacts(CrashFacts& facts) {
    facts.processId = GetCurrentProcessId();
    wchar_t path[kCrashPathBytes];
    const DWORD length = GetModuleFileNameW(nullptr, path, kCrashPathBytes);
    if (length > 0 && length < kCrashPathBytes) utf8FromWide(path, facts.executablePath);
    SYSTEMTIME now;
    GetLocalTime(&now);
    facts.time = {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
    if (facts.hasException) findModule(facts);
}

DWORD WINAPI reportThread(void*) {
    fillProcessFacts(gFacts);
    if (gWriter) gWriter(gFacts);
    return 0;
}

// The one report of the process; `pointers` is null for the handlers without an exception.
void reportFatal(const char* cause, EXCEPTION_POINTERS* pointers) {
    if (!firstfault::claim()) {
        // A fault inside the report itself ends the report thread; the faulting thread goes on
        // after its wait. Any other thread waits for the report before the process ends.
        if (GetCurrentThreadId() == gReportThreadId) ExitThread(1);
        for (DWORD waited = 0; !firstfault::finished() && waited < kReportWaitMilliseconds; waited += 20) Sleep(20);
        return;
    }
    gFacts.cause = cause;
    gFacts.threadId = GetCurrentThreadId();
    if (pointers && pointers->ExceptionRecord) {
        const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
        gFacts.hasException = true;
        gFacts.exceptionCode = record.ExceptionCode;
        gFacts.address = reinterpret_cast<std::uint64_t>(record.ExceptionAddress);
        if (record.NumberParameters >= 2) {
            gFacts.hasAccess = true;
            gFacts.accessKind = record.ExceptionInformation[0];
            gFacts.dataAddress = record.ExceptionInformation[1];
        }
        gFacts.systemException = pointers;
    }
    if (pointers && pointers->ContextRecord) {
        readRegisters(*pointers->ContextRecord, gFacts.registers);
    } else {
        RtlCaptureContext(&gCapturedContext);
        readRegisters(gCapturedContext, gFacts.registers);
    }

    DWORD threadId = 0;
    HANDLE thread = CreateThread(nullptr, kReportThreadStack, &reportThread, nullptr,
                                 CREATE_SUSPENDED | STACK_SIZE_PARAM_IS_A_RESERVATION, &threadId);
    if (thread) {
        gReportThreadId = threadId;
        ResumeThread(thread);
        WaitForSingleObject(thread, kReportWaitMilliseconds);
        CloseHandle(thread);
    } else {
        reportThread(nullptr);  // no thread to be had: the faulting thread writes it
    }
    firstfault::finish();
}

LONG WINAPI onUnhandledException(EXCEPTION_POINTERS* pointers) {
    reportFatal("eccezione non gestita", pointers);
    return EXCEPTION_EXECUTE_HANDLER;  // the process ends with the exception's code
}

[[noreturn]] void endAfterReport(const char* cause) {
    reportFatal(cause, nullptr);
    TerminateProcess(GetCurrentProcess(), kAbnormalExitCode);
    ExitProcess(kAbnormalExitCode);
}

void onTerminate() { endAfterReport("eccezione C++ non raccolta (terminate)"); }
void __cdecl onPureCall() { endAfterReport("chiamata a metodo virtuale puro"); }
void __cdecl onInvalidParameter(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, uintptr_t) {
    endAfterReport("parametro non valido alla libreria C");
}
void __cdecl onAbort(int) { endAfterReport("abort()"); }

// The runtime's abort message box and its error reporting; msvcrt lacks the switch that newer
// runtimes have, so it is looked up wherever the process's runtime offers it.
void silenceRuntimeAbort() {
    using SetAbortBehavior = unsigned(__cdecl*)(unsigned, unsigned);
    constexpr unsigned kWriteAbortMessage = 0x1, kCallReportFault = 0x2;
    for (const wchar_t* runtime : {L"ucrtbase.dll", L"msvcrt.dll"}) {
        HMODULE module = GetModuleHandleW(runtime);
        if (!module) continue;
        if (auto set = reinterpret_cast<SetAbortBehavior>(
                reinterpret_cast<void*>(GetProcAddress(module, "_set_abort_behavior"))))
            set(0, kWriteAbortMessage | kCallReportFault);
    }
    SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
}

}  // namespace

void installCrashHandlers(CrashReportWriter writer) {
    static std::once_flag once;
    std::call_once(once, [writer] {
        gWriter = writer;
        silenceRuntimeAbort();
        ULONG guarantee = kStackGuaranteeBytes;
        SetThreadStackGuarantee(&guarantee);
        SetUnhandledExceptionFilter(&onUnhandledException);
        std::set_terminate(&onTerminate);
        _set_purecall_handler(&onPureCall);
        _set_invalid_parameter_handler(&onInvalidParameter);
        std::signal(SIGABRT, &onAbort);
    });
}

}  // namespace ovcf
