#include "view/BitmapTextures.h"

#include <glad/gl.h>

#include <initializer_list>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "view/GlErrors.h"

namespace ovcf {
namespace {

void glMapStorage(std::uint32_t buffer, std::size_t bytes, const void* data) {
    glNamedBufferData(buffer, static_cast<GLsizeiptr>(bytes), data, GL_DYNAMIC_DRAW);
}

}  // namespace

BitmapTextures::BitmapTextures(BitmapStorage storage) : storage_(storage ? storage : &glMapStorage) {}

void BitmapTextures::setStorage(BitmapStorage storage) { storage_ = storage ? storage : &glMapStorage; }

void BitmapTextures::initializeGl() {
    for (Map* map : {&selected_, &deleted_}) {
        glCreateBuffers(1, &map->buffer);
        glCreateTextures(GL_TEXTURE_BUFFER, 1, &map->texture);
        upload(*map, nullptr, 0);
    }
}

void BitmapTextures::releaseGl() {
    for (Map* map : {&selected_, &deleted_}) {
        if (map->texture) glDeleteTextures(1, &map->texture);
        if (map->buffer) glDeleteBuffers(1, &map->buffer);
        map->buffer = map->texture = 0;
        map->ready = map->failureLogged = false;
    }
}

void BitmapTextures::uploadSelected(const std::uint64_t* words, std::size_t wordCount) {
    upload(selected_, words, wordCount);
}

void BitmapTextures::uploadDeleted(const std::uint64_t* words, std::size_t wordCount) {
    upload(deleted_, words, wordCount);
}

void BitmapTextures::upload(Map& map, const std::uint64_t* words, std::size_t wordCount) {
    if (!map.buffer) return;
    static const std::uint64_t kEmpty = 0;
    if (!words || wordCount == 0) {
        words = &kEmpty;
        wordCount = 1;
    }
    GLint maxTexels = 0;
    glGetIntegerv(GL_MAX_TEXTURE_BUFFER_SIZE, &maxTexels);
    if (maxTexels > 0 && wordCount * 2 > static_cast<std::size_t>(maxTexels))
        logLine(LogWarn,
                "mappa dei punti di %zu parole oltre il limite di %d texel della scheda: i punti oltre il limite "
                "non mostrano selezione e cancellazione",
                wordCount, maxTexels);
    // An error left by earlier work is not this upload's: it is reported under its own label.
    checkGlError("prima del caricamento di una mappa dei punti");
    const std::size_t bytes = wordCount * sizeof(std::uint64_t);
    storage_(map.buffer, bytes, words);
    const GLenum error = glGetError();
    GLint64 size = 0;
    if (error == GL_NO_ERROR) glGetNamedBufferParameteri64v(map.buffer, GL_BUFFER_SIZE, &size);
    map.ready = error == GL_NO_ERROR && size == static_cast<GLint64>(bytes);
    if (!map.ready) {
        while (glGetError() != GL_NO_ERROR) {
        }
        // Once until an upload succeeds: a short GPU refuses every change of the selection.
        if (!map.failureLogged)
            logLine(LogWarn, "mappa dei punti non caricata sulla scheda grafica (%s, %s): %s",
                    error != GL_NO_ERROR ? glErrorName(error) : "buffer senza memoria", formatSize(bytes).c_str(),
                    map.consequence);
        map.failureLogged = true;
        return;
    }
    map.failureLogged = false;
    glTextureBuffer(map.texture, GL_R32UI, map.buffer);
}

void BitmapTextures::bind() const {
    glBindTextureUnit(kSelectedBitsUnit, selected_.texture);
    glBindTextureUnit(kDeletedBitsUnit, deleted_.texture);
}

}  // namespace ovcf
