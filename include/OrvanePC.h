/*
 * OrvanePC — point-cloud viewing and editing module.
 *
 * The host gives the module a parent window and a cloud: a ".ovcf" octree file, or points in
 * its own memory that the module indexes into such a file (the "cache"). The module shows the
 * cloud in an OpenGL 4.5 child window with level of detail, lets the user select and delete
 * points with unlimited undo, writes confirmed deletions into the file and hands the surviving
 * points back.
 *
 * Conventions of every function below:
 *  - No exception or crash crosses the interface for bad input. Failures are reported by the
 *    result and by a per-thread English error text, read with PC_LastError. Success never
 *    clears that text.
 *  - Status results: PC_OK (0) success, PC_INVALID_HANDLE (1), PC_BAD_ARGUMENT (2),
 *    PC_NO_CLOUD (3), PC_OPEN_FAILED (4), PC_NO_CONTEXT (5), PC_FAILED (6), PC_WRONG_STATE (7).
 *  - Every function taking a PcView first checks the handle; an invalid one sets
 *    "invalid view handle" and yields the value named "(invalid: ...)" below.
 *  - Functions taking a view must be called on the thread that created it (the host's UI
 *    thread): they may make its GL context current. Library-wide functions may be called from
 *    any thread.
 *  - Strings are zero-terminated UTF-8. Copy-out functions take (buffer, capacity): when the
 *    buffer is non-null and capacity >= 1 they copy min(length, capacity - 1) bytes and a
 *    terminating zero, and always return length + 1, so a null buffer asks for the size.
 *  - Colours are 0xRRGGBB in an unsigned 32-bit value.
 *
 * Platforms: on Windows the parent is an HWND and the DLL exports exactly the 67 PC_ functions.
 * On Linux the parent is an X11 Window id on the default display ($DISPLAY); since X11 has no
 * window procedure, the host must call PC_X11ProcessEvents (a Linux-only extension, at the end)
 * from its loop to dispatch the view window's pending input.
 */
#ifndef ORVANEPC_H
#define ORVANEPC_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define PC_API
#define PC_CALL
#elif defined(__GNUC__)
#define PC_API __attribute__((visibility("default")))
#define PC_CALL
#else
#define PC_API
#define PC_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Handles, results, events ---------------------------------------------------------- */

/* An opaque view handle: valid from PC_CreateView until PC_DestroyView starts. */
typedef struct PcViewObject* PcView;

/* The host's parent window: an HWND on Windows, an X11 Window id on Linux. */
#if defined(_WIN32)
typedef struct HWND__* PcParentWindow;
#else
typedef unsigned long PcParentWindow;
#endif

enum PcStatus {
    PC_OK = 0,
    PC_INVALID_HANDLE = 1,
    PC_BAD_ARGUMENT = 2,
    PC_NO_CLOUD = 3,
    PC_OPEN_FAILED = 4,
    PC_NO_CONTEXT = 5,
    PC_FAILED = 6,
    PC_WRONG_STATE = 7
};

enum PcEvent {
    PC_EVENT_SELECTION_CHANGED = 0,
    PC_EVENT_DELETIONS_CHANGED = 1,
    PC_EVENT_FILE_STATE_CHANGED = 2,
    PC_EVENT_TOOL_STATE_CHANGED = 3,
    PC_EVENT_CLIP_BOX_CHANGED = 4,
    PC_EVENT_CLOUD_OPENED = 5
};

enum PcLogLevel { PC_LOG_TRACE = 0, PC_LOG_DEBUG = 1, PC_LOG_INFO = 2, PC_LOG_WARN = 3, PC_LOG_ERROR = 4 };

enum PcCacheCheck {
    PC_CACHE_MATCHES = 0,
    PC_CACHE_MISSING = 1,
    PC_CACHE_INVALID = 2,
    PC_CACHE_NEWER_VERSION = 3,
    PC_CACHE_NO_SIGNATURE = 4,
    PC_CACHE_COUNT_DIFFERS = 5,
    PC_CACHE_MODIFIED = 6
};

