#include "selection/FilterFactory.h"

#include "cloud/PointColors.h"
#include "selection/ClothFilter.h"
#include "selection/ColorFilter.h"
#include "selection/IsolatedFilter.h"
#include "selection/SpacingFilter.h"

namespace ovcf {

std::unique_ptr<SelectionFilter> makeSelectionFilter(const SelectionSettings& settings, const FilterContext& context) {
    switch (settings.filter) {
        case 1:  // spacing; off unless above 0
            if (!context.header || !(settings.spacing > 0.0)) return nullptr;
            return std::make_unique<SpacingFilter>(settings.spacing, *context.header);
        case 2: {  // cloth
            ClothParameters cloth;
            cloth.alongView = settings.clothAxis == 1;
            cloth.resolution = settings.clothResolution;
            cloth.tension = settings.clothTension;
            cloth.offset = settings.clothOffset;
            return std::make_unique<ClothFilter>(cloth, context.viewDirection);
        }
        case 3: {  // isolated points
            if (!context.header) return nullptr;
            auto isolated = std::make_unique<IsolatedFilter>(settings.isolatedRadius, settings.isolatedNeighbors,
                                                             settings.isolatedGroup, *context.header);
            if (context.threads > 0) isolated->setCountingThreads(context.threads);
            return isolated;
        }
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
