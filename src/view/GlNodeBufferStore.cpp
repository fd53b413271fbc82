// Node vertex buffers in GL: immutable storage written once, drawn many times. A buffer whose
// storage the driver could not give (out of GPU memory) is deleted and reported as none, so an
// unfilled buffer is never drawn.
#include <glad/gl.h>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "view/GlErrors.h"
#include "view/GlNodeBufferStore.h"

namespace ovcf {
namespace {

void glStorage(std::uint32_t buffer, std::size_t bytes, const void* data) {
    glNamedBufferStorage(buffer, static_cast<GLsizeiptr>(bytes), data, 0);
}

class GlNodeBufferStore final : public NodeBufferStore {
public:
    explicit GlNodeBufferStore(NodeBufferStorage storage) : storage_(storage ? storage : &glStorage) {}

    std::uint32_t create(const void* data, std::size_t bytes) override {
        // An error left by earlier work is not this upload's: it is reported under its own label.
        checkGlError("prima del caricamento di un nodo");
        GLuint buffer = 0;
        glCreateBuffers(1, &buffer);
        if (buffer == 0) return 0;
        storage_(buffer, bytes, data);
        const GLenum error = glGetError();
        GLint64 size = 0;
        if (error == GL_NO_ERROR) glGetNamedBufferParameteri64v(buffer, GL_BUFFER_SIZE, &size);
        if (error != GL_NO_ERROR || size != static_cast<GLint64>(bytes)) {
            while (glGetError() != GL_NO_ERROR) {
            }
            glDeleteBuffers(1, &buffer);
            // Once per store: an exhausted GPU refuses frame after frame.
            if (!failureLogged_ && logLevelThreshold() < LogError)
                logLine(LogWarn, "caricamento di un nodo sulla scheda grafica fallito: %s, %s",
                        error != GL_NO_ERROR ? glErrorName(error) : "buffer senza memoria", formatSize(bytes).c_str());
            failureLogged_ = true;
            return 0;
        }
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

private:
    NodeBufferStorage storage_;
    bool failureLogged_ = false;
};

}  // namespace

std::unique_ptr<NodeBufferStore> makeGlNodeBufferStore(NodeBufferStorage storage) {
    return std::make_unique<GlNodeBufferStore>(storage);
}

}  // namespace ovcf
