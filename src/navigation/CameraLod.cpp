#include "navigation/CameraLod.h"

namespace ovcf {

LodView lodViewOf(const Camera& camera, const std::array<ClipPlane, 6>* clip) {
    LodView view;
    view.eye = camera.toRenderSpace(camera.eyePosition());
    view.frustum = frustumPlanes(camera.viewProjectionMatrix());
    view.projectionFactor = camera.pixelsPerMetreAtUnitDistance();
    if (clip) {
        FrustumPlanes planes;
        for (std::size_t i = 0; i < 6; ++i)
            planes[i] = Plane{(*clip)[i].normal[0], (*clip)[i].normal[1], (*clip)[i].normal[2], (*clip)[i].offset};
        view.clip = planes;
    }
    return view;
}

}  // namespace ovcf