/* The view's state, filled by PC_GetState and passed with every event. 80 bytes. */
typedef struct PcViewState {
    uint64_t pointCount;          /* points in the open cloud; 0 without one */
    uint64_t selectedCount;       /* points currently selected */
    uint64_t deletedCount;        /* points currently deleted */
    int32_t hasUnsavedChanges;    /* 1 when deletions differ from the file */
    int32_t canUndo;              /* 1 when a deletion can be undone */
    uint32_t selectionTool;       /* 0 none, 1 rectangle, 2 circle, 3 polygon */
    uint32_t combineMode;         /* 0 replace, 1 add, 2 subtract */
    uint32_t rectTool;            /* 0 none, 1 zoom window, 2 clip box */
    uint32_t polygonVertexCount;  /* vertices placed on the polygon outline */
    int32_t hasClipBox;           /* 1 when a clip box is defined */
    int32_t clipBoxActive;        /* 1 when a clip box is defined and on */
    int32_t reserved;             /* always 0 */
    uint32_t padding;
    uint64_t lastSelectionFound;  /* points found by the last selection */
    double lastSelectionSeconds;  /* duration of the last selection in seconds */
} PcViewState;

/* A parameter's description, filled by PC_GetParamInfo. 96 bytes. */
typedef struct ParamInfo {
    uint32_t id;
    uint32_t kind; /* 0 real, 1 integer, 2 boolean, 3 choice */
    double minimum;
    double maximum;
    double defaultValue;
    double step;
    uint32_t choiceCount;
    uint32_t reserved; /* always 0 */
    char key[48];      /* zero-terminated, at most 47 characters */
} ParamInfo;

/* Log lines (Italian). The callback runs on whatever thread logged: the host's UI threads (any
 * export, the view window's message handling), a view's loader threads, the selection and filter
 * worker threads, the thread running an import. It runs while the module's one process-wide log
 * lock is held, so calls never overlap and arrive in the order the lines were written; message
 * is valid only during the call. Because of that lock the callback must return quickly and must
 * not: call PC_SetLogCallback or any export that may log (PC_DestroyView, PC_CloseCloud,
 * PC_OpenFile, PC_Render, the editing and import exports among them; PC_LastError and
 * PC_Version are safe); destroy a view; or wait for another thread that may be logging (such
 * as a UI thread waiting for it), or the process deadlocks. Hand the text to a queue instead. */
typedef void (*PcLogCallback)(int level, const char* message, void* userData);
/* Events, on the thread that drove the view (inside an export or the view window's message
 * handling); state is valid only during the call. The host may call any export from it, and may
 * destroy the view: the handle is invalid from then on and the view is freed when the call that
 * raised the event returns. */
typedef void (*PcEventCallback)(int event, const PcViewState* state, void* userData);
/* Import progress: fraction done 0..1 (never decreasing); return 0 to cancel. */
typedef int (*PcProgressCallback)(double fraction, void* userData);

/* ---- Library ---------------------------------------------------------------------------- */

/* 10000 for version 0.10.0 (major * 1000000 + minor * 1000 + patch). */
PC_API int PC_CALL PC_Version(void);
/* Copies this thread's last error text out; returns its length + 1 ("" gives 1). */
PC_API int PC_CALL PC_LastError(char* buffer, int capacity);
/* Installs (callback non-null) or removes the host's log sink; returns 0. Safe from any thread
 * at any time; once it returns, the previous callback is never called again. */
