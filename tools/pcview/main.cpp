// pcview: the demo host. A top-level window with an OrvanePC view inside, the host's loop
// calling PC_Render as the module asks, and a headless mode for machines without a screen.
//
//   pcview [CLOUD.ovcf] [--headless] [--frames N] [--size WxH] [--screenshot FILE.png]
//          [--default-cache FILE.ovcf]
//
// Without a cloud, a small generated scene is indexed into FILE.ovcf (pcview_default.ovcf in
// the current folder unless given) and shown.
//
// Mouse: right button pans, middle button orbits, Alt + left button orbits, wheel zooms, the
// navigation cube turns to a standard view when clicked and orbits when dragged.
// Keys: C colour mode, E eye-dome lighting, X X-ray, P fixed/adaptive point size, +/- point
// size, Z zoom all, 0-5 standard views, Q or closing the window quits.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "DefaultCloud.h"
#include "HostWindow.h"
#include "OrvanePC.h"

namespace {

struct Options {
    std::string cloud;
    std::string screenshot;
    std::string defaultCache = "pcview_default.ovcf";
    bool headless = false;
    int frames = 30;
    int width = 1024;
    int height = 720;
};

std::string lastError() {
    char text[1024];
    PC_LastError(text, sizeof text);
    return text;
}

void printLog(int level, const char* message, void*) {
    static const char* const names[] = {"TRACE", "DEBUG", "INFO ", "WARN ", "ERROR"};
    std::printf("[%s] %s\n", level >= 0 && level <= 4 ? names[level] : "?????", message);
    std::fflush(stdout);
}

bool parse(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--headless") {
            options.headless = true;
        } else if (arg == "--frames" && i + 1 < argc) {
            options.frames = std::atoi(argv[++i]);
        } else if (arg == "--screenshot" && i + 1 < argc) {
            options.screenshot = argv[++i];
        } else if (arg == "--default-cache" && i + 1 < argc) {
            options.defaultCache = argv[++i];
        } else if (arg == "--size" && i + 1 < argc) {
            if (std::sscanf(argv[++i], "%dx%d", &options.width, &options.height) != 2) return false;
        } else if (!arg.empty() && arg[0] != '-' && options.cloud.empty()) {
            options.cloud = arg;
        } else {
            return false;
        }
    }
    return options.width > 0 && options.height > 0;
}

// Parameter ids of the table (see PC_GetParamInfo).
enum Param { ViewMode = 0, ColorMode = 1, SizeMode = 2, PixelSize = 3, PointSize = 4, Edl = 8 };

void changePointSize(PcView view, int direction) {
    if (PC_GetValue(view, SizeMode) == 0.0)
        PC_SetValue(view, PixelSize, PC_GetValue(view, PixelSize) + direction);
    else
        PC_SetValue(view, PointSize, PC_GetValue(view, PointSize) * (direction > 0 ? 1.25 : 0.8));
}

void onKey(PcView view, int key) {
    switch (key) {
        case 'C': PC_SetValue(view, ColorMode, static_cast<int>(PC_GetValue(view, ColorMode) + 1) % 15); break;
        case 'E': PC_SetValue(view, Edl, PC_GetValue(view, Edl) != 0.0 ? 0.0 : 1.0); break;
        case 'X': PC_SetValue(view, ViewMode, PC_GetValue(view, ViewMode) == 2.0 ? 0.0 : 2.0); break;
        case 'P': PC_SetValue(view, SizeMode, PC_GetValue(view, SizeMode) == 0.0 ? 1.0 : 0.0); break;
        case 0xBB: case 0x6B: changePointSize(view, +1); break;
        case 0xBD: case 0x6D: changePointSize(view, -1); break;
        case 'Z': PC_ZoomAll(view); break;
        default:
            if (key >= '0' && key <= '5') PC_SetStandardView(view, key - '0');
            return;
    }
    char colorName[32];
    PC_GetChoiceName(ColorMode, static_cast<int>(PC_GetValue(view, ColorMode)), colorName, sizeof colorName);
    std::printf("pcview: %s, EDL %s, %s, point size %s %.1f\n", colorName, PC_GetValue(view, Edl) != 0.0 ? "on" : "off",
                PC_GetValue(view, ViewMode) == 2.0 ? "X-ray" : "opaque",
                PC_GetValue(view, SizeMode) == 0.0 ? "fixed" : "adaptive",
                PC_GetValue(view, PC_GetValue(view, SizeMode) == 0.0 ? PixelSize : PointSize));
}

