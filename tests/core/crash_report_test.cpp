#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "core/CrashReport.h"
#include "core/Diagnostics.h"
#include "core/FixedText.h"
#include "core/Log.h"

namespace ovcf {
namespace {

// The fixed-buffer formatter must print what the C library prints, for the formats it knows.
TEST(FixedText, FormatsLikeTheCLibrary) {
    struct Case {
        const char* format;
        unsigned long long value;
    };
    const Case cases[] = {{"0x%016llX", 0},          {"0x%016llX", 0xC0000005ull}, {"0x%016llX", ~0ull},
                          {"%llu", 18446744073709551615ull}, {"%04llu", 7},          {"%02llu", 123},
                          {"%llX", 0xABCDEFull},     {"%5llu|", 42},               {"%-5llu|", 42}};
    for (const Case& c : cases) {
        char expected[64], actual[64];
        std::snprintf(expected, sizeof expected, c.format, c.value);
        FixedText text(actual, sizeof actual);
        text.appendFormat(c.format, c.value);
        EXPECT_STREQ(actual, expected) << c.format;
    }
    char buffer[64];
    FixedText mixed(buffer, sizeof buffer);
    mixed.appendFormat("%s + 0x%llX, %d%%, %c", "OrvanePC.dll", 0x1A2Bull, -17, 'x');
    EXPECT_STREQ(buffer, "OrvanePC.dll + 0x1A2B, -17%, x");
}

TEST(FixedText, FixedPointMatchesPrintfAndCutsAtCapacity) {
    for (double value : {0.0, 0.0004, 1.2346, 12.3456, 99999.9999, 123456.789}) {
        char expected[32], actual[32];
        std::snprintf(expected, sizeof expected, "%8.3f", value);
        FixedText text(actual, sizeof actual);
        text.appendFixed(value, 8, 3);
        EXPECT_STREQ(actual, expected) << value;
    }
    char small[6];
    FixedText cut(small, sizeof small);
    cut.appendFormat("%s-%u", "abcd", 1234u);
    EXPECT_STREQ(small, "abcd-");
    EXPECT_EQ(cut.room(), 0u);
}

TEST(CrashReport, ExceptionTextsAndOperations) {
    EXPECT_STREQ(exceptionDescription(0xC0000005u), "accesso a memoria non valida (puntatore sbagliato)");
    EXPECT_STREQ(exceptionDescription(0xC00000FDu), "esaurimento dello stack (ricorsione infinita?)");
    EXPECT_STREQ(exceptionDescription(0x80000003u), "punto di interruzione");
    EXPECT_STREQ(exceptionDescription(0x12345678u), "errore sconosciuto");
    EXPECT_STREQ(accessOperationName(0), "lettura");
    EXPECT_STREQ(accessOperationName(1), "scrittura");
    EXPECT_STREQ(accessOperationName(8), "esecuzione");
    EXPECT_STREQ(accessOperationName(2), "accesso");
}

TEST(CrashReport, FolderFollowsLocalAppData) {
    EXPECT_EQ(diagnosticsFolderFor("C:\\Users\\u\\AppData\\Local", "C:\\Temp", '\\'), "C:\\Users\\u\\AppData\\Local\\OrvaneN");
    EXPECT_EQ(diagnosticsFolderFor("/home/u/.local/", "/tmp", '/'), "/home/u/.local/OrvaneN");
    EXPECT_EQ(diagnosticsFolderFor("", "/tmp", '/'), "/tmp");
}

std::string report(const CrashFacts& facts, const char* dumpPath) {
    static char buffer[kCrashReportBytes];
    FixedText text(buffer, sizeof buffer);
    buildCrashReport(text, facts, "Orvane", kVersionLine, dumpPath);
    return text.text();
}

TEST(CrashReport, LayoutLineByLine) {
    CrashFacts facts;
    facts.cause = "eccezione non gestita";
    facts.processId = 4242;
    facts.threadId = 77;
    facts.time = {2026, 9, 28, 14, 5, 9, 42};
    std::snprintf(facts.executablePath, sizeof facts.executablePath, "C:\\Orvane\\Orvane.exe");
    facts.hasException = true;
    facts.exceptionCode = 0xC0000005u;
    facts.address = 0x7FF612345678ull;
    facts.moduleKnown = true;
    std::snprintf(facts.moduleName, sizeof facts.moduleName, "OrvanePC.dll");
    facts.moduleOffset = 0x5678;
    facts.hasAccess = true;
    facts.accessKind = 1;
    facts.dataAddress = 0x18;
    facts.registers.rip = 0x7FF612345678ull;
    logLine(LogInfo, "riga di registro prima del guasto");

    const std::string expectedHead =
        "================================================================\r\n"
        "  Orvane - rapporto di errore\r\n"
        "================================================================\r\n"
        "Data e ora      : 28/09/2026 14:05:09\r\n"
        "Causa           : eccezione non gestita\r\n"
        "Versione        : OrvanePC 0.10.0 (Sep 28 2026)\r\n"
        "Programma       : C:\\Orvane\\Orvane.exe\r\n"
        "Processo        : 4242\r\n"
        "Thread in errore: 77\r\n"
        "--- Errore -----------------------------------------------------\r\n"
        "Tipo            : accesso a memoria non valida (puntatore sbagliato)\r\n"
        "Codice          : 0x00000000C0000005\r\n"
        "Indirizzo       : 0x00007FF612345678\r\n"
        "Modulo          : OrvanePC.dll + 0x5678\r\n"
        "Operazione      : scrittura\r\n"
        "Indirizzo dati  : 0x0000000000000018\r\n"
        "                  (puntatore nullo o quasi: manca un controllo prima dell'uso)\r\n"
        "--- Registri ---------------------------------------------------\r\n"
        "RIP             : 0x00007FF612345678\r\n";
    const std::string withDump = report(facts, "C:\\d\\crash_edit_nuv_x.dmp");
    EXPECT_EQ(withDump.substr(0, expectedHead.size()), expectedHead);
    EXPECT_NE(withDump.find("File di dump    : C:\\d\\crash_edit_nuv_x.dmp\r\n"
                            "                  Si apre con Visual Studio, INSIEME al file .pdb\r\n"
                            "                  della stessa versione, e mostra la riga esatta.\r\n"
                            "--- Ultime righe di registro prima dell'errore ------------------\r\n"),
              std::string::npos);
    EXPECT_NE(withDump.find("INFO  riga di registro prima del guasto\r\n"), std::string::npos);
    const std::string tail = "Manda questo file, e se possibile anche il .dmp che sta\r\nnella stessa cartella.\r\n";
    EXPECT_EQ(withDump.substr(withDump.size() - tail.size()), tail);

    // Boundary of the near-null line, an unknown module, no dump.
    facts.dataAddress = kNearNullLimit;
    facts.moduleKnown = false;
    const std::string far = report(facts, nullptr);
    EXPECT_EQ(far.find("(puntatore nullo"), std::string::npos);
    EXPECT_NE(far.find("Modulo          : modulo sconosciuto\r\n"), std::string::npos);
    EXPECT_NE(far.find("File di dump    : non e' stato possibile scriverlo.\r\n"), std::string::npos);
    facts.dataAddress = kNearNullLimit - 1;
    EXPECT_NE(report(facts, nullptr).find("(puntatore nullo"), std::string::npos);

    // Without an exception (abort, terminate) the error section is left out; the registers stay.
    CrashFacts plain;
    plain.cause = "abort()";
    const std::string aborted = report(plain, nullptr);
    EXPECT_EQ(aborted.find("--- Errore"), std::string::npos);
    EXPECT_NE(aborted.find("Causa           : abort()\r\n"), std::string::npos);
    EXPECT_NE(aborted.find("--- Registri"), std::string::npos);
}

}  // namespace
}  // namespace ovcf
