// pcview: the demo host. A top-level window with an OrvanePC view inside, the host's loop
// calling PC_Render as the module asks, and a headless mode for machines without a screen.
//
//   pcview [CLOUD.ovcf] [--headless] [--frames N] [--size WxH] [--screenshot FILE.png]
//          [--default-cache FILE.ovcf] [--do "ACTION; ACTION..."] [--script FILE]
//          [--keep-going] [--diagnostics] [--crash KIND]
//
// Without a cloud, a small generated scene is indexed into FILE.ovcf (pcview_default.ovcf in
// the current folder unless given) and shown. --do and --script replay input actions (see
// Replay.h) through the window system once the picture is complete; a failed action or
// expectation ends the program with status 1, unless --keep-going logs it and goes on.
// --diagnostics starts the module's crash diagnostics (PC_InitializeDiagnostics); --crash KIND
// starts them and then faults on purpose (see CrashOnPurpose.h) once the view has drawn, leaving
// a report (and on Windows a dump) in the diagnostics folder.
//
// Mouse: right button pans, middle button orbits, Alt + left button orbits, wheel zooms, the
// navigation cube turns to a standard view when clicked and orbits when dragged. With a
// selection tool armed the left button draws it: rectangle and circle by dragging, the polygon
// by clicks (right click takes the last vertex back, Enter closes it, Escape cancels).
// Keys: C colour mode, E eye-dome lighting, X X-ray, P fixed/adaptive point size, +/- point
// size, Z zoom all, 0-5 standard views, Q or closing the window quits.
// Editing: R rectangle, O circle, L polygon, N no tool, M combine mode, A select all, I invert,
// K clear the selection, Delete deletes the selection, U undo, T restore all, S confirm into
// the file. W zoom window, B clip box (both take one rubber band), V clip box on/off, H thinner,
// J thicker, Y clear the clip box; a clip box's face handles are dragged with the left button.
// Picking: F plane by three points (left clicks fix them, right click takes one back, Escape
// cancels), D coordinates under the cursor on/off, G picks the colour under the cursor as the
// colour filter's reference.
// Filters of the selection tools: F5 chooses the next one (none, spacing, cloth, isolated points,
// colour), F6 and F7 make its main value smaller and larger (spacing, isolated-points radius,
// cloth cell, colour tolerance).
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "CrashOnPurpose.h"
#include "DefaultCloud.h"
#include "HostWindow.h"
#include "LastError.h"
#include "OrvanePC.h"
#include "Replay.h"

