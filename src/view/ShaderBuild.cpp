#include "view/ShaderBuild.h"

#include <glad/gl.h>

#include <vector>

namespace ovcf {
namespace {

std::string shaderLog(GLuint shader) {
    GLint length = 0;
    glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
    if (length <= 0) return {};
    std::vector<char> text(static_cast<std::size_t>(length) + 1, '\0');
    glGetShaderInfoLog(shader, length, nullptr, text.data());
    return text.data();
}

std::string programLog(GLuint program) {
    GLint length = 0;
    glGetProgramiv(program, GL_INFO_LOG_LENGTH, &length);
    if (length <= 0) return {};
    std::vector<char> text(static_cast<std::size_t>(length) + 1, '\0');
    glGetProgramInfoLog(program, length, nullptr, text.data());
    return text.data();
}

GLuint compileStage(GLenum stage, const char* stageName, const char* name, const char* text, std::string& error) {
    const GLuint shader = glCreateShader(stage);
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint compiled = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (compiled == GL_TRUE) return shader;
    error = std::string("compilation of shader ") + stageName + " of '" + name + "' failed:\n" + shaderLog(shader);
    glDeleteShader(shader);
    return 0;
}

}  // namespace

bool buildProgram(const char* name, const char* vertexText, const char* fragmentText, std::uint32_t& program,
                  std::string& error) {
    program = 0;
    const GLuint vertex = compileStage(GL_VERTEX_SHADER, "vertex", name, vertexText, error);
    if (!vertex) return false;
    const GLuint fragment = compileStage(GL_FRAGMENT_SHADER, "fragment", name, fragmentText, error);
    if (!fragment) {
        glDeleteShader(vertex);
        return false;
    }
    const GLuint linked = glCreateProgram();
    glAttachShader(linked, vertex);
    glAttachShader(linked, fragment);
    glLinkProgram(linked);
    glDetachShader(linked, vertex);
    glDetachShader(linked, fragment);
    glDeleteShader(vertex);
    glDeleteShader(fragment);
    GLint ok = GL_FALSE;
    glGetProgramiv(linked, GL_LINK_STATUS, &ok);
    if (ok != GL_TRUE) {
        error = std::string("linking of program '") + name + "' failed:\n" + programLog(linked);
        glDeleteProgram(linked);
        return false;
    }
    program = linked;
    return true;
}

}  // namespace ovcf
