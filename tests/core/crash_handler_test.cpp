#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "CrashTestSupport.h"
#include "core/Diagnostics.h"
#include "core/Log.h"

#if !defined(_WIN32)
#include <signal.h>
#include <unistd.h>
#endif

namespace ovcf {
namespace {

using test::CrashFolder;
using test::Fault;

bool anyEnd(int) { return true; }

struct CrashCase {
    const char* name;
    Fault fault;
    std::vector<const char*> present;
    std::vector<const char*> absent;
};

const CrashCase kCases[] = {
    {"NullRead",
     Fault::NullRead,
     {"Causa           : eccezione non gestita\r\n",
      "Tipo            : accesso a memoria non valida (puntatore sbagliato)\r\n", "Operazione      : lettura\r\n",
      "Indirizzo dati  : 0x0000000000000000\r\n",
      "                  (puntatore nullo o quasi: manca un controllo prima dell'uso)\r\n"},
     {}},
    {"FarRead",
     Fault::FarRead,
     {"Operazione      : lettura\r\n", "Indirizzo dati  : 0x0000010000000000\r\n"},
     {"(puntatore nullo"}},
    {"Abort", Fault::Abort, {"Causa           : abort()\r\n"}, {"--- Errore"}},
    {"Terminate", Fault::Terminate, {"Causa           : eccezione C++ non raccolta (terminate)\r\n"}, {"--- Errore"}},
#if !defined(_WIN32)
    // Linux only: Wine 8 ends a thread whose stack overflows while it sets up the exception,
    // before any handler runs (Windows itself leaves the filter the guaranteed stack).
    {"StackOverflow", Fault::StackOverflow, {"Tipo            : esaurimento dello stack (ricorsione infinita?)\r\n"}, {}},
#endif
};

class CrashHandler : public ::testing::TestWithParam<CrashCase> {
protected:
    void SetUp() override {
        if (!test::crashHandlersCanBeInstalled()) GTEST_SKIP() << "a sanitizer keeps the fault signals for itself";
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }

    // The one report of the folder, checked for what every report carries.
    std::string onlyReport() {
        const auto reports = folder.files(".txt");
        EXPECT_EQ(reports.size(), 1u);
        if (reports.size() != 1) return "";
        const std::string text = test::readWholeFile(reports[0]);
        EXPECT_EQ(text.rfind("================================================================\r\n"
                             "  prova di guasto - rapporto di errore\r\n", 0), 0u);
        EXPECT_NE(text.find("Versione        : OrvanePC 0.10.0 (Sep 28 2026)\r\n"), std::string::npos);
        EXPECT_NE(text.find("INFO  prima del guasto, passo 7\r\n"), std::string::npos);
        EXPECT_NE(text.find("--- Registri ---"), std::string::npos);
        EXPECT_NE(text.find("nella stessa cartella.\r\n"), std::string::npos);
        return text;
    }

    CrashFolder folder;
};

// Without dbghelp: Wine's takes 10 to 25 s for a dump, near the 30 s the faulting thread waits.
// So every report here must say that no dump was written; the library's own test (api) checks a
// real dump.
void startThenFault(Fault fault) {
    setCrashDumpLibrary("orvane_no_such_dbghelp.dll");
    initializeDiagnostics("prova di guasto");
    logLine(LogInfo, "prima del guasto, passo %d", 7);
    test::causeFault(fault);
}

TEST_P(CrashHandler, WritesTheReportOfTheFault) {
    const CrashCase& c = GetParam();
    EXPECT_EXIT(startThenFault(c.fault), anyEnd, "");
    const std::string text = onlyReport();
    for (const char* line : c.present) EXPECT_NE(text.find(line), std::string::npos) << line;
    for (const char* line : c.absent) EXPECT_EQ(text.find(line), std::string::npos) << line;

    EXPECT_NE(text.find("File di dump    : non e' stato possibile scriverlo.\r\n"), std::string::npos);
    EXPECT_TRUE(folder.files(".dmp").empty());
    const std::string log = test::readWholeFile(folder.diagnostics() + "/crash_edit_nuv.log");
    EXPECT_NE(log.find("ERROR ERRORE FATALE ("), std::string::npos);
    EXPECT_NE(log.find("). Rapporto in '"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Faults, CrashHandler, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<CrashCase>& info) { return info.param.name; });

class Diagnostics : public CrashHandler {};

// The host's log callback faults while the report announces itself: that second fault writes
// nothing.
void abortOnFatalLine(int level, const char* message, void*) {
    if (level == LogError && std::string(message).rfind("ERRORE FATALE", 0) == 0) std::abort();
}

TEST_F(Diagnostics, ASecondFaultWritesNothingMore) {
    EXPECT_EXIT(
        {
            setLogSink(&abortOnFatalLine, nullptr);
            startThenFault(Fault::NullRead);
        },
        anyEnd, "");
    const std::string text = onlyReport();
    EXPECT_NE(text.find("Causa           : eccezione non gestita\r\n"), std::string::npos);
    EXPECT_EQ(text.find("abort()"), std::string::npos);
}

TEST_F(Diagnostics, ThePreviousLogIsKept) {
    const std::string logPath = folder.diagnostics() + "/crash_edit_nuv.log";
    // Two runs of a program: the second keeps the first one's log.
    for (const char* line : {"riga della corsa precedente", "riga della corsa nuova"}) {
        EXPECT_EXIT(
            {
                initializeDiagnostics(nullptr);
                logLine(LogInfo, "%s", line);
                std::exit(0);
            },
            ::testing::ExitedWithCode(0), "");
    }
    const std::string previous = test::readWholeFile(folder.diagnostics() + "/crash_edit_nuv_precedente.log");
    const std::string current = test::readWholeFile(logPath);
    EXPECT_NE(previous.find("riga della corsa precedente"), std::string::npos);
    EXPECT_EQ(previous.find("riga della corsa nuova"), std::string::npos);
    EXPECT_NE(current.find("INFO  diagnostica attiva: rapporti di errore in '"), std::string::npos);
    EXPECT_NE(current.find("riga della corsa nuova"), std::string::npos);
    EXPECT_EQ(current.find("riga della corsa precedente"), std::string::npos);
}

#if !defined(_WIN32)
void hostHandler(int) { _exit(42); }

TEST_F(Diagnostics, SignalsGoOnToTheHostsEarlierHandler) {
    EXPECT_EXIT(
        {
            struct sigaction host {};
            host.sa_handler = &hostHandler;
            sigemptyset(&host.sa_mask);
            sigaction(SIGSEGV, &host, nullptr);
            startThenFault(Fault::NullRead);
        },
        ::testing::ExitedWithCode(42), "");
    EXPECT_NE(onlyReport().find("Operazione      : lettura\r\n"), std::string::npos);
}
#endif

}  // namespace
}  // namespace ovcf
