// Reading a framebuffer back as the screenshot writer wants it: tightly packed RGB, 3 bytes a
// pixel, the bottom row first.
#pragma once

#include <cstdint>
#include <vector>

namespace ovcf {

void readFramebufferRgb(std::uint32_t framebuffer, int width, int height, std::vector<std::uint8_t>& rgb);

}  // namespace ovcf
