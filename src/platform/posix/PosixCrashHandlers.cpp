// Fatal signals and std::terminate on POSIX. The report is written inside the signal handler,
// on an alternate signal stack, with async-signal-safe calls only; afterwards the signal goes on
// to whatever the host had installed before (or to the default action, which ends the process).
#include <signal.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <mutex>

#include "platform/CrashHandlers.h"
#include "platform/FirstFault.h"
#include "platform/posix/PosixCrashFacts.h"

namespace ovcf {
namespace {

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr int kSignalCount = sizeof kSignals / sizeof kSignals[0];
constexpr std::size_t kAltStackBytes = 64 * 1024;
constexpr int kReportWaitMilliseconds = 30000;

CrashReportWriter gWriter = nullptr;
struct sigaction gPrevious[kSignalCount];
std::terminate_handler gPreviousTerminate = nullptr;
std::atomic<long> gReportingThread{0};
CrashFacts gFacts;
alignas(16) char gAltStack[kAltStackBytes];

long currentThreadId() { return static_cast<long>(::syscall(SYS_gettid)); }

// Windows exception codes for the report, so that both systems describe a fault alike.
std::uint32_t exceptionCodeFor(int signal, const siginfo_t* info, std::uint64_t stackPointer) {
    const int code = info ? info->si_code : 0;
    switch (signal) {
        case SIGSEGV: {
            // A fault just below or inside the current frame is the stack running out.
            const auto address = reinterpret_cast<std::uint64_t>(info ? info->si_addr : nullptr);
            if (code > 0 && address + 65536 >= stackPointer && address <= stackPointer + 1024 * 1024)
                return 0xC00000FDu;
            return 0xC0000005u;
        }
        case SIGBUS: return 0xC0000006u;
        case SIGILL: return code == ILL_PRVOPC || code == ILL_PRVREG ? 0xC0000096u : 0xC000001Du;
        case SIGFPE:
            switch (code) {
                case FPE_INTDIV: return 0xC0000094u;
                case FPE_INTOVF: return 0xC0000095u;
                case FPE_FLTDIV: return 0xC000008Eu;
                case FPE_FLTOVF: return 0xC0000091u;
                case FPE_FLTUND: return 0xC0000093u;
                case FPE_FLTRES: return 0xC000008Fu;
                case FPE_FLTSUB: return 0xC000008Cu;
                default: return 0xC0000090u;
            }
        default: return 0;
    }
}

void readRegisters(const ucontext_t* context, CrashRegisters& r) {
#if defined(__x86_64__)
    const greg_t* g = context->uc_mcontext.gregs;
    r.rip = static_cast<std::uint64_t>(g[REG_RIP]);
    r.rsp = static_cast<std::uint64_t>(g[REG_RSP]);
    r.rbp = static_cast<std::uint64_t>(g[REG_RBP]);
    r.rax = static_cast<std::uint64_t>(g[REG_RAX]);
    r.rcx = static_cast<std::uint64_t>(g[REG_RCX]);
    r.rdx = static_cast<std::uint64_t>(g[REG_RDX]);
#else
    (void)context;
    (void)r;
#endif
}

void describeSignal(int signal, siginfo_t* info, const ucontext_t* context) {
    if (context) readRegisters(context, gFacts.registers);
    if (signal == SIGABRT) {
        gFacts.cause = "abort()";
        return;
    }
    gFacts.cause = "eccezione non gestita";
    gFacts.hasException = true;
    gFacts.exceptionCode = exceptionCodeFor(signal, info, gFacts.registers.rsp);
    gFacts.address = gFacts.registers.rip;
    // Kernel-raised faults carry the data address; kill() and raise() do not.
    if (signal == SIGSEGV && info && info->si_code > 0) {
        gFacts.hasAccess = true;
        gFacts.dataAddress = reinterpret_cast<std::uint64_t>(info->si_addr);
#if defined(__x86_64__)
        // The page-fault error code: bit 1 a write, bit 4 an instruction fetch.
        const auto error = static_cast<std::uint64_t>(context ? context->uc_mcontext.gregs[REG_ERR] : 0);
        gFacts.accessKind = (error & 0x10) ? 8 : (error & 0x2) ? 1 : 0;
#endif
    }
    findCrashModule(gFacts);
}

// Only the first fatal error writes; a later one on another thread waits for that report so that
// the process does not end half-way through it. A later one on the reporting thread itself (a
// fault while reporting) goes straight on.
bool reportOnce() {
    if (firstfault::claim()) {
        gReportingThread.store(currentThreadId());
        return true;
    }
    if (gReportingThread.load() != currentThreadId()) {
        const timespec pause{0, 10 * 1000 * 1000};
        for (int waited = 0; !firstfault::finished() && waited < kReportWaitMilliseconds; waited += 10)
            ::nanosleep(&pause, nullptr);
    }
    return false;
}

void writeReport() {
    gFacts.threadId = static_cast<std::uint64_t>(currentThreadId());
    fillCrashProcessFacts(gFacts);
    if (gWriter) gWriter(gFacts);
    firstfault::finish();
}

int signalIndex(int signal) {
    for (int i = 0; i < kSignalCount; ++i)
        if (kSignals[i] == signal) return i;
    return -1;
}

// Hands the signal to the host's earlier handler, or lets the default action end the process.
void chainSignal(int signal, siginfo_t* info, void* context) {
    const int index = signalIndex(signal);
    const struct sigaction& previous = gPrevious[index];
    if (previous.sa_flags & SA_SIGINFO) {
        if (previous.sa_sigaction) {
            previous.sa_sigaction(signal, info, context);
            return;
        }
    } else if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
        previous.sa_handler(signal);
        return;
    }
    struct sigaction fallback{};
    fallback.sa_handler = SIG_DFL;
    sigemptyset(&fallback.sa_mask);
    ::sigaction(signal, &fallback, nullptr);
    // Blocked while this handler runs: delivered, with the default action, on return.
    ::raise(signal);
}

void onFatalSignal(int signal, siginfo_t* info, void* context) {
    if (reportOnce()) {
        describeSignal(signal, info, static_cast<const ucontext_t*>(context));
        writeReport();
    }
    chainSignal(signal, info, context);
}

void onTerminate() {
    if (reportOnce()) {
        gFacts.cause = "eccezione C++ non raccolta (terminate)";
        ucontext_t context;
        if (::getcontext(&context) == 0) readRegisters(&context, gFacts.registers);
        writeReport();
    }
    if (gPreviousTerminate) gPreviousTerminate();
    std::abort();
}

// The alternate stack serves the installing thread; a host that already gave it a large enough
// one keeps its own.
void provideAlternateStack() {
    stack_t current{};
    if (::sigaltstack(nullptr, &current) == 0 && !(current.ss_flags & SS_DISABLE) && current.ss_size >= kAltStackBytes)
        return;
    stack_t stack{};
    stack.ss_sp = gAltStack;
    stack.ss_size = sizeof gAltStack;
    stack.ss_flags = 0;
    ::sigaltstack(&stack, nullptr);
}

}  // namespace

void installCrashHandlers(CrashReportWriter writer) {
    static std::once_flag once;
    std::call_once(once, [writer] {
        gWriter = writer;
        rememberUtcOffset();
        provideAlternateStack();
        for (int i = 0; i < kSignalCount; ++i) {
            struct sigaction action{};
            action.sa_sigaction = &onFatalSignal;
            action.sa_flags = SA_SIGINFO | SA_ONSTACK;
            sigemptyset(&action.sa_mask);
            ::sigaction(kSignals[i], &action, &gPrevious[i]);
        }
        gPreviousTerminate = std::set_terminate(&onTerminate);
    });
}

}  // namespace ovcf
