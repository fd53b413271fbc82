#include "import/Quantization.h"

#include <cstdio>

namespace ovcf {

bool checkQuantizationRange(const Bounds3& bounds, const std::array<double, 3>& offset,
                            const std::array<double, 3>& step, std::string& error) {
    static const char* const kAxisNames[3] = {"X", "Y", "Z"};
    for (int axis = 0; axis < 3; ++axis) {
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
