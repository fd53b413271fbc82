# What `cmake --install` puts in a prefix for a host team: the header, the library (Linux: a
# versioned shared object with its soname and development link; Windows: the DLL, its import
# library and module-definition file), the ovcf and pcview programs, a relocatable CMake package
# and a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS OrvanePC EXPORT OrvanePCTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/OrvanePC.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(WIN32)
  install(FILES ${PROJECT_SOURCE_DIR}/src/api/OrvanePC.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
  if(ORVANE_MSVC_IMPORT_LIBRARY)
    install(FILES ${ORVANE_MSVC_IMPORT_LIBRARY} DESTINATION ${CMAKE_INSTALL_LIBDIR})
  endif()
endif()
foreach(program ovcf_tool pcview)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()
if(TARGET pcview AND NOT WIN32)
  # The demo host finds the library beside it in the installed tree, wherever that tree lies.
  set_target_properties(pcview PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endif()

set(ORVANE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/OrvanePC)
install(EXPORT OrvanePCTargets NAMESPACE OrvanePC:: DESTINATION ${ORVANE_PACKAGE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/OrvanePCConfig.cmake.in
                              ${CMAKE_BINARY_DIR}/OrvanePCConfig.cmake INSTALL_DESTINATION ${ORVANE_PACKAGE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/OrvanePCConfigVersion.cmake
                                 VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/OrvanePCConfig.cmake ${CMAKE_BINARY_DIR}/OrvanePCConfigVersion.cmake
        DESTINATION ${ORVANE_PACKAGE_DIR})

# pkg-config finds the prefix from where the file lies, so the installed tree can move.
file(RELATIVE_PATH ORVANE_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/orvanepc.pc.in ${CMAKE_BINARY_DIR}/orvanepc.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/orvanepc.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
