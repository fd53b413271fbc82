#include "Replay.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <utility>
#include <vector>

#include "LastError.h"

namespace {

std::string trim(const std::string& s) {
    const auto first = s.find_first_not_of(" \t\r");
    if (first == std::string::npos) return {};
    return s.substr(first, s.find_last_not_of(" \t\r") - first + 1);
}

bool parsePoint(const std::string& text, int& x, int& y) { return std::sscanf(text.c_str(), "%d,%d", &x, &y) == 2; }

void pumpAndDraw(HostWindow& host, PcView view, const std::function<void()>& frame) {
    host.pumpView(view);
    frame();
}

bool drag(HostWindow& host, PcView view, const std::function<void()>& frame, int button, int x0, int y0, int x1, int y1) {
    host.sendMouse(HostWindow::MouseMove, button, x0, y0);
    host.sendMouse(HostWindow::MouseDown, button, x0, y0);
    for (int step = 1; step <= 4; ++step)
        host.sendMouse(HostWindow::MouseMove, button, x0 + (x1 - x0) * step / 4, y0 + (y1 - y0) * step / 4);
    pumpAndDraw(host, view, frame);  // the shape in progress is drawn
    host.sendMouse(HostWindow::MouseUp, button, x1, y1);
    pumpAndDraw(host, view, frame);
    return true;
}

bool click(HostWindow& host, PcView view, const std::function<void()>& frame, int button, int x, int y) {
    host.sendMouse(HostWindow::MouseMove, button, x, y);
    host.sendMouse(HostWindow::MouseDown, button, x, y);
    host.sendMouse(HostWindow::MouseUp, button, x, y);
    pumpAndDraw(host, view, frame);
    return true;
}

int64_t countOf(PcView view, const std::string& what, bool& known) {
    known = true;
    if (what == "selected") return static_cast<int64_t>(PC_SelectedCount(view));
    if (what == "deleted") return static_cast<int64_t>(PC_DeletedCount(view));
    if (what == "surviving") return static_cast<int64_t>(PC_SurvivingCount(view));
    if (what == "planestate") return PC_PlanePickState(view);
    double point[3];
    if (what == "cursorpoint") return PC_GetCursorPoint(view, point);
    known = false;
    return 0;
}

// Positions already clicked by pointclick since the last "plane start": a sparse cloud must not
// give the same point for all three of a plane's points.
std::vector<std::pair<int, int>> clickedPoints;

// The plane pick's commands as a host's menu gives them.
bool planeCommand(PcView view, const std::string& what) {
    if (what == "start") {
        clickedPoints.clear();
        PC_StartPlaneByThreePoints(view);
    } else if (what == "cancel") {
        PC_CancelPlanePick(view);
    } else if (what == "undo") {
        return PC_RemoveLastPlanePoint(view) == PC_OK;
    } else {
        return false;
    }
    return true;
}

// The drawn point nearest to (x, y), searched in growing squares up to kReach pixels away: a
// script's positions are chosen for one cloud, and another cloud leaves gaps between its points
// or lies elsewhere. False when no point is that near.
constexpr int kReach = 200;

bool nearlyClicked(int x, int y) {
    for (const auto& [cx, cy] : clickedPoints)
        if (std::abs(cx - x) < 12 && std::abs(cy - y) < 12) return true;
    return false;
}

bool nearestPoint(PcView view, int& x, int& y) {
    for (int r = 0; r <= kReach; r += 2)
        for (int dy = -r; dy <= r; dy += 2)
            for (int dx = -r; dx <= r; dx += 2) {
                if (std::abs(dx) != r && std::abs(dy) != r) continue;  // the square's border only
                if (nearlyClicked(x + dx, y + dy)) continue;
                if (PC_PickColor(view, x + dx, y + dy) != 0xFFFFFFFFu) {
                    if (dx != 0 || dy != 0) std::printf("pcview: nearest point at %d,%d\n", x + dx, y + dy);
                    x += dx;
                    y += dy;
                    return true;
                }
            }
    std::printf("pcview: no point within %d pixels of %d,%d\n", kReach, x, y);
    return false;
}

// The colour under (x, y), or under the nearest point, becomes the colour filter's reference.
bool pickColour(PcView view, int x, int y) {
    if (!nearestPoint(view, x, y)) return false;
    const uint32_t rgb = PC_PickColor(view, x, y);
    PC_SetColor(view, 4, rgb);
    std::printf("pcview: colour filter reference #%06X\n", static_cast<unsigned>(rgb));
    return true;
}

bool expect(PcView view, const std::string& what, const std::string& condition) {
    bool known = false;
    const int64_t value = countOf(view, what, known);
    char op = '=';
    std::string number = condition;
    if (!number.empty() && (number[0] == '=' || number[0] == '<' || number[0] == '>')) {
        op = number[0];
        number = number.substr(1);
    }
    long long wanted = 0;
    if (!known || std::sscanf(number.c_str(), "%lld", &wanted) != 1) {
        std::printf("pcview: expect: cannot read '%s %s'\n", what.c_str(), condition.c_str());
        return false;
    }
    const bool met = op == '=' ? value == wanted : op == '<' ? value < wanted : value > wanted;
    std::printf("pcview: expect %s %c%lld: %s (%lld)\n", what.c_str(), op, wanted, met ? "ok" : "NOT MET",
                static_cast<long long>(value));
    return met;
}

bool readBack(PcView view) {
    const uint64_t surviving = PC_SurvivingCount(view);
    std::vector<double> xyz(3 * surviving);
    std::vector<uint32_t> colors(surviving);
    const int64_t got = PC_ReadSurvivingPoints(view, xyz.data(), colors.data(), static_cast<int64_t>(surviving), 0);
    if (got < 0) {
        std::printf("pcview: readback failed: %s\n", lastError().c_str());
        return false;
    }
    std::printf("pcview: readback: %lld points came back\n", static_cast<long long>(got));
    return static_cast<uint64_t>(got) == surviving;
}

}  // namespace

