// Node vertex buffers in GL: immutable in content once written, drawn many times.
#include <glad/gl.h>

#include "view/NodeResidency.h"

namespace ovcf {
namespace {

class GlNodeBufferStore final : public NodeBufferStore {
public:
    std::uint32_t create(const void* data, std::size_t bytes) override {
        GLuint buffer = 0;
        glCreateBuffers(1, &buffer);
        if (buffer == 0) return 0;
        glNamedBufferData(buffer, static_cast<GLsizeiptr>(bytes), data, GL_STATIC_DRAW);
        return buffer;
    }
    void destroy(std::uint32_t buffer) override {
        const GLuint name = buffer;
        glDeleteBuffers(1, &name);
    }
    bool read(std::uint32_t buffer, std::size_t bytes, void* out) override {
        if (buffer == 0) return false;
        glGetNamedBufferSubData(buffer, 0, static_cast<GLsizeiptr>(bytes), out);
        return true;
    }
};

}  // namespace

std::unique_ptr<NodeBufferStore> makeGlNodeBufferStore() { return std::make_unique<GlNodeBufferStore>(); }

}  // namespace ovcf
