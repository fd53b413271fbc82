#include <climits>

#include "RenderTestSupport.h"
#include "view/GlErrors.h"
#include "view/RenderTarget.h"
#include "view/ShaderBuild.h"
#include "view/TextOverlayHook.h"

namespace ovcf::test {
namespace {

const char* const kVertex = R"glsl(#version 450 core
layout(location = 0) in vec3 aPosition;
out vec3 vColor;
void main() { vColor = aPosition; gl_Position = vec4(aPosition, 1.0); }
)glsl";

const char* const kFragment = R"glsl(#version 450 core
in vec3 vColor;
out vec4 fragColor;
void main() { fragColor = vec4(vColor, 1.0); }
)glsl";

bool startsWith(const std::string& text, const std::string& head) { return text.compare(0, head.size(), head) == 0; }

// The fixture's renderer has switched on debug output, as a view does.
class GlDiagnosticsTest : public RenderTest {};

TEST_F(GlDiagnosticsTest, FailuresNameTheStageAndTheProgramWithTheDriverLog) {
    GLuint program = 0;
    std::string error;
    ASSERT_TRUE(buildProgram("prova", kVertex, kFragment, program, error)) << error;
    GLint shaders = -1;
    glGetProgramiv(program, GL_ATTACHED_SHADERS, &shaders);
    EXPECT_EQ(shaders, 0);  // the stage objects are gone
    glDeleteProgram(program);

    LogCapture log;
    // The last fragment stage reads an input no vertex stage writes.
    const struct {
        const char *name, *vertex, *fragment, *message;
    } failures[] = {
        {"prova", kVertex, "#version 450 core\nvoid main() { nonsense; }\n", "compilation of shader fragment of 'prova' failed:\n"},
        {"sfondo", "#version 450 core\nvoid main() { gl_Position = 1; }\n", kFragment, "compilation of shader vertex of 'sfondo' failed:\n"},
        {"punti", kVertex, "#version 450 core\nin vec4 vMissing;\nout vec4 c;\nvoid main() { c = vMissing; }\n",
         "linking of program 'punti' failed:\n"},
    };
    for (const auto& f : failures) {
        program = 7;
        EXPECT_FALSE(buildProgram(f.name, f.vertex, f.fragment, program, error));
        EXPECT_EQ(program, 0u);
        EXPECT_TRUE(startsWith(error, f.message)) << error;
        EXPECT_GT(error.size(), std::string(f.message).size()) << "the driver's log follows";
    }
}

TEST_F(GlDiagnosticsTest, AnErrorCheckNamesTheErrorWithItsLabelAndClearsIt) {
    LogCapture log;
    EXPECT_FALSE(checkGlError("quiete"));
    glEnable(0x7FFF);  // not a capability
    EXPECT_TRUE(checkGlError("prova"));
    EXPECT_TRUE(log.has(LogError, "OpenGL: GL_INVALID_ENUM durante 'prova'"));
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    EXPECT_FALSE(checkGlError("prova"));

    GLuint none = 0;
    glNamedBufferData(none, -1, nullptr, GL_STATIC_DRAW);
    EXPECT_TRUE(checkGlError("buffer"));
    EXPECT_TRUE(log.has(LogError, "OpenGL: GL_INVALID_OPERATION durante 'buffer'") ||
                log.has(LogError, "OpenGL: GL_INVALID_VALUE durante 'buffer'"));
}

TEST_F(GlDiagnosticsTest, AnErrorPendingAtTheEndOfInitialisationFailsIt) {
    renderer.releaseGl();
    LogCapture log;
    glEnable(0x7FFF);
    std::string error;
    EXPECT_FALSE(renderer.initializeGl(error));
    EXPECT_EQ(error, "OpenGL error GL_INVALID_ENUM while creating the view's graphics objects");
    EXPECT_TRUE(log.has(LogError, "OpenGL: GL_INVALID_ENUM durante 'initializeGl'"));
    EXPECT_FALSE(renderer.glReady());
    EXPECT_FALSE(renderer.drawFrame(scene()));
    EXPECT_TRUE(renderer.initializeGl(error)) << error;
    EXPECT_TRUE(renderer.drawFrame(scene()));
}