PC_API int PC_CALL PC_SetLogCallback(PcLogCallback callback, void* userData);
/* Starts crash diagnostics for the whole process; call it once, early, from the host's main
 * thread. The diagnostics folder is %LOCALAPPDATA%\OrvaneN (the temporary folder when LOCALAPPDATA
 * is not set), created when missing. The previous run's log crash_edit_nuv.log is kept as
 * crash_edit_nuv_precedente.log, a new log is opened there and log lines stop going to standard
 * error. On a fatal error (unhandled exception, std::terminate, pure virtual call, invalid C
 * runtime parameter, abort; on Linux SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT) the first one only
 * writes crash_edit_nuv_<time>.txt, an Italian report, and on Windows crash_edit_nuv_<time>.dmp,
 * a minidump; then the process ends (on Linux the signal goes on to the handler installed before).
 * programName, shown in reports, may be null ("OrvanePC"). A second call keeps the log so far as
 * the previous one and starts a new one; the handlers stay as installed.
 * Returns 0. */
PC_API int PC_CALL PC_InitializeDiagnostics(const char* programName);

/* ---- View lifecycle --------------------------------------------------------------------- */

/* Creates a view filling the parent's client area; null with the reason in PC_LastError. */
PC_API PcView PC_CALL PC_CreateView(PcParentWindow parent);
/* Closes the cloud, releases GL objects and the window, then frees the view. */
PC_API void PC_CALL PC_DestroyView(PcView view);
/* Follows the parent's client size (child window, camera, render targets); no drawing. */
PC_API void PC_CALL PC_Resize(PcView view);
/* Draws and presents a frame; 1 when another frame is wanted soon, else 0 (invalid: 0). */
PC_API int PC_CALL PC_Render(PcView view);
/* Stores the event callback and its user pointer (null removes). */
PC_API void PC_CALL PC_SetEventCallback(PcView view, PcEventCallback callback, void* userData);
/* Fills *state; status 0, 2 "state is null" (invalid: 1). */
PC_API int PC_CALL PC_GetState(PcView view, PcViewState* state);

/* ---- Cloud ------------------------------------------------------------------------------ */

/* Opens a .ovcf file in the view and starts streaming it; status 0/1/2/4/5. */
PC_API int PC_CALL PC_OpenFile(PcView view, const char* path);
/* Stops the loader threads and releases the open cloud. */
PC_API void PC_CALL PC_CloseCloud(PcView view);
/* Points in the open cloud, 0 without one (invalid: 0). */
PC_API uint64_t PC_CALL PC_PointCount(PcView view);
/* 1 when deletions differ from what the file holds (invalid: 0). */
PC_API int PC_CALL PC_HasUnsavedChanges(PcView view);
/* Writes the deleted-points map and count into the file in place, then brings the file's
 * content signature up to date (re-reading only the nodes that changed) and raises event 2.
 * No point record moves: deleted points stay in the file and can all be restored later.
 * Nothing changed since the last confirmation: 0 and the file is not touched. Status 0; 1;
 * 3 "no cloud is open"; 6 with the file's message (the view then stays unsaved, deletions and
 * undo records kept, and a later confirmation writes everything again). Drops the undo records
 * on success.
 * What a host can rely on:
 *  - Identity: the file written is the file the view opened. A cache rebuilt or replaced at the
 *    path since PC_OpenFile is refused with 6 "the file was replaced since it was opened: reopen
 *    it", nothing written; read-back keeps reading the file the view shows.
 *  - Several writers (views, processes, `ovcf clean`): commits hold an exclusive lock on the
 *    file and merge: this view's own deletions and restorations since it last confirmed are
 *    applied to the map the file holds now, so another writer's confirmed deletions are never
 *    dropped; the view then shows them too (not as undoable steps). Map, count and signature
 *    always agree.
 *  - Crashes: the bytes about to change are saved in "<file>-journal" and flushed before the
 *    file is written; whenever the process dies, the next PC_OpenFile, PC_CheckCache, `ovcf
 *    check` or `ovcf info` finds the file as it was before the commit or as after it, whole (on
 *    a read-only medium the file is read through the journal). */
PC_API int PC_CALL PC_ConfirmChanges(PcView view);

/* ---- Cache ------------------------------------------------------------------------------ */

