#include "view/GlErrors.h"

#include <glad/gl.h>

#include "core/Log.h"

namespace ovcf {
namespace {

void GLAD_API_PTR logDebugMessage(GLenum source, GLenum type, GLuint id, GLenum severity, GLsizei length,
                                  const GLchar* message, const void* userParam) {
    if (severity == GL_DEBUG_SEVERITY_NOTIFICATION) return;
    const int level = severity == GL_DEBUG_SEVERITY_HIGH ? LogError : LogWarn;
    logLine(level, "OpenGL (%s): %s", glDebugTypeName(type), message ? message : "");
}

}  // namespace

const char* glErrorName(std::uint32_t error) {
    switch (error) {
        case GL_NO_ERROR: return "nessun errore";
        case GL_INVALID_ENUM: return "GL_INVALID_ENUM";
        case GL_INVALID_VALUE: return "GL_INVALID_VALUE";
        case GL_INVALID_OPERATION: return "GL_INVALID_OPERATION";
        case GL_OUT_OF_MEMORY: return "GL_OUT_OF_MEMORY";
        case GL_INVALID_FRAMEBUFFER_OPERATION: return "GL_INVALID_FRAMEBUFFER_OPERATION";
        default: return "codice sconosciuto";
    }
}

std::uint32_t takeGlError(const char* label) {
    const GLenum error = glGetError();
    if (error == GL_NO_ERROR) return GL_NO_ERROR;
    logLine(LogError, "OpenGL: %s durante '%s'", glErrorName(error), label);
    glGetError();
    return error;
}

bool checkGlError(const char* label) { return takeGlError(label) != GL_NO_ERROR; }

const char* glDebugTypeName(std::uint32_t type) {
    switch (type) {
        case GL_DEBUG_TYPE_ERROR: return "ERRORE";
        case GL_DEBUG_TYPE_DEPRECATED_BEHAVIOR: return "funzione deprecata";
        case GL_DEBUG_TYPE_UNDEFINED_BEHAVIOR: return "comportamento indefinito";
        case GL_DEBUG_TYPE_PORTABILITY: return "portabilita'";
        case GL_DEBUG_TYPE_PERFORMANCE: return "prestazioni";
        default: return "messaggio";
    }
}

bool enableGlDebugOutput() {
    if (!glad_glDebugMessageCallback || !glad_glDebugMessageControl) return false;
    glEnable(GL_DEBUG_OUTPUT);
    glEnable(GL_DEBUG_OUTPUT_SYNCHRONOUS);
    glDebugMessageCallback(&logDebugMessage, nullptr);
    glDebugMessageControl(GL_DONT_CARE, GL_DONT_CARE, GL_DEBUG_SEVERITY_NOTIFICATION, 0, nullptr, GL_FALSE);
    logLine(LogDebug, "diagnostica OpenGL attiva");
    return true;
}

}  // namespace ovcf
