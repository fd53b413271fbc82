#include "selection/FilterFactory.h"

#include "selection/ClothFilter.h"
#include "selection/ColorFilter.h"
#include "view/PointColors.h"

namespace ovcf {

std::unique_ptr<SelectionFilter> makeSelectionFilter(const SelectionSettings& settings, const FilterContext& context) {
    switch (settings.filter) {
        case 1:  // spacing
            return nullptr;
        case 2: {  // cloth
            ClothParameters cloth;
            cloth.alongView = settings.clothAxis == 1;
            cloth.resolution = settings.clothResolution;
            cloth.tension = settings.clothTension;
            cloth.offset = settings.clothOffset;
            return std::make_unique<ClothFilter>(cloth, context.viewDirection);
        }
        case 3:  // isolated points
            return nullptr;
        case 4: {  // colour
            const RenderSettings render = context.render ? *context.render : RenderSettings{};
            const std::uint32_t format = context.header ? context.header->pointFormat : PointFormatXyzRgb;
            const PointColoring coloring = pointColoring(render, context.elevationLow, context.elevationHigh, format);
            return std::make_unique<ColorFilter>(coloring, settings.colorReference, settings.colorTolerance,
                                                 settings.colorIgnoreLightness);
        }
        default:
            return nullptr;
    }
}

}  // namespace ovcf
