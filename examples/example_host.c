/* A minimal host of the OrvanePC module, in C: it opens a window of its own, builds a cache
 * from 4.096 points it makes, shows it in a view, saves a screenshot, deletes a few points,
 * reads the survivors back and says what it saw. Exit status 0 when every step worked.
 *
 * usage: example_host [FOLDER]   (the cache and the screenshot go there; default ".")
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "HostWindow.h"
#include "OrvanePC.h"

enum { kSide = 64, kPoints = kSide * kSide, kWidth = 640, kHeight = 480 };

static int fail(const char* step) {
    char why[512];
    PC_LastError(why, (int)sizeof why);
    fprintf(stderr, "example_host: %s failed: %s\n", step, why);
    return 1;
}

int main(int argc, char** argv) {
    const char* folder = argc > 1 ? argv[1] : ".";
    char cache[1024], shot[1024];
    static double xyz[3 * kPoints], back[3 * kPoints];
    static uint32_t rgb[kPoints];
    PcParentWindow parent;
    PcView view;
    int i, frames;
    int64_t survivors;

    snprintf(cache, sizeof cache, "%s/example_host.ovcf", folder);
    snprintf(shot, sizeof shot, "%s/example_host.png", folder);
    /* A gently curved 64 x 64 grid of 1 m, coloured by its row and column. */
    for (i = 0; i < kPoints; ++i) {
        const int row = i / kSide, column = i % kSide;
        xyz[3 * i] = 500000.0 + column;
        xyz[3 * i + 1] = 4000000.0 + row;
        xyz[3 * i + 2] = 100.0 + 0.002 * (row - 32) * (row - 32);
        rgb[i] = (uint32_t)(row * 4) << 16 | (uint32_t)(column * 4) << 8 | 0x60u;
    }
    printf("OrvanePC version %d\n", PC_Version());
    if (PC_BuildCacheFromMemory(cache, xyz, rgb, kPoints, 0.001, NULL, NULL) != 0) return fail("building the cache");
    if (!hostWindowOpen(kWidth, kHeight, &parent)) {
        fprintf(stderr, "example_host: no window (is there a display?)\n");
        return 1;
    }
    view = PC_CreateView(parent);
    if (!view) return fail("creating the view");
    if (PC_OpenFile(view, cache) != 0) return fail("opening the cache");
    /* Render until the picture is complete (nodes arrive from loader threads). */
    for (frames = 0; frames < 500; ++frames) {
        hostWindowPump(view);
        if (!PC_Render(view)) break;
    }
    if (PC_SaveScreenshot(view, shot) != 0) return fail("saving the screenshot");
    PC_SelectAll(view);
    PC_DeleteSelected(view);
    PC_UndoDeletion(view); /* every point selected again */
    PC_ClearSelection(view);
    survivors = PC_ReadSurvivingPoints(view, back, NULL, kPoints, 1);
    if (survivors != kPoints) return fail("reading the points back");
    printf("%d frames, screenshot %s, %lld points read back, highest at %.3f m\n", frames + 1, shot,
           (long long)survivors, back[2]);
    PC_DestroyView(view);
    hostWindowClose();
    return back[2] > 100.0 ? 0 : 1;
}
