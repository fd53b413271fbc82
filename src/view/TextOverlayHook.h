// Where the text overlay (counts panel, host lines, cursor readout) plugs into the renderer:
// set up with the renderer's GL objects, drawn last in every frame, released with them.
#pragma once

#include <string>

namespace ovcf {

class TextOverlayHook {
public:
    virtual ~TextOverlayHook() = default;
    // Called at the end of the renderer's initialisation with the context current. A failure
    // is logged at WARN and the view goes on without text.
    virtual bool initializeGl(std::string& error) = 0;
    virtual void releaseGl() = 0;
    // Draws over the finished frame (window pixels, origin top-left); must leave depth testing
    // on, depth writes on and blending off as it found them.
    virtual void draw(int width, int height) = 0;
};

}  // namespace ovcf
