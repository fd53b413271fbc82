#include "core/CrashReport.h"

namespace ovcf {
namespace {

struct ExceptionName {
    std::uint32_t code;
    const char* text;
};

constexpr ExceptionName kExceptionNames[] = {
    {0xC0000005u, "accesso a memoria non valida (puntatore sbagliato)"},
    {0xC000001Du, "istruzione non consentita"},
    {0xC0000006u, "errore di pagina su file mappato"},
    {0xC000008Cu, "indice fuori dai limiti di un array"},
    {0xC000008Du, "operazione in virgola mobile: denormale"},
    {0xC000008Eu, "divisione per zero in virgola mobile"},
    {0xC000008Fu, "risultato inesatto in virgola mobile"},
    {0xC0000090u, "operazione non valida in virgola mobile"},
    {0xC0000091u, "traboccamento in virgola mobile"},
    {0xC0000092u, "stack in virgola mobile fuori posto"},
    {0xC0000093u, "sottotraboccamento in virgola mobile"},
    {0xC0000094u, "divisione per zero fra numeri interi"},
    {0xC0000095u, "traboccamento fra numeri interi"},
    {0xC0000096u, "istruzione privilegiata"},
    {0xC00000FDu, "esaurimento dello stack (ricorsione infinita?)"},
    {0xC0000025u, "eccezione non continuabile"},
    {0xC0000026u, "disposizione non valida"},
    {0xC0000409u, "sfondamento di un buffer rilevato dal compilatore"},
    {0xC0000374u, "struttura della memoria dinamica corrotta"},
    {0xE06D7363u, "eccezione C++ non raccolta"},
    {0x80000003u, "punto di interruzione"},
};

constexpr const char* kRule = "================================================================";

// "Label           : " is part of each literal, so every label reads as the report shows it.
void labelledHex(FixedText& out, const char* label, std::uint64_t value) {
    out.append(label);
    out.appendFormat("0x%016llX", static_cast<unsigned long long>(value));
    out.append("\r\n");
}

void labelledText(FixedText& out, const char* label, const char* text) {
    out.append(label);
    out.appendLine(text);
}

void labelledNumber(FixedText& out, const char* label, std::uint64_t value) {
    out.append(label);
    out.appendFormat("%llu", static_cast<unsigned long long>(value));
    out.append("\r\n");
}

void appendException(FixedText& out, const CrashFacts& facts) {
    out.appendLine("--- Errore -----------------------------------------------------");
    labelledText(out, "Tipo            : ", exceptionDescription(facts.exceptionCode));
    labelledHex(out, "Codice          : ", facts.exceptionCode);
    labelledHex(out, "Indirizzo       : ", facts.address);
    out.append("Modulo          : ");
    if (facts.moduleKnown)
        out.appendFormat("%s + 0x%llX", facts.moduleName, static_cast<unsigned long long>(facts.moduleOffset));
    else
        out.append("modulo sconosciuto");
    out.append("\r\n");
    if (facts.exceptionCode == 0xC0000005u && facts.hasAccess) {
        labelledText(out, "Operazione      : ", accessOperationName(facts.accessKind));
        labelledHex(out, "Indirizzo dati  : ", facts.dataAddress);
        if (facts.dataAddress < kNearNullLimit)
            out.appendLine("                  (puntatore nullo o quasi: manca un controllo prima dell'uso)");
    }
}

void appendRegisters(FixedText& out, const CrashRegisters& r) {
    out.appendLine("--- Registri ---------------------------------------------------");
    labelledHex(out, "RIP             : ", r.rip);
    labelledHex(out, "RSP             : ", r.rsp);
    labelledHex(out, "RBP             : ", r.rbp);
    labelledHex(out, "RAX             : ", r.rax);
    labelledHex(out, "RCX             : ", r.rcx);
    labelledHex(out, "RDX             : ", r.rdx);
}

}  // namespace

const char* exceptionDescription(std::uint32_t code) {
    for (const ExceptionName& name : kExceptionNames)
        if (name.code == code) return name.text;
    return "errore sconosciuto";
}

const char* accessOperationName(std::uint64_t kind) {
    switch (kind) {
        case 0: return "lettura";
        case 1: return "scrittura";
        case 8: return "esecuzione";
        default: return "accesso";
    }
}

void formatCrashStamp(FixedText& out, const CrashTime& t) {
    out.appendFormat("%04u%02u%02u_%02u%02u%02u_%03u", t.year, t.month, t.day, t.hour, t.minute, t.second,
                     t.millisecond);
}

void buildCrashReport(FixedText& out, const CrashFacts& facts, const char* programName, const char* versionLine,
                      const char* dumpPath) {
    out.appendLine(kRule);
    out.append("  ");
    out.append(programName);
    out.appendLine(" - rapporto di errore");
    out.appendLine(kRule);
    const CrashTime& t = facts.time;
    out.append("Data e ora      : ");
    out.appendFormat("%02u/%02u/%04u %02u:%02u:%02u", t.day, t.month, t.year, t.hour, t.minute, t.second);
    out.append("\r\n");
    labelledText(out, "Causa           : ", facts.cause);
    labelledText(out, "Versione        : ", versionLine);
    labelledText(out, "Programma       : ", facts.executablePath);
    labelledNumber(out, "Processo        : ", facts.processId);
    labelledNumber(out, "Thread in errore: ", facts.threadId);
    if (facts.hasException) appendException(out, facts);
    appendRegisters(out, facts.registers);
    if (dumpPath) {
        labelledText(out, "File di dump    : ", dumpPath);
        out.appendLine("                  Si apre con Visual Studio, INSIEME al file .pdb");
        out.appendLine("                  della stessa versione, e mostra la riga esatta.");
    } else {
        out.appendLine("File di dump    : non e' stato possibile scriverlo.");
    }
    out.appendLine("--- Ultime righe di registro prima dell'errore ------------------");
    // The log's recent lines arrive ended by CR LF already; the closing lines keep their room.
    constexpr std::size_t kClosingBytes = 96;
    if (out.room() > kClosingBytes) out.advance(copyRecentLines(out.tail(), out.room() - kClosingBytes + 1));
    out.appendLine("Manda questo file, e se possibile anche il .dmp che sta");
    out.appendLine("nella stessa cartella.");
}

}  // namespace ovcf
