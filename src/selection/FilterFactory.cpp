#include "selection/FilterFactory.h"

namespace ovcf {

std::unique_ptr<SelectionFilter> makeSelectionFilter(const SelectionSettings& settings, const FilterContext& context) {
    switch (settings.filter) {
        case 1:  // spacing
            return nullptr;
        case 2:  // cloth
            return nullptr;
        case 3:  // isolated points
            return nullptr;
        case 4:  // colour
            return nullptr;
        default:
            return nullptr;
    }
}

}  // namespace ovcf
