#include "selection/FilterFactory.h"

#include "selection/IsolatedFilter.h"
#include "selection/SpacingFilter.h"

namespace ovcf {

std::unique_ptr<SelectionFilter> makeSelectionFilter(const SelectionSettings& settings, const FilterContext& context) {
    switch (settings.filter) {
        case 1:  // spacing; off unless above 0
            if (!context.header || !(settings.spacing > 0.0)) return nullptr;
            return std::make_unique<SpacingFilter>(settings.spacing, *context.header);
        case 2:  // cloth
            return nullptr;
        case 3:  // isolated points
            if (!context.header) return nullptr;
            return std::make_unique<IsolatedFilter>(settings.isolatedRadius, settings.isolatedNeighbors,
                                                    settings.isolatedGroup, *context.header);
        case 4:  // colour
            return nullptr;
        default:
            return nullptr;
    }
}

}  // namespace ovcf
