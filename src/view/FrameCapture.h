// Reading a framebuffer back as the screenshot writer wants it: tightly packed RGB, 3 bytes a
// pixel, the bottom row first.
#pragma once

#include <cstdint>
#include <vector>

namespace ovcf {

void readFramebufferRgb(std::uint32_t framebuffer, int width, int height, std::vector<std::uint8_t>& rgb);
// Depth values 0..1 of a rectangle of a framebuffer with a depth attachment, rows from the bottom.
void readFramebufferDepth(std::uint32_t framebuffer, int x, int y, int width, int height, std::vector<float>& depth);

}  // namespace ovcf
