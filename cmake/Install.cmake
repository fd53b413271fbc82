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

# Packages (cpack in a build tree): the Windows SDK as OrvanePC-VERSION-win64.zip; for Linux a
# .tar.gz and a Debian package whose dependencies dpkg-shlibdeps computes.
set(ORVANE_DOC_DIR ${CMAKE_INSTALL_DOCDIR})
if(WIN32)
  set(ORVANE_DOC_DIR .)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/LICENSE.txt DESTINATION ${ORVANE_DOC_DIR})
if(EXISTS ${PROJECT_SOURCE_DIR}/NOTICE)
  install(FILES ${PROJECT_SOURCE_DIR}/NOTICE DESTINATION ${ORVANE_DOC_DIR})
endif()
set(CPACK_PACKAGE_NAME OrvanePC)
set(CPACK_PACKAGE_VENDOR Orvane)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Point-cloud viewing and editing module for surveying applications")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE.txt)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_SYSTEM_NAME win64)
else()
  set(CPACK_GENERATOR "TGZ;DEB")
  set(CPACK_DEBIAN_PACKAGE_NAME orvanepc)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Orvane <support@orvane.invalid>")
  set(CPACK_DEBIAN_PACKAGE_SECTION science)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
endif()
include(CPack)
