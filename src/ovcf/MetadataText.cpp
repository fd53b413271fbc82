#include "MetadataText.h"

#include <ctime>
#include <mutex>

namespace ovcf {
namespace {

void appendLine(std::string& text, const char* key, const std::string& value) {
    text += key;
    text += '=';
    for (char c : value) text += (c == '\r' || c == '\n') ? ' ' : c;
    text += '\n';
}

}  // namespace

std::string composeMetadata(const std::string& source, const std::string& created) {
    std::string text;
    if (!source.empty()) appendLine(text, "source", source);
    appendLine(text, "created", created);
    appendLine(text, "module", kModuleVersionText);
    return text;
}

std::string localTimestamp() {
    // std::localtime shares one result buffer per process on some runtimes.
    static std::mutex lock;
    const std::time_t now = std::time(nullptr);
    char text[32] = {};
    std::lock_guard<std::mutex> guard(lock);
    if (const std::tm* local = std::localtime(&now)) std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", local);
    return text;
}

}  // namespace ovcf