std::vector<std::string> splitActions(const std::string& text) {
    std::vector<std::string> actions;
    std::string current;
    bool comment = false;
    for (char c : text + "\n") {
        if (c == ';' || c == '\n') {
            if (!trim(current).empty()) actions.push_back(trim(current));
            current.clear();
            comment = false;
        } else if (c == '#') {
            comment = true;
        } else if (!comment) {
            current += c;
        }
    }
    return actions;
}

bool readActionFile(const std::string& path, std::vector<std::string>& actions) {
    std::ifstream in(path);
    if (!in) return false;
    std::stringstream text;
    text << in.rdbuf();
    for (std::string& action : splitActions(text.str())) actions.push_back(std::move(action));
    return true;
}

bool runActions(const std::vector<std::string>& actions, HostWindow& host, PcView view,
                const std::function<void()>& frame, bool keepGoing) {
    int missed = 0;
    for (const std::string& action : actions) {
        std::istringstream words(action);
        std::string verb, a, b;
        words >> verb >> a >> b;
        std::printf("pcview: > %s\n", action.c_str());
        std::fflush(stdout);
        bool ok = true;
        int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        if (verb == "tool") {
            const int tool = a == "rect" ? 1 : a == "circle" ? 2 : a == "polygon" ? 3 : a == "none" ? 0 : -1;
            ok = tool >= 0;
            if (ok) PC_SetSelectionTool(view, tool);
        } else if (verb == "rect") {
            const int tool = a == "zoom" ? 1 : a == "clipbox" ? 2 : a == "none" ? 0 : -1;
            ok = tool >= 0;
            if (ok) PC_SetRectTool(view, tool);
        } else if (verb == "clipbox") {
            ok = a == "on" || a == "off" || a == "clear" || a == "thinner" || a == "thicker";
            if (a == "on" || a == "off") PC_SetClipBoxActive(view, a == "on");
            if (a == "clear") PC_ClearClipBox(view);
            if (a == "thinner" || a == "thicker") PC_ScaleClipBoxThickness(view, a == "thinner" ? 0.8 : 1.25);
        } else if (verb == "mode") {
            const int mode = a == "replace" ? 0 : a == "add" ? 1 : a == "subtract" ? 2 : -1;
            ok = mode >= 0;
            if (ok) PC_SetCombineMode(view, mode);
        } else if (verb == "view") {
            PC_SetStandardView(view, std::atoi(a.c_str()));
        } else if (verb == "zoomall") {
            PC_ZoomAll(view);
        } else if (verb == "drag" || verb == "rdrag" || verb == "mdrag") {
            ok = parsePoint(a, x0, y0) && parsePoint(b, x1, y1) &&
                 drag(host, view, frame, verb == "drag" ? 0 : verb == "rdrag" ? 1 : 2, x0, y0, x1, y1);
        } else if (verb == "click" || verb == "rclick") {
            ok = parsePoint(a, x0, y0) && click(host, view, frame, verb == "click" ? 0 : 1, x0, y0);
        } else if (verb == "pointclick") {
            ok = parsePoint(a, x0, y0) && nearestPoint(view, x0, y0) && click(host, view, frame, 0, x0, y0);
            if (ok) clickedPoints.emplace_back(x0, y0);
        } else if (verb == "plane") {
            ok = planeCommand(view, a);
        } else if (verb == "readout") {
            ok = a == "on" || a == "off";
            if (ok) PC_SetCursorReadout(view, a == "on");
        } else if (verb == "move") {
            ok = parsePoint(a, x0, y0);
            if (ok) {
                host.sendMouse(HostWindow::MouseMove, 0, x0, y0);
                pumpAndDraw(host, view, frame);
            }
        } else if (verb == "pickcolor") {
            ok = parsePoint(a, x0, y0) && pickColour(view, x0, y0);
        } else if (verb == "key") {
            const int key = a == "enter" ? 13 : a == "escape" ? 27 : a == "delete" ? 0x2E : 0;
            ok = key != 0;
            if (ok) {
                host.sendKey(key);
                pumpAndDraw(host, view, frame);
            }
        } else if (verb == "delete") {
            std::printf("pcview: %llu points deleted\n", static_cast<unsigned long long>(PC_DeleteSelected(view)));
        } else if (verb == "undo") {
            std::printf("pcview: %llu points restored\n", static_cast<unsigned long long>(PC_UndoDeletion(view)));
        } else if (verb == "restore") {
            std::printf("pcview: %llu points restored\n", static_cast<unsigned long long>(PC_RestoreAllDeleted(view)));
        } else if (verb == "confirm") {
            ok = PC_ConfirmChanges(view) == PC_OK;
            if (!ok) std::printf("pcview: confirm failed: %s\n", lastError().c_str());
        } else if (verb == "selectall") {
            PC_SelectAll(view);
        } else if (verb == "invert") {
            PC_InvertSelection(view);
        } else if (verb == "clear") {
            PC_ClearSelection(view);
        } else if (verb == "readback") {
            ok = readBack(view);
        } else if (verb == "frames") {
            for (int i = 0, n = std::atoi(a.c_str()); i < n; ++i) pumpAndDraw(host, view, frame);
        } else if (verb == "screenshot") {
            pumpAndDraw(host, view, frame);
            ok = PC_SaveScreenshot(view, a.c_str()) == PC_OK;
            std::printf(ok ? "pcview: screenshot written to %s\n" : "pcview: screenshot %s not written\n", a.c_str());
        } else if (verb == "expect") {
            ok = expect(view, a, b);
        } else {
            std::printf("pcview: unknown action '%s'\n", action.c_str());
            ok = false;
        }
        if (!ok && keepGoing) {
            std::printf("pcview: action found nothing, going on: %s\n", action.c_str());
            ++missed;
        } else if (!ok) {
            std::printf("pcview: action failed: %s\n", action.c_str());
            return false;
        }
    }
    if (missed > 0) std::printf("pcview: %d actions found nothing\n", missed);
    return true;
}