TEST_F(GlDiagnosticsTest, DriverMessagesAreLoggedByTypeAndSeverity) {
    LogCapture log;
    glDebugMessageInsert(GL_DEBUG_SOURCE_APPLICATION, GL_DEBUG_TYPE_PORTABILITY, 1, GL_DEBUG_SEVERITY_HIGH, -1,
                         "prova alta");
    glDebugMessageInsert(GL_DEBUG_SOURCE_APPLICATION, GL_DEBUG_TYPE_PERFORMANCE, 2, GL_DEBUG_SEVERITY_MEDIUM, -1,
                         "prova media");
    glDebugMessageInsert(GL_DEBUG_SOURCE_APPLICATION, GL_DEBUG_TYPE_OTHER, 3, GL_DEBUG_SEVERITY_MEDIUM, -1, "prova bassa");
    glDebugMessageInsert(GL_DEBUG_SOURCE_APPLICATION, GL_DEBUG_TYPE_ERROR, 4, GL_DEBUG_SEVERITY_NOTIFICATION, -1,
                         "prova avviso");
    EXPECT_TRUE(log.has(LogError, "OpenGL (portabilita'): prova alta"));
    EXPECT_TRUE(log.has(LogWarn, "OpenGL (prestazioni): prova media"));
    EXPECT_TRUE(log.has(LogWarn, "OpenGL (messaggio): prova bassa"));
    EXPECT_EQ(log.lines.size(), 3u);  // notifications are silenced
}

TEST_F(GlDiagnosticsTest, ARenderTargetTooLargeForTheDriverIsReportedWithItsStatus) {
    LogCapture log;
    GLint maxSize = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
    ASSERT_GT(maxSize, 0);
    RenderTarget target(true);
    std::string error;
    EXPECT_FALSE(target.ensureSize(maxSize + 1, 1, error));
    EXPECT_TRUE(startsWith(error, "creation of the render buffer failed (code 0x")) << error;
    EXPECT_EQ(error.back(), ')');
    EXPECT_FALSE(target.ready());
    while (glGetError() != GL_NO_ERROR) {
    }
    EXPECT_TRUE(target.ensureSize(16, 8, error)) << error;
    EXPECT_EQ(target.width(), 16);
    EXPECT_EQ(target.height(), 8);
    target.release();
}

TEST_F(GlDiagnosticsTest, AFrameTooLargeForTheTargetsIsSkippedAndLoggedOnce) {
    draw();
    LogCapture log;
    GLint maxSize = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
    FrameScene frame = scene();
    frame.width = maxSize + 1;
    EXPECT_FALSE(renderer.drawFrame(frame));
    EXPECT_FALSE(renderer.drawFrame(frame));
    int reported = 0;
    for (const auto& line : log.lines) reported += startsWith(line.text, "creation of the render buffer failed");
    EXPECT_EQ(reported, 1);
    while (glGetError() != GL_NO_ERROR) {
    }
    // The next frame of a drawable size goes through again.
    EXPECT_TRUE(renderer.drawFrame(scene()));
}

// Detaches an overlay that lives on the test's stack before the fixture releases the renderer.
struct OverlayAttachment {
    OverlayAttachment(Renderer& r, TextOverlayHook& overlay) : renderer(r) {
        renderer.releaseGl();
        renderer.setTextOverlay(&overlay);
    }
    ~OverlayAttachment() {
        renderer.releaseGl();
        renderer.setTextOverlay(nullptr);
    }
    Renderer& renderer;
};

class CountingOverlay final : public TextOverlayHook {
public:
    explicit CountingOverlay(bool works) : works_(works) {}
    bool initializeGl(std::string& error) override {
        ++initialized;
        if (!works_) error = "font creation failed";
        return works_;
    }
    void releaseGl() override { ++released; }
    void draw(int width, int height) override {
        ++drawn;
        lastWidth = width;
        lastHeight = height;
    }
    int initialized = 0, released = 0, drawn = 0, lastWidth = 0, lastHeight = 0;

private:
    bool works_;
};

TEST_F(GlDiagnosticsTest, TheTextOverlayIsSetUpDrawnEveryFrameAndReleased) {
    CountingOverlay overlay(true);
    OverlayAttachment attachment(renderer, overlay);
    std::string error;
    ASSERT_TRUE(renderer.initializeGl(error)) << error;
    EXPECT_EQ(overlay.initialized, 1);
    draw();
    draw();
    EXPECT_EQ(overlay.drawn, 2);
    EXPECT_EQ(overlay.lastWidth, kWidth);
    EXPECT_EQ(overlay.lastHeight, kHeight);
    renderer.releaseGl();
    EXPECT_EQ(overlay.released, 1);
}

TEST_F(GlDiagnosticsTest, AFailingTextOverlayIsLoggedAndTheViewGoesOnWithoutIt) {
    CountingOverlay overlay(false);
    OverlayAttachment attachment(renderer, overlay);
    LogCapture log;
    std::string error;
    ASSERT_TRUE(renderer.initializeGl(error)) << error;
    EXPECT_TRUE(log.has(LogWarn, "pannello dei conteggi non disponibile: font creation failed"));
    draw();
    EXPECT_EQ(overlay.drawn, 0);
    renderer.releaseGl();
    EXPECT_EQ(overlay.released, 0);
}

}  // namespace
}  // namespace ovcf::test
