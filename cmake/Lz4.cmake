# LZ4 block API. Natively from liblz4-dev; for the Windows build, compiled from Debian's
# lz4 source package, fetched at configure time under a private apt state directory.
if(WIN32)
  set(LZ4_SOURCE_ROOT ${CMAKE_BINARY_DIR}/debian-src/lz4)
  execute_process(
    COMMAND ${PROJECT_SOURCE_DIR}/scripts/fetch-debian-source.sh lz4 ${LZ4_SOURCE_ROOT}
    OUTPUT_VARIABLE lz4_dir OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE lz4_result)
  string(REGEX REPLACE ".*\n" "" lz4_dir "${lz4_dir}")
  if(NOT lz4_result EQUAL 0 OR NOT EXISTS ${lz4_dir}/lib/lz4.c)
    message(FATAL_ERROR "could not fetch Debian's lz4 source package (apt-get source lz4)")
  endif()
  add_library(orvane_lz4 STATIC ${lz4_dir}/lib/lz4.c)
  target_include_directories(orvane_lz4 SYSTEM PUBLIC ${lz4_dir}/lib)
  target_compile_options(orvane_lz4 PRIVATE -O3)
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(LZ4 REQUIRED IMPORTED_TARGET liblz4)
  add_library(orvane_lz4 INTERFACE)
  target_link_libraries(orvane_lz4 INTERFACE PkgConfig::LZ4)
endif()
