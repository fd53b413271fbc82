// A one-line progress bar on standard error, for terminals only. While it is shown, the module's
// log lines are printed above it instead of through the plain standard-error echo.
#pragma once

#include <string>

namespace ovcf::tool {

class TerminalProgress {
public:
    explicit TerminalProgress(std::string label);
    ~TerminalProgress();  // clears the bar and gives the log back to standard error
    TerminalProgress(const TerminalProgress&) = delete;
    TerminalProgress& operator=(const TerminalProgress&) = delete;

    // An import progress hook: context is the TerminalProgress. Never cancels.
    static bool hook(double fraction, void* context);
    void show(double fraction);

private:
    static void logSink(int level, const char* message, void* context);
    void draw();
    void erase();

    std::string label_;
    int shownPermille_ = -1;
    double fraction_ = 0.0;
};

}  // namespace ovcf::tool
