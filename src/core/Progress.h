// Progress lines of a long operation, held back to one per interval.
#pragma once

#include <cstdint>
#include <string>

namespace ovcf {

class ProgressReporter {
public:
    ProgressReporter(std::string name, std::uint64_t total, std::uint32_t intervalMs);

    // Emits a line when at least the interval has passed since the last one.
    void update(std::uint64_t done);
    // Emits the final line once (done = total).
    void finish();

private:
    void emit(std::uint64_t done, bool final);
    double elapsedSeconds() const;

    std::string name_;
    std::uint64_t total_;
    double intervalSeconds_;
    double lastLineSeconds_ = 0.0;
    std::int64_t startNanoseconds_;
    bool finished_ = false;
};

}  // namespace ovcf
