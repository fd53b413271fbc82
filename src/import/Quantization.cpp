#include "import/Quantization.h"

#include <cmath>
#include <cstdio>

namespace ovcf {

bool checkQuantizationRange(const Bounds3& bounds, const std::array<double, 3>& offset,
                            const std::array<double, 3>& step, std::string& error) {
    static const char* const kAxisNames[3] = {"X", "Y", "Z"};
    for (int axis = 0; axis < 3; ++axis) {
        // An infinite step passes every range check and quantises every point to 0.
        if (!std::isfinite(step[axis]) || !(step[axis] > 0.0)) {
            error = "the quantisation step must be a finite number of metres above 0";
            return false;
        }
        if (!std::isfinite(offset[axis])) {
            error = "the quantisation offset is not a finite number";
            return false;
        }
        if ((bounds.max[axis] - offset[axis]) / step[axis] > kLargestQuantized) {
            char text[200];
            std::snprintf(text, sizeof text,
                          "the cloud extends %.1f m along %s, too much for the %.4f m quantisation step: use a coarser step",
                          bounds.max[axis] - bounds.min[axis], kAxisNames[axis], step[axis]);
            error = text;
            return false;
        }
    }
    return true;
}

}  // namespace ovcf
