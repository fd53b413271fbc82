#include "selection/ColorFilter.h"

#include <algorithm>

#include "core/Log.h"
#include "core/NumberFormat.h"

namespace ovcf {
namespace {

constexpr std::uint32_t kKnown = 1u << 31;
constexpr std::uint32_t kPass = 1u << 30;
constexpr unsigned kCacheBits = 12;

// Modes that colour every point alike (monochrome, level of detail), and, with lightness
// ignored, the grey modes: the bits of 7656 below 13 are 3, 5, 6, 7, 8, 10, 11 and 12.
bool sameColourForAll(std::uint32_t mode, bool ignoreLightness) {
    if (mode == 1 || mode == 14) return true;
    return ignoreLightness && mode < 13 && (7656u >> mode & 1u);
}

std::size_t cacheSlot(std::uint32_t colour) { return (colour * 0x9E3779B1u) >> (32 - kCacheBits); }

}  // namespace

ColorFilter::ColorFilter(const PointColoring& coloring, std::uint32_t target, double tolerance, bool ignoreLightness)
    : coloring_(coloring), target_(target & 0xFFFFFFu), targetLab_(srgbToLab(target_)),
      tolerance_(tolerance > 0.0 ? tolerance : 0.0), ignoreLightness_(ignoreLightness),
      allOrNothing_(sameColourForAll(coloring.mode, ignoreLightness)) {}

bool ColorFilter::matches(std::uint32_t displayed) const {
    return deltaE76(srgbToLab(displayed), targetLab_, ignoreLightness_) <= tolerance_;
}

void ColorFilter::prepare(unsigned workerCount, const SelectionRegion*) {
    workers_.assign(std::max(1u, workerCount), Worker{});
    for (Worker& worker : workers_) worker.verdicts.assign(std::size_t{1} << kCacheBits, 0);
}

void ColorFilter::enterNode(unsigned worker, std::uint32_t, std::uint32_t level) { workers_[worker].level = level; }

bool ColorFilter::accept(unsigned worker, const PointRecord& point, const Vec3d& local) {
    Worker& w = workers_[worker];
    const std::uint32_t colour = displayedColor(coloring_, point, local.z, w.level);
    std::uint32_t& verdict = w.verdicts[cacheSlot(colour)];
    if ((verdict & ~kPass) == (kKnown | colour)) return (verdict & kPass) != 0;
    const bool pass = matches(colour);
    verdict = kKnown | (pass ? kPass : 0u) | colour;
    return pass;
}

void ColorFilter::log(const SelectionReport& report) const {
    const std::uint64_t selected = report.inShape - report.rejectedByFilter;
    const double percent = report.inShape ? static_cast<double>(selected) * 100.0 / static_cast<double>(report.inShape) : 0.0;
    logLine(LogInfo,
            "  colore #%02X%02X%02X con tolleranza %.1f dE%s, colorazione %s: %s punti nella sagoma, %s di colore diverso, %s selezionati (%.1f%%)",
            target_ >> 16, target_ >> 8 & 0xFFu, target_ & 0xFFu, tolerance_,
            ignoreLightness_ ? " (luminosita' ignorata)" : "", colorModeName(coloring_.mode),
            formatCount(report.inShape).c_str(), formatCount(report.rejectedByFilter).c_str(),
            formatCount(selected).c_str(), percent);
    if (allOrNothing_)
        logLine(LogInfo,
                "  colore: con questa colorazione il confronto non distingue i punti fra loro, quindi il filtro prende tutto o niente");
}

}  // namespace ovcf
