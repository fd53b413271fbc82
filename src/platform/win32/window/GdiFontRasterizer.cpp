// GDI draws the glyphs white on black into a 32-bit DIB section; with white text every colour
// byte of a pixel is the glyph's coverage, so one byte a pixel makes the single-channel atlas.
#include "platform/FontRasterizer.h"

#include <windows.h>

#include <cstring>

namespace ovcf {

bool rasterizeGlyphs(int characterHeight, RasterizedGlyphs& glyphs, std::string& error) {
    glyphs = RasterizedGlyphs{};
    HFONT font = CreateFontW(-characterHeight, 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, DEFAULT_CHARSET,
                             OUT_TT_PRECIS, CLIP_DEFAULT_PRECIS, ANTIALIASED_QUALITY, FIXED_PITCH | FF_MODERN,
                             L"Consolas");
    if (!font) {
        error = "font creation failed";
        return false;
    }
    HDC context = CreateCompatibleDC(nullptr);
    if (!context) {
        DeleteObject(font);
        error = "creation of the drawing context failed";
        return false;
    }
    HGDIOBJ previousFont = SelectObject(context, font);

    TEXTMETRICW metrics{};
    GetTextMetricsW(context, &metrics);
    glyphs.lineHeight = metrics.tmHeight;
    glyphs.cellWidth = metrics.tmMaxCharWidth + 2;
    glyphs.cellHeight = metrics.tmHeight + 2;
    glyphs.width = kAtlasColumns * glyphs.cellWidth;
    glyphs.height = kAtlasRows * glyphs.cellHeight;

    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    info.bmiHeader.biWidth = glyphs.width;
    info.bmiHeader.biHeight = -glyphs.height;  // top-down rows
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    HBITMAP bitmap = glyphs.width > 0 && glyphs.height > 0
                         ? CreateDIBSection(context, &info, DIB_RGB_COLORS, &bits, nullptr, 0)
                         : nullptr;
    if (!bitmap || !bits) {
        if (bitmap) DeleteObject(bitmap);
        SelectObject(context, previousFont);
        DeleteDC(context);
        DeleteObject(font);
        error = "creation of the glyph bitmap failed";
        return false;
    }
    HGDIOBJ previousBitmap = SelectObject(context, bitmap);
    const std::size_t pixelCount = static_cast<std::size_t>(glyphs.width) * static_cast<std::size_t>(glyphs.height);
    std::memset(bits, 0, pixelCount * 4);
    SetTextColor(context, RGB(255, 255, 255));
    SetBkMode(context, TRANSPARENT);
    for (int i = 0; i < kGlyphCount; ++i) {
        const wchar_t code = static_cast<wchar_t>(kFirstGlyphCode + i);
        const int x = (i % kAtlasColumns) * glyphs.cellWidth + 1;
        const int y = (i / kAtlasColumns) * glyphs.cellHeight + 1;
        TextOutW(context, x, y, &code, 1);
        INT advance = 0;
        if (GetCharWidth32W(context, code, code, &advance)) glyphs.advances[i] = advance;
    }
    GdiFlush();

    glyphs.coverage.resize(pixelCount);
    const auto* pixels = static_cast<const std::uint8_t*>(bits);
    for (std::size_t p = 0; p < pixelCount; ++p) glyphs.coverage[p] = pixels[p * 4 + 1];

    SelectObject(context, previousBitmap);
    DeleteObject(bitmap);
    SelectObject(context, previousFont);
    DeleteDC(context);
    DeleteObject(font);
    return true;
}

}  // namespace ovcf