/* Copies the cache path of a cloud file ("dir/name_cache.ovcf"); returns its length + 1, or 0
 * when cloudPath is null. */
PC_API int PC_CALL PC_CachePathFor(const char* cloudPath, char* buffer, int capacity);
/* Compares a cache with a point count and signature; returns a PcCacheCheck code. */
PC_API int PC_CALL PC_CheckCache(const char* cachePath, int64_t pointCount, uint64_t signature);
/* Computes the content signature the given points would have in that cache; status. */
PC_API int PC_CALL PC_ComputeSignature(const char* cachePath, const double* xyz, const uint32_t* colors,
                                       int64_t pointCount, uint64_t* outSignature);
/* Builds the cache file from the host's points (xyz: 3 doubles a point; colors may be null), on
 * every core of the machine; the file is the same bytes (but for its creation time in the
 * metadata) whatever the number of cores. The progress callback is called on the calling thread. */
PC_API int PC_CALL PC_BuildCacheFromMemory(const char* cachePath, const double* xyz, const uint32_t* colors,
                                           int64_t pointCount, double step, PcProgressCallback progress,
                                           void* userData);

/* ---- Parameters and colours ------------------------------------------------------------- */

/* 33. */
PC_API int PC_CALL PC_ParamCount(void);
/* Fills *info for parameter id; status 0, or 2 "info is null" / "unknown parameter". */
PC_API int PC_CALL PC_GetParamInfo(int id, ParamInfo* info);
/* Copies the key of choice `index` of parameter id ("" when there is none); returns length + 1. */
PC_API int PC_CALL PC_GetChoiceName(int id, int index, char* buffer, int capacity);
/* The parameter's current value; 0.0 for an unknown id (invalid: 0.0). */
PC_API double PC_CALL PC_GetValue(PcView view, int id);
/* Clamps and stores a value; status 0/1/2 ("unknown parameter"). */
PC_API int PC_CALL PC_SetValue(PcView view, int id, double value);
/* Colour slot 0..4 as 0xRRGGBB; 0 for an unknown slot (invalid: 0). */
PC_API uint32_t PC_CALL PC_GetColor(PcView view, int slot);
/* Stores colour slot 0..4; status 0/1/2 ("unknown colour"). */
PC_API int PC_CALL PC_SetColor(PcView view, int slot, uint32_t rgb);
/* Replaces the overlay lines (cut at line feeds); null or "" clears them. */
PC_API void PC_CALL PC_SetOverlayText(PcView view, const char* text, uint32_t rgb);
/* Saves the picture on screen as a PNG file; status 0/1/2/5/6. */
PC_API int PC_CALL PC_SaveScreenshot(PcView view, const char* path);

/* ---- Navigation ------------------------------------------------------------------------- */

/* Fits the camera to the open cloud; nothing without one. */
PC_API void PC_CALL PC_ZoomAll(PcView view);
/* Turns to standard view 0..5 keeping the distance; other values give the default view. */
PC_API void PC_CALL PC_SetStandardView(PcView view, int index);
/* Arms a navigation tool for the left button: 0 none, 1 pan, 2 orbit; others ignored. */
PC_API void PC_CALL PC_SetNavigationTool(PcView view, int tool);
/* The armed navigation tool 0/1/2 (invalid: 0). */
PC_API int PC_CALL PC_NavigationTool(PcView view);
/* Locks or unlocks orbiting. */
PC_API void PC_CALL PC_SetOrbitLocked(PcView view, int locked);
/* 1 when orbiting is locked (invalid: 0). */
PC_API int PC_CALL PC_OrbitLocked(PcView view);

/* ---- Tools ------------------------------------------------------------------------------ */

/* Arms selection tool 0 none, 1 rectangle, 2 circle, 3 polygon; larger values ignored. Empties
 * the polygon; arming a tool disarms the rectangle tool; raises event 3 (also for the same tool).
 * With a tool armed and no navigation tool, a left drag draws a rectangle (two corners) or a
 * circle (centre, then rim); moves under 3 pixels on both axes are a click and select nothing.
 * The polygon takes a vertex per left click, loses the last one on a right click, and selects on
 * Enter or PC_ConfirmPolygon. Each shape selects at full resolution from the file (not only what
 * is drawn) with the combine mode, raises event 0, and leaves the tool armed. */