int runInteractive(HostWindow& host, PcView view) {
    bool wantFrame = true;
    for (;;) {
        const HostEvent event = host.nextEvent(wantFrame ? 0 : 16);
        host.pumpView(view);
        if (event.type == HostEvent::Close || (event.type == HostEvent::Key && event.key == 'Q')) return 0;
        if (event.type == HostEvent::Key) onKey(view, event.key);
        if (event.type != HostEvent::NoEvent) wantFrame = true;
        if (wantFrame) wantFrame = PC_Render(view) == 1;
    }
}

int runHeadless(HostWindow& host, PcView view, const Options& options) {
    // At least the requested frames, then on until the picture is complete (nodes streamed in).
    int more = 1;
    int frame = 0;
    for (; frame < options.frames || (more && frame < 20000); ++frame) {
        host.nextEvent(0);
        host.pumpView(view);
        more = PC_Render(view);
    }
    std::printf("pcview: %d frames drawn, picture %s\n", frame, more ? "still loading" : "complete");
    // Exercise the resize path once, as a host would when its window changes.
    host.resize(options.width / 2, options.height / 2);
    host.nextEvent(10);
    host.pumpView(view);
    PC_Render(view);
    host.resize(options.width, options.height);
    host.nextEvent(10);
    host.pumpView(view);
    PC_Render(view);
    if (!options.screenshot.empty()) {
        if (PC_SaveScreenshot(view, options.screenshot.c_str()) == PC_OK)
            std::printf("pcview: screenshot written to %s\n", options.screenshot.c_str());
        else
            std::printf("pcview: screenshot not written: %s\n", lastError().c_str());
    }
    std::printf("pcview: headless run finished\n");
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) {
        std::fprintf(stderr, "usage: pcview [CLOUD.ovcf] [--headless] [--frames N] [--size WxH] [--screenshot FILE.png] "
                     "[--default-cache FILE.ovcf]\n");
        return 2;
    }
    char version[64];
    std::snprintf(version, sizeof version, "OrvanePC %d", PC_Version());
    std::printf("pcview: %s\n", version);
    PC_SetLogCallback(&printLog, nullptr);

    auto host = HostWindow::create("pcview - OrvanePC", options.width, options.height);
    if (!host) {
        std::fprintf(stderr, "pcview: cannot open the host window (is there a display?)\n");
        return 1;
    }
    PcView view = PC_CreateView(host->parentHandle());
    if (!view) {
        std::fprintf(stderr, "pcview: PC_CreateView failed: %s\n", lastError().c_str());
        return 1;
    }
    host->watchViewKeys();
    std::string cloud = options.cloud;
    if (cloud.empty()) {
        std::string error;
        if (buildDefaultCloud(options.defaultCache, error))
            cloud = options.defaultCache;
        else
            std::fprintf(stderr, "pcview: no default cloud: %s\n", error.c_str());
    }
    if (!cloud.empty() && PC_OpenFile(view, cloud.c_str()) != PC_OK)
        std::fprintf(stderr, "pcview: cannot open %s: %s\n", cloud.c_str(), lastError().c_str());

    char overlay[512];
    std::snprintf(overlay, sizeof overlay,
                  "%s\n%llu points\nC colour  E EDL  X X-ray  P size mode  +/- size  Z all  0-5 views  Q quit",
                  cloud.empty() ? "no cloud" : cloud.c_str(), static_cast<unsigned long long>(PC_PointCount(view)));
    PC_SetOverlayText(view, overlay, 0xE8E8E8);

    const int result = options.headless ? runHeadless(*host, view, options) : runInteractive(*host, view);
    PC_DestroyView(view);
    PC_SetLogCallback(nullptr, nullptr);
    return result;
}
