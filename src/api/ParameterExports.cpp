// The parameter table, colour slots and the overlay text.
#include <cstring>

#include "OrvanePC.h"
#include "api/ExportGuard.h"
#include "api/LastError.h"
#include "api/ParameterTable.h"

using namespace ovcf;

extern "C" {

PC_API int PC_CALL PC_ParamCount(void) { return parameterCount(); }

PC_API int PC_CALL PC_GetParamInfo(int id, ParamInfo* info) {
    return guardedGlobal(2, [&] {
        if (!info) {
            setLastError("info is null");
            return 2;
        }
        if (!fillParamInfo(id, *info)) {
            setLastError("unknown parameter");
            return 2;
        }
        return 0;
    });
}

PC_API int PC_CALL PC_GetChoiceName(int id, int index, char* buffer, int capacity) {
    return guardedGlobal(1, [&] { return copyOut(choiceName(id, index), buffer, capacity); });
}

PC_API double PC_CALL PC_GetValue(PcView handle, int id) {
    return guarded(handle, 0.0, 0.0, [&](PcViewObject& view) {
        return getParameter(id, view.controller->settings, view.controller->camera);
    });
}

PC_API int PC_CALL PC_SetValue(PcView handle, int id, double value) {
    return guarded(handle, 1, 6, [&](PcViewObject& view) {
        if (!setParameter(id, value, view.controller->settings, view.controller->camera)) {
            setLastError("unknown parameter");
            return 2;
        }
        return 0;
    });
}

PC_API uint32_t PC_CALL PC_GetColor(PcView handle, int slot) {
    return guarded<uint32_t>(handle, 0, 0, [&](PcViewObject& view) {
        bool known = false;
        return getColor(view.controller->settings, slot, known);
    });
}

PC_API int PC_CALL PC_SetColor(PcView handle, int slot, uint32_t rgb) {
    return guarded(handle, 1, 6, [&](PcViewObject& view) {
        if (!setColor(view.controller->settings, slot, rgb)) {
            setLastError("unknown colour");
            return 2;
        }
        return 0;
    });
}

PC_API void PC_CALL PC_SetOverlayText(PcView handle, const char* text, uint32_t rgb) {
    guardedVoid(handle, [&](PcViewObject& view) {
        view.overlayText = text ? text : "";
        view.overlayColor = rgb & 0xFFFFFF;
        view.controller->setOverlayText(text, view.overlayColor);
    });
}

PC_API int PC_CALL PC_SaveScreenshot(PcView handle, const char* path) {
    return guarded(handle, 1, 6, [&](PcViewObject& view) {
        if (const int status = requirePathAndContext(view, path)) return status;
        std::string error;
        if (!view.controller->saveScreenshot(path, error)) {
            setLastError(error);
            return 6;
        }
        return 0;
    });
}

}  // extern "C"