PC_API void PC_CALL PC_SetSelectionTool(PcView view, int tool);
/* The armed selection tool (invalid: 0). */
PC_API int PC_CALL PC_GetSelectionTool(PcView view);
/* Arms rectangle tool 0 none, 1 zoom window, 2 clip box; larger values ignored. */
PC_API void PC_CALL PC_SetRectTool(PcView view, int tool);
/* Disarms the navigation tool, then cancels shapes in progress and disarms the selection and
 * rectangle tools, as Escape does; the selection stays. Raises event 3 when anything was
 * cancelled. */
PC_API void PC_CALL PC_CancelTools(PcView view);
/* Closes the polygon and selects with it (wait cursor meanwhile); status 0, 1, or 7 "the polygon
 * needs at least three vertices" (the vertices are discarded then, or the tool is not armed). */
PC_API int PC_CALL PC_ConfirmPolygon(PcView view);
/* Removes the polygon's last vertex and raises event 3; status 0, 1, or 7 "there is no vertex to
 * remove". */
PC_API int PC_CALL PC_RemoveLastVertex(PcView view);

/* ---- Clip box --------------------------------------------------------------------------- */

PC_API int PC_CALL PC_HasClipBox(PcView view);            /* 1 when defined (invalid: 0) */
PC_API int PC_CALL PC_IsClipBoxActive(PcView view);       /* 1 when defined and on (invalid: 0) */
PC_API void PC_CALL PC_SetClipBoxActive(PcView view, int active);
PC_API void PC_CALL PC_ClearClipBox(PcView view);
/* Scales the clip box's thickness; factors <= 0 are ignored. */
PC_API void PC_CALL PC_ScaleClipBoxThickness(PcView view, double factor);

/* ---- Plane by three points -------------------------------------------------------------- */

/* Starts picking a plane by three points: disarms the navigation tool and restarts from no point;
 * raises event 3. While picking, each left click in the view (not over the navigation cube) takes
 * the real point within 0.5 m of what is drawn under the cursor (or the drawn position itself)
 * and raises event 3; a right click takes the last point back. The third point fits the plane,
 * unless the triangle's height is below 2 % of its longest side (then the two points stay for a
 * better third), and turns the camera to look perpendicularly onto it, its centroid the new
 * target, the distance kept. PC_CancelTools and Escape also cancel the pick. */
PC_API void PC_CALL PC_StartPlaneByThreePoints(PcView view);
/* Forgets the points being picked or the last plane; raises event 3 when there was anything. The
 * camera stays where it is. */
PC_API void PC_CALL PC_CancelPlanePick(PcView view);
/* Removes the last picked plane point and raises event 3; status 0, 1, or 7 "there is no plane
 * point to remove" (also once the plane is made: its points are gone). */
PC_API int PC_CALL PC_RemoveLastPlanePoint(PcView view);
/* 3 when the plane is made, else the points picked (0..2) while picking, or -1 when no pick runs
 * (invalid: -1). */
PC_API int PC_CALL PC_PlanePickState(PcView view);
/* Copies 8 doubles: the unit normal x, y, z (turned towards the camera), the centroid x, y, z,
 * the height ratio (triangle height over its longest side) and the inclination in degrees from
 * the horizontal; 1 when a plane was made and copied, else 0 (also for a null out8). */
PC_API int PC_CALL PC_GetLastPlane(PcView view, double* out8);

/* ---- Cursor readout and picking --------------------------------------------------------- */

/* Shows or hides the world coordinates under the cursor in the view's bottom-left corner; they
 * follow the cursor with every frame drawn. Switching off forgets the point. No event. */
