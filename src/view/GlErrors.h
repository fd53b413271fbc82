// The renderer's two ways of hearing about GL trouble: labelled checks of the error state at
// chosen points, and the driver's debug messages, both written to the log.
#pragma once

#include <cstdint>

namespace ovcf {

// "GL_INVALID_ENUM", ..., "nessun errore" for GL_NO_ERROR, "codice sconosciuto" otherwise.
const char* glErrorName(std::uint32_t error);

// Reads the GL error; when one is pending, logs it at ERROR with the label, reads the error
// state once more to clear it and returns true.
bool checkGlError(const char* label);
// The same, giving the error found (GL_NO_ERROR, 0, when there was none).
std::uint32_t takeGlError(const char* label);

// The Italian name of a debug message type as the log shows it.
const char* glDebugTypeName(std::uint32_t type);

// Switches on synchronous debug output with the logging callback when the loader found the
// debug-output functions, with notification messages silenced; returns whether it did.
bool enableGlDebugOutput();

}  // namespace ovcf
