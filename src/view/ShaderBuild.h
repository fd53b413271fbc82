// Compiling and linking the renderer's GLSL programs, with the driver's log in the error.
#pragma once

#include <cstdint>
#include <string>

namespace ovcf {

// Compiles both stages, links them and deletes the stage objects. On failure nothing is left
// behind, `program` stays 0 and `error` holds the stage or program that failed, the program's
// name and the driver's info log.
bool buildProgram(const char* name, const char* vertexText, const char* fragmentText, std::uint32_t& program,
                  std::string& error);

}  // namespace ovcf