PC_API void PC_CALL PC_SetCursorReadout(PcView view, int enabled);
PC_API int PC_CALL PC_CursorReadout(PcView view);         /* flag (invalid: 0) */
/* Copies the world point x, y, z under the cursor as of the last frame; 1 when the readout is on
 * and a point is known, else 0 (also for a null out3). */
PC_API int PC_CALL PC_GetCursorPoint(PcView view, double* out3);
/* 0xRRGGBB of the point drawn nearest to window pixel (x, y) (within 12 pixels), as the current
 * colour mode shows it; 0xFFFFFFFF for none, before the first frame, and for an invalid handle.
 * The colour filter's reference is left alone: set it with PC_SetColor slot 4. */
PC_API uint32_t PC_CALL PC_PickColor(PcView view, double x, double y);

/* ---- Selection -------------------------------------------------------------------------- */

/* Combine mode 0 replace, 1 add, 2 subtract; larger values ignored. */
PC_API void PC_CALL PC_SetCombineMode(PcView view, int mode);
PC_API int PC_CALL PC_GetCombineMode(PcView view);        /* (invalid: 0) */
/* Selects every point that is not deleted; nothing without a cloud; event 0. */
PC_API void PC_CALL PC_SelectAll(PcView view);
/* Inverts the selection, deleted points staying unselected; nothing without a cloud; event 0. */
PC_API void PC_CALL PC_InvertSelection(PcView view);
/* Deselects everything; event 0. */
PC_API void PC_CALL PC_ClearSelection(PcView view);
PC_API uint64_t PC_CALL PC_SelectedCount(PcView view);    /* (invalid: 0) */

/* ---- Deletion --------------------------------------------------------------------------- */

/* Hides the selected points and clears the selection; keeps an undo record (no depth limit)
 * even when every selected point was deleted already. Records cost what they hold (about a
 * byte a point for a scattered selection, far less for a block); when together they outgrow
 * an eighth of the memory available when the cloud was opened (at least 64 MiB), the oldest
 * are dropped with a warning in the log and those deletions stay, no longer undoable. The file
 * is not touched until PC_ConfirmChanges. Returns the points newly deleted; raises event 1 unless nothing was
 * selected. (invalid: 0) */
PC_API uint64_t PC_CALL PC_DeleteSelected(PcView view);
/* Takes the last deletion back: its points still deleted come back and all of its points are
 * selected again (added to the selection). Returns the points restored; event 1. (invalid: 0) */
PC_API uint64_t PC_CALL PC_UndoDeletion(PcView view);
/* Brings every deleted point back, drops the undo records, keeps the selection; returns the
 * points restored; events 1 and 2. Confirm to write it to the file. (invalid: 0) */
PC_API uint64_t PC_CALL PC_RestoreAllDeleted(PcView view);
PC_API uint64_t PC_CALL PC_DeletedCount(PcView view);     /* (invalid: 0) */
PC_API uint64_t PC_CALL PC_SurvivingCount(PcView view);   /* point count - deleted count; 0 without a cloud */

/* ---- Reading points back ---------------------------------------------------------------- */

/* Reads every point of the file at full resolution, in the file's point order (or by elevation,
 * highest first, when sortByElevation is non-zero), into the host's buffers: xyz 3 doubles a
 * point (required), colors 0x00RRGGBB (may be null), showFlags 1 show / 0 hide (may be null;
 * 0 for deleted points, and for points outside the clip box when hideOutsideClipBox is non-zero
 * and the box is on). capacity is in points and must hold the point count. Returns the points
 * written, or -1: "no cloud is open", "invalid output buffer", "the buffer holds N points but
 * the cloud has M: resize it first", or the file's message. Runs on the calling thread with a
 * reader of its own. */
PC_API int64_t PC_CALL PC_ReadAllPoints(PcView view, double* xyz, uint32_t* colors, uint8_t* showFlags,
                                        int64_t capacity, int sortByElevation, int hideOutsideClipBox);
