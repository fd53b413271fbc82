#include "view/BitmapTextures.h"

#include <glad/gl.h>

#include <initializer_list>

#include "core/Log.h"

namespace ovcf {

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
        *map = Map{};
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
    glNamedBufferData(map.buffer, static_cast<GLsizeiptr>(wordCount * sizeof(std::uint64_t)), words, GL_DYNAMIC_DRAW);
    glTextureBuffer(map.texture, GL_R32UI, map.buffer);
}

void BitmapTextures::bind() const {
    glBindTextureUnit(kSelectedBitsUnit, selected_.texture);
    glBindTextureUnit(kDeletedBitsUnit, deleted_.texture);
}

}  // namespace ovcf