namespace {

struct Options {
    std::string cloud;
    std::string screenshot;
    bool keepGoing = false;
    std::string defaultCache = "pcview_default.ovcf";
    std::vector<std::string> actions;
    std::string crash;
    bool diagnostics = false;
    bool headless = false;
    int frames = 30;
    int width = 1024;
    int height = 720;
};

void printLog(int level, const char* message, void*) {
    static const char* const names[] = {"TRACE", "DEBUG", "INFO ", "WARN ", "ERROR"};
    std::printf("[%s] %s\n", level >= 0 && level <= 4 ? names[level] : "?????", message);
    std::fflush(stdout);
}

bool parse(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--diagnostics") {
            options.diagnostics = true;
        } else if (arg == "--crash" && i + 1 < argc) {
            options.crash = argv[++i];
            options.diagnostics = true;
            if (!pcview::isCrashKind(options.crash.c_str())) return false;
        } else if (arg == "--keep-going") {
            options.keepGoing = true;
        } else if (arg == "--headless") {
            options.headless = true;
        } else if (arg == "--frames" && i + 1 < argc) {
            options.frames = std::atoi(argv[++i]);
        } else if (arg == "--screenshot" && i + 1 < argc) {
            options.screenshot = argv[++i];
        } else if (arg == "--default-cache" && i + 1 < argc) {
            options.defaultCache = argv[++i];
        } else if (arg == "--do" && i + 1 < argc) {
            for (std::string& action : splitActions(argv[++i])) options.actions.push_back(std::move(action));
        } else if (arg == "--script" && i + 1 < argc) {
            if (!readActionFile(argv[++i], options.actions)) {
                std::fprintf(stderr, "pcview: cannot read %s\n", argv[i]);
                return false;
            }
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
enum Param {
    ViewMode = 0, ColorMode = 1, SizeMode = 2, PixelSize = 3, PointSize = 4, Edl = 8,
    Filter = 22, Spacing = 23, ClothResolution = 25, IsolatedRadius = 28, IsolatedNeighbours = 29, ColourTolerance = 31
};

// The parameter each filter is tuned by from the keyboard (none for "no filter").
int filterValue(int filter) {
    static const int values[] = {-1, Spacing, ClothResolution, IsolatedRadius, ColourTolerance};
    return filter >= 0 && filter < 5 ? values[filter] : -1;
}

void changeFilterValue(PcView view, double factor) {
    const int value = filterValue(static_cast<int>(PC_GetValue(view, Filter)));
    if (value >= 0) PC_SetValue(view, value, PC_GetValue(view, value) * factor);  // the table clamps
}

// "spacing 0.050 m" and the like, for the overlay.
std::string filterText(PcView view) {
    char text[96];
    switch (static_cast<int>(PC_GetValue(view, Filter))) {
        case 1: std::snprintf(text, sizeof text, "spacing %.3f m", PC_GetValue(view, Spacing)); break;
        case 2: std::snprintf(text, sizeof text, "cloth, cells of %.2f m", PC_GetValue(view, ClothResolution)); break;
        case 3:
            std::snprintf(text, sizeof text, "isolated points, radius %.2f m, %d neighbours", PC_GetValue(view, IsolatedRadius),
                          static_cast<int>(PC_GetValue(view, IsolatedNeighbours)));
            break;
        case 4: std::snprintf(text, sizeof text, "colour, tolerance %.1f", PC_GetValue(view, ColourTolerance)); break;
        default: return "none";
    }
    return text;
}
constexpr int ColourFilterSlot = 4;
// Virtual-key codes of the function keys that tune the selection filter.
constexpr int KeyF5 = 0x74, KeyF6 = 0x75, KeyF7 = 0x76;

void changePointSize(PcView view, int direction) {
    if (PC_GetValue(view, SizeMode) == 0.0)
        PC_SetValue(view, PixelSize, PC_GetValue(view, PixelSize) + direction);
    else
        PC_SetValue(view, PointSize, PC_GetValue(view, PointSize) * (direction > 0 ? 1.25 : 0.8));
}

// The colour under the mouse becomes the colour filter's reference.
void pickFilterColour(PcView view, HostWindow& host) {
    int x = 0, y = 0;
    const uint32_t rgb = host.cursorInView(x, y) ? PC_PickColor(view, x, y) : 0xFFFFFFFFu;
    if (rgb == 0xFFFFFFFFu) {
        std::printf("pcview: no point under the cursor\n");
        return;
    }
    PC_SetColor(view, ColourFilterSlot, rgb);
    std::printf("pcview: colour filter reference #%06X\n", static_cast<unsigned>(rgb));
}

void onKey(PcView view, HostWindow& host, int key) {
    switch (key) {
        case 'C': PC_SetValue(view, ColorMode, static_cast<int>(PC_GetValue(view, ColorMode) + 1) % 15); break;
        case 'E': PC_SetValue(view, Edl, PC_GetValue(view, Edl) != 0.0 ? 0.0 : 1.0); break;
        case 'X': PC_SetValue(view, ViewMode, PC_GetValue(view, ViewMode) == 2.0 ? 0.0 : 2.0); break;
        case 'P': PC_SetValue(view, SizeMode, PC_GetValue(view, SizeMode) == 0.0 ? 1.0 : 0.0); break;
        case 0xBB: case 0x6B: changePointSize(view, +1); break;
        case 0xBD: case 0x6D: changePointSize(view, -1); break;
        case 'Z': PC_ZoomAll(view); break;
        case 'R': PC_SetSelectionTool(view, 1); return;
        case 'O': PC_SetSelectionTool(view, 2); return;
        case 'L': PC_SetSelectionTool(view, 3); return;
        case 'N': PC_SetSelectionTool(view, 0); return;
        case 'M': PC_SetCombineMode(view, (PC_GetCombineMode(view) + 1) % 3); return;
        case 'A': PC_SelectAll(view); return;
        case 'I': PC_InvertSelection(view); return;
        case 'K': PC_ClearSelection(view); return;
        case 0x2E: PC_DeleteSelected(view); return;
        case 'U': PC_UndoDeletion(view); return;
        case 'T': PC_RestoreAllDeleted(view); return;
        case 'S':
            if (PC_ConfirmChanges(view) != PC_OK) std::printf("pcview: confirm failed: %s\n", lastError().c_str());
            return;
        case 'W': PC_SetRectTool(view, 1); return;
        case 'B': PC_SetRectTool(view, 2); return;
        case 'V': PC_SetClipBoxActive(view, !PC_IsClipBoxActive(view)); return;
        case 'H': PC_ScaleClipBoxThickness(view, 0.8); return;
        case 'J': PC_ScaleClipBoxThickness(view, 1.25); return;
        case 'Y': PC_ClearClipBox(view); return;
        case 'F': PC_StartPlaneByThreePoints(view); return;
        case 'D': PC_SetCursorReadout(view, !PC_CursorReadout(view)); return;
        case 'G': pickFilterColour(view, host); return;
        case KeyF5: PC_SetValue(view, Filter, (static_cast<int>(PC_GetValue(view, Filter)) + 1) % 5); return;
        case KeyF6: changeFilterValue(view, 1.0 / 1.5); return;
        case KeyF7: changeFilterValue(view, 1.5); return;
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

// The overlay: the cloud, its counts, the armed tool and the keys. Refreshed after every event
// of the view and every key; the event callback only raises a flag.
struct Overlay {
    PcView view = nullptr;
    std::string cloud;
    bool stale = true;

    static void onEvent(int, const PcViewState*, void* user) { static_cast<Overlay*>(user)->stale = true; }

    // What the plane pick is doing, or the last plane it made.
    std::string planeLine() const {
        const int picked = PC_PlanePickState(view);
        char text[160] = "";
        double plane[8];
        if (picked >= 0 && picked < 3)
            std::snprintf(text, sizeof text, "\nplane: click point %d of 3 (right click takes one back, Escape cancels)",
                          picked + 1);
        else if (picked == 3 && PC_GetLastPlane(view, plane))
            std::snprintf(text, sizeof text, "\nplane: inclination %.2f degrees, normal (%.3f, %.3f, %.3f)", plane[7],
                          plane[0], plane[1], plane[2]);
        return text;
    }

    void refresh() {
        if (!stale) return;
        stale = false;
        PcViewState state{};
        PC_GetState(view, &state);
        static const char* const tools[] = {"navigation", "rectangle", "circle", "polygon"};
        static const char* const modes[] = {"replace", "add", "subtract"};
        char text[1024];
        std::snprintf(text, sizeof text,
                      "%s\n%llu points: %llu selected, %llu deleted, %llu surviving%s\n"
                      "tool: %s (%s), filter: %s%s\n"
                      "C colour  E EDL  X X-ray  P size mode  +/- size  Z all  0-5 views  Q quit\n"
                      "R rect  O circle  L polygon  N none  M mode  A all  I invert  K clear  Del delete  U undo  "
                      "T restore  S confirm\n"
                      "W zoom window  B clip box  V box on/off  H/J thinner/thicker  Y clear box\n"
                      "F plane by 3 points  D coordinates on/off  G pick colour for the filter\n"
                      "F5 filter (none, spacing, cloth, isolated, colour)  F6/F7 its value smaller/larger%s%s",
                      cloud.empty() ? "no cloud" : cloud.c_str(), static_cast<unsigned long long>(state.pointCount),
                      static_cast<unsigned long long>(state.selectedCount),
                      static_cast<unsigned long long>(state.deletedCount),
                      static_cast<unsigned long long>(state.pointCount - state.deletedCount),
                      state.hasUnsavedChanges ? " (not confirmed)" : "",
                      tools[state.selectionTool < 4 ? state.selectionTool : 0], modes[state.combineMode < 3 ? state.combineMode : 0],
                      filterText(view).c_str(),
                      state.polygonVertexCount ? " - click to add vertices, Enter closes" : "",
                      state.rectTool == 1 ? "\nzoom window: drag a rectangle"
                      : state.rectTool == 2 ? "\nclip box: drag a rectangle over the points to keep"
                      : state.clipBoxActive ? "\nclip box on: drag its face handles to reshape it" : "",
                      planeLine().c_str());
        PC_SetOverlayText(view, text, 0xE8E8E8);
    }
};

int runInteractive(HostWindow& host, PcView view, Overlay& overlay) {
    bool wantFrame = true;
    for (;;) {
        // The readout follows the cursor, whose moves go to the view, not to the host: a frame a tick.
        const bool following = PC_CursorReadout(view) != 0;
        const HostEvent event = host.nextEvent(wantFrame && !following ? 0 : 16);
        host.pumpView(view);
        if (event.type == HostEvent::Close || (event.type == HostEvent::Key && event.key == 'Q')) return 0;
        if (event.type == HostEvent::Key) {
            onKey(view, host, event.key);
            overlay.stale = true;
        }
        if (event.type != HostEvent::NoEvent || overlay.stale || following) wantFrame = true;
        overlay.refresh();
        if (wantFrame) wantFrame = PC_Render(view) == 1;
    }
}

int runHeadless(HostWindow& host, PcView view, Overlay& overlay, const Options& options) {
    // At least the requested frames, then on until the picture is complete (nodes streamed in).
    int more = 1;
    int frame = 0;
    for (; frame < options.frames || (more && frame < 20000); ++frame) {
        host.nextEvent(0);
        host.pumpView(view);
        overlay.refresh();
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
    int result = 0;
    if (!options.actions.empty()) {
        const auto drawFrame = [&] {
            host.nextEvent(0);
            host.pumpView(view);
            overlay.refresh();
            // Until the nodes the new picture needs have arrived.
            for (int i = 0; i < 2000 && PC_Render(view) == 1; ++i) host.pumpView(view);
        };
        result = runActions(options.actions, host, view, drawFrame, options.keepGoing) ? 0 : 1;
        std::printf("pcview: %zu actions %s\n", options.actions.size(), result == 0 ? "replayed" : "stopped");
    }
    if (!options.screenshot.empty()) {
        overlay.refresh();
        PC_Render(view);
        if (PC_SaveScreenshot(view, options.screenshot.c_str()) == PC_OK)
            std::printf("pcview: screenshot written to %s\n", options.screenshot.c_str());
        else
            std::printf("pcview: screenshot not written: %s\n", lastError().c_str());
    }
    std::printf("pcview: headless run finished\n");
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) {
        std::fprintf(stderr, "usage: pcview [CLOUD.ovcf] [--headless] [--frames N] [--size WxH] [--screenshot FILE.png] "
                     "[--default-cache FILE.ovcf] [--do \"ACTION; ...\"] [--script FILE] [--keep-going] [--diagnostics] "
                     "[--crash %s]\n", pcview::kCrashKinds);
        return 2;
    }
    char version[64];
    std::snprintf(version, sizeof version, "OrvanePC %d", PC_Version());
    std::printf("pcview: %s\n", version);
    PC_SetLogCallback(&printLog, nullptr);
    if (options.diagnostics) PC_InitializeDiagnostics("pcview");

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

    Overlay overlay;
    overlay.view = view;
    overlay.cloud = cloud;
    PC_SetEventCallback(view, &Overlay::onEvent, &overlay);
    overlay.refresh();

    if (!options.crash.empty()) {
        // The picture first, so that the report's last log lines show a view at work.
        int more = 1;
        for (int frame = 0; frame < 2000 && (frame < 3 || more); ++frame) {
            host->nextEvent(0);
            host->pumpView(view);
            more = PC_Render(view);
        }
        std::printf("pcview: crashing on purpose (%s)\n", options.crash.c_str());
        std::fflush(stdout);
        pcview::crashOnPurpose(options.crash.c_str());
        std::fprintf(stderr, "pcview: the fault did not happen\n");
        return 1;
    }
    const int result =
        options.headless ? runHeadless(*host, view, overlay, options) : runInteractive(*host, view, overlay);
    PC_DestroyView(view);
    PC_SetLogCallback(nullptr, nullptr);
    return result;
}
