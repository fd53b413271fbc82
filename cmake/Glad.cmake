# The GL 4.5 core loader is generated at configure time by glad 2 (Debian's python3-glad),
# from the Khronos registry files it ships (--reproducible: nothing is fetched).
find_program(GLAD_EXECUTABLE glad REQUIRED)
set(GLAD_OUT ${CMAKE_BINARY_DIR}/glad)
set(GLAD_EXTENSIONS GL_KHR_debug,GL_ARB_debug_output)
if(NOT EXISTS ${GLAD_OUT}/src/gl.c)
  execute_process(
    COMMAND ${GLAD_EXECUTABLE} --quiet --reproducible --api gl:core=4.5
            --extensions ${GLAD_EXTENSIONS} --out-path ${GLAD_OUT} c
    RESULT_VARIABLE glad_result OUTPUT_QUIET ERROR_VARIABLE glad_error)
  if(NOT glad_result EQUAL 0 OR NOT EXISTS ${GLAD_OUT}/src/gl.c)
    message(FATAL_ERROR "glad failed to generate the GL loader: ${glad_error}")
  endif()
endif()
add_library(orvane_glad STATIC ${GLAD_OUT}/src/gl.c)
target_include_directories(orvane_glad SYSTEM PUBLIC ${GLAD_OUT}/include)
set_target_properties(orvane_glad PROPERTIES POSITION_INDEPENDENT_CODE ON C_VISIBILITY_PRESET hidden)