/* The same for the points that survive deletion only; capacity must hold PC_SurvivingCount
 * ("the buffer holds N points but M survive: resize it first"). */
PC_API int64_t PC_CALL PC_ReadSurvivingPoints(PcView view, double* xyz, uint32_t* colors, int64_t capacity,
                                              int sortByElevation);

#if !defined(_WIN32)
/* ---- Linux-only extension --------------------------------------------------------------- */

/* Dispatches the view window's pending X11 events (input, size) on the calling thread, as a
 * window procedure would on Windows; returns the number of events handled (invalid: 0). */
PC_API int PC_CALL PC_X11ProcessEvents(PcView view);
#endif

#ifdef __cplusplus
} /* extern "C" */
#endif

/* The records cross the host boundary: their layout is fixed. */
#ifdef __cplusplus
#define PC_STATIC_ASSERT(c, m) static_assert(c, m)
#else
#define PC_STATIC_ASSERT(c, m) _Static_assert(c, m)
#endif
PC_STATIC_ASSERT(sizeof(PcViewState) == 80, "PcViewState is 80 bytes");
PC_STATIC_ASSERT(offsetof(PcViewState, pointCount) == 0, "pointCount at 0");
PC_STATIC_ASSERT(offsetof(PcViewState, selectedCount) == 8, "selectedCount at 8");
PC_STATIC_ASSERT(offsetof(PcViewState, deletedCount) == 16, "deletedCount at 16");
PC_STATIC_ASSERT(offsetof(PcViewState, hasUnsavedChanges) == 24, "hasUnsavedChanges at 24");
PC_STATIC_ASSERT(offsetof(PcViewState, canUndo) == 28, "canUndo at 28");
PC_STATIC_ASSERT(offsetof(PcViewState, selectionTool) == 32, "selectionTool at 32");
PC_STATIC_ASSERT(offsetof(PcViewState, combineMode) == 36, "combineMode at 36");
PC_STATIC_ASSERT(offsetof(PcViewState, rectTool) == 40, "rectTool at 40");
PC_STATIC_ASSERT(offsetof(PcViewState, polygonVertexCount) == 44, "polygonVertexCount at 44");
PC_STATIC_ASSERT(offsetof(PcViewState, hasClipBox) == 48, "hasClipBox at 48");
PC_STATIC_ASSERT(offsetof(PcViewState, clipBoxActive) == 52, "clipBoxActive at 52");
PC_STATIC_ASSERT(offsetof(PcViewState, reserved) == 56, "reserved at 56");
PC_STATIC_ASSERT(offsetof(PcViewState, lastSelectionFound) == 64, "lastSelectionFound at 64");
PC_STATIC_ASSERT(offsetof(PcViewState, lastSelectionSeconds) == 72, "lastSelectionSeconds at 72");
PC_STATIC_ASSERT(sizeof(ParamInfo) == 96, "ParamInfo is 96 bytes");
PC_STATIC_ASSERT(offsetof(ParamInfo, id) == 0, "id at 0");
PC_STATIC_ASSERT(offsetof(ParamInfo, kind) == 4, "kind at 4");
PC_STATIC_ASSERT(offsetof(ParamInfo, minimum) == 8, "minimum at 8");
PC_STATIC_ASSERT(offsetof(ParamInfo, maximum) == 16, "maximum at 16");
PC_STATIC_ASSERT(offsetof(ParamInfo, defaultValue) == 24, "default at 24");
PC_STATIC_ASSERT(offsetof(ParamInfo, step) == 32, "step at 32");
PC_STATIC_ASSERT(offsetof(ParamInfo, choiceCount) == 40, "choiceCount at 40");
PC_STATIC_ASSERT(offsetof(ParamInfo, reserved) == 44, "reserved at 44");
PC_STATIC_ASSERT(offsetof(ParamInfo, key) == 48, "key at 48");
#undef PC_STATIC_ASSERT

#endif /* ORVANEPC_H */
